// QORMETH: registers the built-in methods of class QOR.
#include <charconv>

#include "kernel/lifecycle.hpp"
#include "machine/methods/texts.hpp"
#include "qor/map.h"

namespace qor {

MSG qormeth_msg = nullptr;
int32_t qormeth_work_int = 0;

Strng Work_text::spares[SPARES];
int32_t Work_text::used = 0;

std::string_view int_text(int32_t value, Int_digits &digits) {
    const auto end = std::to_chars(digits, digits + sizeof digits, value);
    return {digits, static_cast<size_t>(end.ptr - digits)};
}

namespace {

bool initialized = false;

} // namespace

void qormeth_abort(const char *method, const char *text) {
    MSG_SET_PROC_C(qormeth_msg, method);
    MSG_ABORT2_C(qormeth_msg, text);
}

void qormeth_abort(const char *method, const char *prefix, STRNG value) {
    Strng text(prefix);
    text.append(view(value));
    MSG_SET_PROC_C(qormeth_msg, method);
    MSG_ABORT_S(qormeth_msg, text);
}

void qormeth_abort(const char *method, const char *prefix, STRNG value, const char *suffix) {
    MSG_SET_PROC_C(qormeth_msg, method);
    MSG_PABORT_C(qormeth_msg, prefix, value, suffix);
}

void qormeth_init() {
    if (!qormeth_msg) MSG_CREATE_C(&qormeth_msg, "QORMETH", 0);
    if (!first_time(initialized)) return;
    register_operators();
    register_conversions();
    register_numbers();
    register_strings();
    register_string_lists();
    register_display();
    register_object_methods();
    register_map_methods();
    register_list_methods();
    register_array_methods();
    register_table_methods();
    register_link_methods();
    register_stream_methods();
    register_counters();
    register_plugin_methods();
    register_system_methods();
    register_script_methods();
    register_upload_methods();

    QOR_MAP *in;
    int32_t found;
    MAP_GET_MAP_BY_NAME_C(&in, "IN", &found);
    if (!found) qormeth_abort("INIT", "internal error: IN map is not defined");
}

void qormeth_terminate() {
    MSG_REMOVE(&qormeth_msg);
    forget_next_scripts();
}

} // namespace qor
