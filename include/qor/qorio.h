/* QORIO: the lowest file layer. 1024 files may be open at once: handles are
 * parked and opened again as the platform's limit demands.
 *
 * Results are 0 for success. An id that is not open fails with 1; nothing is
 * displayed.
 */
#ifndef QOR_QORIO_H
#define QOR_QORIO_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API int32_t QORIO_CREATE(int32_t *id, const char *name, uint32_t length);
QOR_API int32_t QORIO_CREATE_BINARY_C(int32_t *id, const char *name);
QOR_API int32_t QORIO_OPEN(int32_t *id, const char *name, uint32_t length); /* expands the path */
QOR_API int32_t QORIO_OPEN_BINARY_C(int32_t *id, const char *name);
QOR_API int32_t QORIO_OPEN_APPEND(int32_t *id, const char *name, uint32_t length);
QOR_API int32_t QORIO_EXISTS(const char *name); /* 1 when it can be opened */
QOR_API int32_t QORIO_REMOVE(const char *name);
QOR_API int32_t QORIO_CLOSE(int32_t *id); /* the id becomes -1 */
QOR_API int32_t QORIO_READ(int32_t id, uint8_t *byte);
QOR_API int32_t QORIO_WRITE(int32_t id, uint8_t byte);
QOR_API int32_t QORIO_READ_BINARY(int32_t id, void *bytes, uint32_t count);
QOR_API int32_t QORIO_WRITE_BINARY(int32_t id, const void *bytes, uint32_t count);
QOR_API int32_t QORIO_GET_POS(int32_t id, uint32_t *position);
QOR_API int32_t QORIO_SET_POS(int32_t id, uint32_t position);
QOR_API int32_t QORIO_FLUSH(int32_t id);

/* The path that a script-given name stands for: the name itself, beside the
 * directories of the installation, or beside the script. 1 when found. */
QOR_API int32_t QORIO_EXPAND_QOR_PATH_C(const char *name, char *path);
QOR_API int32_t QORIO_EXPAND_QOR_PATH(STRNG name, STRNG *path);

QOR_END_C

#endif
