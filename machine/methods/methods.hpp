// QORMETH: the built-in methods of class QOR, one source per family.
#pragma once

#include "machine/qorcpu.hpp"

namespace qor {

extern MSG qormeth_msg; // channel "QORMETH"

// The global work int: holds the last int popped by *, +, -, /, MOD or a
// comparison. The product of a real and a long on top reads it, a quirk that
// is kept.
extern int32_t qormeth_work_int;

// The top object, taken off the stack; aborts when there is none.
inline Object_var pop_object() {
    Object_var object;
    QORCPU_POP_OBJ(&object);
    return object;
}

// Each family registers its table.
void register_operators();
void register_conversions();
void register_numbers();
void register_strings();
void register_string_lists();
void register_display();
void register_object_methods();
void register_map_methods();
void register_list_methods();
void register_array_methods();
void register_table_methods();
void register_link_methods();
void register_stream_methods();
void register_counters();
void register_plugin_methods();
void register_system_methods();
void register_script_methods();
void register_upload_methods();

// Forgets the scripts that are still to be run.
void forget_next_scripts();

} // namespace qor
