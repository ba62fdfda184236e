/* Options: the flat set of named texts that configures a run, held in the
 * root map OPT, and the directories derived from where the program stands. */
#ifndef QOR_OPTION_H
#define QOR_OPTION_H

#include "qor/types.h"

QOR_BEGIN_C

/* Clears the options, reads the command line (the first element, the
 * program's name, is skipped), derives the directories and creates the
 * temporary directory. Call it after QORPROC_INIT. Nothing here aborts. */
QOR_API void OPTION_LOAD_OPTIONS(int32_t argc, const char *const *argv);

/* A host may supply the temporary directory of a run that sets no temp_dir:
 * OPTION_LOAD_OPTIONS then asks the supplier and stores a copy of the answer as
 * that option. On a null answer the derived directory holds. */
QOR_API void OPTION_SET_TEMP_DIR_SUPPLIER(const char *(*supplier)(void));

/* 1 when the option is set, with a value or without. */
QOR_API int32_t OPTION_ISOPT_C(const char *name);
/* 1 when set; the buffer receives the value or the empty text. Its size is
 * the caller's business. */
QOR_API int32_t OPTION_GETOPT_C(const char *name, char *value);
QOR_API int32_t OPTION_GETOPT(uint32_t high, const char *name, STRNG *value);
/* The variable receives a copy of the option's object. */
QOR_API int32_t OPTION_GETOPT_OBJ(STRNG name, QOR_OBJECT **value);
QOR_API void OPTION_SETOPT_C(const char *name, const char *value);
QOR_API void OPTION_SETOPT_OBJ(STRNG name, QOR_OBJECT *value); /* copies */

/* The directories as derived from the present options, without a separator at
 * the end. Derived anew at each call. */
QOR_API void OPTION_GET_SYSTEM_DIR_C(char *directory);
QOR_API void OPTION_GET_USER_DIR_C(char *directory);
QOR_API void OPTION_GET_ROOT_DIR_C(char *directory);
QOR_API void OPTION_GET_SYSTEM_BIN_DIR_C(char *directory); /* system directory + "/bin" */
QOR_API void OPTION_GET_SYSTEM_BIN_DIR(STRNG *directory);
QOR_API void OPTION_GET_USER_BIN_DIR_C(char *directory); /* user directory + "/bin64" */
QOR_API void OPTION_GET_USER_BIN_DIR(STRNG *directory);
QOR_API void OPTION_GET_TEMP_DIR_C(char *directory);
QOR_API void OPTION_GET_TEMP_DIR(STRNG *directory);

QOR_END_C

#endif
