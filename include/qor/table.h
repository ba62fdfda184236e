/* TABLE: records with common fields under string keys.
 *
 * The names of the fields are kept once; a record is an array of values, and
 * goes in and out as a map. A nil table aborts. A status is 1, or 0 when the key
 * is missing or the read at its end, and the outputs are left alone. */
#ifndef QOR_TABLE_H
#define QOR_TABLE_H

#include "qor/types.h"

QOR_BEGIN_C

/* A new table for an object to adopt (OBJ_set_object_value_ref), which removes it
 * in the end. The fields are separated by commas or blanks; none is allowed. */
QOR_API void TABLE_CREATE(QOR_TABLE **variable, STRNG fields);
/* The fields are the keys of the map, in order; its read cursor is used. */
QOR_API void TABLE_CREATE_BY_MAP(QOR_TABLE **variable, QOR_MAP *map);
/* Stores copies of the map's values. A field that the map neither has nor has a
 * default for aborts; a record of the key is replaced and keeps its place. */
QOR_API void TABLE_WRITE_MAP(QOR_TABLE *table, STRNG key, QOR_MAP *map);
/* A record that was written under the key DEFAULT answers for every key. */
QOR_API void TABLE_TEST_KEY(QOR_TABLE *table, STRNG key, int32_t *status);
/* One value by counted reference. An unknown field aborts. */
QOR_API void TABLE_READ_OBJECT_REF(QOR_TABLE *table, STRNG key, STRNG field, QOR_OBJECT **variable, int32_t *status);
/* A record into an existing map, whose other entries stay. */
QOR_API void TABLE_READ_MAP(QOR_TABLE *table, STRNG key, QOR_MAP **map, int32_t *status);
QOR_API void TABLE_RESET_READ(QOR_TABLE *table);
/* The next record in order of insertion; a table must be reset first. */
QOR_API void TABLE_READ_NEXT_RECORD(QOR_TABLE *table, STRNG *key, QOR_MAP **map, int32_t *status);
QOR_API void TABLE_DISPLAY(QOR_TABLE *table);

QOR_END_C

#endif
