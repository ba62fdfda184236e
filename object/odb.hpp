// ODB: the swap file, which takes large objects out of memory. It exists while
// the process runs; a position in it stays valid and can be read at any time.
#pragma once

#include "qor/types.h"

namespace qor {

void ODB_write_object(QOR_OBJECT *object, int64_t *position);
void ODB_read_object(int64_t position, QOR_OBJECT **variable);

// What the swap file needs of text files beyond the exported interface, and the
// text files define. False without an open file of the id.
bool textfile_get_position(int32_t file, uint64_t *position);
bool textfile_set_position(int32_t file, uint64_t position);
bool textfile_flushed(int32_t file); // flushes; false when anything was lost
// Shows the file's row; the id must be one.
void textfile_show(int32_t file);

} // namespace qor
