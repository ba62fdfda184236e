/* A geometry module in which three entries are missing: one that scripts reach,
 * one that nobody calls, and one that only the kernel calls. */
#include <stdio.h>

#define GEOM_SET_GATTR a_missing_entry
#define GEOM2_FENCE_CUT a_missing_entry_that_nobody_calls
#define GEOM_TERMINATE another_missing_entry
#define EXPORTED(name)                                                                                                 \
    void name(void) {}
#define INTERNAL(name)                                                                                                 \
    void name(void) { puts(#name " was called"); }
#include "bridges/geom_entries.inc"
