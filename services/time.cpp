// Dates and times are ints whose decimal digits are their fields: YYYYMMDD and
// HHMMSS. Fields are taken apart and put together without a test: a bad value
// gives bad fields, and what does not fit into an int wraps as ints do.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "kernel/lifecycle.hpp"
#include "object/class.hpp"
#include "platform/platform.hpp"
#include "services/arguments.hpp"

namespace qor {

namespace {

using platform::Calendar;

int64_t millis_base = 0;

enum Language { DE, FR, IT, ENGLISH, LANGUAGES };

// In Latin-1: a byte for each letter.
constexpr const char *DAY_NAMES[7][LANGUAGES] = {
    {"Sonntag", "dimanche", "domenica", "Sunday"},  {"Montag", "lundi", "lunedi", "Monday"},
    {"Dienstag", "mardi", "martedi", "Tuesday"},    {"Mittwoch", "mercredi", "mercoledi", "Wednesday"},
    {"Donnerstag", "jeudi", "giovedi", "Thursday"}, {"Freitag", "vendredi", "venerdi", "Friday"},
    {"Samstag", "samedi", "sabato", "Saturday"},
};
constexpr const char *MONTH_NAMES[12][LANGUAGES] = {
    {"Januar", "janvier", "gennaio", "January"},
    {"Februar", "f\xe9vrier", "febbraio", "February"},
    {"M\xe4rz", "mars", "marzo", "March"},
    {"April", "avril", "aprile", "April"},
    {"Mai", "mai", "maggio", "May"},
    {"Juni", "juin", "giugno", "June"},
    {"Juli", "juillet", "luglio", "July"},
    {"August", "ao\xfbt", "agosto", "August"},
    {"September", "septembre", "settembre", "September"},
    {"Oktober", "octobre", "ottobre", "October"},
    {"November", "novembre", "novembre", "November"},
    {"Dezember",
     "d\xe9"
     "cembre",
     "dicembre", "December"},
};

// --- ints and their fields -------------------------------------------------------

int32_t wrapped(int64_t value) { return static_cast<int32_t>(value); }
int as_int(int64_t field) { return static_cast<int>(field); } // a field of an int

// The three fields of a date (year, month, day) or of a time.
struct Fields {
    int64_t first, second, third;
};

Fields fields_of(int32_t value) { return {value / 10000, value / 100 % 100, value % 100}; }
int32_t joined(const Fields &f) { return wrapped((f.first * 100 + f.second) * 100 + f.third); }

// As a count of seconds, of hours, minutes and seconds.
int64_t seconds_of(const Fields &f) { return (f.first * 60 + f.second) * 60 + f.third; }

// A count of seconds as HHMMSS. Every field of a negative span is negative.
int32_t span(int64_t seconds) { return joined({seconds / 3600, seconds / 60 % 60, seconds % 60}); }

// A local date and time as seconds since the epoch. Daylight saving is marked
// off: in summer the time is told in standard time.
int64_t since_epoch(const Fields &date, const Fields &time) {
    return platform::seconds_of_standard_time({as_int(date.first), as_int(date.second), as_int(date.third),
                                               as_int(time.first), as_int(time.second), as_int(time.third)});
}

int32_t date_of(const Calendar &c) { return joined({c.year, c.month, c.day}); }
int32_t time_of(const Calendar &c) { return joined({c.hour, c.minute, c.second}); }

// 0 is Sunday. A congruence in which every division cuts, also of what is
// negative.
int32_t weekday(const Fields &date) {
    const int64_t a = (14 - date.second) / 12;
    const int64_t y = date.first - a;
    const int64_t m = date.second + 12 * a;
    return wrapped((date.third + (13 * m - 27) / 5 + y + y / 4 - y / 100 + y / 400) % 7);
}

// --- clocks ----------------------------------------------------------------------

int64_t now() {
    return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// A clock that nobody sets.
int64_t running_millis() {
    const auto running = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(running).count();
}

// --- the stack ---------------------------------------------------------------------

Fields pop_fields() { return fields_of(pop_int()); }

Language pop_language() {
    Strng text;
    QORCPU_POPS(&text);
    STRNG2_TO_UPPER(&text);
    const std::string_view name = text.text();
    return name == "DE" ? DE : name == "FR" ? FR : name == "IT" ? IT : ENGLISH;
}

// --- names -------------------------------------------------------------------------

// Empty for a number that is none.
const char *day_name(int64_t day, Language language) { return day >= 0 && day <= 6 ? DAY_NAMES[day][language] : ""; }

const char *month_name(int64_t month, Language language) {
    return month >= 1 && month <= 12 ? MONTH_NAMES[month - 1][language] : "";
}

void get_dayname() {
    const Language language = pop_language();
    QORCPU_PUSHS_C(day_name(weekday(fields_of(date_of(platform::local_time(now())))), language));
}

void int_to_dayname() {
    const Language language = pop_language();
    QORCPU_PUSHS_C(day_name(pop_int(), language));
}

void get_monthname() {
    const Language language = pop_language();
    QORCPU_PUSHS_C(month_name(platform::local_time(now()).month, language));
}

void int_to_monthname() {
    const Language language = pop_language();
    QORCPU_PUSHS_C(month_name(pop_int(), language));
}

// --- now ---------------------------------------------------------------------------

void get_seconds() { QORCPU_PUSHI(wrapped(now())); }
void get_time() { QORCPU_PUSHI(time_of(platform::local_time(now()))); }

// Wraps after 24 days, as an int does that is counted up.
void get_millis() { QORCPU_PUSHI(wrapped(running_millis() - millis_base)); }

// A kept property: a year before 1991 counts as one of the next century. Seconds
// that are turned into a date know no such rule.
void get_date() {
    Calendar today = platform::local_time(now());
    const int years = today.year - 1900;
    today.year = years > 90 ? years + 1900 : years + 2000;
    QORCPU_PUSHI(date_of(today));
}

// --- dates and times ------------------------------------------------------------------

void date_to_day() { QORCPU_PUSHI(weekday(pop_fields())); }
void date_to_month() { QORCPU_PUSHI(wrapped(pop_fields().second)); }
void seconds_to_hours() { QORCPU_PUSHI(span(pop_int())); }
void hours_to_seconds() { QORCPU_PUSHI(wrapped(seconds_of(pop_fields()))); }

void date_diff() {
    const Fields b = pop_fields();
    const Fields a = pop_fields();
    const int64_t seconds = since_epoch(b, {}) - since_epoch(a, {});
    QORCPU_PUSHI(wrapped(seconds / 86400));
}

// Only the clock counts. A span over midnight comes out positive, by the hours:
// within one hour it does not.
void time_diff() {
    Fields b = pop_fields();
    const Fields a = pop_fields();
    if (a.first > b.first) b.first += 24;
    QORCPU_PUSHI(span(seconds_of(b) - seconds_of(a)));
}

void date_time_diff() {
    const Fields time_b = pop_fields();
    const Fields date_b = pop_fields();
    const Fields time_a = pop_fields();
    const Fields date_a = pop_fields();
    QORCPU_PUSHI(span(since_epoch(date_b, time_b) - since_epoch(date_a, time_a)));
}

void time_add() {
    const Fields b = pop_fields();
    QORCPU_PUSHI(span(seconds_of(pop_fields()) + seconds_of(b)));
}

void time_minus() {
    const Fields b = pop_fields();
    QORCPU_PUSHI(span(seconds_of(pop_fields()) - seconds_of(b)));
}

void seconds_to_date_time() {
    const Calendar c = platform::local_time(pop_int());
    QORCPU_PUSHI(time_of(c));
    QORCPU_PUSHI(date_of(c));
}

void date_time_to_seconds() {
    const Fields time = pop_fields();
    const Fields date = pop_fields();
    QORCPU_PUSHI(wrapped(since_epoch(date, time)));
}

// --- texts -------------------------------------------------------------------------

void time_to_string() {
    const Fields time = pop_fields();
    char text[40];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", as_int(time.first), as_int(time.second), as_int(time.third));
    QORCPU_PUSHS_C(text);
}

void date_to_string() {
    const Fields date = pop_fields();
    char text[40];
    std::snprintf(text, sizeof text, "%d.%d.%d", as_int(date.third), as_int(date.second), as_int(date.first));
    QORCPU_PUSHS_C(text);
}

void date_to_string2() {
    const Language language = pop_language();
    const Fields date = pop_fields();
    const std::string text =
        std::to_string(date.third) + ". " + month_name(date.second, language) + " " + std::to_string(date.first);
    QORCPU_PUSHS_C(text.c_str());
}

// Cuts the text from its end into up to three numbers, the last of the text
// becoming the first. Empty fields are skipped and take no place; a field that
// is missing is 0.
Fields pop_numbers_from_end(char delimiter) {
    Strng text;
    QORCPU_POPS(&text);
    int64_t numbers[3] = {};
    size_t count = 0;
    std::string_view rest = text.text();
    while (count < std::size(numbers)) {
        const size_t cut = rest.rfind(delimiter);
        const std::string field(rest.substr(cut + 1)); // npos + 1 is 0
        if (!field.empty())
            numbers[count++] = std::clamp<long long>(std::strtoll(field.c_str(), nullptr, 10), INT32_MIN, INT32_MAX);
        if (cut == std::string_view::npos) break;
        rest = rest.substr(0, cut);
    }
    return {numbers[0], numbers[1], numbers[2]};
}

void string_to_time() {
    const Fields f = pop_numbers_from_end(':');
    QORCPU_PUSHI(joined({f.third, f.second, f.first}));
}

void string_to_date() { QORCPU_PUSHI(joined(pop_numbers_from_end('.'))); }

// DATE_TO_MONTH is listed with two arguments and takes one: the listing is
// kept as it is known.
constexpr Native_method METHODS[] = {
    {"GET_SECONDS", get_seconds, 0, 1, 'P', ""},
    {"GET_TIME2", get_seconds, 0, 1, 'P', ""},
    {"GET_TIME", get_time, 0, 1, 'P', ""},
    {"GET_MILLIS", get_millis, 0, 1, 'P', "[][i millis]"},
    {"GET_DATE", get_date, 0, 1, 'P', ""},
    {"GET_DAYNAME", get_dayname, 1, 1, 'P', ""},
    {"INT_TO_DAYNAME", int_to_dayname, 2, 1, 'P', ""},
    {"GET_MONTHNAME", get_monthname, 1, 1, 'P', ""},
    {"INT_TO_MONTHNAME", int_to_monthname, 2, 1, 'P', ""},
    {"DATE_TO_DAY", date_to_day, 1, 1, 'P', "[i date][i day]"},
    {"DATE_TO_MONTH", date_to_month, 2, 1, 'P', "[i date][i month]"},
    {"SECONDS_TO_HOURS", seconds_to_hours, 1, 1, 'P', ""},
    {"HOURS_TO_SECONDS", hours_to_seconds, 1, 1, 'P', ""},
    {"DATE_DIFF", date_diff, 2, 1, 'P', ""},
    {"TIME_DIFF", time_diff, 2, 1, 'P', ""},
    {"DATE_TIME_DIFF", date_time_diff, 4, 1, 'P', ""},
    {"TIME_ADD", time_add, 2, 1, 'P', ""},
    {"TIME_MINUS", time_minus, 2, 1, 'P', ""},
    {"TIME_TO_STRING", time_to_string, 1, 1, 'P', ""},
    {"STRING_TO_TIME", string_to_time, 1, 1, 'P', ""},
    {"SECONDS_TO_DATE_TIME", seconds_to_date_time, 1, 2, 'P', ""},
    {"DATE_TIME_TO_SECONDS", date_time_to_seconds, 2, 1, 'P', ""},
    {"DATE_TO_STRING", date_to_string, 1, 1, 'P', ""},
    {"STRING_TO_DATE", string_to_date, 1, 1, 'P', ""},
    {"DATE_TO_STRING2", date_to_string2, 2, 1, 'P', ""},
};

} // namespace

void time_init() {
    static bool done = false;
    if (!first_time(done)) return;
    millis_base = running_millis();
    register_methods("QOR", METHODS);
}

} // namespace qor
