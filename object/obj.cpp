#include "qor/obj.h"

#include <string>
#include <vector>

#include "kernel/lifecycle.hpp"
#include "kernel/storage.hpp"
#include "kernel/upcalls.hpp"
#include "object/ap.hpp"
#include "object/types.hpp"
#include "qor/map.h"
#include "qor/msg.h"

namespace qor {

Object_type type_table[TYPE_TABLE_SIZE];
int32_t type_count = 0;
int32_t Nesting::depth = 0;

namespace {

constexpr int32_t NESTING_LIMIT = 1000;

Record_pool<SHORT_RECORD> short_records;
Record_pool<LONG_RECORD> long_records;

// Released strings with a short buffer keep it and wait here, linked through
// aps, for the next text. A few are enough: fields come and go one by one.
constexpr uint32_t SPARE_CAPACITY = 256;
constexpr uint32_t SMALLEST_SPARE = 16;
constexpr int SPARE_LIMIT = 256;
QOR_OBJECT *spare_strings = nullptr;
int spare_count = 0;

[[gnu::noinline]] void free_string(QOR_OBJECT *o) {
    STRNG *s = string_of(o);
    if (s->data) storage_free(s->data, s->capacity);
    long_records.give(o);
}

inline void retire_string(QOR_OBJECT *o) {
    STRNG *s = string_of(o);
    s->data -= o->head; // a null buffer has no head
    s->capacity += o->head;
    const bool has_room = s->capacity >= SMALLEST_SPARE && s->capacity <= SPARE_CAPACITY;
    if (POOLED_RECORDS && has_room && spare_count < SPARE_LIMIT) {
        // Not in use while it waits, so not counted.
        storage_size -= s->capacity + static_cast<int64_t>(LONG_RECORD);
        o->aps = reinterpret_cast<Ap *>(spare_strings);
        spare_strings = o;
        ++spare_count;
        return;
    }
    free_string(o);
}

QOR_OBJECT *new_string(std::string_view text) {
    // A spare buffer that is too small grows: soon they fit what a script works on.
    if (QOR_OBJECT *o = spare_strings; o && text.size() <= SPARE_CAPACITY) {
        spare_strings = reinterpret_cast<QOR_OBJECT *>(o->aps);
        --spare_count;
        storage_size += string_of(o)->capacity + static_cast<int64_t>(LONG_RECORD);
        o->flags = OBJ_ONE | OBJ_DEFINED | TYPE_STRING;
        o->head = 0;
        o->aps = nullptr;
        refill_string(o, text);
        return o;
    }
    auto *o = static_cast<QOR_OBJECT *>(long_records.take());
    o->flags = OBJ_ONE | OBJ_DEFINED | TYPE_STRING;
    o->head = 0;
    o->aps = nullptr;
    // A short text gets room for others of its kind.
    const auto capacity = static_cast<uint32_t>(text.size() > SPARE_CAPACITY ? text.size() : (text.size() + 31) & ~15u);
    *string_of(o) = {capacity, static_cast<uint32_t>(text.size()), static_cast<uint8_t *>(storage_allocate(capacity))};
    copy_text(string_of(o)->data, text.data(), text.size());
    return o;
}

// Objects whose last reference went while another object was being released.
// They wait here, linked through aps, so that releasing nested containers does
// not use the host's stack.
QOR_OBJECT *waiting = nullptr;
bool releasing = false;

QOR_OBJECT *new_record(int32_t type) {
    auto *o = static_cast<QOR_OBJECT *>(type == TYPE_STRING ? long_records.take() : short_records.take());
    o->flags = OBJ_ONE | (static_cast<uint32_t>(type) & 0x3f);
    o->head = 0;
    o->aps = nullptr;
    return o;
}

// The size follows the present type: a record that was made for a string and
// holds another type by now goes to the short ones.
void free_record(QOR_OBJECT *o) {
    if (type_of(o) == TYPE_STRING)
        long_records.give(o);
    else
        short_records.give(o);
}

void remove_value(QOR_OBJECT *o) {
    const int32_t type = type_of(o);
    if (type == TYPE_STRING) normalize_string(o);
    type_table[type].removevalue(value_of(o));
}

void remove_value_and_record(QOR_OBJECT *o) {
    if (is_scalar_type(type_of(o))) {
        free_record(o);
        return;
    }
    if (type_of(o) == TYPE_STRING) {
        retire_string(o);
        return;
    }
    o->aps = reinterpret_cast<Ap *>(waiting);
    waiting = o;
    if (releasing) return;
    releasing = true;
    while (waiting) {
        QOR_OBJECT *next = waiting;
        waiting = reinterpret_cast<QOR_OBJECT *>(next->aps);
        next->aps = nullptr;
        remove_value(next);
        free_record(next);
    }
    releasing = false;
}

// A name leads to what a container holds, so any drop of a reference ends the
// cached answers: the next use of the name looks again.
void reset_paths(QOR_OBJECT *o) {
    for (Ap *ap = o->aps; ap; ap = o->aps) {
        if (ap->chain == ap) {
            MESSAGE_ABORT1_C("internal error in reset_ap: loop detected\n");
            return;
        }
        if (!ap->obj) {
            MESSAGE_ABORT1_C("internal error in reset_ap: ap->obj is nil\n");
            return;
        }
        reset_ap(ap);
    }
}

// Takes one reference off; true when it was the last and the object may go.
bool drop_reference(QOR_OBJECT *o) {
    if (o->aps) reset_paths(o);
    const int32_t count = count_of(o);
    if (count == OBJ_MAX_COUNT) return false;
    if (count == 1 && !is_pinned(o)) return true;
    o->flags -= OBJ_ONE;
    return false;
}

[[gnu::noinline]] void release_other(QOR_OBJECT *o) {
    if (drop_reference(o)) remove_value_and_record(o);
}

// Gives a reference back. The usual objects first: those of one owner.
[[gnu::always_inline]] inline void release(QOR_OBJECT *o) {
    if (is_reusable_scalar(o) && o->pins == 0)
        short_records.give(o);
    else if (is_reusable_string(o))
        retire_string(o);
    else
        release_other(o);
}

void abort_null(const char *operation) {
    const std::string text = std::string(operation) + ": value is NULL\n";
    MESSAGE_ABORT1_C(text.c_str());
}

void assign_value(QOR_OBJECT *o, const void *source, bool adopt) {
    const int32_t type = type_of(o);
    const Object_type &slots = type_table[type];
    if (type == TYPE_STRING && !adopt) {
        // The source may be the object's own text: keep the buffer where it fits.
        normalize_string(o);
        strng_assign(string_of(o), view(*static_cast<const STRNG *>(source)));
    } else if (!adopt && source == value_of(o)) {
        // Its own value: there is nothing to do.
    } else {
        remove_value(o);
        (adopt ? slots.assignvalue : slots.copyvalue)(source, value_of(o));
    }
    o->flags |= OBJ_DEFINED;
}

} // namespace

QOR_OBJECT *fresh_scalar(QOR_OBJECT **variable) {
    if (*variable) release(std::exchange(*variable, nullptr));
    return *variable = new_record(TYPE_INT);
}

void fresh_string(QOR_OBJECT **variable, std::string_view text) {
    QOR_OBJECT *fresh = new_string(text);
    if (*variable) release(std::exchange(*variable, nullptr));
    *variable = fresh;
}

bool is_ilink_type(int32_t type) { return type > TYPE_METHOD && type < type_count && type_table[type].name == "ilink"; }

void free_unbound(QOR_OBJECT *o) { remove_value_and_record(o); }

void unpin(QOR_OBJECT *o) {
    // What a path alone is bound to goes with that binding.
    if (--o->pins != 0 || count_of(o) != 0 || o->aps) return;
    add_reference(o);
    OBJ_remove_object(&o);
}

void move_to_begin(QOR_OBJECT *o) {
    STRNG *s = string_of(o);
    std::memmove(s->data - o->head, s->data, s->length);
    s->data -= o->head;
    s->capacity += o->head;
    o->head = 0;
}

void cut_left(QOR_OBJECT *o, uint32_t n) {
    STRNG *s = string_of(o);
    if (n > s->length) n = s->length;
    s->data += n;
    s->length -= n;
    s->capacity -= n;
    o->head += n;
}

// Apart, so that the usual copies need no frame.
[[gnu::noinline]] static void copy_other(QOR_OBJECT *object, QOR_OBJECT **variable) {
    Object_var copy;
    OBJ_copy_object(object, &copy);
    OBJ_remove_object(variable);
    *variable = copy.release();
}

void copy_into(QOR_OBJECT *object, QOR_OBJECT **variable) {
    const int32_t type = type_of(object);
    if (type == TYPE_STRING && is_defined(object)) [[likely]] {
        if (is_reusable_string(*variable)) [[likely]]
            return refill_string(*variable, text_of(object));
        return fresh_string(variable, text_of(object));
    }
    if (is_scalar_type(type)) {
        const uint32_t flags = (object->flags & 0x7f) | OBJ_ONE;
        const uintptr_t word = object->word;
        QOR_OBJECT *record = scalar_record(variable);
        record->flags = flags;
        record->word = word;
        return;
    }
    copy_other(object, variable);
}

Nesting::Nesting() {
    if (++depth > NESTING_LIMIT) {
        --depth;
        MESSAGE_ABORT1_C("objects nested too deeply\n");
        ++depth;
    }
}

// --- slots that a type leaves as they are ----------------------------------------

namespace {

void default_initvalue(void *) {}
void default_removevalue(void *) {}
void default_move(const void *source, void *target) { std::memcpy(target, source, 8); }

void default_tochar(const void *, int16_t *length, char *buffer) {
    std::memcpy(buffer, "???", 4);
    *length = 3;
}

void default_index(void *, STRNG, QOR_OBJECT **, int32_t *status) { *status = 0; }
void default_insert(void *, STRNG, QOR_OBJECT *, int32_t *status) { *status = 0; }
void default_check(const void *) {}

void default_domethod(void *, const char *name) { MESSAGE_ABORT_F("method %s not implemented for object\n", name); }

void set_default_slots(Object_type &t) {
    t.initvalue = default_initvalue;
    t.removevalue = default_removevalue;
    t.assignvalue = default_move;
    t.copyvalue = default_move;
    t.tochar = default_tochar;
    t.display = nullptr;
    t.index = default_index;
    t.insert = default_insert;
    t.check = default_check;
    t.domethod = default_domethod;
}

bool is_type(int32_t type) { return type >= 0 && type < type_count; }

} // namespace

void obj_init() {
    static bool done = false;
    if (!first_time(done)) return;
    for (Object_type &t : type_table) set_default_slots(t);
}

// Objects that are left keep their slots: the code of a plug-in stays in memory.
void obj_release_type_ids() {
    for (int32_t id = TYPE_METHOD + 1; id < type_count; ++id) type_table[id].is_id_free = true;
}

} // namespace qor

