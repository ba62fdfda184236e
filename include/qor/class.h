/* CLASS: classes, which are maps of method objects, and method records. */
#ifndef QOR_CLASS_H
#define QOR_CLASS_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API int32_t CLASS_method_tidf(void);
QOR_API void CLASS_read_method_ref(QOR_OBJECT *object, QOR_METHOD **method); /* borrows */

/* A new class, reachable as ROOT.name and ROOT.CLASSES.name; one of that name
 * is replaced with all its methods. Status is always 1. */
QOR_API void CLASS_CREATE_CLASS_C(const char *name, const char *version, int32_t *status);
QOR_API void CLASS_REMOVE_CLASS_C(const char *name, int32_t *status);
/* Registers a native method. The counts and the signature are documentation.
 * Scope 'P' methods stand in the help listing, 'I' methods do not. Status 0
 * when the class does not exist. */
QOR_API void CLASS_CREATE_METHOD_C(const char *class_name, const char *name, QOR_PROC procedure, int16_t in_count,
                                   int16_t out_count, char scope, const char *signature, int32_t *status);
/* A borrowed record. */
QOR_API void CLASS_GET_METHOD_C(const char *class_name, const char *name, QOR_METHOD **method, int32_t *status);
/* A counted reference to the method object; status 0 for an entry of another
 * type. */
QOR_API void CLASS_GET_METHOD_OBJECT(const char *class_name, const char *name, QOR_OBJECT **variable, int32_t *status);

/* A deep copy of a class into the map NATIVE, if the class exists. */
QOR_API void CLASS_SAVE_NATIVE(const char *name);
/* Between the two, all registrations go to the class of this name. */
QOR_API void CLASS_set_prefix(const char *name);
QOR_API void CLASS_clear_prefix(void);

/* The help listing of one class and of all: methods whose scope is filter, or
 * every method when filter is a blank. */
QOR_API void CLASS_DISPLAY_CLASS(STRNG name, char filter, int32_t *status);
QOR_API void CLASS_DISPLAY_ALL(char filter);

QOR_END_C

#endif
