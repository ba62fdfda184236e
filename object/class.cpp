#include "object/class.hpp"

#include <algorithm>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "kernel/storage.hpp"
#include "kernel/upcalls.hpp"
#include "object/map_access.hpp"
#include "object/types.hpp"
#include "qor/map.h"
#include "qor/msg.h"

namespace qor {

namespace {

QOR_MAP *classes = nullptr;
QOR_MAP *native = nullptr; // copies of classes that a script replaced
QOR_MAP *procedures = nullptr;

// While it is not empty, every registration goes to the class of this name.
Strng prefix;

// Copies of both as they were before the first plug-in; null while none is loaded.
QOR_MAP *kept_classes = nullptr;
QOR_MAP *kept_native = nullptr;

// --- type "method" ----------------------------------------------------------------

void free_method(QOR_METHOD *m) {
    STRNG_REMOVE(&m->class_name);
    STRNG_REMOVE(&m->name);
    STRNG_REMOVE(&m->signature);
    storage_free(m, sizeof *m);
}

QOR_METHOD *new_method(STRNG class_name, STRNG name, STRNG signature) {
    auto *m = static_cast<QOR_METHOD *>(storage_allocate(sizeof(QOR_METHOD)));
    *m = QOR_METHOD{};
    strng_assign(&m->class_name, view(class_name));
    strng_assign(&m->name, view(name));
    strng_assign(&m->signature, view(signature));
    return m;
}

QOR_METHOD *&method_at(void *value) { return *static_cast<QOR_METHOD **>(value); }
QOR_METHOD *method_at(const void *value) { return *static_cast<QOR_METHOD *const *>(value); }

// What a method that is NULL leads to: nothing is run.
QOR_METHOD no_method = [] {
    QOR_METHOD m{};
    m.kind = METHOD_MODEL;
    return m;
}();

void method_initvalue(void *value) { method_at(value) = &no_method; }

void method_removevalue(void *value) {
    if (method_at(value) != &no_method) free_method(method_at(value));
    method_at(value) = &no_method;
}

void method_copyvalue(const void *source, void *target) {
    const QOR_METHOD *m = method_at(source);
    QOR_METHOD *copy = new_method(m->class_name, m->name, m->signature);
    copy->kind = m->kind;
    copy->in_count = m->in_count;
    copy->out_count = m->out_count;
    copy->scope = m->scope;
    copy->native = m->native;
    copy->address = m->address;
    copy->int_operator = m->int_operator;
    method_at(target) = copy;
}

Strng method_text(const QOR_METHOD *m) {
    Strng text(view(m->class_name));
    text.append('.');
    text.append(view(m->name));
    return text;
}

void method_tochar(const void *value, int16_t *length, char *buffer) {
    constexpr const char *TAGS[] = {"[C]", "[QOR]", "[MDL]"};
    const QOR_METHOD *m = method_at(value);
    Strng text = method_text(m);
    if (m->kind >= 0 && m->kind <= METHOD_MODEL) text.append(TAGS[m->kind]);
    const size_t n = std::min(text.text().size(), TOCHAR_SIZE - 1);
    std::memcpy(buffer, text.text().data(), n);
    buffer[n] = 0;
    *length = static_cast<int16_t>(n);
}

void method_display(const void *value) {
    Strng text("METHOD ");
    text.append(method_text(method_at(value)).text());
    MESSAGE_DISPLAY_S(text);
}

// --- look-up --------------------------------------------------------------------------

// The map that methods of this class stand in, borrowed; null when there is no
// such class.
QOR_MAP *methods_of(STRNG class_name) {
    if (STRNG2_MATCHA_C(class_name, "PROCEDURES")) return procedures;
    QOR_OBJECT *object = map_find(classes, class_name);
    return object && type_of(object) == TYPE_MAP ? map_of(object) : nullptr;
}

void insert_method(QOR_MAP *map, STRNG name, QOR_METHOD *method) {
    Object_var object;
    OBJ_create_object(&object, TYPE_METHOD);
    OBJ_set_object_value_ref(object, &method);
    MAP_INSERT_OBJECT_REF(map, name, object);
}

// A script may declare a map of this name: the directory stays what it is, and so
// does its object, which is pinned for good.
QOR_MAP *create_directory(const char *name) {
    static std::vector<QOR_OBJECT *> objects;
    QOR_MAP *map = nullptr;
    MAP_CREATE_C(&map, name);
    map_keep(map);
    objects.push_back(map_find(MAP_ROOT(), borrow(name)));
    pin(objects.back());
    return map;
}

STRNG registered_class(const char *name) { return prefix.empty() ? borrow(name) : prefix.get(); }

} // namespace

QOR_MAP *class_directory() { return classes; }
QOR_MAP *procedure_directory() { return procedures; }

void CLASS_CREATE_PROCEDURE(STRNG name, uint32_t address, int32_t *status) {
    QOR_METHOD *m = new_method(borrow("PROCEDURES"), name, borrow(""));
    m->kind = METHOD_SCRIPT;
    m->address = address;
    m->scope = 'P';
    insert_method(procedures, name, m);
    *status = 1;
}

void CLASS_CREATE_SCRIPT_METHOD(STRNG class_name, STRNG name, uint32_t address, int32_t *status) {
    QOR_MAP *methods = methods_of(class_name);
    *status = methods ? 1 : 0;
    if (!methods) return;
    QOR_METHOD *m = new_method(class_name, name, borrow(""));
    m->kind = METHOD_SCRIPT;
    m->address = address;
    m->scope = 'I';
    insert_method(methods, name, m);
}

QOR_OBJECT *Method_finder::find(bool *class_found) {
    QOR_OBJECT *class_object = map_find_cached(classes, borrow(class_name_), &class_entry_);
    *class_found = class_object && type_of(class_object) == TYPE_MAP;
    if (!*class_found) return nullptr;
    QOR_OBJECT *method = map_find_cached(map_of(class_object), borrow(method_), &method_entry_);
    return method && type_of(method) == TYPE_METHOD ? method : nullptr;
}

void class_forget_script() {
    std::vector<Strng> names;
    int32_t status;
    for (const Map_node *entry = map_first(native); entry; entry = map_next(entry)) {
        Strng name;
        map_key(entry, &name);
        MAP_INSERT_OBJECT(classes, name, map_object(entry));
        MAP_INSERT_OBJECT_REF(MAP_ROOT(), name, map_find(classes, name));
    }
    MAP_CLEAR(&native);
    MAP_CLEAR(&procedures);
    // A class without a native method is the script's own.
    std::vector<Strng> own_classes;
    for (const Map_node *entry = map_first(classes); entry; entry = map_next(entry)) {
        QOR_OBJECT *object = map_object(entry);
        if (type_of(object) != TYPE_MAP || !map_of(object)) continue;
        names.clear();
        bool has_native = false;
        for (const Map_node *m = map_first(map_of(object)); m; m = map_next(m)) {
            QOR_OBJECT *method = map_object(m);
            if (type_of(method) != TYPE_METHOD || !is_defined(method)) continue;
            if (method_of(method)->kind == METHOD_NATIVE)
                has_native = true;
            else
                map_key(m, &names.emplace_back());
        }
        for (const Strng &name : names) MAP_REMOVE_OBJECT(map_of(object), name, &status);
        if (!has_native) map_key(entry, &own_classes.emplace_back());
    }
    for (Strng &name : own_classes) CLASS_REMOVE_CLASS_C(name.c_str(), &status);
}

void class_keep_natives() {
    if (kept_classes) return;
    MAP_COPY(classes, &kept_classes);
    MAP_COPY(native, &kept_native);
}

void class_restore_natives() {
    if (!kept_classes) return;
    std::vector<Strng> names;
    for (const Map_node *entry = map_first(classes); entry; entry = map_next(entry))
        map_key(entry, &names.emplace_back());
    int32_t status;
    for (Strng &name : names) CLASS_REMOVE_CLASS_C(name.c_str(), &status);
    for (const Map_node *entry = map_first(kept_classes); entry; entry = map_next(entry)) {
        Strng name;
        map_key(entry, &name);
        MAP_INSERT_OBJECT_REF(classes, name, map_object(entry));
        MAP_INSERT_OBJECT_REF(MAP_ROOT(), name, map_object(entry));
    }
    MAP_CLEAR(&native);
    for (const Map_node *entry = map_first(kept_native); entry; entry = map_next(entry)) {
        Strng name;
        map_key(entry, &name);
        MAP_INSERT_OBJECT_REF(native, name, map_object(entry));
    }
    MAP_REMOVE(&kept_classes);
    MAP_REMOVE(&kept_native);
}

void class_init() {
    static bool done = false;
    if (!first_time(done)) return;
    int32_t id = -1;
    OBJ_create_type(&id, "method");
    OBJ_set_initvalue_proc(id, method_initvalue);
    OBJ_set_removevalue_proc(id, method_removevalue);
    OBJ_set_copyvalue_proc(id, method_copyvalue);
    OBJ_set_tochar_proc(id, method_tochar);
    OBJ_set_display_proc(id, method_display);
    classes = create_directory("CLASSES");
    native = create_directory("NATIVE");
    procedures = create_directory("PROCEDURES");
    int32_t status;
    CLASS_CREATE_CLASS_C("QOR", "2.2.1", &status);
}

} // namespace qor