using namespace qor;

void OBJ_create_type(int32_t *id, const char *name) {
    for (int32_t known = TYPE_METHOD + 1; known < type_count; ++known) {
        Object_type &t = type_table[known];
        if (!t.is_id_free || t.name != name) continue;
        t.is_id_free = false;
        *id = known;
        return;
    }
    if (type_count >= TYPE_ID_LIMIT) return;
    *id = type_count++;
    type_table[*id].name = name;
}

void OBJ_set_initvalue_proc(int32_t type, QOR_INITVALUE p) {
    if (is_type(type)) type_table[type].initvalue = p;
}
void OBJ_set_removevalue_proc(int32_t type, QOR_REMOVEVALUE p) {
    if (is_type(type)) type_table[type].removevalue = p;
}
void OBJ_set_assignvalue_proc(int32_t type, QOR_ASSIGNVALUE p) {
    if (is_type(type)) type_table[type].assignvalue = p;
}
void OBJ_set_copyvalue_proc(int32_t type, QOR_COPYVALUE p) {
    if (is_type(type)) type_table[type].copyvalue = p;
}
void OBJ_set_tochar_proc(int32_t type, QOR_TOCHAR p) {
    if (is_type(type)) type_table[type].tochar = p;
}
void OBJ_set_display_proc(int32_t type, QOR_DISPLAY p) {
    if (is_type(type)) type_table[type].display = p;
}
void OBJ_set_index_proc(int32_t type, QOR_INDEX p) {
    if (is_type(type)) type_table[type].index = p;
}
void OBJ_set_insert_proc(int32_t type, QOR_INSERT p) {
    if (is_type(type)) type_table[type].insert = p;
}
void OBJ_set_check_proc(int32_t type, QOR_CHECK p) {
    if (is_type(type)) type_table[type].check = p;
}
void OBJ_set_domethod_proc(int32_t type, QOR_DOMETHOD p) {
    if (is_type(type)) type_table[type].domethod = p;
}

