// The kernel's plain records with an owner, for modules and plug-ins: so an abort, which
// is an exception that passes through, releases them.
#pragma once

#include <string_view>

#include "qor/qor.h"

namespace owners {

inline std::string_view view(STRNG text) { return {reinterpret_cast<const char *>(text.data), text.length}; }

// Only to be read, and not longer than the text lives.
inline STRNG borrow(std::string_view text) {
    const auto length = static_cast<uint32_t>(text.size());
    return {length, length, reinterpret_cast<uint8_t *>(const_cast<char *>(text.data()))};
}

struct Text {
    STRNG value{0, 0, nullptr};
    Text() = default;
    ~Text() { STRNG_REMOVE(&value); }
    Text(const Text &) = delete;
    Text &operator=(const Text &) = delete;
};

struct Object {
    QOR_OBJECT *value = QOR_NIL;
    Object() = default;
    Object(Object &&other) noexcept : value(other.value) { other.value = QOR_NIL; }
    ~Object() { OBJ_remove_object(&value); }
    Object(const Object &) = delete;
    Object &operator=(const Object &) = delete;
};

} // namespace owners
