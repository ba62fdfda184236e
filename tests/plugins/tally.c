/* A plug-in in plain C: a class with a type of its own, and a method in place of
 * a built-in one. */
#include <stdio.h>
#include <stdlib.h>

#include "qor/qor.h"

static int32_t tally_type = -1;

static void type_init(void *value) { *(void **)value = NULL; }
static void type_remove(void *value) { free(*(void **)value); }
static void type_copy(const void *source, void *target) {
    *(int32_t **)target = malloc(sizeof(int32_t));
    **(int32_t **)target = **(int32_t *const *)source;
}
static void type_tochar(const void *value, int16_t *length, char *buffer) {
    *length = (int16_t)sprintf(buffer, "tally of %d", (int)**(int32_t *const *)value);
}

static void create(void) {
    QOR_OBJECT *object = QOR_NIL;
    int32_t *counter = malloc(sizeof *counter);
    *counter = 7;
    OBJ_create_object(&object, tally_type);
    OBJ_set_object_value_ref(object, &counter);
    QORCPU_PUSH_OBJ_REF(object);
    OBJ_remove_object(&object);
}

static void type_id(void) { QORCPU_PUSHI(tally_type); }
static void own_trim(void) {
    QORCPU_POP();
    QORCPU_PUSHS_C("trimmed by the plug-in");
}

/* Script code below this frame may abort: the way out leads through it. */
static void call(void) {
    char name[64];
    QORCPU_POPS_C(name);
    QORCPU_CALL_QOR_PROC_C(name);
    puts("back in the plug-in");
}

QOR_API void TALLY_INIT(const char *kernel) {
    char text[256];
    int32_t status;
    MESSAGE_DISPLAY_F("TALLY_INIT %s\n", kernel);
    if (OPTION_GETOPT_C("fail", text)) MESSAGE_ABORT1_C("the plug-in gives up\n");
    /* Itself is passed over, also while it is being initialised. */
    if (OPTION_GETOPT_C("needs", text)) QORPROC_LOAD_PLUGINS(text);
    CLASS_CREATE_CLASS_C("TALLY", "3.1", &status);
    CLASS_CREATE_METHOD_C("TALLY", "CREATE", create, 0, 1, 'P', "[][o tally]", &status);
    CLASS_CREATE_METHOD_C("TALLY", "TYPE_ID", type_id, 0, 1, 'P', "[][i id]", &status);
    CLASS_CREATE_METHOD_C("TALLY", "CALL", call, 1, 0, 'P', "[s procedure][]", &status);
    CLASS_CREATE_METHOD_C("QOR", "TRIM", own_trim, 1, 1, 'P', "[s text][s text]", &status);
    OBJ_create_type(&tally_type, "tally");
    OBJ_set_initvalue_proc(tally_type, type_init);
    OBJ_set_removevalue_proc(tally_type, type_remove);
    OBJ_set_copyvalue_proc(tally_type, type_copy);
    OBJ_set_tochar_proc(tally_type, type_tochar);
}

QOR_API void TALLY_TERMINATE(void) { puts("TALLY_TERMINATE"); }
