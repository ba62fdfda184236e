/* Storage: every block that the kernel hands out or takes back. */
#ifndef QOR_STORAGE_H
#define QOR_STORAGE_H

#include "qor/types.h"

QOR_BEGIN_C

/* Stores the address of a new block of size bytes, aligned for a pointer or a
 * real. A size of 0 gives a non-null block. Out of memory ends the run. */
QOR_API void Storage_ALLOCATE(void **block, uint32_t size);

/* Resizes a block and keeps its first bytes. A null block is allocated. */
QOR_API void Storage_REALLOCATE(void **block, uint32_t old_size, uint32_t new_size);

/* Frees a block and sets the pointer to null. The counter falls by the size
 * that the caller tells. Aborts on a null block. */
QOR_API void Storage_DEALLOCATE(void **block, uint32_t size);

/* The bytes handed out since the counter was set to 0 near the end of
 * QORPROC_INIT; it may be negative at the end of a run. */
QOR_API int64_t Storage_GET_SIZE(void);
QOR_API int64_t Storage_GET_KBYTES(void);
QOR_API int64_t Storage_GET_MBYTES(void);

/* There is no limit: a constant beyond any memory, and a setter without
 * effect. */
QOR_API int64_t Storage_GET_LIMIT(void);
QOR_API void Storage_SET_LIMIT(int64_t bytes);

QOR_END_C

#endif
