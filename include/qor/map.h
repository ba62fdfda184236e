/* MAP: byte-string keys to objects, in insertion order, with one read cursor,
 * a label and a default object that answers for any missing key.
 *
 * Keys are 1 to 1024 bytes; a longer one aborts. The key "DEFAULT" names the
 * default object and is no entry.
 */
#ifndef QOR_MAP_H
#define QOR_MAP_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API QOR_MAP *MAP_ROOT(void); /* the directory of all named things; borrowed */
QOR_API QOR_OBJECT *MAP_get_root_object(void);

QOR_API void MAP_INITIALIZE(QOR_MAP **variable);
QOR_API void MAP_CREATE_NONAME(QOR_MAP **variable); /* the caller owns it */
/* A new map under a name of the root, which owns it. */
QOR_API void MAP_CREATE_C(QOR_MAP **variable, const char *name);
QOR_API void MAP_GET_MAP_BY_NAME(QOR_MAP **map, STRNG name, int32_t *status); /* borrows */
QOR_API void MAP_GET_MAP_BY_NAME_C(QOR_MAP **map, const char *name, int32_t *status);
QOR_API int32_t MAP_IS_DEFINED(const QOR_MAP *map);
QOR_API void MAP_REMOVE(QOR_MAP **variable);
QOR_API void MAP_CLEAR(QOR_MAP **variable);                 /* the label stays */
QOR_API void MAP_COPY(QOR_MAP *source, QOR_MAP **variable); /* a new deep copy, the caller's; nil gives nil */
QOR_API void MAP_FILL(QOR_MAP *source, QOR_MAP **variable); /* the same into the map that the variable holds */

/* Insertion. An existing key keeps its place in the order. */
QOR_API void MAP_INSERT_MOVED(QOR_MAP *map, STRNG key, QOR_OBJECT **variable); /* adopts the reference */
QOR_API void MAP_INSERT_OBJECT_REF(QOR_MAP *map, STRNG key, QOR_OBJECT *object);
QOR_API void MAP_INSERT_OBJECT_REF_C(QOR_MAP *map, const char *key, QOR_OBJECT *object);
QOR_API void MAP_INSERT_OBJECT(QOR_MAP *map, STRNG key, QOR_OBJECT *object); /* deep copy */
QOR_API void MAP_INSERT_OBJECT_C(QOR_MAP *map, const char *key, QOR_OBJECT *object);
QOR_API void MAP_INSERT_SVALUE(QOR_MAP *map, STRNG key, STRNG value);
QOR_API void MAP_INSERT_SVALUE_C(QOR_MAP *map, const char *key, STRNG value);
QOR_API void MAP_INSERT_IVALUE(QOR_MAP *map, STRNG key, int32_t value);
QOR_API void MAP_INSERT_IVALUE_C(QOR_MAP *map, const char *key, int32_t value);
QOR_API void MAP_INSERT_VALUE_C(QOR_MAP *map, const char *key, const char *value);

/* Lookup: the entry, else the default, else status 0. The text forms abort on
 * a value of another type and store "@" on a miss. */
QOR_API void MAP_MAP_OBJECT_REF(QOR_MAP *map, STRNG key, QOR_OBJECT **variable, int32_t *status);
QOR_API void MAP_MAP_OBJECT_REF_C(QOR_MAP *map, const char *key, QOR_OBJECT **variable, int32_t *status);
QOR_API void MAP_MAP_OBJECT(QOR_MAP *map, STRNG key, QOR_OBJECT **variable, int32_t *status); /* deep copy */
QOR_API void MAP_MAP_OBJECT_C(QOR_MAP *map, const char *key, QOR_OBJECT **variable, int32_t *status);
QOR_API void MAP_MAP_SVALUE(QOR_MAP *map, STRNG key, STRNG *value, int32_t *status);
QOR_API void MAP_MAP_VALUE_C(QOR_MAP *map, const char *key, STRNG *value, int32_t *status);
QOR_API void MAP_MAP_SVALUE_N(QOR_MAP *map, uint32_t length, const char *characters, STRNG *value, int32_t *status);
QOR_API void MAP_MAP_IVALUE_C(QOR_MAP *map, const char *key, int32_t *value, int32_t *status);
QOR_API int32_t MAP_TEST_KEY(QOR_MAP *map, STRNG key); /* the default does not count */
QOR_API int32_t MAP_TEST_KEY_C(QOR_MAP *map, const char *key);
QOR_API void MAP_GET_KEY_POS(QOR_MAP *map, STRNG key, uint32_t *position, int32_t *status); /* from 1 */

/* Reading in order. The cursor of a new or copied map stands at the end:
 * reset it first. */
QOR_API void MAP_RESET_READ(QOR_MAP **variable);
QOR_API void MAP_READ_OBJECT_REF(QOR_MAP **variable, STRNG *key, QOR_OBJECT **object, int32_t *status);
QOR_API void MAP_READ_OBJECT(QOR_MAP **variable, STRNG *key, QOR_OBJECT **object, int32_t *status);
QOR_API void MAP_READ_VALUE(QOR_MAP **variable, STRNG *key, STRNG *value, int32_t *status);

/* The cursor moves on when it stood on the removed entry. */
QOR_API void MAP_REMOVE_OBJECT(QOR_MAP *map, STRNG key, int32_t *status);
QOR_API void MAP_REMOVE_OBJECT_C(QOR_MAP *map, const char *key, int32_t *status);

QOR_API void MAP_SET_LABEL(QOR_MAP *map, STRNG label);
QOR_API void MAP_SET_LABEL_C(QOR_MAP *map, const char *label);
QOR_API void MAP_GET_LABEL(QOR_MAP *map, STRNG *label);
QOR_API void MAP_GET_LABEL_C(QOR_MAP *map, char *label); /* into a buffer of the label's length and 1 */
/* The root's key for this map, or "NONAME". */
QOR_API void MAP_GET_NAME(QOR_MAP *map, STRNG *name);

QOR_API void MAP_DISPLAY(QOR_MAP *map);
QOR_API void MAP_CHECK_MAP(QOR_MAP *map);

QOR_END_C

#endif
