// What the kernel may do with files beyond the exported interface.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kernel/strng.hpp"
#include "qor/qorio.h"

namespace qor {

bool qorio_get_position(int32_t id, uint64_t *position);
bool qorio_set_position(int32_t id, uint64_t position);
// A block and a line end.
int32_t QORIO_WRITE_LINE(int32_t id, std::string_view text);
// A line of a text file without its end, LF, CR LF or CR. False at the end of
// the file. The range points into the file's buffer where the line lies in it
// whole, else into rest, and is valid up to the next operation on the file.
bool qorio_read_line(int32_t id, STRNG_CURSOR *line, STRNG *rest);
// Path expansion without a bound on the length.
bool qorio_expand_path(std::string_view name, std::string *path);

} // namespace qor
