// STREAM: objects as lines of text, written to a text file or a string.
//
// The lines of a string end at blanks too, so values with blanks do not come
// back from it: a kept limit.
#pragma once

#include "qor/types.h"

namespace qor {

enum Stream_kind : int32_t {
    STREAM_FILE = 1,   // the stream is the id of a text file
    STREAM_STRING = 2, // the stream is a STRNG: the writer appends, the reader consumes from the front
};

// stream is the address of the id or of the STRNG.
void STREAM_WRITE_OBJECT(void *stream, int32_t kind, QOR_OBJECT *object);
// Status 0 when a line could not be read.
void STREAM_READ_OBJECT(void *stream, int32_t kind, QOR_OBJECT **variable, int32_t *status);

} // namespace qor
