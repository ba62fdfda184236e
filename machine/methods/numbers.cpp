// Rounding, functions of reals, random numbers and degrees.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

#include "kernel/saturate.hpp"
#include "machine/methods/texts.hpp"
#include "qor/conv.h"

namespace qor {
namespace {

Strng work; // the text of a number; no method relies on what it holds

double to_radians(double degrees) { return degrees / 180.0 * std::numbers::pi; }
double to_degrees(double radians) { return radians / std::numbers::pi * 180.0; }

bool top_is(Type type) { return type_of(qorcpu_top()) == type; }

// Pops an int, widened, or else a real.
double pop_int_or_real() { return top_is(TYPE_INT) ? qorcpu_pop_int() : qorcpu_pop_real(); }

// --- rounding ------------------------------------------------------------------------

// Leaves the decimal text of a number in work.
void format_rounded(double number, uint32_t decimals) {
    work.clear();
    if (decimals == 0) {
        STRNG_APPLOI(CONV_LIROUNDL(number), &work, 0);
    } else {
        STRNG_APPLREAL(number, &work, decimals);
    }
}

// Pops the number that is to be rounded to a text. False after an abort.
bool pop_operand(double *number) {
    if (!top_is(TYPE_STRING)) {
        *number = qorcpu_pop_real();
        return true;
    }
    STRNG_CURSOR cursor;
    STRNG2_PREPX(borrow(qorcpu_top_text()), &cursor);
    if (!STRNG_GET_LREAL(&cursor, number) || !STRNG_EOX(&cursor)) {
        const Strng text(qorcpu_top_text());
        qorcpu_release_top();
        qormeth_abort("ROUND", "invalid number : ", text);
        return false;
    }
    qorcpu_release_top();
    return true;
}

// Rounds by way of the decimal text. The type of the decimals decides that of
// the result: an int gives a real, a string gives the text.
void m_round() {
    double number;
    STRNG_CURSOR cursor;
    if (top_is(TYPE_INT)) {
        const int32_t decimals = qorcpu_pop_int();
        format_rounded(qorcpu_pop_real(), static_cast<uint32_t>(decimals));
        STRNG2_PREPX(work, &cursor);
        STRNG_EXTRLRE(&cursor, &number);
        qorcpu_push_real(number);
        return;
    }
    STRNG2_PREPX(borrow(qorcpu_top_text()), &cursor);
    uint32_t decimals;
    STRNG_EXTRCARD(&cursor, &decimals);
    qorcpu_release_top();
    if (!pop_operand(&number)) return;
    format_rounded(number, decimals);
    qorcpu_push_text(work.text());
}

void m_floor() {
    if (!top_is(TYPE_REAL)) return qormeth_abort("FLOOR", "FLOOR: wrong type");
    qorcpu_push_real(std::floor(qorcpu_pop_real()));
}

void m_ceil() {
    if (!top_is(TYPE_REAL)) return qormeth_abort("CEIL", "CEIL: wrong type");
    qorcpu_push_real(std::ceil(qorcpu_pop_real()));
}

// --- functions -------------------------------------------------------------------------

void m_sqrt() {
    const double x = qorcpu_pop_real();
    if (x < 0) {
        MSG_SET_PROC_C(qormeth_msg, "SQRT");
        MSG_ABORT_F(qormeth_msg, "invalid argument %lf for QOR.SQRT", x);
        qorcpu_push_real(x);
        return;
    }
    qorcpu_push_real(MATH_SQRT64(x));
}

void m_sin() { qorcpu_push_real(MATH_LRSIN(to_radians(qorcpu_pop_real()))); }
void m_cos() { qorcpu_push_real(MATH_LRCOS(to_radians(qorcpu_pop_real()))); }
void m_tan() { qorcpu_push_real(MATH_LRTAN(to_radians(qorcpu_pop_real()))); }
void m_asin() { qorcpu_push_real(to_degrees(MATH_LRASIN(qorcpu_pop_real()))); }
void m_acos() { qorcpu_push_real(to_degrees(MATH_LRACOS(qorcpu_pop_real()))); }

void m_atan2() {
    const double x = qorcpu_pop_real();
    const double y = qorcpu_pop_real();
    qorcpu_push_real(to_degrees(MATH_LRATAN2(y, x)));
}

void m_power() {
    const double exponent = pop_int_or_real();
    const double base = pop_int_or_real();
    qorcpu_push_real(std::pow(base, exponent));
}

// --- random numbers --------------------------------------------------------------------

// ran1 of Press, Teukolsky, Vetterling and Flannery, Numerical Recipes in C, 2nd
// edition, section 7.1: the minimal standard generator of Park and Miller with a
// Bays-Durham shuffle.
constexpr int32_t RAN_MULTIPLIER = 16807;
constexpr int32_t RAN_MODULUS = 2147483647;
constexpr int32_t RAN_QUOTIENT = RAN_MODULUS / RAN_MULTIPLIER;
constexpr int RAN_SLOTS = 32;
constexpr int RAN_WARM_UP = 8;
constexpr int32_t RAN_SLOT_WIDTH = 1 + (RAN_MODULUS - 1) / RAN_SLOTS;
constexpr double RAN_SCALE = 4.656612875245797e-10;
constexpr double RAN_GREATEST = 0.99999988;

int32_t ran_shuffle[RAN_SLOTS];
int32_t ran_last = 0;

// The next seed: seed * multiplier modulo the modulus. Schrage's method, with
// products that wrap.
int32_t ran_step(int32_t seed) {
    const auto product = static_cast<uint32_t>(seed) * RAN_MULTIPLIER;
    const auto whole = static_cast<uint32_t>(seed / RAN_QUOTIENT) * RAN_MODULUS;
    const auto next = static_cast<int32_t>(product - whole);
    return next < 0 ? next + RAN_MODULUS : next;
}

// The seed lies in the object on the stack: a script that pushes a reference to
// its variable finds the next seed there.
void m_ran1() {
    void *address;
    QORCPU_TOP_VALUE_ADDR(&address, TYPE_INT);
    auto *seed = static_cast<int32_t *>(address);
    if (*seed <= 0 || ran_last == 0) {
        *seed = *seed < 0 && *seed > INT32_MIN ? -*seed : 1;
        for (int j = RAN_SLOTS + RAN_WARM_UP; j-- > 0;) {
            *seed = ran_step(*seed);
            if (j < RAN_SLOTS) ran_shuffle[j] = *seed;
        }
        ran_last = ran_shuffle[0];
    }
    *seed = ran_step(*seed);
    int32_t &slot = ran_shuffle[ran_last / RAN_SLOT_WIDTH];
    ran_last = slot;
    slot = *seed;
    QORCPU_POP();
    qorcpu_push_real(std::min(ran_last * RAN_SCALE, RAN_GREATEST));
}

// --- degrees -----------------------------------------------------------------------------

void m_degree_to_real() {
    const double seconds = pop_int_or_real();
    const int32_t minutes = qorcpu_pop_int();
    const int32_t degrees = qorcpu_pop_int();
    qorcpu_push_real(minutes / 60.0 + degrees + seconds / 3600.0);
}

struct Degrees {
    int32_t degrees;
    int32_t minutes;
    double seconds;
};

Degrees pop_degrees() {
    const double x = qorcpu_pop_real();
    const auto degrees = saturate<int32_t>(std::floor(x));
    const double fraction = x - degrees;
    const auto minutes = saturate<int32_t>(std::floor(fraction * 60.0));
    return {degrees, minutes, (fraction - minutes / 60.0) * 3600.0};
}

void m_real_to_degree() {
    const Degrees d = pop_degrees();
    qorcpu_push_real(d.seconds);
    qorcpu_push_int(d.minutes);
    qorcpu_push_int(d.degrees);
}

// Also displays the text: that is part of what the method does.
void m_degree_string_to_real() {
    const Strng text(qorcpu_top_text()); // the display may run script code
    qorcpu_release_top();
    MESSAGE_DISPLAY_S(text);
    STRNG_CURSOR cursor;
    STRNG2_PREPX(text, &cursor);
    int32_t degrees;
    int32_t minutes = 0;
    double seconds = 0.0;
    uint8_t separator;
    STRNG_EXTRLOI(&cursor, &degrees);
    STRNG_EXTRC(&cursor, &separator);
    if (separator == '.') {
        STRNG_EXTRLOI(&cursor, &minutes);
        STRNG_EXTRC(&cursor, &separator);
        if (separator == '.') STRNG_EXTRLRE(&cursor, &seconds);
    }
    qorcpu_push_int(degrees);
    qorcpu_push_int(minutes);
    qorcpu_push_real(seconds);
    m_degree_to_real();
}

void m_real_to_degree_string() {
    const Degrees d = pop_degrees();
    char text[400]; // the greatest real has 309 digits before its point
    const int length = std::snprintf(text, sizeof text, "%d.%02d.%.2lf", d.degrees, d.minutes, d.seconds);
    qorcpu_push_text({text, static_cast<size_t>(length)});
}

// --- what is gone ------------------------------------------------------------------------

void m_gpstrans() {
    qormeth_abort("GPSTRANS", "GPSTRANS obsolet. Use TRANSFORM.EPSG [g geometry, int 21781 int 4326] [g geometry]");
}

void m_reverse_line() { qormeth_abort("REVERSE_LINE", "Method REVERSE_LINE is lost!\n"); }

constexpr Native_method METHODS[] = {
    {"ROUND", m_round, 2, 1, 'P', "ROUND(Zahl,Dezimalen)  = (Zahl)"},
    {"FLOOR", m_floor, 1, 1, 'P', "FLOOR(Zahl)  = (Zahl)"},
    {"CEIL", m_ceil, 1, 1, 'P', "CEIL(Zahl)  = (Zahl)"},
    {"SQRT", m_sqrt, 1, 1, 'P', ""},
    {"SIN", m_sin, 1, 1, 'P', ""},
    {"COS", m_cos, 1, 1, 'P', ""},
    {"TAN", m_tan, 1, 1, 'P', ""},
    {"ASIN", m_asin, 1, 1, 'P', ""},
    {"ACOS", m_acos, 1, 1, 'P', ""},
    {"ATAN2", m_atan2, 2, 1, 'P', ""},
    {"POWER", m_power, 2, 1, 'P', ""},
    // Another name of POWER: it takes two operands, whatever its count says.
    {"EXP", m_power, 1, 1, 'P', ""},
    {"RAN1", m_ran1, 1, 1, 'P', ""},
    {"DEGREE_TO_REAL", m_degree_to_real, 3, 1, 'P', ""},
    {"REAL_TO_DEGREE", m_real_to_degree, 1, 3, 'P', ""},
    {"DEGREE_STRING_TO_REAL", m_degree_string_to_real, 1, 1, 'P', ""},
    {"REAL_TO_DEGREE_STRING", m_real_to_degree_string, 1, 1, 'P', ""},
    {"GPSTRANS", m_gpstrans, 4, 1, 'P', "[i country, r latitude, r longitude, r altitude][p point]"},
    {"REVERSE_LINE", m_reverse_line, 1, 1, 'P', "[l line][l line]"},
};

} // namespace

void register_numbers() { register_methods("QOR", METHODS); }

} // namespace qor
