// The type table: what each type of value can do.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "object/object.hpp"
#include "qor/obj.h"

namespace qor {

struct Object_type {
    std::string name;
    QOR_INITVALUE initvalue;
    QOR_REMOVEVALUE removevalue;
    QOR_ASSIGNVALUE assignvalue;
    QOR_COPYVALUE copyvalue;
    QOR_TOCHAR tochar;
    QOR_DISPLAY display;
    QOR_INDEX index;
    QOR_INSERT insert;
    QOR_CHECK check;
    QOR_DOMETHOD domethod;
    bool is_id_free; // registered in an earlier life of the kernel
};

// The table has 256 rows, but the signed 6-bit id of an object record carries
// only 0 to 31: a type beyond that is refused, since its objects would read back
// with a negative id.
inline constexpr int32_t TYPE_TABLE_SIZE = 256;
inline constexpr int32_t TYPE_ID_LIMIT = 32;

extern Object_type type_table[TYPE_TABLE_SIZE];
extern int32_t type_count;

// The largest text of a tochar slot, with its terminating zero.
inline constexpr size_t TOCHAR_SIZE = 65536;

// What a basic type brings along; an empty slot keeps the default.
struct Value_slots {
    const char *name;
    QOR_INITVALUE initvalue = nullptr;
    QOR_REMOVEVALUE removevalue = nullptr;
    QOR_ASSIGNVALUE assignvalue = nullptr;
    QOR_COPYVALUE copyvalue = nullptr;
    QOR_TOCHAR tochar = nullptr;
    QOR_DISPLAY display = nullptr;
    QOR_INDEX index = nullptr;
    QOR_INSERT insert = nullptr;
    QOR_CHECK check = nullptr;
};

// The rows of the containers, each defined beside the container.
extern const Value_slots ARRAY_SLOTS;
extern const Value_slots BLOB_SLOTS;
extern const Value_slots TABLE_SLOTS;
extern const Value_slots MVTAB_SLOTS;
extern const Value_slots LINK_SLOTS;
extern const Value_slots DBLINK_SLOTS;
extern const Value_slots LIST_SLOTS;

// For the slots: the value at an address, the text of a tochar slot, and the
// slots that all types with a handle share.
template <typename T> const T &value_at(const void *value) { return *static_cast<const T *>(value); }
template <typename T> T &value_at(void *value) { return *static_cast<T *>(value); }

inline void put_tochar(std::string_view text, int16_t *length, char *buffer) {
    const size_t n = std::min(text.size(), TOCHAR_SIZE - 1);
    std::memcpy(buffer, text.data(), n);
    buffer[n] = 0;
    *length = static_cast<int16_t>(n);
}

inline void handle_init(void *value) { value_at<void *>(value) = nullptr; }
inline void move_64(const void *source, void *target) { value_at<int64_t>(target) = value_at<int64_t>(source); }

// The handle of an object of the type, borrowed. Aborts on another type and on
// NULL; should the abort return, the result is null.
template <typename T> T *handle_of(QOR_OBJECT *object, Type type) {
    if (object && (object->flags & (0x3f | OBJ_DEFINED)) == (OBJ_DEFINED | static_cast<uint32_t>(type))) [[likely]]
        return static_cast<T *>(object->handle);
    void *handle;
    OBJ_get_object_value_ref_tcheck(object, type, &handle); // aborts
    return nullptr;
}

// For the wrappers of a type: a new object with a copy of the value, and one
// that adopts it.
template <typename T> void create_copying(QOR_OBJECT **variable, Type type, const T &value) {
    OBJ_create_object(variable, type);
    OBJ_set_object_value(*variable, &value);
}
template <typename T> void create_adopting(QOR_OBJECT **variable, Type type, const T &value) {
    OBJ_create_object(variable, type);
    OBJ_set_object_value_ref(*variable, &value);
}

// Whether an outside module registered the type under the name "ilink". The
// kernel knows such links by four methods alone: get_table, get_key, create and
// to_map.
bool is_ilink_type(int32_t type);

// Frees an object that only a path was bound to (its count is 0).
void free_unbound(QOR_OBJECT *object);

} // namespace qor