using namespace qor;

int32_t CLASS_method_tidf() { return TYPE_METHOD; }

void CLASS_read_method_ref(QOR_OBJECT *object, QOR_METHOD **method) {
    OBJ_get_object_value_ref_tcheck(object, TYPE_METHOD, method);
}

void CLASS_CREATE_CLASS_C(const char *name, const char *version, int32_t *status) {
    QOR_MAP *map = nullptr;
    MAP_CREATE_NONAME(&map);
    MAP_INSERT_VALUE_C(map, "VERSION", version);
    Object_var object;
    BTYP_create_map_ref(&object, map);
    const Strng key(view(registered_class(name)));
    MAP_INSERT_OBJECT_REF(classes, key, object);
    MAP_INSERT_OBJECT_REF(MAP_ROOT(), key, object);
    *status = 1;
}

void CLASS_REMOVE_CLASS_C(const char *name, int32_t *status) {
    MAP_REMOVE_OBJECT_C(classes, name, status);
    MAP_REMOVE_OBJECT_C(MAP_ROOT(), name, status);
}

void CLASS_CREATE_METHOD_C(const char *class_name, const char *name, QOR_PROC procedure, int16_t in_count,
                           int16_t out_count, char scope, const char *signature, int32_t *status) {
    QOR_MAP *methods = methods_of(registered_class(class_name));
    *status = methods ? 1 : 0;
    if (!methods) return;
    // The record names the class of the argument, also under a prefix.
    QOR_METHOD *m = new_method(borrow(class_name), borrow(name), borrow(signature));
    m->kind = METHOD_NATIVE;
    m->native = procedure;
    m->in_count = in_count;
    m->out_count = out_count;
    m->scope = scope;
    insert_method(methods, borrow(name), m);
}

