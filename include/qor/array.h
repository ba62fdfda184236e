/* ARRAY: a fixed number of slots, each of which always holds an object.
 *
 * Indices count from 0; one that is not below the size aborts with
 * "invalid ARRAY-Index", as any index of a nil array does. */
#ifndef QOR_ARRAY_H
#define QOR_ARRAY_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API void ARRAY_INITIALIZE(QOR_ARRAY **variable); /* stores nil */
/* A new array, the caller's until an object adopts it; each slot holds an
 * undefined int. What the variable held is not removed. */
QOR_API void ARRAY_CREATE(QOR_ARRAY **variable, uint32_t size);
QOR_API void ARRAY_REMOVE(QOR_ARRAY **variable);               /* nil is left alone; the variable becomes nil */
QOR_API void ARRAY_GET_SIZE(QOR_ARRAY *array, uint32_t *size); /* 0 for nil */
QOR_API void ARRAY_READ_OBJECT(QOR_ARRAY *array, uint32_t index, QOR_OBJECT **variable);     /* deep copy */
QOR_API void ARRAY_READ_OBJECT_REF(QOR_ARRAY *array, uint32_t index, QOR_OBJECT **variable); /* counted */
QOR_API void ARRAY_WRITE_OBJECT(QOR_ARRAY *array, uint32_t index, QOR_OBJECT *object);       /* deep copy */
QOR_API void ARRAY_WRITE_OBJECT_REF(QOR_ARRAY *array, uint32_t index, QOR_OBJECT *object);   /* counted */
/* Shows all slots in the form of the debugging displays; nil as an empty array. */
QOR_API void ARRAY_DISPLAY(QOR_ARRAY *array);

QOR_END_C

#endif
