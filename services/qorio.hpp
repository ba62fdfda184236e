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

// A block of text at the file's place, and the same with a line end.
int32_t qorio_write_text(int32_t id, std::string_view text);
int32_t QORIO_WRITE_LINE(int32_t id, std::string_view text);

// A line of a text file without its end, LF, CR LF or CR. The range points into
// the file's buffer where the line lies in it whole, else into rest, and is
// valid up to the next operation on the file.
enum class Line_result { LINE, END, TOO_LONG, FAILED };
Line_result qorio_read_line(int32_t id, STRNG_CURSOR *line, STRNG *rest);
// Why the last read of the file failed; empty at a plain end of the file.
std::string qorio_read_failure(int32_t id);

// As the exported operations. A write that was lost since the file was opened
// makes both fail, with the reason.
bool qorio_flush(int32_t id, std::string *reason);
bool qorio_close(int32_t *id, std::string *reason);

// To be called before the current directory changes: a parked file must be found
// again under its name.
void qorio_make_names_absolute();

// Path expansion without a bound on the length.
bool qorio_expand_path(std::string_view name, std::string *path);

} // namespace qor
