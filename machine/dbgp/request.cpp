// What comes from the client: taking requests apart and executing them.
#include <algorithm>
#include <cstdlib>
#include <limits>

#include "kernel/exit.hpp"
#include "kernel/upcalls.hpp"
#include "machine/dbgp/dbgp.hpp"
#include "machine/qorcpu.hpp"
#include "object/map_access.hpp"
#include "qor/textfile.h"

namespace qor {

namespace {

// --- arguments --------------------------------------------------------------------

bool has_argument(const char *key) { return MAP_TEST_KEY_C(dbgp_args, key) != 0; }

std::string argument(const char *key) {
    return has_argument(key) ? std::string(text_of(map_find(dbgp_args, borrow(key)))) : std::string();
}

uint32_t line_of(const char *key) { return static_cast<uint32_t>(dbgp_number(argument(key))); }

// --- file URIs ------------------------------------------------------------------

constexpr size_t SCHEME_LENGTH = 7; // of file://

int hex_digit(char c) {
    const size_t digit = std::string_view("0123456789abcdef0123456789ABCDEF").find(c);
    return digit == std::string_view::npos ? -1 : static_cast<int>(digit % 16);
}

// Percent escapes as the bytes that they stand for; what is none stays.
std::string decode(std::string_view uri) {
    std::string text;
    for (size_t i = 0; i < uri.size(); ++i) {
        const int high = uri[i] == '%' && i + 2 < uri.size() ? hex_digit(uri[i + 1]) : -1;
        const int low = high >= 0 ? hex_digit(uri[i + 2]) : -1;
        if (low >= 0) i += 2;
        text += low >= 0 ? static_cast<char>(high * 16 + low) : uri[i];
    }
    return text;
}

// --- breakpoints ------------------------------------------------------------------

QOR_MAP *sources() {
    QOR_OBJECT *object = map_find(MAP_ROOT(), borrow("SOURCES"));
    return object && type_of(object) == TYPE_MAP ? map_of(object) : nullptr;
}

Strng lower_case(std::string_view text) {
    Strng lower(text);
    STRNG2_TO_LOWER(&lower);
    return lower;
}

// The number of the first source whose name the URI ends with, 0 when there is
// none. Names are the paths by which the files were opened.
uint32_t find_source(const std::string &uri) {
    const Strng wanted = lower_case(decode(uri));
    if (!sources()) return 0;
    Strng key;
    for (const Map_node *entry = map_first(sources()); entry; entry = map_next(entry)) {
        map_key(entry, &key);
        QOR_OBJECT *number = map_object(entry);
        if (type_of(number) == TYPE_INT && wanted.text().ends_with(lower_case(key.text()).text()))
            return static_cast<uint32_t>(number->int_value);
    }
    return 0;
}

// Changing and removing always mean the main script, wherever the breakpoint was
// set: kept, the id that a client knows is the line alone.
void set_in_main_script(bool enabled) {
    QOR_OBJECT *number = sources() ? map_find(sources(), borrow(qorproc_script_name())) : nullptr;
    if (number && type_of(number) == TYPE_INT)
        IMEM_SET_BREAKPOINT(static_cast<uint32_t>(number->int_value), line_of("d"), enabled);
}

// --- commands -----------------------------------------------------------------------

int32_t reply() {
    DBGP_SEND_RESPONSE();
    return 1;
}

int32_t reply_status(const char *status) {
    dbgp_set_attribute("status", status);
    dbgp_set_attribute("reason", "ok");
    return reply();
}

int32_t reply_stop(const char *status, int32_t result) {
    dbgp_add_position();
    reply_status(status);
    return result;
}

int32_t do_status() { return reply_status("starting"); }

// Whatever feature was meant.
int32_t do_feature_set() {
    dbgp_set_attribute("feature", "max_depth");
    dbgp_set_attribute("success", "1");
    return reply();
}

int32_t do_feature_get() {
    dbgp_set_attribute("supported", "0");
    return reply();
}

int32_t do_breakpoint_set() {
    const uint32_t source = has_argument("f") && has_argument("n") ? find_source(argument("f")) : 0;
    if (source) {
        IMEM_SET_BREAKPOINT(source, line_of("n"), 1);
        dbgp_set_attribute("id", argument("n"));
    }
    dbgp_set_attribute("state", source ? "enabled" : "disabled");
    return reply();
}

int32_t do_breakpoint_update() {
    set_in_main_script(argument("s") == "enabled");
    dbgp_set_attribute("id", argument("d"));
    dbgp_set_attribute("state", argument("s"));
    return reply();
}

int32_t do_breakpoint_remove() {
    set_in_main_script(false);
    dbgp_set_attribute("id", argument("d"));
    dbgp_set_attribute("state", "disabled");
    return reply();
}

// The instruction it starts on does not stop it.
int32_t do_run() {
    int32_t running = 1;
    do running = QORCPU_STEP();
    while (running && !qorcpu_instr->break_flag);
    return reply_stop(running ? "break" : "stopped", running);
}

int32_t do_step_into() {
    QORCPU_STEP_INTO();
    return reply_stop("break", 1);
}

int32_t do_step_over() {
    const int32_t running = QORCPU_STEP();
    return reply_stop(running ? "break" : "stop", running);
}

// One frame, however deep the calls are.
int32_t do_stack_get() {
    const Object_var stack = dbgp_element("stack");
    QOR_MAP *map = map_of(stack);
    MAP_INSERT_VALUE_C(map, "where", "{main}");
    MAP_INSERT_VALUE_C(map, "level", "0");
    MAP_INSERT_VALUE_C(map, "type", "file");
    MAP_INSERT_VALUE_C(map, "filename", dbgp_file_uri().c_str());
    MAP_INSERT_IVALUE_C(map, "lineno", static_cast<int32_t>(qorcpu_instr->line));
    dbgp_add_list(stack);
    return reply();
}

Object_var property_element(const std::string &name, QOR_OBJECT *object) {
    Object_var property = dbgp_element("property");
    QOR_MAP *map = map_of(property);
    const auto set = [map](const char *key, const char *value) { MAP_INSERT_VALUE_C(map, key, value); };
    set("name", name.c_str());
    set("fullname", name.c_str());
    set("type", OBJ_get_type_name_C(object));
    set("classname", "none");
    set("size", "100");
    set("key", name.c_str());
    set("constant", "0");
    set("children", "0");
    set("numchildren", "0");
    set("encoding", "none");
    Strng text;
    OBJ_to_string(object, &text);
    MAP_INSERT_SVALUE_C(map, "content", text);
    return property;
}

int32_t do_property_get() {
    const std::string name = argument("n");
    Object_var object;
    int32_t found = 0;
    OBJ_get_object_ref_by_name(borrow(name), &object, &found);
    dbgp_add_list(found ? property_element(name, object) : Object_var());
    return reply();
}

Strng file_text(std::string_view name) {
    Strng text;
    int32_t file;
    int32_t status;
    TEXTFILE_OPEN(&file, borrow(name), &status);
    if (!status) {
        Strng failure("file ");
        failure.append(name);
        failure.append(" not found");
        MESSAGE_ABORT_S(failure);
        return text;
    }
    STRNG_CURSOR line;
    for (TEXTFILE_READLN(&file, &line, &status); status; TEXTFILE_READLN(&file, &line, &status)) {
        const size_t before = text.text().size();
        text.append(view(line));
        text.append('\n');
        if (text.text().size() == before) break; // full: a device may never end
    }
    TEXTFILE_CLOSE(&file);
    return text;
}

int32_t do_source() {
    const std::string uri = argument("f");
    const Strng text = file_text(uri.size() > SCHEME_LENGTH ? decode(uri.substr(SCHEME_LENGTH)) : "");
    Strng encoded;
    CODEC_BASE64_ENCODE(text, &encoded);
    dbgp_set_attribute("encoding", "base64");
    MAP_INSERT_SVALUE_C(dbgp_response, "content", encoded);
    return reply();
}

// Without a reply: the session ends, when it is the main program that waits.
int32_t do_end() { return 0; }

int32_t do_unsupported() {
    reply();
    const No_stop talking;
    MESSAGE_DISPLAY_F("unsupported command %s\n", dbgp_request.c_str());
    return 1;
}

constexpr struct {
    std::string_view name;
    int32_t (*run)();
} COMMANDS[] = {
    {"status", do_status},
    {"feature_set", do_feature_set},
    {"feature_get", do_feature_get},
    {"breakpoint_list", reply},
    {"breakpoint_set", do_breakpoint_set},
    {"breakpoint_update", do_breakpoint_update},
    {"breakpoint_remove", do_breakpoint_remove},
    {"run", do_run},
    {"step_into", do_step_into},
    {"step_over", do_step_over},
    {"detach", reply},
    {"stack_get", do_stack_get},
    {"property_get", do_property_get},
    {"typemap_get", reply},
    {"source", do_source},
    {"context_get", do_end},
    {"stop", do_end},
};

} // namespace

int32_t dbgp_number(const std::string &text, int32_t default_value) {
    char *end;
    const long number = std::strtol(text.c_str(), &end, 10);
    using Limits = std::numeric_limits<int32_t>;
    if (end == text.c_str()) return default_value;
    return static_cast<int32_t>(std::clamp<long>(number, Limits::min(), Limits::max()));
}

// COMMAND -KEY VALUE -KEY "VALUE WITH BLANKS" ... Dashes in a key do not count.
// The last character belongs to an unquoted value whatever it is; a quoted value
// that is not closed is lost.
void DBGP_PARSE_REQUEST() {
    enum { COMMAND, KEY, VALUE, QUOTED } state = COMMAND;
    dbgp_command.clear();
    std::string key;
    std::string value;
    const auto insert = [&] {
        MAP_INSERT_SVALUE(dbgp_args, borrow(key), borrow(value));
        key.clear();
        state = KEY;
    };
    for (size_t i = 0; i < dbgp_request.size(); ++i) {
        const char c = dbgp_request[i];
        switch (state) {
        case COMMAND:
            if (c == ' ')
                state = KEY;
            else
                dbgp_command += c;
            break;
        case KEY:
            if (c == ' ') {
                value.clear();
                state = VALUE;
            } else if (c != '-') {
                key += c;
            }
            break;
        case VALUE:
            if (i + 1 == dbgp_request.size()) {
                value += c;
                insert();
            } else if (c == '"' && value.empty()) {
                state = QUOTED;
            } else if (c == ' ') {
                insert();
            } else {
                value += c;
            }
            break;
        case QUOTED:
            if (c == '"') {
                insert();
                ++i; // the blank behind it
            } else {
                value += c;
            }
            break;
        }
    }
    if (has_argument("i")) dbgp_transaction_id = argument("i");
}

int32_t DBGP_DISPATCH() {
    const auto *command =
        std::find_if(COMMANDS, std::end(COMMANDS), [](const auto &each) { return each.name == dbgp_command; });
    return command == std::end(COMMANDS) ? do_unsupported() : command->run();
}

} // namespace qor
