/* LEX2: cuts a script, or any text, into blank-separated words. One instance. */
#ifndef QOR_LEX2_H
#define QOR_LEX2_H

#include "qor/types.h"

QOR_BEGIN_C

/* Opens a script; status 0 when it can not be opened or is empty. The first
 * argument is ignored. */
QOR_API void LEX2_OPEN(void *ignored, STRNG name, int32_t *status);
QOR_API int32_t LEX2_READ_NEXT_TOKEN(STRNG *token); /* 0 at the end */
QOR_API int32_t LEX2_SKIP(uint8_t byte);            /* 1 behind the next occurrence */
QOR_API void LEX2_CLOSE(void);
QOR_API int32_t LEX2_GET_FILE(void);
QOR_API void LEX2_GET_POSITION(STRNG *name, uint32_t *line);

/* The word cutter on a text of the caller's: reset first. Quotes stay in the
 * word and keep blanks and delimiters together. NEXT_ITEM keeps blanks. */
QOR_API void LEX2_RESET(void);
QOR_API int32_t LEX2_NEXT_WORD(STRNG_CURSOR *cursor, STRNG *word, uint8_t delimiter);
QOR_API int32_t LEX2_NEXT_ITEM(STRNG_CURSOR *cursor, STRNG *item, uint8_t delimiter);

QOR_END_C

#endif
