/* Types shared by every header of the exported interface.
 *
 * Conventions that hold for all of include/qor:
 *  1. One thread. Nothing locks, and all state is held once per process.
 *  2. Sources come first, destinations last; a status or flag that an
 *     operation reports is its last argument. Flags are 1 for yes, 0 for no.
 *  3. STRNG by value is borrowed for the call. STRNG by address is changed.
 *  4. "Copies" means that the caller keeps what it handed in. "Adopts" means
 *     that the callee now owns it. "Borrows" means a pointer without a count:
 *     it is valid until its owner changes.
 *  5. An object variable is a QOR_OBJECT * that holds QOR_NIL or one counted
 *     reference. Operations that may replace its content take its address.
 *  6. Misuse (a wrong type, a NULL value, a nil handle) aborts the script:
 *     the operation shows a message and leaves to QORPROC_COMPILE or
 *     QORPROC_RUN without returning. Failures by the data are statuses.
 *  7. Names that end in _C take zero-terminated strings, _S a STRNG; _ref does
 *     not copy: a read borrows, a create adopts.
 */
#ifndef QOR_TYPES_H
#define QOR_TYPES_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define QOR_API __attribute__((visibility("default")))
#else
#define QOR_API
#endif

#ifdef __cplusplus
#define QOR_BEGIN_C extern "C" {
#define QOR_END_C }
#define QOR_NIL nullptr
#else
#define QOR_BEGIN_C
#define QOR_END_C
#define QOR_NIL NULL
#endif

QOR_BEGIN_C

/* The counted byte string. It may hold any byte and is not zero-terminated.
 * Starts through STRNG_CREATE and ends through STRNG_REMOVE. */
typedef struct STRNG {
    uint32_t capacity; /* bytes allocated at data, 0 when data is null */
    uint32_t length;   /* bytes in use, never above capacity */
    uint8_t *data;
} STRNG;

/* A reading range over the bytes of a string: it owns nothing and is invalid
 * as soon as the string changes. */
typedef struct STRNG_CURSOR {
    const uint8_t *next;
    const uint8_t *end; /* one behind the last byte */
} STRNG_CURSOR;

typedef struct QOR_OBJECT QOR_OBJECT; /* a typed, reference-counted value */
typedef struct QOR_MAP QOR_MAP;
typedef struct QOR_LIST QOR_LIST;
typedef struct QOR_LIST_NODE QOR_LIST_NODE; /* a read position in a list */
typedef struct QOR_ARRAY QOR_ARRAY;
typedef struct QOR_BLOB QOR_BLOB;
typedef struct QOR_TABLE QOR_TABLE;
typedef struct QOR_MVTAB QOR_MVTAB;
typedef struct QOR_METHOD QOR_METHOD; /* how a method is run */
typedef struct QOR_MSG *MSG;          /* a message channel; null is allowed */

typedef uintptr_t QOR_GEOMETRY; /* a word owned by the geometry module */
typedef uintptr_t QOR_DBLINK;   /* a word owned by the database module */

/* A native method: takes its arguments from the machine's stack and leaves
 * its results there (see qorcpu.h). */
typedef void (*QOR_PROC)(void);

/* The largest length and capacity of a STRNG. */
#define STRNG_LIMIT 1000000000u

QOR_END_C

#endif
