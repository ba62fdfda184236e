// Padded text, words and tokens at a cursor, search, and the text utilities.
#include <algorithm>
#include <array>
#include <cctype>

#include "kernel/strng_core.hpp"

namespace qor {
namespace {

// --- code pages ------------------------------------------------------------------

using Upper_half = std::array<uint16_t, 128>; // Unicode characters of the bytes 128 to 255, 0 for none

// Code page 850, from the mapping table that the Unicode Consortium publishes.
constexpr Upper_half CODE_PAGE_850 = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7, 0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE,
    0x00EC, 0x00C4, 0x00C5, 0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9, 0x00FF, 0x00D6,
    0x00DC, 0x00F8, 0x00A3, 0x00D8, 0x00D7, 0x0192, 0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA,
    0x00BA, 0x00BF, 0x00AE, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB, 0x2591, 0x2592, 0x2593, 0x2502,
    0x2524, 0x00C1, 0x00C2, 0x00C0, 0x00A9, 0x2563, 0x2551, 0x2557, 0x255D, 0x00A2, 0x00A5, 0x2510, 0x2514,
    0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x00E3, 0x00C3, 0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550,
    0x256C, 0x00A4, 0x00F0, 0x00D0, 0x00CA, 0x00CB, 0x00C8, 0x0131, 0x00CD, 0x00CE, 0x00CF, 0x2518, 0x250C,
    0x2588, 0x2584, 0x00A6, 0x00CC, 0x2580, 0x00D3, 0x00DF, 0x00D4, 0x00D2, 0x00F5, 0x00D5, 0x00B5, 0x00FE,
    0x00DE, 0x00DA, 0x00DB, 0x00D9, 0x00FD, 0x00DD, 0x00AF, 0x00B4, 0x00AD, 0x00B1, 0x2017, 0x00BE, 0x00B6,
    0x00A7, 0x00F7, 0x00B8, 0x00B0, 0x00A8, 0x00B7, 0x00B9, 0x00B3, 0x00B2, 0x25A0, 0x00A0,
};

// Code page 1252, likewise; from 160 on it is Latin-1.
constexpr Upper_half CODE_PAGE_1252 = [] {
    Upper_half page = {
        0x20AC, 0x0000, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x0000, 0x017D, 0x0000, 0x0000, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x0000, 0x017E, 0x0178,
    };
    for (size_t i = 32; i < page.size(); ++i) page[i] = static_cast<uint16_t>(128 + i);
    return page;
}();

using Translation = std::array<uint8_t, 128>;

constexpr Translation translation(const Upper_half &from, const Upper_half &to) {
    Translation result{};
    for (size_t i = 0; i < from.size(); ++i) {
        result[i] = '?';
        for (size_t j = 0; from[i] && j < to.size(); ++j) {
            if (to[j] == from[i]) result[i] = static_cast<uint8_t>(128 + j);
        }
    }
    return result;
}

constexpr Translation DOS_TO_WIN = translation(CODE_PAGE_850, CODE_PAGE_1252);
constexpr Translation WIN_TO_DOS = translation(CODE_PAGE_1252, CODE_PAGE_850);

void translate(STRNG *s, const Translation &table) {
    if (!strng_begin(s)) return;
    for (uint32_t i = 0; i < s->length; ++i) {
        if (s->data[i] >= 128) s->data[i] = table[s->data[i] - 128];
    }
}

// --- scanning --------------------------------------------------------------------

// The bytes that end a token.
class Stops {
  public:
    Stops(std::string_view delimiters, bool blank) {
        for (const char c : delimiters) add(static_cast<uint8_t>(c));
        if (blank) add(' ');
    }
    bool has(uint8_t c) const { return bits_[c / 64] >> c % 64 & 1; }

  private:
    void add(uint8_t c) { bits_[c / 64] |= uint64_t{1} << c % 64; }

