// The object record and what may be done with it without a call.
#pragma once

#include <string_view>
#include <utility>

#include "kernel/strng.hpp"
#include "qor/btyp.h"
#include "qor/obj.h"

namespace qor {
struct Ap;
}

// Two sizes: a string's record is 8 bytes longer than all others.
//
//   flags  bits 0-5 type id (signed), 6 defined, 7 being cleared, 8-31 count
//   head   of a string: bytes cut from the left of its buffer; data points
//          behind them, so that cutting a long text item by item does not move
//          what remains
//   pins   of any other type: how many running methods have the object as
//          their receiver; it lives that long, also without a reference
//   aps    chain of the access paths bound to the object
struct QOR_OBJECT {
    uint32_t flags;
    union {
        uint32_t head;
        uint32_t pins;
    };
    qor::Ap *aps;
    union {
        int32_t int_value;
        uint32_t boolean_value;
        double real_value;
        int64_t long_value;
        void *handle;
        uintptr_t word;
    };
    // The second half of a string's record follows.
};

namespace qor {

// The ids of the types that register themselves first, in their order.
enum Type : int32_t {
    TYPE_INT = 0,
    TYPE_REAL = 1,
    TYPE_BOOLEAN = 2,
    TYPE_STRING = 3,
    TYPE_MAP = 4,
    TYPE_GEOMETRY = 5,
    TYPE_ARRAY = 6,
    TYPE_BLOB = 7,
    TYPE_TABLE = 8,
    TYPE_MVTAB = 9,
    TYPE_LINK = 10,
    TYPE_DBLINK = 11,
    TYPE_LIST = 12,
    TYPE_LONG = 13,
    TYPE_METHOD = 14,
};

inline constexpr uint32_t OBJ_DEFINED = 1u << 6;
inline constexpr uint32_t OBJ_CLEARING = 1u << 7;
inline constexpr uint32_t OBJ_ONE = 1u << 8; // one reference
// The largest count the 24 bits hold. A count that reaches it stays: such an
// object is never freed, which is better than one freed while it is used.
inline constexpr int32_t OBJ_MAX_COUNT = 0x7fffff;

inline constexpr size_t SHORT_RECORD = sizeof(QOR_OBJECT);
inline constexpr size_t LONG_RECORD = SHORT_RECORD + 8;

// The id field is signed, but no id above 31 is given out.
inline int32_t type_of(const QOR_OBJECT *o) { return static_cast<int32_t>(o->flags & 0x3f); }
inline bool is_defined(const QOR_OBJECT *o) { return (o->flags & OBJ_DEFINED) != 0; }
inline int32_t count_of(const QOR_OBJECT *o) { return static_cast<int32_t>(o->flags) >> 8; }
inline void *value_of(QOR_OBJECT *o) { return &o->word; }
inline const void *value_of(const QOR_OBJECT *o) { return &o->word; }
inline STRNG *string_of(QOR_OBJECT *o) { return reinterpret_cast<STRNG *>(&o->word); }
inline std::string_view text_of(QOR_OBJECT *o) { return view(*string_of(o)); }
inline QOR_MAP *map_of(QOR_OBJECT *o) { return static_cast<QOR_MAP *>(o->handle); }

inline void add_reference(QOR_OBJECT *o) {
    if (count_of(o) < OBJ_MAX_COUNT) o->flags += OBJ_ONE;
}

// Types whose value lies in the record and needs no removal.
[[gnu::always_inline]] inline bool is_scalar_type(int32_t type) {
    constexpr uint32_t SCALARS = 1u << TYPE_INT | 1u << TYPE_REAL | 1u << TYPE_BOOLEAN | 1u << TYPE_LONG;
    return (SCALARS >> (type & 31)) & 1;
}

// Types that hold no other objects.
inline bool is_leaf_type(int32_t type) { return is_scalar_type(type) || type == TYPE_STRING; }

// A scalar that nothing but the caller's variable refers to: its record may
// take another scalar without a new allocation.
[[gnu::always_inline]] inline bool is_reusable_scalar(const QOR_OBJECT *o) {
    return o && (o->flags >> 7) == 2 && !o->aps && is_scalar_type(type_of(o));
}

// A scalar's record with count 1 for the variable, whose content is released.
// Its type and value are the caller's to set.
QOR_OBJECT *fresh_scalar(QOR_OBJECT **variable);

// The record that the variable holds if it may take another scalar, else a
// fresh one.
[[gnu::always_inline]] inline QOR_OBJECT *scalar_record(QOR_OBJECT **variable) {
    return is_reusable_scalar(*variable) ? *variable : fresh_scalar(variable);
}

// A defined string with count 1 for the variable, whose content is released;
// the text may lie in it. Records of short texts come back with their buffers.
void fresh_string(QOR_OBJECT **variable, std::string_view text);

// A string that nothing but the caller's variable refers to: it may take
// another text.
inline bool is_reusable_string(const QOR_OBJECT *o) {
    return o && (o->flags | OBJ_DEFINED) == (OBJ_ONE | OBJ_DEFINED | TYPE_STRING) && !o->aps;
}
// The same with a text in it.
inline bool is_own_text(const QOR_OBJECT *o) {
    return o && o->flags == (OBJ_ONE | OBJ_DEFINED | TYPE_STRING) && !o->aps;
}

// Such a string may also wait in a slot that it was popped from for the next
// text there, if it does not keep much storage from others.
inline constexpr uint32_t KEPT_TEXT = 4096;
inline bool may_wait_in_slot(QOR_OBJECT *o) { return is_reusable_string(o) && string_of(o)->capacity <= KEPT_TEXT; }

// Keeps an object alive for the run of a method, invisibly to its count.
inline void pin(QOR_OBJECT *o) { ++o->pins; }
inline bool is_pinned(const QOR_OBJECT *o) { return o->pins != 0 && type_of(o) != TYPE_STRING; }
void unpin(QOR_OBJECT *o);

// Moves a string's text back to the begin of its buffer, for callers that get
// the record's address and may grow or free the buffer.
void move_to_begin(QOR_OBJECT *o);
inline void normalize_string(QOR_OBJECT *o) {
    if (o->head) move_to_begin(o);
}

// Gives a reusable string another text, which may lie in it.
[[gnu::always_inline]] inline void refill_string(QOR_OBJECT *o, std::string_view text) {
    STRNG *s = string_of(o);
    if (o->head) {
        s->data -= o->head;
        s->capacity += o->head;
        o->head = 0;
    }
    o->flags = OBJ_ONE | OBJ_DEFINED | TYPE_STRING;
    if (text.size() > s->capacity) [[unlikely]]
        return strng_assign(s, text);
    copy_text(s->data, text.data(), text.size());
    s->length = static_cast<uint32_t>(text.size());
}
// Cuts n bytes (at most the length) from the left in constant time.
void cut_left(QOR_OBJECT *string_object, uint32_t n);

// Copies an object into a variable as an independent value, whatever the
// variable held (also the object itself), reusing its record where it can.
void copy_into(QOR_OBJECT *object, QOR_OBJECT **variable);

// Raises the depth of a walk over nested values for a scope; aborts with
// "objects nested too deeply" beyond 1,000.
class Nesting {
  public:
    Nesting();
    ~Nesting() { --depth; }
    Nesting(const Nesting &) = delete;
    Nesting &operator=(const Nesting &) = delete;

  private:
    static int32_t depth;
};

// Owns one counted reference or QOR_NIL. Laid over the plain variable, so that
// its address can be handed to every operation.
class Object_var {
  public:
    Object_var() = default;
    Object_var(Object_var &&other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Object_var &operator=(Object_var &&other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    Object_var(const Object_var &) = delete;
    Object_var &operator=(const Object_var &) = delete;
    ~Object_var() {
        if (object_) OBJ_remove_object(&object_);
    }
    // A new counted reference to an object that others hold.
    static Object_var share(QOR_OBJECT *object) {
        Object_var v;
        if (object) {
            add_reference(object);
            v.object_ = object;
        }
        return v;
    }

    QOR_OBJECT **operator&() { return &object_; }
    QOR_OBJECT *get() const { return object_; }
    operator QOR_OBJECT *() const { return object_; }
    QOR_OBJECT *release() { return std::exchange(object_, nullptr); }
    void reset() { OBJ_remove_object(&object_); }

  private:
    QOR_OBJECT *object_ = nullptr;
};

// The check slot of a geometry: the bridge fills it when the module is there.
extern void (*check_geometry)(QOR_GEOMETRY geometry);

} // namespace qor
