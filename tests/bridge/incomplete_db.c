/* A database module in which two entries are missing: one that is passed on and one
 * that only the kernel calls. */
#include <stdio.h>

#define DB_fetch_row a_missing_entry
#define DB_resolve_dblink another_missing_entry
#define EXPORTED(name)                                                                                                 \
    void name(void) {}
#define INTERNAL(name)                                                                                                 \
    void name(void) { puts(#name " was called"); }
#include "bridges/db_entries.inc"