    uint64_t bits_[4] = {0, 0, 0, 0};
};

std::string_view range(const uint8_t *first, const uint8_t *end) {
    return {reinterpret_cast<const char *>(first), static_cast<size_t>(end - first)};
}

// Takes a word and leaves the byte behind it. Looks at n bytes only (0 or too
// many: all).
std::string_view take_word(STRNG_CURSOR *cursor, uint32_t n) {
    STRNG_CURSOR looked_at = *cursor;
    if (n && n < view(looked_at).size()) looked_at.end = looked_at.next + n;
    skip_blanks(&looked_at);
    const uint8_t *first = looked_at.next;
    while (looked_at.next < looked_at.end && !is_blank(*looked_at.next)) ++looked_at.next;
    cursor->next = looked_at.next;
    if (first == looked_at.next) strng_status = STRNG_NOTHING_FOUND;
    return range(first, looked_at.next);
}

void substitute(STRNG *s, uint8_t from, uint8_t to) {
    for (uint32_t i = 0; i < s->length; ++i) {
        if (s->data[i] == from) s->data[i] = to;
    }
}

std::string_view without_trailing(std::string_view text) { return text.substr(0, text.find_last_not_of(' ') + 1); }

std::string_view up_to_zero(std::string_view text) { return text.substr(0, text.find('\0')); }

void change_case(STRNG *s, uint8_t first, uint8_t last) {
    if (!strng_begin(s)) return;
    for (uint32_t i = 0; i < s->length; ++i) {
        if (s->data[i] >= first && s->data[i] <= last) s->data[i] ^= 'a' ^ 'A';
    }
}

} // namespace

} // namespace qor

using namespace qor;

// --- appending text ----------------------------------------------------------------

void STRNG_APPX(const STRNG_CURSOR *cursor, STRNG *destination, uint32_t n) {
    const std::string_view rest = view(*cursor);
    if (strng_begin(destination)) strng_append_padded(destination, rest, n ? n : rest.size(), Growth::EXACT);
}

void STRNG_APPNC(uint8_t c, uint32_t n, STRNG *destination) {
    if (!strng_begin(destination) || n == 0) return;
    const Strng_extension room(destination, n, Growth::EXACT);
    if (room.count) std::memset(room.bytes, c, room.count);
}

void STRNG_ALIGN(STRNG *s, uint32_t column) {
    if (strng_begin(s) && column > s->length) STRNG_APPNC(' ', column - s->length, s);
}

void STRNG_APPXRJ(const STRNG_CURSOR *cursor, STRNG *destination, uint32_t width) {
    if (strng_begin(destination)) {
        strng_append_right(destination, without_trailing(view(*cursor)).substr(0, width), width);
    }
}

void STRNG_APPRJ_C(const char *text, uint32_t n, STRNG *destination, uint32_t width) {
    if (!strng_begin(destination)) return;
    const std::string_view whole = text;
    const std::string_view shown = without_trailing(whole.substr(0, n ? n : whole.size()));
    strng_append_right(destination, shown.substr(0, width), width);
    if (shown.size() > width) strng_status = STRNG_OVERFLOW;
}

void STRNG_SUBSBL(STRNG *s, uint8_t c) {
    if (strng_begin(s)) substitute(s, ' ', c);
}

// --- words and tokens ----------------------------------------------------------------

void STRNG_EXTRBL(STRNG_CURSOR *cursor) { skip_blanks(cursor); }

void STRNG_EXTRWD(STRNG_CURSOR *cursor, uint32_t n, STRNG *destination) {
    if (strng_begin(destination)) strng_assign(destination, take_word(cursor, n));
}

void STRNG_EXTRWDSBL(STRNG_CURSOR *cursor, uint32_t n, STRNG *destination, uint8_t c) {
    if (!strng_begin(destination)) return;
    strng_assign(destination, take_word(cursor, n));
    substitute(destination, c, ' ');
}

void STRNG2_EXTRTOKEN(STRNG_CURSOR *cursor, STRNG *destination, uint32_t count, const char *delimiters) {
    STRNG2_EXTRTOK(cursor, destination, count, delimiters, 1, 1);
}

void STRNG2_EXTRTOKEN_C(STRNG_CURSOR *cursor, STRNG *destination, const char *delimiters) {
    STRNG2_EXTRTOK_C(cursor, destination, delimiters, 1, 1);
}

void STRNG2_EXTRTOK(STRNG_CURSOR *cursor, STRNG *destination, uint32_t count, const char *delimiters,
                    int32_t stop_at_blank, int32_t skip_blanks) {
    if (!strng_begin(destination)) return;
    const Stops stops({delimiters, count}, stop_at_blank != 0);
    const uint8_t *p = cursor->next;
    const uint8_t *const end = cursor->end;
    if (skip_blanks) {
        while (p < end && *p == ' ') ++p;
    }
    const uint8_t *const first = p;
    if (!skip_blanks && p < end) ++p; // taken whatever it is
    while (p < end && !stops.has(*p)) ++p;
    cursor->next = p < end ? p + 1 : p;
    strng_assign(destination, range(first, p));
}