// --- variables and references ------------------------------------------------------

void OBJ_init_objectvar(QOR_OBJECT **variable) { *variable = nullptr; }

void OBJ_create_object(QOR_OBJECT **variable, int32_t type) {
    if (*variable) OBJ_remove_object(variable);
    QOR_OBJECT *o = new_record(type);
    type_table[type].initvalue(value_of(o));
    *variable = o;
}

void OBJ_create_object_ref(QOR_OBJECT *object, QOR_OBJECT **variable) {
    if (!object) {
        MESSAGE_DISPLAY1_C("OBJ_create_object_ref: ref on QOR_NIL\n");
        return;
    }
    if (*variable == object && count_of(object) == 1) {
        // The variable's content goes first, and it was the last reference.
        OBJ_remove_object(variable);
        return;
    }
    add_reference(object);
    if (*variable) OBJ_remove_object(variable);
    *variable = object;
}

void OBJ_remove_object(QOR_OBJECT **variable) {
    if (*variable) release(std::exchange(*variable, nullptr));
}

void OBJ_remove_object_keep_value(QOR_OBJECT **variable) {
    QOR_OBJECT *o = *variable;
    if (!o) return;
    *variable = nullptr;
    if (drop_reference(o)) free_record(o);
}

void OBJ_move_object_ref(QOR_OBJECT **source, QOR_OBJECT **target) {
    QOR_OBJECT *o = *source;
    if (!o && *target) {
        OBJ_remove_object(target);
        return;
    }
    if (o && !*target && !o->aps) {
        *target = std::exchange(*source, nullptr);
        return;
    }
    OBJ_create_object_ref(o, target);
    OBJ_remove_object(source);
}

