/* BTYP: the basic types and typed access to their values.
 *
 * create copies the value into a new object, create_ref adopts it,
 * create_undef makes a NULL. read copies the value out, read_ref borrows it;
 * both abort on another type and on NULL. write replaces the value.
 */
#ifndef QOR_BTYP_H
#define QOR_BTYP_H

#include "qor/types.h"

QOR_BEGIN_C

/* Type ids; they are written into object streams as numbers. */
QOR_API int32_t BTYP_int_tidf(void);
QOR_API int32_t BTYP_real_tidf(void);
QOR_API int32_t BTYP_boolean_tidf(void);
QOR_API int32_t BTYP_string_tidf(void);
QOR_API int32_t BTYP_map_tidf(void);
QOR_API int32_t BTYP_geometry_tidf(void);
QOR_API int32_t BTYP_array_tidf(void);
QOR_API int32_t BTYP_blob_tidf(void);
QOR_API int32_t BTYP_table_tidf(void);
QOR_API int32_t BTYP_mvtab_tidf(void);
QOR_API int32_t BTYP_link_tidf(void);
QOR_API int32_t BTYP_dblink_tidf(void);
QOR_API int32_t BTYP_list_tidf(void);
QOR_API int32_t BTYP_long_tidf(void);

QOR_API void BTYP_create_int(QOR_OBJECT **variable, int32_t value);
QOR_API void BTYP_create_undef_int(QOR_OBJECT **variable);
QOR_API void BTYP_read_int(QOR_OBJECT *object, int32_t *value);
QOR_API void BTYP_write_int(QOR_OBJECT *object, int32_t value);
QOR_API int32_t *BTYP_get_int_addr(QOR_OBJECT *object); /* no test for NULL */

QOR_API void BTYP_create_long(QOR_OBJECT **variable, int64_t value);
QOR_API void BTYP_read_long(QOR_OBJECT *object, int64_t *value);
QOR_API void BTYP_write_long(QOR_OBJECT *object, int64_t value);

QOR_API void BTYP_create_real(QOR_OBJECT **variable, double value);
QOR_API void BTYP_create_undef_real(QOR_OBJECT **variable);
QOR_API void BTYP_read_real(QOR_OBJECT *object, double *value);
QOR_API void BTYP_write_real(QOR_OBJECT *object, double value);

QOR_API void BTYP_create_boolean(QOR_OBJECT **variable, uint32_t value);
QOR_API void BTYP_create_undef_boolean(QOR_OBJECT **variable);
QOR_API void BTYP_read_boolean(QOR_OBJECT *object, uint32_t *value);
QOR_API void BTYP_write_boolean(QOR_OBJECT *object, uint32_t value);

QOR_API void BTYP_create_string(QOR_OBJECT **variable, STRNG value);
QOR_API void BTYP_create_undef_string(QOR_OBJECT **variable);
QOR_API void BTYP_create_string_ref(QOR_OBJECT **variable, STRNG value); /* adopts */
QOR_API void BTYP_create_string_c(QOR_OBJECT **variable, const char *value);
QOR_API void BTYP_create_string_from_const(QOR_OBJECT **variable, uint32_t length, const char *characters);
QOR_API void BTYP_read_string(QOR_OBJECT *object, STRNG *value);
QOR_API void BTYP_read_string_ref(QOR_OBJECT *object, STRNG *value); /* borrows */
QOR_API void BTYP_write_string(QOR_OBJECT *object, STRNG value);

QOR_API void BTYP_create_map(QOR_OBJECT **variable, QOR_MAP *value); /* deep copy */
QOR_API void BTYP_create_undef_map(QOR_OBJECT **variable);
QOR_API void BTYP_create_map_ref(QOR_OBJECT **variable, QOR_MAP *value); /* adopts */
QOR_API void BTYP_read_map(QOR_OBJECT *object, QOR_MAP **value);         /* deep copy */
QOR_API void BTYP_read_map_ref(QOR_OBJECT *object, QOR_MAP **value);     /* borrows */
QOR_API void BTYP_write_map(QOR_OBJECT *object, QOR_MAP *value);         /* deep copy */

