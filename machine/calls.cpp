// Calls of methods and procedures by record and by name, and the application
// of maps.
#include "kernel/upcalls.hpp"
#include "machine/methods/methods.hpp"
#include "machine/qorcpu.hpp"
#include "object/map_access.hpp"
#include "qor/map.h"

namespace qor {

namespace {

void not_defined(const char *what, STRNG name) {
    MSG_SET_PROC_C(qorcpu_msg, "DO_METHOD_BY_NAME");
    MSG_PABORT_C(qorcpu_msg, what, name, " not defined");
}

// The key that the top object gives a map; the object is popped.
void pop_key(Strng &key) {
    QOR_OBJECT *o = qorcpu_top();
    if (type_of(o) == TYPE_STRING && is_defined(o)) {
        key.assign(text_of(o));
        qorcpu_release_top();
        return;
    }
    OBJ_to_string(o, &key); // "NULL" for an undefined object
    QORCPU_POP();
}

Method_finder message_methods[] = {{"MESSAGE", "DISPLAY"}, {"MESSAGE", "ERROR"}, {"MESSAGE", "STATUS"}};

} // namespace

void qorcpu_apply_map(QOR_MAP *map) {
    // The usual case, a plain entry, which takes the place of its key.
    QOR_OBJECT *key = qorcpu_top();
    if (type_of(key) == TYPE_STRING && is_defined(key) && text_of(key).size() <= SHORT_KEY) {
        QOR_OBJECT *entry = map_find(map, *string_of(key));
        if (entry && is_leaf_type(type_of(entry))) {
            qorcpu_drop();
            copy_into(entry, qorcpu_push_slot());
            return;
        }
    }
    static Strng work;
    pop_key(work);
    QOR_OBJECT *entry = map_find(map, work);
    if (!entry) {
        Strng text(work.text());
        Strng name;
        MAP_GET_NAME(map, &name);
        MSG_SET_PROC_C(qormeth_msg, "MAP");
        text.append(" no such entry in MAP ");
        text.append(name.text());
        MSG_ABORT_S(qormeth_msg, text);
        return;
    }
    // The entry's method may replace the entry.
    const Object_var held = Object_var::share(entry);
    QORCPU_PUSH_OBJ(held);
}

void run_within_instruction(QOR_METHOD *method) {
    Instruction *instruction = qorcpu_instr;
    QORCPU_DO_METHOD(method);
    qorcpu_instr = instruction;
}

void run_message_method(Message_channel channel) {
    Method_finder &finder = message_methods[static_cast<int>(channel)];
    bool class_found;
    QOR_OBJECT *method = finder.find(&class_found);
    if (!method) {
        not_defined(class_found ? "method " : "class ", borrow(class_found ? finder.method() : finder.class_name()));
        return;
    }
    run_within_instruction(method_of(method));
}

void QORCPU_DO_METHOD_BY_NAME(STRNG class_name, STRNG method) {
    QOR_OBJECT *class_object = map_find(class_directory(), class_name);
    if (!class_object || type_of(class_object) != TYPE_MAP) return not_defined("class ", class_name);
    QOR_OBJECT *object = map_find(map_of(class_object), method);
    if (!object || type_of(object) != TYPE_METHOD) return not_defined("method ", method);
    QORCPU_DO_METHOD(method_of(object));
}

void QORCPU_CALL_QOR_PROC(STRNG procedure) {
    QOR_OBJECT *object = map_find(procedure_directory(), procedure);
    if (!object || type_of(object) != TYPE_METHOD) return not_defined("procedure ", procedure);
    QORCPU_DO_METHOD(method_of(object));
}

} // namespace qor

using namespace qor;

void QORCPU_PUSH_OBJ(QOR_OBJECT *object) {
    QOR_OBJECT **slot = qorcpu_push_slot();
    // A method starts with the raised top: one slot too many lies under its
    // results. Scripts see that, so it stays.
    if (type_of(object) == TYPE_METHOD) {
        // A text that waits there for reuse would show.
        if (is_reusable_string(*slot)) OBJ_remove_object(slot);
        QORCPU_DO_METHOD(method_of(object));
    } else {
        copy_into(object, slot);
    }
    qorcpu_check_top();
}

void QORCPU_DO_METHOD(QOR_METHOD *method) {
    if (method->kind == METHOD_NATIVE)
        method->native();
    else if (method->kind == METHOD_SCRIPT)
        QORCPU_EXECUTE_PROC(method->address);
}

void QORCPU_DO_METHOD_BY_NAME_C(const char *class_name, const char *method) {
    QORCPU_DO_METHOD_BY_NAME(borrow(class_name), borrow(method));
}

void QORCPU_CALL_QOR_PROC_C(const char *procedure) { QORCPU_CALL_QOR_PROC(borrow(procedure)); }
