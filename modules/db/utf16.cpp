#include "utf16.hpp"

#include <cstdint>

namespace db {

namespace {

constexpr char32_t REPLACEMENT = 0xfffd;
constexpr char32_t FIRST_PAIRED = 0x10000, LAST = 0x10ffff;

bool is_high_surrogate(char32_t c) { return c >= 0xd800 && c < 0xdc00; }
bool is_low_surrogate(char32_t c) { return c >= 0xdc00 && c < 0xe000; }

// Reads a character of several bytes; false when it is none or longer than it need be.
bool read_character(std::string_view text, size_t *position, char32_t *character) {
    constexpr char32_t SMALLEST[] = {0, 0, 0x80, 0x800, FIRST_PAIRED};
    const auto lead = static_cast<uint8_t>(text[*position]);
    const size_t size = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
    if (lead < 0xc0 || lead >= 0xf8 || text.size() - *position < size) return false;
    char32_t c = lead & (0x7fu >> size);
    for (size_t i = 1; i < size; ++i) {
        const auto byte = static_cast<uint8_t>(text[*position + i]);
        if ((byte & 0xc0) != 0x80) return false;
        c = c << 6 | (byte & 0x3fu);
    }
    *position += size;
    *character = c;
    return c >= SMALLEST[size] && c <= LAST && !is_high_surrogate(c) && !is_low_surrogate(c);
}

void append_character(char32_t c, std::string *text) {
    const auto add = [text](char32_t byte) { *text += static_cast<char>(byte); };
    const auto add_rest = [&add, c](int shift) { add(0x80 | (c >> shift & 0x3f)); };
    if (c < 0x800) {
        add(0xc0 | c >> 6);
    } else if (c < FIRST_PAIRED) {
        add(0xe0 | c >> 12);
        add_rest(6);
    } else {
        add(0xf0 | c >> 18);
        add_rest(12);
        add_rest(6);
    }
    add_rest(0);
}

} // namespace

bool to_utf16(std::string_view text, std::u16string *wide) {
    wide->clear();
    wide->reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const auto byte = static_cast<uint8_t>(text[i]);
        char32_t c = byte;
        if (byte < 0x80)
            ++i;
        else if (!read_character(text, &i, &c))
            return false;
        if (c < FIRST_PAIRED) {
            *wide += static_cast<char16_t>(c);
        } else {
            *wide += static_cast<char16_t>(0xd800 + ((c - FIRST_PAIRED) >> 10));
            *wide += static_cast<char16_t>(0xdc00 + ((c - FIRST_PAIRED) & 0x3ff));
        }
    }
    return true;
}

void append_utf8(std::u16string_view wide, std::string *text) {
    for (size_t i = 0; i < wide.size(); ++i) {
        char32_t c = wide[i];
        if (c < 0x80) {
            *text += static_cast<char>(c);
            continue;
        }
        if (is_high_surrogate(c) && i + 1 < wide.size() && is_low_surrogate(wide[i + 1]))
            c = FIRST_PAIRED + ((c & 0x3ff) << 10) + (wide[++i] & 0x3ff);
        else if (is_high_surrogate(c) || is_low_surrogate(c))
            c = REPLACEMENT;
        append_character(c, text);
    }
}

} // namespace db
