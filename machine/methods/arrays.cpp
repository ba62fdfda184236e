// Arrays. Their elements are read like the entries of any container, by INDEX
// and by a path.
#include "machine/methods/texts.hpp"

namespace qor {

namespace {

void create_array() {
    const int32_t size = qorcpu_pop_int();
    if (size < 0) return qormeth_abort("CREATE_ARRAY", "CREATE_ARRAY: invalid size");
    Object_var array;
    BTYP_create_array(&array, static_cast<uint32_t>(size));
    qorcpu_push_owned(std::move(array));
}

void insert_array() {
    const Object_var element = pop_object();
    const int32_t index = qorcpu_pop_int();
    const Object_var array = pop_object();
    BTYP_write_array_element(array, static_cast<uint32_t>(index), element);
}

constexpr Native_method METHODS[] = {
    {"CREATE_ARRAY", create_array, 1, 1, 'P', ""},
    {"INSERT_ARRAY", insert_array, 3, 0, 'P', ""},
};

} // namespace

void register_array_methods() { register_methods("QOR", METHODS); }

} // namespace qor
