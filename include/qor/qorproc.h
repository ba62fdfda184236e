/* QORPROC: start, compile, run and stop.
 *
 * A host calls QORPROC_INIT, QORLIB_LOAD, OPTION_LOAD_OPTIONS, QORPROC_START
 * (or QORPROC_COMPILE and QORPROC_RUN apart) and QORPROC_TERMINATE.
 */
#ifndef QOR_QORPROC_H
#define QOR_QORPROC_H

#include "qor/types.h"

QOR_BEGIN_C

/* Brings up every module, once; a second call does nothing. When an outside
 * module is missing or incomplete, shows why and ends the process with exit
 * code 1. */
QOR_API void QORPROC_INIT(void);
/* Compiles and, if that gave 0, runs. 0 done, 1 aborted while reading the
 * options, 2 while compiling, 3 while running. */
QOR_API int32_t QORPROC_START(void);
QOR_API int16_t QORPROC_COMPILE(void);
QOR_API int32_t QORPROC_RUN(void);
/* Brings down what QORPROC_INIT brought up; a second call does nothing. */
QOR_API void QORPROC_TERMINATE(void);

/* A word that the kernel keeps for the host and never looks at. */
QOR_API void QORPROC_SET_MAIN_WINDOW(uint64_t window);
QOR_API uint64_t QORPROC_GET_MAIN_WINDOW(uint64_t *window);

/* Loads plug-ins: a comma-separated list of NAME or NAME=ENTRY. NAME.so, the name
 * in upper case, is looked for in the user's and the system's bin directory and
 * beside the kernel; then its ENTRY_INIT is called with QORLIB_GET_MAINLIB. A
 * plug-in that is loaded already is passed over. QORPROC_TERMINATE calls
 * ENTRY_TERMINATE. Failures are reported as errors. */
QOR_API void QORPROC_LOAD_PLUGINS(const char *list);

/* The counting methods of class QOR, for hosts and plug-ins. */
QOR_API void QORPROC_COUNT_INPUT_OBJECT(void);
QOR_API void QORPROC_COUNT_OUTPUT_OBJECT(void);

/* Keeps the kernel's library name for those who ask; the first argument is
 * ignored and the result is always 1. */
QOR_API int32_t QORLIB_LOAD(uint64_t ignored, const char *library);
QOR_API const char *QORLIB_GET_MAINLIB(void);
QOR_API void QORLIB_UNLOAD(void);

QOR_API double QOR_R64ABS(double x);

/* Sizes of the basic values in bytes. */
QOR_API extern const int32_t MCON_REALSIZE;
QOR_API extern const int32_t MCON_LONGSIZE;
QOR_API extern const int32_t MCON_INTSIZE;
QOR_API extern const int32_t MCON_CARDSIZE;

QOR_END_C

#endif
