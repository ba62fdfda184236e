// The type table: what each type of value can do.
#pragma once

#include <string>

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

// Frees an object that only a path was bound to (its count is 0).
void free_unbound(QOR_OBJECT *object);

} // namespace qor
