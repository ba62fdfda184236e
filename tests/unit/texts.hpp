// Texts for the tests of the exported interface.
#pragma once

#include <string>
#include <string_view>

#include "qor/strng.h"

// Borrows the text's bytes.
inline STRNG text(std::string_view s) {
    const auto n = static_cast<uint32_t>(s.size());
    return {n, n, reinterpret_cast<uint8_t *>(const_cast<char *>(s.data()))};
}

// What a procedure writes into a string.
template <class Write> std::string text_by(Write write) {
    STRNG s;
    STRNG_CREATE(&s);
    write(&s);
    const std::string result(reinterpret_cast<char *>(s.data), s.length);
    STRNG_REMOVE(&s);
    return result;
}
