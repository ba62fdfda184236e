// QORCOMP: the one-pass compiler.
#pragma once

#include "kernel/strng.hpp"

namespace qor {

// Compiles a whole script. 1 when done, 0 when the script could not be read or
// a declaration failed; compile errors that abort do not return.
void READ_SCRIPT_FROM(STRNG name, int32_t parse, int32_t *status);

// Adds the declarations of a further file to the running program, behind its end.
// 1 when done, and for a file that has been read already; 0 when it could not be
// read, when a declaration failed (what was declared before that one stays), and
// while another file is being compiled.
void READ_SCRIPT_PART_FROM(STRNG name, int32_t *status);

} // namespace qor
