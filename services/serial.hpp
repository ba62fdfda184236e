// SERIAL: the text form of objects, for people: a keyword for each value, an
// entry on each line, "}" as the end of a map or list. Class SERIAL writes and
// reads it.
#pragma once

#include "qor/types.h"

namespace qor {

// To a text file, and to the display. Messages come only when the text is
// complete: a script that receives them may change the object.
void SERIAL_WRITE(int32_t file, QOR_OBJECT *object);
void SERIAL_DISPLAY(QOR_OBJECT *object);

// Reads the object that begins on the next line of a text file, and all its
// lines. Status 0 when there is none, when its keyword is unknown and when the
// file ends inside it.
void SERIAL_READ_OBJECT(int32_t file, QOR_OBJECT **variable, int32_t *status);

} // namespace qor