void OBJ_copy_object(QOR_OBJECT *object, QOR_OBJECT **variable) {
    if (object == *variable) return;
    const int32_t type = type_of(object);
    Object_var copy;
    OBJ_create_object(&copy, type);
    if (is_defined(object)) {
        if (is_scalar_type(type)) {
            copy.get()->word = object->word;
        } else {
            type_table[type].copyvalue(value_of(object), value_of(copy.get()));
        }
        copy.get()->flags |= OBJ_DEFINED;
    }
    if (*variable) OBJ_remove_object(variable);
    *variable = copy.release();
}

void OBJ_clear_object(QOR_OBJECT *object) {
    if (type_of(object) != TYPE_MAP) {
        MESSAGE_ABORT1_C("can not clear this type of object\n");
        return;
    }
    object->flags |= OBJ_CLEARING;
    QOR_MAP *map = map_of(object);
    MAP_CLEAR(&map);
    object->flags &= ~OBJ_CLEARING;
}

// --- values --------------------------------------------------------------------------

int32_t OBJ_object_value_is_defined(const QOR_OBJECT *object) { return is_defined(object); }

void OBJ_set_null(QOR_OBJECT *object) {
    remove_value(object);
    object->flags &= ~OBJ_DEFINED;
}

void OBJ_set_object_value(QOR_OBJECT *object, const void *source) { assign_value(object, source, false); }
void OBJ_set_object_value_ref(QOR_OBJECT *object, const void *source) { assign_value(object, source, true); }

void OBJ_get_object_value(QOR_OBJECT *object, void *out) {
    if (!is_defined(object)) return abort_null("OBJ_get_object_value");
    type_table[type_of(object)].copyvalue(value_of(object), out);
}

void OBJ_get_object_value_ref(QOR_OBJECT *object, void *out) {
    if (!is_defined(object)) return abort_null("OBJ_get_object_value_ref");
    type_table[type_of(object)].assignvalue(value_of(object), out);
}

void OBJ_get_object_value_addr(QOR_OBJECT *object, void **out) {
    if (!is_defined(object)) return abort_null("OBJ_get_object_value_addr");
    if (type_of(object) == TYPE_STRING) normalize_string(object);
    *out = value_of(object);
}

