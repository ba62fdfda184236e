// Lists, and reading them and the rows of multi-value tables.
#include "machine/methods/texts.hpp"

namespace qor {

namespace {

bool is_of_type(const QOR_OBJECT *object, Type type) { return object && type_of(object) == type; }

void create_list() {
    Object_var list;
    BTYP_create_list(&list);
    qorcpu_push_owned(std::move(list));
}

// Appending leaves the list on the stack, inserting does not: scripts depend on
// the difference.
void append_to_list() {
    const Object_var element = pop_object();
    BTYP_append_to_list(qorcpu_top(), element);
}

void prepend_to_list() {
    const Object_var element = pop_object();
    BTYP_prepend_to_list(qorcpu_top(), element);
}

void insert_list_before() {
    const Object_var element = pop_object();
    const Object_var list = pop_object();
    BTYP_insert_list_before(list, element);
}

void insert_list_after() {
    const Object_var element = pop_object();
    const Object_var list = pop_object();
    BTYP_insert_list_after(list, element);
}

void reset_read() {
    const Object_var object = pop_object();
    if (is_of_type(object, TYPE_LIST)) {
        BTYP_reset_read_list(object);
    } else if (is_of_type(object, TYPE_MVTAB)) {
        BTYP_reset_mvtab(object, Popped_text());
    } else {
        qormeth_abort("RESET_READ", "RESET_READ: invalid type\n");
    }
}

void read_next() {
    const Object_var object = pop_object();
    Object_var element;
    int32_t found;
    if (is_of_type(object, TYPE_LIST)) {
        BTYP_read_next_listobj_ref(object, &element, &found);
    } else if (is_of_type(object, TYPE_MVTAB)) {
        BTYP_read_next_mvtab(object, &element, &found);
    } else {
        qormeth_abort("READ_NEXT", "READ_NEXT: invalid type\n");
        return;
    }
    if (found) qorcpu_push_owned(std::move(element));
    qorcpu_push_boolean(found);
}

void remove_first() { BTYP_remove_first(pop_object()); }

void remove_last() { BTYP_remove_last(pop_object()); }

constexpr Native_method METHODS[] = {
    {"CREATE_LIST", create_list, 0, 1, 'P', ""},
    {"APPEND_TO_LIST", append_to_list, 1, 1, 'P', ""},
    {"PREPEND_TO_LIST", prepend_to_list, 1, 1, 'P', ""},
    {"INSERT_LIST_BEFORE", insert_list_before, 1, 1, 'P', ""},
    {"INSERT_LIST_AFTER", insert_list_after, 1, 1, 'P', ""},
    {"RESET_READ", reset_read, 1, 0, 'P', ""},
    {"READ_NEXT", read_next, 1, 2, 'P', ""},
    {"REMOVE_FIRST", remove_first, 1, 0, 'P', ""},
    {"REMOVE_LAST", remove_last, 1, 0, 'P', ""},
};

} // namespace

void register_list_methods() { register_methods("QOR", METHODS); }

} // namespace qor
