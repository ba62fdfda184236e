/* QORCPU: how native code talks to scripts, through the object stack.
 *
 * A native method pops its arguments, the last one first, computes, and pushes
 * its results in order. The stack holds 256 objects; pushing on a full one and
 * popping from an empty one abort. Every pop aborts on another type and on
 * NULL: test with QORCPU_TOP_OBJ_TYPE first where that is allowed.
 */
#ifndef QOR_QORCPU_H
#define QOR_QORCPU_H

#include "qor/types.h"

QOR_BEGIN_C

QOR_API void QORCPU_PUSHS_C(const char *text);
QOR_API void QORCPU_PUSHS(STRNG text);
QOR_API void QORCPU_PUSHB(int32_t value);
QOR_API void QORCPU_PUSHI(int32_t value);
QOR_API void QORCPU_PUSHR(double value);
QOR_API void QORCPU_PUSHG(QOR_GEOMETRY value); /* copies */
QOR_API void QORCPU_PUSHP(double x, double y, double z);
QOR_API void QORCPU_PUSHM(QOR_MAP *map);              /* deep copy */
QOR_API void QORCPU_PUSH_OBJ_REF(QOR_OBJECT *object); /* a counted reference */
/* A copy of the object; a method is run instead, with one slot too many under
 * its results (a property that scripts rely on). */
QOR_API void QORCPU_PUSH_OBJ(QOR_OBJECT *object);

QOR_API void QORCPU_POP(void);
QOR_API void QORCPU_POP_OBJ(QOR_OBJECT **variable); /* the caller owns the count */
QOR_API void QORCPU_POPS(STRNG *text);              /* copies */
QOR_API void QORCPU_POPS_C(char *text);             /* the buffer is the caller's */
/* A boolean, or a string TRUE or FALSE. */
QOR_API void QORCPU_POPB(int32_t *value);
QOR_API void QORCPU_POPI(int32_t *value);
QOR_API void QORCPU_POPR(double *value);
QOR_API void QORCPU_POPG(QOR_GEOMETRY *value, uint8_t type); /* copies; aborts on another kind */
QOR_API void QORCPU_POPP(double *x, double *y, double *z);
/* The handle itself: the caller's when the stack held the last reference,
 * borrowed from the others otherwise. */
QOR_API void QORCPU_POPM(QOR_MAP **map);

QOR_API void QORCPU_TOP_OBJ_REF(QOR_OBJECT **variable); /* a counted reference */
QOR_API int32_t QORCPU_TOP_OBJ_TYPE(void);

/* Calls. Arguments are what stands on the stack. An unknown name aborts. */
QOR_API void QORCPU_DO_METHOD(QOR_METHOD *method);
QOR_API void QORCPU_DO_METHOD_BY_NAME_C(const char *class_name, const char *method);
QOR_API void QORCPU_CALL_QOR_PROC_C(const char *procedure);

QOR_END_C

#endif