// Aborts on another type; false should the abort return.
static bool is_of_type(QOR_OBJECT *object, int32_t type) {
    if (object && type_of(object) == type) [[likely]]
        return true;
    Strng shown;
    OBJ_to_display_string(object, &shown);
    std::string text = "OBJ_assert_type: " + std::string(shown.text()) + " is not of type ";
    if (is_type(type)) text += type_table[type].name;
    MESSAGE_ABORT1_C(text.c_str());
    return false;
}

void OBJ_assert_type(QOR_OBJECT *object, int32_t type) { is_of_type(object, type); }

void OBJ_get_object_value_tcheck(QOR_OBJECT *object, int32_t type, void *out) {
    if (is_of_type(object, type)) OBJ_get_object_value(object, out);
}

void OBJ_get_object_value_ref_tcheck(QOR_OBJECT *object, int32_t type, void *out) {
    if (is_of_type(object, type)) OBJ_get_object_value_ref(object, out);
}

void OBJ_get_object_value_addr_tcheck(QOR_OBJECT *object, int32_t type, void **out) {
    if (!is_of_type(object, type)) return;
    if (type == TYPE_STRING) normalize_string(object);
    *out = value_of(object);
}

void OBJ_set_object_value_tcheck(QOR_OBJECT *object, int32_t type, const void *source) {
    if (is_of_type(object, type)) OBJ_set_object_value(object, source);
}

void OBJ_set_object_value_ref_tcheck(QOR_OBJECT *object, int32_t type, const void *source) {
    if (is_of_type(object, type)) OBJ_set_object_value_ref(object, source);
}

void OBJ_copy_value(QOR_OBJECT *target, QOR_OBJECT *source) {
    if (target == source) return;
    const int32_t type = type_of(source);
    if (type_of(target) != TYPE_STRING && type == TYPE_STRING) {
        MESSAGE_ABORT1_C("OBJ_copy_value: can not overwrite value with string\n");
        return;
    }
    const uint32_t type_and_defined = source->flags & (0x3f | OBJ_DEFINED);
    if (is_defined(source)) {
        // The source may lie inside the target: copy it before the target goes.
        Object_var copy;
        OBJ_copy_object(source, &copy);
        remove_value(target);
        type_table[type].assignvalue(value_of(copy.get()), value_of(target));
        QOR_OBJECT *shell = copy.release();
        free_record(shell);
    }
    // An undefined source deliberately leaves the old value in its place, under
    // a cleared mark, unless the new type could not remove it.
    else if (type_of(target) != type) {
        remove_value(target);
        type_table[type].initvalue(value_of(target));
    }
    target->flags = (target->flags & ~(0x3fu | OBJ_DEFINED)) | type_and_defined;
}

// --- behaviour by type -----------------------------------------------------------------

void OBJ_index_object(QOR_OBJECT *object, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    type_table[type_of(object)].index(value_of(object), key, variable, status);
}

void OBJ_index_object_p(QOR_OBJECT *object, STRNG key, QOR_OBJECT **variable, int32_t *status) {
    OBJ_index_object(object, key, variable, status);
}

void OBJ_insert_object_ref(QOR_OBJECT *object, STRNG key, QOR_OBJECT *inserted, int32_t *status) {
    type_table[type_of(object)].insert(value_of(object), key, inserted, status);
}

void OBJ_domethod(QOR_OBJECT *object, const char *name) {
    type_table[type_of(object)].domethod(value_of(object), name);
}

int32_t OBJ_get_type(const QOR_OBJECT *object) { return type_of(object); }

void OBJ_get_type_name(const QOR_OBJECT *object, STRNG *name) { strng_assign(name, OBJ_get_type_name_C(object)); }

const char *OBJ_get_type_name_C(const QOR_OBJECT *object) { return type_table[type_of(object)].name.c_str(); }

void OBJ_get_object_ref_by_name(STRNG name, QOR_OBJECT **variable, int32_t *status) {
    Ap *ap = AP_find_path(name);
    QOR_OBJECT *object = ap ? AP_resolve(ap) : nullptr;
    *status = object ? 1 : 0;
    if (object) OBJ_create_object_ref(object, variable);
}
