/* STRNG: the counted byte string, its growth rules, appending and extraction.
 *
 * Naming: APP appends, EXTR extracts through a cursor, _C means a C string,
 * X a cursor argument, RJ right-justified. Number suffixes: IN and CA 16-bit
 * signed and unsigned, LOI 32-bit, LONG 64-bit, RE and LRE real, HE
 * hexadecimal. A C array is told by its highest index: its text ends at a zero
 * byte or fills the array.
 */
#ifndef QOR_STRNG_H
#define QOR_STRNG_H

#include "qor/types.h"

QOR_BEGIN_C

/* --- status ------------------------------------------------------------- */

/* Outcome of the last string operation that sets it: 0 done, 2 the
 * destination was never created, 3 a length was cut or refused, 4 a number
 * overflows, 5 no word or number was found. */
QOR_API int32_t STRNG_GET_STAT(void);

/* --- core --------------------------------------------------------------- */

QOR_API void STRNG_CREATE(STRNG *s);
QOR_API void STRNG_REMOVE(STRNG *s);
QOR_API int32_t STRNG_ISEMPTY(STRNG s);

/* Discards the contents and allocates exactly n bytes. */
QOR_API void STRNG_SETLGTH(STRNG *s, uint32_t n);
/* Shortens to n and keeps the capacity; status 3 when n is above the length. */
QOR_API void STRNG_TRNC(STRNG *s, uint32_t n);
/* Makes s, which must own nothing, a new one-byte string. */
QOR_API void STRNG_CONC(uint8_t c, STRNG *s);
/* The first n bytes (0: all), padded with blanks when n is above the length.
 * A buffer that is too small is replaced by one of exactly n. */
QOR_API void STRNG_COPY(STRNG source, uint32_t n, STRNG *destination);
QOR_API void STRNG_FILL(uint32_t high, const char *array, STRNG *destination);
QOR_API void STRNG_FILL_C(const char *text, STRNG *destination);

/* Appends with exact growth; an empty source changes nothing. */
QOR_API void STRNG_APP(STRNG source, STRNG *destination);
/* Appends with doubling growth. */
QOR_API void STRNG_APPC(uint8_t c, STRNG *destination);
QOR_API void STRNG_APPARR(uint32_t high, const char *array, STRNG *destination, uint32_t count);
QOR_API void STRNG_APPARR_C(const char *text, STRNG *destination, uint32_t count);

/* Equality and order of names and keys. Only the low 16 bits of the length
 * steer the comparison: exact up to 32,768 bytes. COMPARE stores 0 when a is
 * below b, 1 when equal, 2 when above. */
QOR_API int32_t STRNG_MATCH(STRNG a, STRNG b);
QOR_API void STRNG_COMPARE(STRNG a, STRNG b, uint8_t *order);
/* Comparison with a literal, whose trailing blanks are optional. An empty
 * string matches nothing. */
QOR_API int32_t STRNG2_MATCHA(STRNG s, uint32_t high, const char *array);
QOR_API int32_t STRNG2_MATCHA_C(STRNG s, const char *text);
/* Copies the bytes and a terminating zero; the buffer is the caller's. */
QOR_API void STRNG2_MSTRING_TO_CSTRING(STRNG s, char *buffer);

/* --- cursors ------------------------------------------------------------ */

/* A cursor over the bytes from..to inclusive; to is cut to the last byte. */
QOR_API void STRNG_PREPX(STRNG s, uint32_t from, uint32_t to, STRNG_CURSOR *cursor);
QOR_API void STRNG2_PREPX(STRNG s, STRNG_CURSOR *cursor);
/* A cursor over the last n bytes; over all when n is 0 or not below the length. */
QOR_API void STRNG2_PREP_LAST(STRNG s, uint32_t n, STRNG_CURSOR *cursor);
QOR_API int32_t STRNG_EOX(const STRNG_CURSOR *cursor);
/* The next byte; a blank at the end, where the cursor stays. */
QOR_API void STRNG_EXTRC(STRNG_CURSOR *cursor, uint8_t *c);
/* 1 and the next byte, or 0 at the end. */
QOR_API int32_t STRNG_NEXT_BYTE(STRNG_CURSOR *cursor, uint8_t *c);
/* Takes n bytes (0 or too many: all that remain). */
QOR_API void STRNG_EXTRSTR(STRNG_CURSOR *cursor, uint32_t n, STRNG *destination);

/* --- appending text and numbers ------------------------------------------ */

/* What remains at the cursor, as with STRNG_COPY's n. The cursor stays. */
QOR_API void STRNG_APPX(const STRNG_CURSOR *cursor, STRNG *destination, uint32_t n);
QOR_API void STRNG_APPNC(uint8_t c, uint32_t n, STRNG *destination);
QOR_API void STRNG_ALIGN(STRNG *s, uint32_t column);
QOR_API void STRNG_APPXRJ(const STRNG_CURSOR *cursor, STRNG *destination, uint32_t width);
QOR_API void STRNG_APPRJ_C(const char *text, uint32_t n, STRNG *destination, uint32_t width);
QOR_API void STRNG_SUBSBL(STRNG *s, uint8_t c);

