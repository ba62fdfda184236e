/* OBJ: objects, their types and their reference counts. */
#ifndef QOR_OBJ_H
#define QOR_OBJ_H

#include "qor/types.h"

QOR_BEGIN_C

/* --- types ---------------------------------------------------------------
 * The ten slots of a type. "value" is the address of an object's value: 8
 * bytes, 16 for a string. initvalue must leave a value that removevalue can
 * take; assignvalue moves a handle, copyvalue makes an independent copy. */
typedef void (*QOR_INITVALUE)(void *value);
typedef void (*QOR_REMOVEVALUE)(void *value);
typedef void (*QOR_ASSIGNVALUE)(const void *source, void *target);
typedef void (*QOR_COPYVALUE)(const void *source, void *target);
/* Writes at most 65,535 bytes and a terminating zero. */
typedef void (*QOR_TOCHAR)(const void *value, int16_t *length, char *buffer);
typedef void (*QOR_DISPLAY)(const void *value);
/* On status 1 the variable receives a counted reference. */
typedef void (*QOR_INDEX)(void *value, STRNG key, QOR_OBJECT **variable, int32_t *status);
typedef void (*QOR_INSERT)(void *value, STRNG key, QOR_OBJECT *object, int32_t *status);
typedef void (*QOR_CHECK)(const void *value);
typedef void (*QOR_DOMETHOD)(void *value, const char *name);

/* Gives out the next type id. Refused, with id left as it is, when no further
 * id fits an object record. */
QOR_API void OBJ_create_type(int32_t *id, const char *name);
/* A setter ignores an id that does not exist. Every type must set display. */
QOR_API void OBJ_set_initvalue_proc(int32_t type, QOR_INITVALUE procedure);
QOR_API void OBJ_set_removevalue_proc(int32_t type, QOR_REMOVEVALUE procedure);
QOR_API void OBJ_set_assignvalue_proc(int32_t type, QOR_ASSIGNVALUE procedure);
QOR_API void OBJ_set_copyvalue_proc(int32_t type, QOR_COPYVALUE procedure);
QOR_API void OBJ_set_tochar_proc(int32_t type, QOR_TOCHAR procedure);
QOR_API void OBJ_set_display_proc(int32_t type, QOR_DISPLAY procedure);
QOR_API void OBJ_set_index_proc(int32_t type, QOR_INDEX procedure);
QOR_API void OBJ_set_insert_proc(int32_t type, QOR_INSERT procedure);
QOR_API void OBJ_set_check_proc(int32_t type, QOR_CHECK procedure);
QOR_API void OBJ_set_domethod_proc(int32_t type, QOR_DOMETHOD procedure);

/* --- variables and references ---------------------------------------------- */

QOR_API void OBJ_init_objectvar(QOR_OBJECT **variable);
/* A new undefined object with count 1; what the variable held is released. */
QOR_API void OBJ_create_object(QOR_OBJECT **variable, int32_t type);
/* Releases the variable's content first, then stores a counted reference. */
QOR_API void OBJ_create_object_ref(QOR_OBJECT *object, QOR_OBJECT **variable);
QOR_API void OBJ_remove_object(QOR_OBJECT **variable);
/* As OBJ_remove_object, but the value outlives the last reference: it belongs
 * to whoever read its handle before. */
QOR_API void OBJ_remove_object_keep_value(QOR_OBJECT **variable);
QOR_API void OBJ_move_object_ref(QOR_OBJECT **source, QOR_OBJECT **target);
/* An independent copy with count 1. Nothing happens when the variable holds
 * the object itself. */
QOR_API void OBJ_copy_object(QOR_OBJECT *object, QOR_OBJECT **variable);
/* Empties a map object; other types abort. */
QOR_API void OBJ_clear_object(QOR_OBJECT *object);

/* --- values ------------------------------------------------------------------ */

QOR_API int32_t OBJ_object_value_is_defined(const QOR_OBJECT *object);
QOR_API void OBJ_set_null(QOR_OBJECT *object);
QOR_API void OBJ_set_object_value(QOR_OBJECT *object, const void *source);     /* copies */
QOR_API void OBJ_set_object_value_ref(QOR_OBJECT *object, const void *source); /* adopts */
QOR_API void OBJ_get_object_value(QOR_OBJECT *object, void *out);              /* copies; aborts on NULL */
QOR_API void OBJ_get_object_value_ref(QOR_OBJECT *object, void *out);          /* borrows; aborts on NULL */
QOR_API void OBJ_get_object_value_addr(QOR_OBJECT *object, void **out);
QOR_API void OBJ_assert_type(QOR_OBJECT *object, int32_t type);
QOR_API void OBJ_get_object_value_tcheck(QOR_OBJECT *object, int32_t type, void *out);
QOR_API void OBJ_get_object_value_ref_tcheck(QOR_OBJECT *object, int32_t type, void *out);
/* The address of the value, also of a NULL value. */
QOR_API void OBJ_get_object_value_addr_tcheck(QOR_OBJECT *object, int32_t type, void **out);
QOR_API void OBJ_set_object_value_tcheck(QOR_OBJECT *object, int32_t type, const void *source);
QOR_API void OBJ_set_object_value_ref_tcheck(QOR_OBJECT *object, int32_t type, const void *source);
/* Overwrites the target in place: every reference sees the new value. A
 * string can not go into a shorter record: that aborts. */
QOR_API void OBJ_copy_value(QOR_OBJECT *target, QOR_OBJECT *source);

/* --- behaviour by type --------------------------------------------------------- */

QOR_API void OBJ_index_object(QOR_OBJECT *object, STRNG key, QOR_OBJECT **variable, int32_t *status);
QOR_API void OBJ_index_object_p(QOR_OBJECT *object, STRNG key, QOR_OBJECT **variable, int32_t *status);
QOR_API void OBJ_insert_object_ref(QOR_OBJECT *object, STRNG key, QOR_OBJECT *inserted, int32_t *status);
QOR_API void OBJ_domethod(QOR_OBJECT *object, const char *name);
QOR_API int32_t OBJ_get_type(const QOR_OBJECT *object);
QOR_API void OBJ_get_type_name(const QOR_OBJECT *object, STRNG *name);
QOR_API const char *OBJ_get_type_name_C(const QOR_OBJECT *object);

/* --- text ------------------------------------------------------------------------ */

/* The value alone; "NULL" when undefined. */
QOR_API void OBJ_to_string(QOR_OBJECT *object, STRNG *text);
/* type(value) refs:count */
QOR_API void OBJ_to_display_string(QOR_OBJECT *object, STRNG *text);
QOR_API void OBJ_display_object(QOR_OBJECT *object);
QOR_API void OBJ_display_aps(QOR_OBJECT *object);
QOR_API void OBJ_check_object(QOR_OBJECT *object);

/* --- filing ------------------------------------------------------------------------- */

/* Both do nothing: no value is ever filed in its place. */
QOR_API void OBJ_file_object_value(QOR_OBJECT *object);
QOR_API void OBJ_unfile_object_value(QOR_OBJECT *object);

/* --- names ------------------------------------------------------------------------- */

/* Resolves a dotted name from the root; on status 1 the variable receives a
 * counted reference. */
QOR_API void OBJ_get_object_ref_by_name(STRNG name, QOR_OBJECT **variable, int32_t *status);

QOR_END_C

#endif
