// What the kernel may do with text files beyond the exported interface.
#pragma once

#include "kernel/strng.hpp"
#include "kernel/upcalls.hpp" // TEXTFILE_OPEN_APPEND, textfile_flush_all
#include "qor/textfile.h"

namespace qor {

// The expanded names of all included files, in order of first inclusion: a
// list object owned here.
QOR_OBJECT *textfile_include_list();

} // namespace qor