void STRNG2_EXTRTOK_C(STRNG_CURSOR *cursor, STRNG *destination, const char *delimiters, int32_t stop_at_blank,
                      int32_t skip_blanks) {
    STRNG2_EXTRTOK(cursor, destination, static_cast<uint32_t>(std::strlen(delimiters)), delimiters, stop_at_blank,
                   skip_blanks);
}

void STRNG2_EXTRTOKEN_LAST(STRNG_CURSOR *cursor, STRNG *destination, uint32_t count, const char *delimiters) {
    if (!strng_begin(destination)) return;
    const Stops stops({delimiters, count}, true);
    const uint8_t *const begin = cursor->next;
    const uint8_t *end = cursor->end;
    while (end > begin && end[-1] == ' ') --end;
    const uint8_t *first = end;
    while (first > begin && !stops.has(first[-1])) --first;
    cursor->end = first > begin ? first - 1 : first;
    strng_assign(destination, range(first, end));
}

// --- search ------------------------------------------------------------------------------

void STRNG_FINDX(STRNG_CURSOR *cursor, STRNG pattern) {
    const size_t found = pattern.length ? view(*cursor).find(view(pattern)) : std::string_view::npos;
    cursor->next = found == std::string_view::npos ? cursor->end : cursor->next + found;
}

void STRNG_FIND(STRNG s, STRNG pattern, uint32_t *position) {
    const size_t found = pattern.length ? view(s).find(view(pattern)) : std::string_view::npos;
    *position = found == std::string_view::npos ? s.length : static_cast<uint32_t>(found);
}

void STRNG_FINDC(STRNG s, uint16_t *position, uint8_t c) {
    *position = static_cast<uint16_t>(std::min<size_t>(view(s).find(static_cast<char>(c)), s.length));
}

// --- utilities ---------------------------------------------------------------------------

void STRNG2_TO_UPPER(STRNG *s) { change_case(s, 'a', 'z'); }
void STRNG2_TO_LOWER(STRNG *s) { change_case(s, 'A', 'Z'); }

void STRNG2_TO_UPPER_C(char *text) {
    for (; *text; ++text) *text = static_cast<char>(std::toupper(static_cast<unsigned char>(*text)));
}

void STRNG2_TRIM_RIGHT(STRNG *s) {
    if (!strng_begin(s)) return;
    while (s->length && is_blank(s->data[s->length - 1])) --s->length;
}

void STRNG2_TRIM(STRNG *s) {
    STRNG2_TRIM_RIGHT(s);
    if (strng_status != STRNG_DONE) return;
    STRNG_CURSOR cursor;
    STRNG2_PREPX(*s, &cursor);
    skip_blanks(&cursor);
    strng_assign(s, view(cursor));
}

// The text is taken as a C string: what stands behind a zero byte is lost.
void STRNG2_REMOVE_BLANKS(STRNG *s) {
    if (!strng_begin(s)) return;
    uint32_t kept = 0;
    for (const char c : up_to_zero(view(*s))) {
        if (!is_blank(static_cast<uint8_t>(c))) s->data[kept++] = static_cast<uint8_t>(c);
    }
    s->length = kept;
}

// All three are taken as C strings: a text in which something is replaced ends
// at its first zero byte.
void STRNG2_REPLACE(STRNG *s, STRNG search, STRNG replacement) {
    static Strng result; // keeps its buffer between calls
    if (!strng_begin(s)) return;
    const std::string_view text = up_to_zero(view(*s));
    const std::string_view pattern = up_to_zero(view(search));
    if (pattern.empty()) return;
    size_t found = text.find(pattern);
    if (found == std::string_view::npos) return;
    const std::string_view inserted = up_to_zero(view(replacement));
    result.clear();
    size_t copied = 0;
    for (; found != std::string_view::npos; found = text.find(pattern, copied)) {
        result.append(text.substr(copied, found - copied));
        result.append(inserted);
        copied = found + pattern.size();
    }
    result.append(text.substr(copied));
    strng_assign(s, result.text());
}

void STRNG2_DOS_TO_WIN(STRNG *s) { translate(s, DOS_TO_WIN); }
void STRNG2_WIN_TO_DOS(STRNG *s) { translate(s, WIN_TO_DOS); }
