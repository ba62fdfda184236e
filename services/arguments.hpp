// The arguments of a service's methods, taken off the machine's stack. Each aborts
// on another type; should that return, what it gives is 0, empty or nil.
#pragma once

#include <string>

#include "object/object.hpp"
#include "qor/qorcpu.h"

namespace qor {

inline int32_t pop_int() {
    int32_t value = 0;
    QORCPU_POPI(&value);
    return value;
}

inline std::string pop_text() {
    Strng text;
    QORCPU_POPS(&text);
    return std::string(text.text());
}

inline Object_var pop_object() {
    Object_var object;
    QORCPU_POP_OBJ(&object);
    return object;
}

} // namespace qor
