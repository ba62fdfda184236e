/* A second plug-in, with two pairs of entries; the third has no end. */
#include <stdio.h>

#include "qor/qor.h"

static void who(void) { QORCPU_PUSHS_C("second"); }

static void init(const char *kernel, const char *entry) {
    int32_t status;
    (void)kernel;
    MESSAGE_DISPLAY_F("%s_INIT\n", entry);
    CLASS_CREATE_CLASS_C("SECOND", "1.0", &status);
    CLASS_CREATE_METHOD_C("SECOND", "WHO", who, 0, 1, 'P', "[][s name]", &status);
}

QOR_API void SECOND_INIT(const char *kernel) { init(kernel, "SECOND"); }
QOR_API void SECOND_TERMINATE(void) { puts("SECOND_TERMINATE"); }
QOR_API void OTHER_INIT(const char *kernel) { init(kernel, "OTHER"); }
QOR_API void OTHER_TERMINATE(void) { puts("OTHER_TERMINATE"); }
QOR_API void ENDLESS_INIT(const char *kernel) { (void)kernel; }
