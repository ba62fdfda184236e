// Objects without regard to their type: stack shaping, NULL tests, references,
// names resolved and methods called at run time.
#include "container/dblink.hpp"
#include "machine/methods/texts.hpp"
#include "object/map_access.hpp"
#include "qor/geom.h"

namespace qor {

namespace {

// --- type and value ------------------------------------------------------------------

void get_type() {
    Object_var object;
    QORCPU_POP_OBJ(&object);
    if (type_of(object) != TYPE_GEOMETRY || !is_defined(object)) return QORCPU_PUSHS_C(OBJ_get_type_name_C(object));
    QOR_GEOMETRY geometry;
    int32_t kind;
    BTYP_read_geometry_ref(object, &geometry);
    GEOM_READ_TYPE(geometry, &kind);
    switch (kind) {
    case GEOM_POINT: return qorcpu_push_text("point");
    case GEOM_LINE: return qorcpu_push_text("line");
    case GEOM_RAND: return qorcpu_push_text("edge");
    case GEOM_AREA: return qorcpu_push_text("area");
    default: MESSAGE_DISPLAY_F("GET_TYPE: unknown geometry type %d\n", kind);
    }
}

void set_null() { OBJ_set_null(qorcpu_top()); }

void set_value() {
    Object_var source, target;
    QORCPU_POP_OBJ(&source);
    QORCPU_POP_OBJ(&target);
    OBJ_copy_value(target, source);
}

// Pushing over the slot releases what was tested.
void is_null() {
    const bool defined = is_defined(qorcpu_top());
    qorcpu_drop();
    qorcpu_push_boolean(!defined);
}

void is_not_null() {
    const bool defined = is_defined(qorcpu_top());
    qorcpu_drop();
    qorcpu_push_boolean(defined);
}

// What is left of a store for single values: nothing is ever filed there.
void release_argument() { QORCPU_POP(); }

void is_filed() {
    QORCPU_POP();
    qorcpu_push_boolean(false);
}

void nvl() {
    if (!objects_on_top(2)) return;
    QOR_OBJECT *value = *stack_slot(1);
    // A plain value of the stack's own may stay where it is.
    if (is_defined(value) && is_unshared(value) && (is_scalar_type(type_of(value)) || type_of(value) == TYPE_STRING)) {
        discard_top();
        return;
    }
    Object_var replacement, first;
    QORCPU_POP_OBJ(&replacement);
    QORCPU_POP_OBJ(&first);
    QORCPU_PUSH_OBJ(is_defined(first) ? first : replacement);
}

void check() {
    Object_var object;
    QORCPU_POP_OBJ(&object);
    OBJ_check_object(object);
}

// The reference leaves the slot without a release, which would unbind the very
// paths that are to be shown.
void display_ap() {
    qorcpu_check_top();
    Object_var object;
    std::swap(*&object, *stack_slot(0));
    qorcpu_drop();
    OBJ_display_aps(object);
}

// --- names and entries ------------------------------------------------------------------

// Takes the name off the stack: looking it up may run script code over the slot.
bool pop_name(Strng &name) {
    if (!texts_on_top(1)) return false;
    name.assign(operand_text(0));
    qorcpu_release_top();
    return true;
}

// A database link whose row can not be read is told, and stands for nothing.
bool is_bad_dblink(QOR_OBJECT *object) {
    if (type_of(object) != TYPE_DBLINK || dblink_is_valid(object)) return false;
    Strng text("invalid dblink ");
    Work_text value;
    text.append(rendered(object, *value));
    MSG_SET_PROC_C(qormeth_msg, "EXISTS");
    MSG_DISPLAY_ERROR_S(qormeth_msg, text);
    return true;
}

void exists() {
    Work_text name;
    if (!pop_name(*name)) return;
    const Object_var object = object_by_name(name->text());
    qorcpu_push_boolean(object && !is_bad_dblink(object));
}

// Pops the key and the object. The entry is left nil on a miss. False when an
// abort returned.
bool pop_and_index(Work_text &key, Object_var &object, Object_var &entry) {
    if (!pop_name(*key)) return false;
    QORCPU_POP_OBJ(&object);
    if (!object) return false;
    int32_t found = 0;
    OBJ_index_object(object, *key, &entry, &found);
    if (!found) entry.reset();
    return true;
}

void index() {
    Work_text key;
    Object_var object, entry;
    if (!pop_and_index(key, object, entry)) return;
    if (entry) return qorcpu_push_owned(std::move(entry));
    OBJ_display_object(object);
    qormeth_abort("INDEX", "INDEX: can not index object with <", *key, ">");
}

void index2() {
    Work_text key;
    Object_var object, entry;
    if (!pop_and_index(key, object, entry)) return;
    if (entry) return qorcpu_push_owned(std::move(entry));
    QORCPU_PUSH_UNDEF_STRING();
}

// The object and true, or false alone.
void push_with_test(Object_var &&object) {
    const bool found = object.get() != nullptr;
    if (found) qorcpu_push_owned(std::move(object));
    qorcpu_push_boolean(found);
}

// The usual case, a key that is in a map: the two slots take the results, and
// the key needs no copy.
bool index_map_with_test() {
    if (qorcpu_stack_top < 2) return false;
    QOR_OBJECT *key = *stack_slot(0);
    QOR_OBJECT **slot = stack_slot(1);
    if (!has_value(*slot, TYPE_MAP) || !has_value(key, TYPE_STRING) || text_of(key).size() > SHORT_KEY) return false;
    QOR_OBJECT *entry = map_find(map_of(*slot), *string_of(key));
    if (!entry) return false;
    Object_var found = Object_var::share(entry);
    OBJ_remove_object(slot);
    *slot = found.release();
    qorcpu_drop();
    qorcpu_push_boolean(true);
    return true;
}

void index_with_test() {
    if (index_map_with_test()) return;
    Work_text key;
    Object_var object, entry;
    if (pop_and_index(key, object, entry)) push_with_test(std::move(entry));
}

void ref() {
    Work_text name;
    if (!pop_name(*name)) return;
    Object_var object = object_by_name(name->text());
    if (object) return qorcpu_push_owned(std::move(object));
    qormeth_abort("REF", "unable to resolve object ", *name);
}

void ref2() {
    Work_text name;
    if (!pop_name(*name)) return;
    Object_var object = object_by_name(name->text());
    if (object) return qorcpu_push_owned(std::move(object));
    QORCPU_PUSH_UNDEF_STRING();
}

void ref_with_test() {
    Work_text name;
    if (pop_name(*name)) push_with_test(object_by_name(name->text()));
}

// --- calls ----------------------------------------------------------------------------------

// The method is not told the object; it runs on what the stack holds. Object
// and method stay alive until it is done.
void invoke() {
    Work_text name;
    Object_var object, entry;
    if (!pop_and_index(name, object, entry)) return;
    if (entry && type_of(entry) == TYPE_METHOD) return QORCPU_DO_METHOD(method_of(entry));
    OBJ_display_object(object);
    qormeth_abort("INVOKE", entry ? "INVOKE(2): can not invoke <" : "INVOKE(1): can not invoke <", *name, ">");
}

// CLASS.METHOD, or a method of class QOR, which comes before a procedure of the
// same name.
void call() {
    Work_text name, class_name, method_name;
    if (!pop_name(*name)) return;
    const std::string_view text = name->text();
    const size_t dot = text.find('.');
    class_name->assign(dot == text.npos ? "QOR" : text.substr(0, dot));
    method_name->assign(dot == text.npos ? text : text.substr(dot + 1));
    Object_var method;
    int32_t found;
    CLASS_GET_METHOD_OBJECT(class_name->c_str(), method_name->c_str(), &method, &found);
    if (found) {
        QORCPU_DO_METHOD(method_of(method));
    } else {
        QORCPU_CALL_QOR_PROC(*name);
    }
}

void called_by() {
    Work_text name;
    if (pop_name(*name)) qorcpu_push_boolean(QORCPU_IS_CALLED_BY(*name));
}

constexpr Native_method TABLE[] = {
    {"POP", QORCPU_POP, 1, 0, 'P', "[o obj][]"},
    {"DUP", QORCPU_DUP, 1, 2, 'P', "[o obj][o obj1,o obj2]"},
    {"RDUP", QORCPU_RDUP, 1, 2, 'P', "[o obj][o obj1,o obj2]"},
    {"SWAP", QORCPU_SWAP, 2, 2, 'P', "[o obj1,o obj2][o obj2,o obj1]"},
    {"GET_TYPE", get_type, 1, 1, 'P', ""},
    {"SET_NULL", set_null, 1, 1, 'P', ""},
    {"SET_VALUE", set_value, 2, 0, 'P', ""},
    {"IS_NULL", is_null, 1, 1, 'P', ""},
    {"IS_NOT_NULL", is_not_null, 1, 1, 'P', ""},
    {"NVL", nvl, 2, 1, 'P', ""},
    {"EXISTS", exists, 1, 1, 'P', "[s varname][b status]"},
    {"INDEX", index, 2, 1, 'P', ""},
    {"INDEX2", index2, 2, 1, 'P', ""},
    {"INDEX_WITH_TEST", index_with_test, 2, 2, 'P', ""},
    {"REF", ref, 1, 1, 'P', ""},
    {"REF2", ref2, 1, 1, 'P', ""},
    {"REF_WITH_TEST", ref_with_test, 1, 2, 'P', ""},
    {"INVOKE", invoke, 2, 0, 'P', ""},
    {"CALL", call, 1, 0, 'P', ""},
    {"CALLED_BY", called_by, 1, 1, 'P', ""},
    {"FILE_VALUE", release_argument, 1, 0, 'P', ""},
    {"UNFILE_VALUE", release_argument, 1, 0, 'P', ""},
    {"IS_FILED", is_filed, 1, 1, 'P', "[o obj][b status]"},
    {"CHECK", check, 1, 0, 'P', ""},
    {"DISPLAY_AP", display_ap, 1, 0, 'P', ""},
};

} // namespace

void register_object_methods() { register_methods("QOR", TABLE); }

} // namespace qor
