// Numbers in strings: appending them in fields and reading them at a cursor.
#include <algorithm>
#include <charconv>
#include <limits>

#include "kernel/strng_core.hpp"

namespace qor {
namespace {

// The text of a real never has more than 1,074 decimals that are not zero, the
// exponent of the smallest one. More are not shown, whatever is asked for.
constexpr uint32_t MOST_DECIMALS = 1074;
// A sign, 309 digits before the point, the point and the decimals.
constexpr size_t REAL_SIZE = 1 + 309 + 1 + MOST_DECIMALS;
// What C takes for a precision that is not one, here a negative count.
constexpr int DEFAULT_DECIMALS = 6;

// The greatest real that may take another digit.
constexpr double REAL_BOUND = 1.7e37;

constexpr uint32_t HEX_FILLED = 4;       // digits that a hexadecimal field is filled up to
constexpr uint32_t HEX_GREATEST = 65535; // what reading stays at

template <class Number> void append_decimal(Number number, STRNG *destination, uint32_t width) {
    if (!strng_begin(destination)) return;
    char digits[16];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    strng_append_right(destination, {digits, end}, width);
}

bool is_digit(uint8_t c) { return c >= '0' && c <= '9'; }

// Skips blanks and takes the sign. False with status 5 when nothing else is there.
bool begin_number(STRNG_CURSOR *cursor, bool *negative) {
    strng_status = STRNG_DONE;
    *negative = false;
    skip_blanks(cursor);
    if (cursor->next >= cursor->end) {
        strng_status = STRNG_NOTHING_FOUND;
        return false;
    }
    if (*cursor->next == '-' || *cursor->next == '+') *negative = *cursor->next++ == '-';
    return true;
}

// Takes all digits; beyond greatest the status is 4 and the result 0.
uint64_t take_digits(STRNG_CURSOR *cursor, uint64_t greatest) {
    uint64_t value = 0;
    bool overflow = false;
    for (; cursor->next < cursor->end && is_digit(*cursor->next); ++cursor->next) {
        overflow |= __builtin_mul_overflow(value, uint64_t{10}, &value);
        overflow |= __builtin_add_overflow(value, static_cast<uint64_t>(*cursor->next - '0'), &value);
    }
    if (!overflow && value <= greatest) return value;
    strng_status = STRNG_OVERFLOW;
    return 0;
}

template <class Number> void take_signed(STRNG_CURSOR *cursor, Number *number) {
    bool negative;
    *number = 0;
    if (!begin_number(cursor, &negative)) return;
    const uint64_t value = take_digits(cursor, static_cast<uint64_t>(std::numeric_limits<Number>::max()) + negative);
    *number = static_cast<Number>(negative ? 0 - value : value);
}

// The sign is accepted and has no effect.
template <class Number> void take_unsigned(STRNG_CURSOR *cursor, Number *number) {
    bool negative;
    *number = 0;
    if (begin_number(cursor, &negative)) {
        *number = static_cast<Number>(take_digits(cursor, std::numeric_limits<Number>::max()));
    }
}

void take_real(STRNG_CURSOR *cursor, double *number) {
    bool negative;
    *number = 0.0;
    if (!begin_number(cursor, &negative)) return;
    double value = 0.0;
    bool overflow = false;
    const uint8_t *p = cursor->next;
    for (; p < cursor->end && is_digit(*p); ++p) {
        overflow |= value > REAL_BOUND;
        value = value * 10.0 + (*p - '0');
    }
    if (p < cursor->end && *p == '.') {
        // The weight is divided again for each digit, not taken from a table:
        // the last bits of what scripts read depend on it.
        double weight = 1.0;
        for (++p; p < cursor->end && is_digit(*p); ++p) {
            weight /= 10.0;
            value += weight * (*p - '0');
        }
    }
    cursor->next = p;
    if (overflow) {
        strng_status = STRNG_OVERFLOW;
        return;
    }
    *number = negative ? -value : value;
}

// The testing form of a reader: the cursor moves only past a whole number.
template <class Number>
int32_t take_if_number(STRNG_CURSOR *cursor, Number *number, void (*take)(STRNG_CURSOR *, Number *)) {
    skip_blanks(cursor);
    STRNG_CURSOR trial = *cursor;
    take(&trial, number);
    if (strng_status != STRNG_DONE || trial.next == cursor->next) return 0;
    *cursor = trial;
    return 1;
}

// -1 for a byte that is no hexadecimal digit.
int hex_value(uint8_t c) {
    if (is_digit(c)) return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

} // namespace
} // namespace qor

using namespace qor;

// --- appending -----------------------------------------------------------------

void STRNG_APPINT(int32_t number, STRNG *destination, uint32_t width) { append_decimal(number, destination, width); }

void STRNG_APPLOI(int64_t number, STRNG *destination, uint32_t width) {
    append_decimal(static_cast<int32_t>(number), destination, width);
}

void STRNG_APPCAR(uint32_t number, STRNG *destination, uint32_t width) { append_decimal(number, destination, width); }

void STRNG_APPHEX(int32_t number, STRNG *destination, uint32_t width) {
    if (!strng_begin(destination)) return;
    // The digits of a negative number are the complements of those of -1 - number,
    // so its leading F's, which the field may add again, are not among them.
    const bool negative = number < 0;
    uint32_t rest = static_cast<uint32_t>(negative ? ~number : number);
    char digits[8];
    char *const end = digits + sizeof digits;
    char *first = end;
    do {
        *--first = "0123456789ABCDEF"[negative ? 15 - rest % 16 : rest % 16];
        rest /= 16;
    } while (rest);
    const uint32_t least = std::min(width, HEX_FILLED);
    while (end - first < static_cast<int>(least)) *--first = negative ? 'F' : '0';
    strng_append_right(destination, {first, end}, width);
}

void STRNG_APPLREAL(double number, STRNG *destination, uint32_t decimals) {
    if (!strng_begin(destination)) return;
    const int shown = decimals > INT32_MAX ? DEFAULT_DECIMALS : static_cast<int>(std::min(decimals, MOST_DECIMALS));
    char text[REAL_SIZE];
    const auto end = std::to_chars(text, text + sizeof text, number, std::chars_format::fixed, shown).ptr;
    strng_append(destination, {text, end});
}

// --- extraction ----------------------------------------------------------------

void STRNG_EXTRIN(STRNG_CURSOR *cursor, int16_t *number) { take_signed(cursor, number); }
void STRNG_EXTRCA(STRNG_CURSOR *cursor, uint16_t *number) { take_unsigned(cursor, number); }
void STRNG_EXTRLOI(STRNG_CURSOR *cursor, int32_t *number) { take_signed(cursor, number); }
void STRNG_EXTRCARD(STRNG_CURSOR *cursor, uint32_t *number) { take_unsigned(cursor, number); }
void STRNG_EXTRRE(STRNG_CURSOR *cursor, double *number) { take_real(cursor, number); }
void STRNG_EXTRLRE(STRNG_CURSOR *cursor, double *number) { take_real(cursor, number); }

// The sign comes in only behind the test of the digits, so the most negative
// number overflows here; it always has.
void STRNG_EXTRLONG(STRNG_CURSOR *cursor, int64_t *number) {
    bool negative;
    *number = 0;
    if (!begin_number(cursor, &negative)) return;
    const auto value = static_cast<int64_t>(take_digits(cursor, INT64_MAX));
    *number = negative ? -value : value;
}

void STRNG_EXTRHE(STRNG_CURSOR *cursor, uint32_t *number) {
    *number = 0;
    strng_status = STRNG_DONE;
    skip_blanks(cursor);
    if (cursor->next >= cursor->end) strng_status = STRNG_NOTHING_FOUND;
    while (cursor->next < cursor->end) {
        const int digit = hex_value(*cursor->next++);
        if (digit < 0) break; // consumed as well
        *number = std::min(*number * 16 + static_cast<uint32_t>(digit), HEX_GREATEST);
    }
}

int32_t STRNG_GET_LOI(STRNG_CURSOR *cursor, int32_t *number) { return take_if_number(cursor, number, STRNG_EXTRLOI); }
int32_t STRNG_GET_LREAL(STRNG_CURSOR *cursor, double *number) { return take_if_number(cursor, number, STRNG_EXTRLRE); }
