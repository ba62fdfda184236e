// QORCOMP: the one-pass compiler.
#pragma once

#include "kernel/strng.hpp"

namespace qor {

// Compiles a whole script. 1 when done, 0 when the script could not be read or
// a declaration failed; compile errors that abort do not return.
void READ_SCRIPT_FROM(STRNG name, int32_t parse, int32_t *status);

} // namespace qor