void CLASS_GET_METHOD_C(const char *class_name, const char *name, QOR_METHOD **method, int32_t *status) {
    Object_var object;
    CLASS_GET_METHOD_OBJECT(class_name, name, &object, status);
    if (*status) *method = method_of(object);
}

void CLASS_GET_METHOD_OBJECT(const char *class_name, const char *name, QOR_OBJECT **variable, int32_t *status) {
    QOR_MAP *methods = methods_of(borrow(class_name));
    QOR_OBJECT *object = methods ? map_find(methods, borrow(name)) : nullptr;
    *status = object && type_of(object) == TYPE_METHOD ? 1 : 0;
    if (*status) OBJ_create_object_ref(object, variable);
}

void CLASS_SAVE_NATIVE(const char *name) {
    QOR_OBJECT *object = map_find(classes, borrow(name));
    if (object) MAP_INSERT_OBJECT_C(native, name, object);
}

void CLASS_set_prefix(const char *name) { prefix.assign(name); }
void CLASS_clear_prefix() { prefix.clear(); }

void CLASS_DISPLAY_CLASS(STRNG name, char filter, int32_t *status) {
    QOR_MAP *methods = methods_of(name);
    *status = methods ? 1 : 0;
    if (!methods) return;
    // Put together before anything is shown: showing may run script code.
    Strng head("CLASS ");
    head.append(view(name));
    head.append(" Vers. ");
    Strng body;
    for (const Map_node *entry = map_first(methods); entry; entry = map_next(entry)) {
        QOR_OBJECT *object = map_object(entry);
        if (type_of(object) != TYPE_METHOD) {
            Strng key;
            map_key(entry, &key);
            if (key.text() == "VERSION" && type_of(object) == TYPE_STRING) head.append(text_of(object));
            continue;
        }
        const QOR_METHOD *m = method_of(object);
        if (filter != ' ' && filter != m->scope) continue;
        body.append("   METHOD ");
        body.append(view(m->name));
        if (m->signature.length) {
            body.append(' ');
            body.append(view(m->signature));
        }
        body.append('\n');
    }
    MESSAGE_DISPLAY_S(head);
    std::string_view lines = body.text();
    while (!lines.empty()) {
        const size_t length = lines.find('\n');
        MESSAGE_DISPLAY_S(borrow(lines.substr(0, length)));
        lines.remove_prefix(length + 1);
    }
    // No line end of its own: the next class's line follows it directly.
    MESSAGE_DISPLAY1_C("END_CLASS");
}

void CLASS_DISPLAY_ALL(char filter) {
    std::vector<Strng> names;
    for (const Map_node *entry = map_first(classes); entry; entry = map_next(entry))
        map_key(entry, &names.emplace_back());
    for (const Strng &name : names) {
        MESSAGE_DISPLAY1_C("");
        int32_t status;
        CLASS_DISPLAY_CLASS(name, filter, &status);
    }
}