QOR_API void BTYP_create_geometry(QOR_OBJECT **variable, QOR_GEOMETRY value);
QOR_API void BTYP_create_undef_geometry(QOR_OBJECT **variable);
QOR_API void BTYP_create_geometry_ref(QOR_OBJECT **variable, QOR_GEOMETRY value); /* adopts */
QOR_API void BTYP_read_geometry(QOR_OBJECT *object, QOR_GEOMETRY *value);         /* deep copy */
QOR_API void BTYP_read_geometry_ref(QOR_OBJECT *object, QOR_GEOMETRY *value);     /* borrows */
QOR_API void BTYP_write_geometry(QOR_OBJECT *object, QOR_GEOMETRY value);
QOR_API void BTYP_write_geometry_ref(QOR_OBJECT *object, QOR_GEOMETRY value); /* adopts */
/* 0 point, 1 line, 2 rand, 3 area. */
QOR_API uint8_t BTYP_get_geometry_type(QOR_OBJECT *object);

/* Arrays: a fixed number of slots from index 0; see array.h for the accessors. */
QOR_API void BTYP_create_array(QOR_OBJECT **variable, uint32_t size);
QOR_API void BTYP_create_array_copy(QOR_OBJECT **variable, QOR_ARRAY *array);
QOR_API void BTYP_create_array_ref(QOR_OBJECT **variable, QOR_ARRAY *array); /* adopts */
QOR_API void BTYP_read_array_ref(QOR_OBJECT *object, QOR_ARRAY **array);     /* borrows */
/* A deep copy of an element, a counted reference to it, and a deep copy in. */
QOR_API void BTYP_read_array_element(QOR_OBJECT *object, uint32_t index, QOR_OBJECT **variable);
QOR_API void BTYP_read_array_element_ref(QOR_OBJECT *object, uint32_t index, QOR_OBJECT **variable);
QOR_API void BTYP_write_array_element(QOR_OBJECT *object, uint32_t index, QOR_OBJECT *element);

/* Blobs; see blob.h. */
QOR_API void BTYP_create_undef_blob(QOR_OBJECT **variable);
QOR_API void BTYP_create_blob(QOR_OBJECT **variable, QOR_BLOB *blob);     /* copies the bytes */
QOR_API void BTYP_create_blob_ref(QOR_OBJECT **variable, QOR_BLOB *blob); /* adopts */
QOR_API void BTYP_read_blob(QOR_OBJECT *object, QOR_BLOB **blob);         /* a copy */
QOR_API void BTYP_read_blob_ref(QOR_OBJECT *object, QOR_BLOB **blob);     /* borrows */
QOR_API void BTYP_size_blob(QOR_OBJECT *object, uint32_t *size);
QOR_API void BTYP_display_blob(QOR_OBJECT *object);

/* Tables: records with common fields under keys; see table.h. The field list
 * is separated by commas or blanks. */
QOR_API void BTYP_create_table(QOR_OBJECT **variable, STRNG fields);
QOR_API void BTYP_read_table_ref(QOR_OBJECT *object, QOR_TABLE **table); /* borrows */
/* Reads a record into an existing map; status 0 when the key is missing. */
QOR_API void BTYP_read_table_map(QOR_OBJECT *object, STRNG key, QOR_MAP **map, int32_t *status);
QOR_API void BTYP_write_table_map(QOR_OBJECT *object, STRNG key, QOR_MAP *map);
QOR_API int32_t BTYP_test_table_key(QOR_OBJECT *object, STRNG key);

/* Multi-value tables: several records under a key. */
QOR_API void BTYP_create_mvtab(QOR_OBJECT **variable, STRNG fields);
/* The fields are the keys of the map, in order. */
QOR_API void BTYP_create_mvtab_by_map(QOR_OBJECT **variable, QOR_MAP *map);
QOR_API void BTYP_write_mvtab_map(QOR_OBJECT *object, STRNG key, QOR_MAP *map);
/* Chooses the records of a key for reading. */
QOR_API void BTYP_reset_mvtab(QOR_OBJECT *object, STRNG key);
/* The next record as a new map object; status 0, and nil, at the end. */
QOR_API void BTYP_read_next_mvtab(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status);

