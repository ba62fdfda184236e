// Scripts from a script: more declarations for the running program, and the queue
// of scripts to run next. The kernel only keeps that queue; whoever takes from
// it starts them.
#include <string>
#include <vector>

#include "compiler/qorcomp.hpp"
#include "kernel/exit.hpp"
#include "machine/methods/methods.hpp"
#include "qor/map.h"
#include "services/textfile.hpp"

namespace qor {

namespace {

// Maps with the key "script" and the options of that script.
QOR_OBJECT *next_scripts() {
    static QOR_OBJECT *list = nullptr;
    if (!list) BTYP_create_list(&list);
    return list;
}

// --- the program -------------------------------------------------------------------

void script_get() { qorcpu_push_text(qorproc_script_name()); }

void include() {
    Strng name;
    QORCPU_POPS(&name);
    int32_t status = 0;
    READ_SCRIPT_PART_FROM(name, &status);
    qorcpu_push_boolean(status != 0);
}

void includes_get() { QORCPU_PUSH_OBJ(textfile_include_list()); }

// Gathered before anything is shown: showing may run script code that includes.
void includes_display() {
    Object_var includes;
    OBJ_copy_object(textfile_include_list(), &includes);
    std::vector<Strng> lines;
    Object_var element;
    int32_t found;
    BTYP_reset_read_list(includes);
    for (;;) {
        BTYP_read_next_listobj_ref(includes, &element, &found);
        if (!found) break;
        Strng &line = lines.emplace_back("   ");
        line.append(text_of(element));
    }
    MESSAGE_DISPLAY1_C("\n");
    MESSAGE_DISPLAY1_C("QOR include files:\n");
    if (lines.empty()) MESSAGE_DISPLAY1_C("   no include files\n");
    for (const Strng &line : lines) MESSAGE_DISPLAY_S(line);
}

// --- scripts to run next -------------------------------------------------------------

void set_next_script() {
    Strng name;
    QORCPU_POPS(&name);
    QOR_MAP *map = nullptr;
    MAP_CREATE_NONAME(&map);
    Object_var element;
    BTYP_create_map_ref(&element, map);
    MAP_INSERT_VALUE_C(map, "script", name.c_str());
    BTYP_append_to_list(next_scripts(), element);
}

// The option is one of the script that was queued last. Without one there is
// nothing to keep it in.
void set_next_script_option() {
    const Object_var value = pop_object();
    Strng name;
    QORCPU_POPS(&name);
    Object_var last;
    int32_t found = 0;
    OBJ_index_object(next_scripts(), borrow("LAST"), &last, &found);
    if (!found) return;
    QOR_MAP *map = nullptr;
    BTYP_read_map_ref(last, &map);
    MAP_INSERT_OBJECT(map, name, value);
}

void get_next_script() {
    Object_var element;
    int32_t found = 0;
    BTYP_pop_first(next_scripts(), &element, &found);
    if (found) {
        QOR_MAP *map = nullptr;
        BTYP_read_map_ref(element, &map);
        Strng name;
        MAP_MAP_VALUE_C(map, "script", &name, &found);
        if (found) qorcpu_push_text(name.text());
    }
    qorcpu_push_boolean(found != 0);
}

void get_next_script_list() {
    const bool found = !BTYP_list_is_empty(next_scripts());
    if (found) {
        QORCPU_PUSH_OBJ(next_scripts());
        forget_next_scripts();
    }
    qorcpu_push_boolean(found);
}

constexpr Native_method METHODS[] = {
    {"SCRIPT_GET", script_get, 0, 1, 'P', ""},
    {"SET_NEXT_SCRIPT", set_next_script, 1, 0, 'P', ""},
    {"SET_NEXT_SCRIPT_OPTION", set_next_script_option, 2, 0, 'P', ""},
    {"GET_NEXT_SCRIPT", get_next_script, 0, 2, 'P', ""},
    {"GET_NEXT_SCRIPT_LIST", get_next_script_list, 0, 2, 'P', ""},
    {"INCLUDE", include, 1, 1, 'P', "[s script][b status]"},
    {"INCLUDES_DISPLAY", includes_display, 0, 0, 'P', "[][]"},
    {"INCLUDES_GET", includes_get, 0, 1, 'P', "[][li includes]"},
    {"DISPLAY_IMEM", IMEM_DISPLAY, 0, 0, 'P', "[][]"},
};

} // namespace

void forget_next_scripts() {
    while (!BTYP_list_is_empty(next_scripts())) BTYP_remove_first(next_scripts());
}

void register_script_methods() { register_methods("QOR", METHODS); }

} // namespace qor