/* Right-aligned in at least width bytes; a wider number is never cut. */
QOR_API void STRNG_APPINT(int32_t number, STRNG *destination, uint32_t width);
QOR_API void STRNG_APPLOI(int64_t number, STRNG *destination, uint32_t width); /* low 32 bits */
QOR_API void STRNG_APPCAR(uint32_t number, STRNG *destination, uint32_t width);
QOR_API void STRNG_APPHEX(int32_t number, STRNG *destination, uint32_t width);
QOR_API void STRNG_APPLREAL(double number, STRNG *destination, uint32_t decimals);

/* --- extraction ----------------------------------------------------------- */

QOR_API void STRNG_EXTRBL(STRNG_CURSOR *cursor);
QOR_API void STRNG_EXTRWD(STRNG_CURSOR *cursor, uint32_t n, STRNG *destination);
QOR_API void STRNG_EXTRWDSBL(STRNG_CURSOR *cursor, uint32_t n, STRNG *destination, uint8_t c);
/* Skips blanks, takes bytes up to a blank or delimiter, which is consumed. */
QOR_API void STRNG2_EXTRTOKEN(STRNG_CURSOR *cursor, STRNG *destination, uint32_t count, const char *delimiters);
QOR_API void STRNG2_EXTRTOKEN_C(STRNG_CURSOR *cursor, STRNG *destination, const char *delimiters);
/* The general form, with stop at a blank and skipping of blanks as flags.
 * Without skipping, the first byte is taken whatever it is. */
QOR_API void STRNG2_EXTRTOK(STRNG_CURSOR *cursor, STRNG *destination, uint32_t count, const char *delimiters,
                            int32_t stop_at_blank, int32_t skip_blanks);
QOR_API void STRNG2_EXTRTOK_C(STRNG_CURSOR *cursor, STRNG *destination, const char *delimiters, int32_t stop_at_blank,
                              int32_t skip_blanks);
/* The mirror image: from the end backward; the cursor's end moves. */
QOR_API void STRNG2_EXTRTOKEN_LAST(STRNG_CURSOR *cursor, STRNG *destination, uint32_t count, const char *delimiters);

/* Numbers: blanks skipped, optional sign, digits up to the first other byte.
 * Status 5 when nothing is there; status 4 and 0 on overflow. */
QOR_API void STRNG_EXTRIN(STRNG_CURSOR *cursor, int16_t *number);
QOR_API void STRNG_EXTRCA(STRNG_CURSOR *cursor, uint16_t *number);
QOR_API void STRNG_EXTRLOI(STRNG_CURSOR *cursor, int32_t *number);
QOR_API void STRNG_EXTRLONG(STRNG_CURSOR *cursor, int64_t *number);
QOR_API void STRNG_EXTRCARD(STRNG_CURSOR *cursor, uint32_t *number);
QOR_API void STRNG_EXTRRE(STRNG_CURSOR *cursor, double *number);
QOR_API void STRNG_EXTRLRE(STRNG_CURSOR *cursor, double *number);
QOR_API void STRNG_EXTRHE(STRNG_CURSOR *cursor, uint32_t *number);
/* Testing forms: 1 and a moved cursor when a number was read, else 0. */
QOR_API int32_t STRNG_GET_LOI(STRNG_CURSOR *cursor, int32_t *number);
QOR_API int32_t STRNG_GET_LREAL(STRNG_CURSOR *cursor, double *number);

/* --- search and utilities -------------------------------------------------- */

QOR_API void STRNG_FINDX(STRNG_CURSOR *cursor, STRNG pattern);
QOR_API void STRNG_FIND(STRNG s, STRNG pattern, uint32_t *position);
QOR_API void STRNG_FINDC(STRNG s, uint16_t *position, uint8_t c);

QOR_API void STRNG2_TO_UPPER(STRNG *s);
QOR_API void STRNG2_TO_LOWER(STRNG *s);
QOR_API void STRNG2_TO_UPPER_C(char *text);
QOR_API void STRNG2_TRIM(STRNG *s);
QOR_API void STRNG2_TRIM_RIGHT(STRNG *s);
QOR_API void STRNG2_REMOVE_BLANKS(STRNG *s);
/* Replaces each occurrence left to right; the text put in is not searched. */
QOR_API void STRNG2_REPLACE(STRNG *s, STRNG search, STRNG replacement);
/* Code pages 850 and 1252; a byte with no partner becomes "?". */
QOR_API void STRNG2_DOS_TO_WIN(STRNG *s);
QOR_API void STRNG2_WIN_TO_DOS(STRNG *s);

QOR_END_C

#endif