/* Links: found through the resolver, a script procedure (number, key) to
 * (object, boolean), when their target is first needed. Strings are copied. */
QOR_API void BTYP_create_undef_link(QOR_OBJECT **variable);
QOR_API void BTYP_create_link(QOR_OBJECT **variable, STRNG type, uint32_t number, STRNG bid, STRNG key,
                              int32_t orderpos);
QOR_API void BTYP_get_link_type(QOR_OBJECT *object, STRNG *type);
QOR_API void BTYP_get_link_key(QOR_OBJECT *object, STRNG *key);
QOR_API void BTYP_get_link_bid(QOR_OBJECT *object, STRNG *bid);
QOR_API void BTYP_set_link_bid(QOR_OBJECT *object, STRNG bid);
QOR_API void BTYP_get_link_number(QOR_OBJECT *object, int32_t *number);
QOR_API void BTYP_get_link_orderpos(QOR_OBJECT *object, int32_t *orderpos);
QOR_API void BTYP_set_link_orderpos(QOR_OBJECT *object, int32_t orderpos);
/* A deep copy of the target; status 0 when it can not be found. */
QOR_API void BTYP_get_link_object(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status);
/* The one resolver, for links of every type. No reference is counted: the
 * method object must outlive its use, as a procedure of the script does. */
QOR_API void BTYP_set_link_resolver(STRNG ignored, QOR_OBJECT *resolver);

/* Database links: a row of a database table, found by the database module. */
QOR_API void BTYP_create_dblink(QOR_OBJECT **variable, STRNG text);
QOR_API void BTYP_read_dblink_ref(QOR_OBJECT *object, QOR_DBLINK *dblink); /* borrows */
QOR_API void BTYP_get_dblink_select(QOR_OBJECT *object, STRNG *select);
QOR_API void BTYP_get_dblink_map(QOR_OBJECT *object, QOR_MAP **map, int32_t *status);

/* Lists. Elements are stored by counted reference. A list has one read cursor;
 * a node that is removed hands the cursor to the next node. */
QOR_API void BTYP_create_undef_list(QOR_OBJECT **variable);
QOR_API void BTYP_create_list(QOR_OBJECT **variable);
QOR_API void BTYP_read_list_ref(QOR_OBJECT *object, QOR_LIST **value); /* borrows */
QOR_API void BTYP_reset_read_list(QOR_OBJECT *object);
QOR_API void BTYP_read_next_listobj_ref(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status);
QOR_API void BTYP_append_to_list(QOR_OBJECT *object, QOR_OBJECT *element);
QOR_API void BTYP_prepend_to_list(QOR_OBJECT *object, QOR_OBJECT *element);
/* Before and after the element just read. */
QOR_API void BTYP_insert_list_before(QOR_OBJECT *object, QOR_OBJECT *element);
QOR_API void BTYP_insert_list_after(QOR_OBJECT *object, QOR_OBJECT *element);
QOR_API QOR_LIST_NODE *BTYP_get_read_position(QOR_OBJECT *object);
QOR_API void BTYP_restore_read_position(QOR_OBJECT *object, QOR_LIST_NODE *position);
QOR_API int32_t BTYP_list_is_empty(QOR_OBJECT *object);
QOR_API int32_t BTYP_list_has_next(QOR_OBJECT *object);
QOR_API void BTYP_remove_first(QOR_OBJECT *object);
/* Removes the last element and deliberately keeps its reference. */
QOR_API void BTYP_remove_last(QOR_OBJECT *object);
/* The first element, removed from the list; status 0 when empty. */
QOR_API void BTYP_pop_first(QOR_OBJECT *object, QOR_OBJECT **variable, int32_t *status);

QOR_END_C

#endif
