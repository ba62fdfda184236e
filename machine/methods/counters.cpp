// The run counters: input, output and error objects. They count across all
// sources and runs; nothing but a script sets them back.
#include "kernel/counters.hpp"
#include "machine/methods/methods.hpp"

namespace qor {
namespace {

void incr_input_count() { count_one(input_count); }
void incr_output_count() { count_one(output_count); }
void incr_error_count() { count_one(error_count); }

void count_input_object() {
    count_one(input_count);
    if (input_count % 1000 == 0) MESSAGE_DISPLAY_F("   %d objects processed\n", input_count);
}

void count_output_object() {
    count_one(output_count);
    if (output_count % 100 == 0) MESSAGE_DISPLAY_F("   %d objects written\n", output_count);
}

void get_input_count() { qorcpu_push_int(input_count); }
void get_output_count() { qorcpu_push_int(output_count); }
void get_error_count() { qorcpu_push_int(error_count); }

void set_input_count() { input_count = qorcpu_pop_int(); }
void set_output_count() { output_count = qorcpu_pop_int(); }
void set_error_count() { error_count = qorcpu_pop_int(); }

// COUNT_OUTPUT_OBJECT and COUNT_ERROR_OBJECT are listed with one argument and
// take none. The listing is documentation, and it stays as its readers know it.
const Native_method counter_methods[] = {
    {"INCR_INPUT_COUNT", incr_input_count, 0, 0, 'I', "[][]"},
    {"COUNT_INPUT_OBJECT", count_input_object, 0, 0, 'P', ""},
    {"GET_INPUT_COUNT", get_input_count, 0, 1, 'P', "[][i count]"},
    {"SET_INPUT_COUNT", set_input_count, 1, 0, 'P', "[i count][]"},
    {"SET_INPUT_COUNT_QORW", set_input_count, 1, 0, 'P', "[i count][]"},
    {"INCR_OUTPUT_COUNT", incr_output_count, 0, 0, 'I', "[][]"},
    {"COUNT_OUTPUT_OBJECT", count_output_object, 1, 0, 'P', ""},
    {"GET_OUTPUT_COUNT", get_output_count, 0, 1, 'P', "[][i count]"},
    {"SET_OUTPUT_COUNT", set_output_count, 1, 0, 'P', "[i count][]"},
    {"SET_OUTPUT_COUNT_QORW", set_output_count, 1, 0, 'P', "[i count][]"},
    {"INCR_ERROR_COUNT", incr_error_count, 0, 0, 'I', "[][]"},
    {"COUNT_ERROR_OBJECT", incr_error_count, 1, 0, 'P', ""},
    {"GET_ERROR_COUNT", get_error_count, 0, 1, 'P', "[][i count]"},
    {"SET_ERROR_COUNT", set_error_count, 1, 0, 'P', "[i count][]"},
    {"SET_ERROR_COUNT_QORW", set_error_count, 1, 0, 'P', "[i count][]"},
};

} // namespace

void register_counters() { register_methods("QOR", counter_methods); }

} // namespace qor
