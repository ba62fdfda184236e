// Conversions between types and forms.
#include <bit>
#include <cstdlib>

#include "kernel/saturate.hpp"
#include "machine/methods/texts.hpp"
#include "qor/conv.h"

namespace qor {
namespace {

constexpr char HEX_DIGITS[] = "0123456789ABCDEF";

Strng work; // the text of a result; no method relies on what it holds

enum class Target { STRING, INT, REAL };

// The frame of the conversions: NULL passes through. False when the top was
// NULL; the NULL of the target type stands in its place then.
bool top_has_value(Target target) {
    if (QORCPU_TOP_IS_DEFINED()) [[likely]]
        return true;
    QORCPU_POP();
    switch (target) {
    case Target::STRING: QORCPU_PUSH_UNDEF_STRING(); break;
    case Target::INT: QORCPU_PUSH_UNDEF_INT(); break;
    case Target::REAL: QORCPU_PUSH_UNDEF_REAL(); break;
    }
    return false;
}

[[gnu::cold]] void wrong_type(const char *method) {
    MSG_SET_PROC_C(qormeth_msg, method);
    MSG_ABORT_F(qormeth_msg, "%s: wrong type", method);
}

// The frame of a conversion that takes one type only.
bool top_converts(Type type, Target target, const char *method) {
    if (!top_has_value(target)) return false;
    if (type_of(qorcpu_top()) == type) [[likely]]
        return true;
    wrong_type(method);
    return false;
}

// Pops a string that must be a number up to its end.
bool pop_number(double *number) {
    STRNG_CURSOR cursor;
    STRNG2_PREPX(borrow(qorcpu_top_text()), &cursor);
    const bool whole = STRNG_GET_LREAL(&cursor, number) && STRNG_EOX(&cursor);
    qorcpu_release_top();
    return whole;
}

// --- numbers ---------------------------------------------------------------------

void m_to_string() {
    if (!top_has_value(Target::STRING)) return;
    QOR_OBJECT *top = qorcpu_top();
    // A text that only the stack holds is its own result.
    if (type_of(top) == TYPE_STRING && is_unshared(top) && c_text(text_of(top)).size() == text_of(top).size()) return;
    work.assign(rendered(top, work));
    QORCPU_POP();
    qorcpu_push_text(work.text());
}

// Pops a real, or a text that is a number. False when the text is none: a NULL
// int stands in its place.
bool take_number(double *number) {
    if (type_of(qorcpu_top()) == TYPE_REAL) {
        *number = qorcpu_pop_real();
        return true;
    }
    if (pop_number(number)) return true;
    QORCPU_PUSH_UNDEF_INT();
    return false;
}

void m_to_int() {
    if (!top_has_value(Target::INT)) return;
    double number;
    switch (type_of(qorcpu_top())) {
    case TYPE_STRING:
    case TYPE_REAL:
        if (take_number(&number)) qorcpu_push_int(CONV_LIROUNDL(number));
        return;
    case TYPE_INT: return;
    default: wrong_type("TO_INT"); return;
    }
}

// Unlike TO_INT, reals are cut. NULL and a text that is no number give a NULL
// int: there is no NULL of type long to push, and scripts rely on it.
void m_to_long() {
    if (!top_has_value(Target::INT)) return;
    double number;
    switch (type_of(qorcpu_top())) {
    case TYPE_STRING:
    case TYPE_REAL:
        if (take_number(&number)) qorcpu_push_long(saturate<int64_t>(number));
        return;
    case TYPE_INT: qorcpu_push_long(qorcpu_pop_int()); return;
    case TYPE_LONG: return;
    default: wrong_type("TO_LONG"); return;
    }
}

// Unlike the other two, this takes the number that a text starts with.
void m_to_real() {
    if (!top_has_value(Target::REAL)) return;
    switch (type_of(qorcpu_top())) {
    case TYPE_STRING: {
        work.assign(qorcpu_top_text());
        qorcpu_release_top();
        const char *text = work.c_str();
        char *end;
        const double number = std::strtod(text, &end);
        if (end == text) {
            QORCPU_PUSH_UNDEF_REAL();
        } else {
            qorcpu_push_real(number);
        }
        return;
    }
    case TYPE_INT: qorcpu_push_real(qorcpu_pop_int()); return;
    case TYPE_REAL: return;
    default: wrong_type("TO_REAL");
    }
}

// --- binary and hexadecimal forms ---------------------------------------------------

// 0 for what is no digit.
uint8_t hex_value(char c) {
    if (c >= '0' && c <= '9') return static_cast<uint8_t>(c - '0');
    if (c >= 'A' && c <= 'F') return static_cast<uint8_t>(c - 'A' + 10);
    return 0;
}

uint8_t hex_value_folded(char c) { return hex_value(c >= 'a' && c <= 'f' ? static_cast<char>(c - 'a' + 'A') : c); }

// The last digits of a text as a number.
template <size_t DIGITS> uint64_t hex_number(std::string_view text) {
    if (text.size() > DIGITS) text.remove_prefix(text.size() - DIGITS);
    uint64_t value = 0;
    for (const char c : text) value = value << 4 | hex_value_folded(c);
    return value;
}

// A number as upper-case digits.
template <size_t DIGITS> void push_hex(uint64_t value) {
    char text[DIGITS];
    for (size_t i = DIGITS; i-- > 0; value >>= 4) text[i] = HEX_DIGITS[value & 15];
    qorcpu_push_text({text, DIGITS});
}

uint64_t reversed_bytes(uint64_t value) { return __builtin_bswap64(value); }

void m_int_to_binstring() {
    if (!top_converts(TYPE_INT, Target::STRING, "INT_TO_BINSTRING")) return;
    const auto value = static_cast<uint32_t>(qorcpu_pop_int());
    char text[32];
    for (int i = 0; i < 32; ++i) text[i] = value >> (31 - i) & 1 ? '1' : '0';
    qorcpu_push_text({text, sizeof text});
}

void m_binstring_to_int() {
    if (!top_converts(TYPE_STRING, Target::INT, "BINSTRING_TO_INT")) return;
    uint32_t value = 0;
    for (const char c : qorcpu_top_text()) value = value << 1 | (c == '1');
    qorcpu_release_top();
    qorcpu_push_int(static_cast<int32_t>(value));
}

void m_int_to_hexstring() {
    if (!top_converts(TYPE_INT, Target::STRING, "INT_TO_HEXSTRING")) return;
    push_hex<8>(static_cast<uint32_t>(qorcpu_pop_int()));
}

void m_hexstring_to_int() {
    if (!top_converts(TYPE_STRING, Target::INT, "HEXSTRING_TO_INT")) return;
    const auto value = static_cast<uint32_t>(hex_number<8>(qorcpu_top_text()));
    qorcpu_release_top();
    qorcpu_push_int(static_cast<int32_t>(value));
}

// The bytes of a real are shown with the low one first, as they lie in memory on
// the machines that the form comes from. NULL gives a NULL real, not a NULL
// string: scripts rely on it.
void m_real_to_hexstring() {
    if (!top_converts(TYPE_REAL, Target::REAL, "REAL_TO_HEXSTRING")) return;
    push_hex<16>(reversed_bytes(std::bit_cast<uint64_t>(qorcpu_pop_real())));
}

void m_hexstring_to_real() {
    if (!top_converts(TYPE_STRING, Target::REAL, "HEXSTRING_TO_REAL")) return;
    const uint64_t value = reversed_bytes(hex_number<16>(qorcpu_top_text()));
    qorcpu_release_top();
    qorcpu_push_real(std::bit_cast<double>(value));
}

// Here and in the reverse a zero byte ends the text.
void m_string_to_hexstring() {
    if (!top_converts(TYPE_STRING, Target::STRING, "STRING_TO_HEXSTRING")) return;
    work.clear();
    for (const char c : qorcpu_top_text()) {
        if (!c) break;
        const auto byte = static_cast<uint8_t>(c);
        work.append(HEX_DIGITS[byte >> 4]);
        work.append(HEX_DIGITS[byte & 15]);
    }
    qorcpu_release_top();
    qorcpu_push_text(work.text());
}

// Only printable ASCII and byte 127 come through, and lower-case digits count 0:
// the round trip loses the other bytes, which scripts rely on to clean a text.
void m_hexstring_to_string() {
    if (!top_converts(TYPE_STRING, Target::STRING, "HEXSTRING_TO_STRING")) return;
    std::string_view text = qorcpu_top_text();
    text = text.substr(0, text.find('\0'));
    work.clear();
    for (size_t i = 0; i + 1 < text.size(); i += 2) {
        const int byte = hex_value(text[i]) << 4 | hex_value(text[i + 1]);
        if (byte >= 32 && byte <= 127) work.append(static_cast<char>(byte));
    }
    qorcpu_release_top();
    qorcpu_push_text(work.text());
}

// --- characters ------------------------------------------------------------------------

void push_character(char c) { qorcpu_push_text({&c, 1}); }

void m_chr() { push_character(static_cast<char>(qorcpu_pop_int())); }

void m_ascii() {
    const std::string_view text = qorcpu_top_text();
    const int32_t value = text.empty() ? 0 : static_cast<uint8_t>(text[0]);
    qorcpu_release_top();
    qorcpu_push_int(value);
}

void m_quote() { push_character('\''); }
void m_tab() { push_character('\t'); }
void m_cr() { push_character('\r'); }

constexpr Native_method METHODS[] = {
    {"TO_STRING", m_to_string, 1, 1, 'P', "TO_STRING(INT oder REAL) = (STRING-Wert)"},
    {"TO_INT", m_to_int, 1, 1, 'P', "TO_INT(STRING oder REAL) = (INT-Wert)"},
    {"TO_LONG", m_to_long, 1, 1, 'P', "TO_LONG(STRING, INT oder LONG) = (LONG-Wert)"},
    {"TO_REAL", m_to_real, 1, 1, 'P', "TO_REAL(STRING oder INT) = (REAL-Wert)"},
    {"INT_TO_BINSTRING", m_int_to_binstring, 1, 1, 'P', "INT_TO_BINSTRING(INT)"},
    {"BINSTRING_TO_INT", m_binstring_to_int, 1, 1, 'P', "BINSTRING_TO_INT(STRING)"},
    {"INT_TO_HEXSTRING", m_int_to_hexstring, 1, 1, 'P', "INT_TO_HEXSTRING(INT)"},
    {"HEXSTRING_TO_INT", m_hexstring_to_int, 1, 1, 'P', "HEXSTRING_TO_INT(STRING)"},
    {"REAL_TO_HEXSTRING", m_real_to_hexstring, 1, 1, 'P', "REAL_TO_HEXSTRING(REAL)"},
    {"HEXSTRING_TO_REAL", m_hexstring_to_real, 1, 1, 'P', "HEXSTRING_TO_REAL(STRING)"},
    {"STRING_TO_HEXSTRING", m_string_to_hexstring, 1, 1, 'P', "STRING_TO_HEXSTRING(STRING)"},
    {"HEXSTRING_TO_STRING", m_hexstring_to_string, 1, 1, 'P', "HEXSTRING_TO_STRING(STRING)"},
    {"REAL_TO_CDOUBLEHEX", m_real_to_hexstring, 1, 1, 'P', "REAL_TO_CDOUBLEHEX(REAL)"},
    {"CDOUBLEHEX_TO_REAL", m_hexstring_to_real, 1, 1, 'P', "CDOUBLEHEX_TO_REAL(STRING)"},
    {"STRING_TO_CSTRINGHEX", m_string_to_hexstring, 1, 1, 'P', "STRING_TO_CSTRINGHEX(STRING)"},
    {"CSTRINGHEX_TO_STRING", m_hexstring_to_string, 1, 1, 'P', "CSTRINGHEX_TO_STRING(STRING)"},
    {"CHR", m_chr, 1, 1, 'P', "CHR(ASCII-Wert)  = (Character)"},
    {"ASCII", m_ascii, 1, 1, 'P', "ASCII(Character)  = (ASCII-Wert)"},
    {"QUOTE", m_quote, 0, 1, 'P', "[][s quote]"},
    {"TAB", m_tab, 0, 1, 'P', "[][s tab]"},
    {"CR", m_cr, 0, 1, 'P', "[][s tab]"},
};

} // namespace

void register_conversions() { register_methods("QOR", METHODS); }

} // namespace qor
