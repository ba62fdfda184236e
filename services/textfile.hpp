// What the kernel may do with text files beyond the exported interface.
#pragma once

#include "kernel/strng.hpp"
#include "qor/textfile.h"

namespace qor {

// Opens for appending.
void TEXTFILE_OPEN_APPEND(int32_t *file, STRNG name, int32_t *status);

// The expanded names of all included files, in order of first inclusion: a
// list object owned here.
QOR_OBJECT *textfile_include_list();

} // namespace qor
