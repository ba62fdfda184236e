/* TEXTFILE: files of text lines. File ids are 0 to 1023; another id, and a
 * file that is not open for what is asked, abort. A status is 1 for success. */
#ifndef QOR_TEXTFILE_H
#define QOR_TEXTFILE_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API void TEXTFILE_CREATE(int32_t *file, STRNG name, int32_t *status);
QOR_API void TEXTFILE_OPEN(int32_t *file, STRNG name, int32_t *status); /* expands the path */
QOR_API void TEXTFILE_REMOVE(STRNG name, int32_t *status);
QOR_API void TEXTFILE_CLOSE(int32_t *file); /* a closed file is no fault */
QOR_API void TEXTFILE_FLUSH(const int32_t *file);
/* A line without its end. The range is valid up to the next read of the file. */
QOR_API void TEXTFILE_READLN(const int32_t *file, STRNG_CURSOR *line, int32_t *status);
QOR_API void TEXTFILE_WRITE(const int32_t *file, STRNG text);
QOR_API void TEXTFILE_WRITE_C(const int32_t *file, const char *text);
QOR_API void TEXTFILE_WRITELN(const int32_t *file, STRNG text);
QOR_API void TEXTFILE_WRITELN_C(const int32_t *file, const char *text);
/* Raw byte offsets. */
QOR_API void TEXTFILE_GET_POS(const int32_t *file, uint32_t *position, int32_t *status);
QOR_API void TEXTFILE_SET_POS(const int32_t *file, uint32_t position, int32_t *status);
/* Copies the lines of the named file into an open one. */
QOR_API void TEXTFILE_INSERT(STRNG name, const int32_t *file, int32_t *status);
/* An object in the stream form, and the next object of such a file; status 0 at
 * the end. */
QOR_API void TEXTFILE_WRITE_OBJECT(const int32_t *file, QOR_OBJECT *object);
QOR_API void TEXTFILE_READ_OBJECT(const int32_t *file, QOR_OBJECT **variable, int32_t *status);
/* The name the file was opened by and the lines read so far. */
QOR_API void TEXTFILE_GET_NAME(const int32_t *file, STRNG *name, uint32_t *lines);
/* The next line of a script: follows |INCL into the named file and returns to
 * the including one. The file id changes on the way. */
QOR_API void TEXTFILE_READ_SOURCE_LINE(int32_t *file, STRNG_CURSOR *line, int32_t *status);

QOR_END_C

#endif
