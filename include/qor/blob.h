/* BLOB: a growing buffer of bytes with a read index.
 *
 * Values have the byte order of the machine. A read result is 1, or 0 when the
 * index is not below the size; what a value lacks at the end reads as zero
 * bytes. Writes append and never move the read index. A nil blob reads as an
 * empty one; appending to it aborts with "blob is QOR_NIL". */
#ifndef QOR_BLOB_H
#define QOR_BLOB_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API void BLOB_INITIALIZE(QOR_BLOB **variable); /* stores nil */
/* A new blob with a copy of the bytes, the caller's until an object adopts it.
 * What the variable held is not removed, here and in BLOB_COPY. */
QOR_API void BLOB_CREATE(QOR_BLOB **variable, const uint8_t *bytes, uint32_t size);
QOR_API void BLOB_REMOVE(QOR_BLOB **variable);                /* nil is left alone; the variable becomes nil */
QOR_API void BLOB_COPY(QOR_BLOB *blob, QOR_BLOB **variable);  /* nil gives nil */
QOR_API void BLOB_SIZE(QOR_BLOB *blob, uint32_t *size);       /* 0 for nil */
QOR_API void BLOB_READ_BYTES(QOR_BLOB *blob, uint8_t *bytes); /* all of them */
QOR_API void BLOB_READ_BYTES_REF(QOR_BLOB *blob, const uint8_t **bytes); /* borrows until the next write */
QOR_API void BLOB_WRITE_BYTES(QOR_BLOB *blob, const uint8_t *bytes);     /* size bytes over the data */

QOR_API void BLOB_READ_INIT(QOR_BLOB *blob);
/* The index stays as set, also when the result is 0. */
QOR_API int32_t BLOB_READ_INDEX_SET(QOR_BLOB *blob, uint32_t index);
QOR_API int32_t BLOB_READ_JUMP(QOR_BLOB *blob, int32_t offset);

/* The integers move raw bits; the sign is the caller's matter. */
QOR_API int32_t BLOB_READ_BYTE(QOR_BLOB *blob, uint8_t *value);
QOR_API int32_t BLOB_READ_INT16(QOR_BLOB *blob, void *value);
QOR_API int32_t BLOB_READ_CARD16(QOR_BLOB *blob, void *value);
QOR_API int32_t BLOB_READ_INT32(QOR_BLOB *blob, void *value);
QOR_API int32_t BLOB_READ_CARD32(QOR_BLOB *blob, void *value);
QOR_API int32_t BLOB_READ_REAL32(QOR_BLOB *blob, double *value); /* widens a float */
QOR_API int32_t BLOB_READ_REAL64(QOR_BLOB *blob, double *value);
/* A zero-terminated string. An empty one gives 0 and is not passed over. */
QOR_API int32_t BLOB_READ_STRING(QOR_BLOB *blob, STRNG *string);

QOR_API void BLOB_WRITE_BYTE(QOR_BLOB *blob, uint8_t value);
QOR_API void BLOB_WRITE_INT16(QOR_BLOB *blob, int32_t value);
QOR_API void BLOB_WRITE_CARD16(QOR_BLOB *blob, int32_t value);
QOR_API void BLOB_WRITE_INT32(QOR_BLOB *blob, int32_t value);
QOR_API void BLOB_WRITE_CARD32(QOR_BLOB *blob, int32_t value);
QOR_API void BLOB_WRITE_REAL32(QOR_BLOB *blob, double value); /* narrows to a float */
QOR_API void BLOB_WRITE_REAL64(QOR_BLOB *blob, double value);
QOR_API void BLOB_WRITE_STRING(QOR_BLOB *blob, STRNG string); /* and a zero byte */

/* Two upper-case digits for each byte; 0, and no text, for an empty blob. */
QOR_API int32_t BLOB_TO_HEXSTRING(QOR_BLOB *blob, STRNG *text);
/* A new blob, the caller's; 0 on bad text, with what was decoded before it. */
QOR_API int32_t BLOB_HEXSTRING_TO_BLOB(STRNG text, QOR_BLOB **variable);
QOR_API void BLOB_DISPLAY(QOR_BLOB *blob);

QOR_END_C

#endif
