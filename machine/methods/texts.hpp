// What the families that work on texts share: texts on the stack without
// copying them, work buffers, and names looked up at run time.
#pragma once

#include <memory>

#include "machine/methods/methods.hpp"
#include "object/types.hpp"

namespace qor {

inline bool has_value(const QOR_OBJECT *o, Type type) {
    return o && (o->flags & (0x3f | OBJ_DEFINED)) == (OBJ_DEFINED | static_cast<uint32_t>(type));
}

// Shows the method as the channel's procedure and aborts.
[[gnu::cold]] void qormeth_abort(const char *method, const char *text);
[[gnu::cold]] void qormeth_abort(const char *method, const char *prefix, STRNG value);
// A value in the middle of the text makes it an error line.
[[gnu::cold]] void qormeth_abort(const char *method, const char *prefix, STRNG value, const char *suffix);

// The slot that lies depth below the top; the stack must reach that deep.
inline QOR_OBJECT **stack_slot(int32_t depth) { return &qorcpu_stack[qorcpu_stack_top - 1 - depth]; }

// Tells whether the n topmost objects are defined strings. If they are not,
// they are popped as n texts, which aborts at the first that is none; should
// the abort return, the caller returns too.
inline bool texts_on_top(int32_t n) {
    bool all = qorcpu_stack_top >= n;
    for (int32_t depth = 0; all && depth < n; ++depth) all = has_value(*stack_slot(depth), TYPE_STRING);
    if (all) [[likely]]
        return true;
    for (; n > 0; --n) {
        Strng text;
        QORCPU_POPS(&text);
    }
    return false;
}

// The same for n objects of any type.
inline bool objects_on_top(int32_t n) {
    bool all = qorcpu_stack_top >= n;
    for (int32_t depth = 0; all && depth < n; ++depth) all = *stack_slot(depth) != nullptr;
    if (all) [[likely]]
        return true;
    for (; n > 0; --n) QORCPU_POP();
    return false;
}

// Takes the top off: a scalar or a string of the stack's own stays in the slot
// for the next content, a reference is given back.
inline void discard_top() {
    QOR_OBJECT *o = *stack_slot(0);
    if (is_reusable_scalar(o) || may_wait_in_slot(o)) [[likely]] {
        qorcpu_drop();
    } else {
        qorcpu_release_top();
    }
}

// Borrowed from an operand that texts_on_top has tested. Valid until its slot
// is pushed into or released, or the text is changed.
inline std::string_view operand_text(int32_t depth) { return text_of(*stack_slot(depth)); }

// Nobody but the caller's variable or slot refers to the object.
inline bool is_unshared(const QOR_OBJECT *o) { return count_of(o) == 1 && !o->aps; }

// Makes the object in a slot one of the stack's own, since a method that is not
// told to work in place must leave a variable alone that was pushed by reference.
inline QOR_OBJECT *unshare(QOR_OBJECT **slot) {
    if (!is_unshared(*slot)) copy_into(*slot, slot);
    return *slot;
}

// The same for a tested text, ready for operations that may grow the buffer.
inline STRNG *own_text(int32_t depth) {
    QOR_OBJECT *o = unshare(stack_slot(depth));
    normalize_string(o);
    return string_of(o);
}

// What OBJ_to_string gives, without a copy where the value is a text.
inline std::string_view rendered(QOR_OBJECT *o, Strng &work) {
    if (has_value(o, TYPE_STRING)) return c_text(text_of(o));
    OBJ_to_string(o, &work);
    return work.text();
}

// A text argument, taken off the stack together with its object: what the
// method does next may show messages, which use the stack.
class Popped_text {
  public:
    Popped_text() {
        if (!texts_on_top(1)) return;
        slot_ = stack_slot(0);
        QORCPU_POP_OBJ(&object_);
        text_ = borrow(text_of(object_));
    }
    operator STRNG() const { return text_; }
    // Leaves the string in its empty slot, so that the next text pushed there
    // refills it. For the end of a method, before it pushes anything.
    void recycle() {
        if (slot_ && !*slot_ && is_unshared(object_)) *slot_ = object_.release();
    }

  private:
    Object_var object_;
    QOR_OBJECT **slot_ = nullptr;
    STRNG text_{0, 0, nullptr};
};

// The map of an object, borrowed. Aborts on another type and on NULL; should
// the abort return, the result is null and the method returns too.
inline QOR_MAP *map_in(QOR_OBJECT *object) { return handle_of<QOR_MAP>(object, TYPE_MAP); }

// Pushes a new map object that adopts the map.
inline void push_new_map(QOR_MAP *map) {
    Object_var object;
    BTYP_create_map_ref(&object, map);
    qorcpu_push_owned(std::move(object));
}

// The digits of an int, in a buffer of the caller's.
using Int_digits = char[16];
std::string_view int_text(int32_t value, Int_digits &digits);

// The text of a string up to a zero byte or of an int, the usual operands, as
// rendered gives it. Null data for any other object.
inline std::string_view usual_text(QOR_OBJECT *o, Int_digits &digits) {
    if (has_value(o, TYPE_STRING)) [[likely]] {
        const std::string_view text = c_text(text_of(o));
        return text.data() ? text : std::string_view("");
    }
    return has_value(o, TYPE_INT) ? int_text(o->int_value, digits) : std::string_view();
}

// An empty string whose buffer outlives the call. Methods nest through script
// code: a nested use gets a buffer of its own.
class Work_text {
  public:
    Work_text() {
        if (used < SPARES) text_ = std::move(spares[used]);
        ++used;
        text_.clear();
    }
    ~Work_text() {
        if (--used < SPARES) spares[used] = std::move(text_);
    }
    Work_text(const Work_text &) = delete;
    Work_text &operator=(const Work_text &) = delete;
    Strng *operator->() { return std::addressof(text_); }
    Strng &operator*() { return text_; }

  private:
    static constexpr int32_t SPARES = 16;
    static Strng spares[SPARES];
    static int32_t used;
    Strng text_;
};

// The object that a dotted name leads to from the root, or QOR_NIL. May run
// script code. Releasing the reference unbinds the name's path again, which
// matters: what a list's SIZE leads to must not be remembered.
Object_var object_by_name(std::string_view name);

// Appends what an item of a display list stands for: a quoted text, the value
// of a name, for "$" a value popped from the stack, else the item itself. With
// maps_apart a map is displayed at once instead and false is returned.
bool append_display_item(std::string_view item, bool maps_apart, Strng &result);

} // namespace qor
