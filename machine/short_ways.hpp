// Short ways of instructions: the common case of one, run without a call. (Those of
// script and native calls stand beside the loop.)
//
// Those that give an instruction give the next one to run, or null when the case is
// not theirs; a false says the same. Then nothing has been changed yet.
//
// One call of the recursive Fibonacci takes 1,164 machine instructions with all
// marks off, 539 without compute_name_with_int, and 457 as it is.
#pragma once

#include "container/map.hpp"
#include "machine/methods/methods.hpp"
#include "machine/qorcpu.hpp"
#include "object/class.hpp"
#include "object/map_access.hpp"

namespace qor {

// The scalar above the top that a pop left, to be pushed again with another value.
[[gnu::always_inline]] inline QOR_OBJECT *record_above_top() {
    const auto top = static_cast<uint32_t>(qorcpu_stack_top);
    if (top >= STACK_SIZE) return nullptr;
    QOR_OBJECT *record = qorcpu_stack[top];
    return is_reusable_scalar(record) ? record : nullptr;
}

[[gnu::always_inline]] inline bool push_scalar(const QOR_OBJECT *object) {
    QOR_OBJECT *record = record_above_top();
    if (!record) return false;
    record->flags = (object->flags & 0x7f) | OBJ_ONE;
    record->word = object->word;
    ++qorcpu_stack_top;
    return true;
}

[[gnu::always_inline]] inline void set_scalar(QOR_OBJECT *record, int32_t type, uint32_t value) {
    record->flags = OBJ_ONE | OBJ_DEFINED | static_cast<uint32_t>(type);
    record->word = value;
}

// Which operator on ints an instruction leads to.
[[gnu::always_inline]] inline Int_operator operator_of(const Instruction *pushap) {
    const QOR_OBJECT *object = pushap->path->obj;
    if (!object || !is_defined_as(object, TYPE_METHOD)) return INT_OPERATOR_NONE;
    return static_cast<Int_operator>(method_of(const_cast<QOR_OBJECT *>(object))->int_operator);
}

inline bool is_defined_int(const QOR_OBJECT *o) { return (o->flags & 0x7f) == (OBJ_DEFINED | TYPE_INT); }
// An int of the stack's own takes the result.
inline bool is_own_int(const QOR_OBJECT *o) { return o && o->flags == (OBJ_ONE | OBJ_DEFINED | TYPE_INT) && !o->aps; }

// The result goes into the record at stack place depth, which becomes the top.
// A comparison right before an IGOTO decides the jump at once and leaves none.
[[gnu::always_inline]] inline Instruction *compute_ints(Int_operator op, int32_t a, int32_t b, QOR_OBJECT *record,
                                                        int32_t depth, Instruction *next) {
    qormeth_work_int = a; // the operator pops it last
    const auto left = static_cast<uint32_t>(a);
    const auto right = static_cast<uint32_t>(b);
    bool truth;
    switch (op) {
    case INT_ADD:
    case INT_SUBTRACT:
        set_scalar(record, TYPE_INT, op == INT_ADD ? left + right : left - right);
        qorcpu_stack_top = depth + 1;
        return next;
    case INT_EQUAL: truth = a == b; break;
    case INT_UNEQUAL: truth = a != b; break;
    case INT_LESS: truth = a < b; break;
    case INT_LESS_OR_EQUAL: truth = a <= b; break;
    case INT_GREATER: truth = a > b; break;
    case INT_GREATER_OR_EQUAL: truth = a >= b; break;
    default: __builtin_unreachable(); // the caller has found an operator
    }
    if (next->kind == KIND_IGOTO) {
        qorcpu_stack_top = depth;
        return truth ? next + 1 : imem_program + next->target;
    }
    set_scalar(record, TYPE_BOOLEAN, truth);
    qorcpu_stack_top = depth + 1;
    return next;
}

// Two ints on the stack.
[[gnu::always_inline]] inline Instruction *compute_top_ints(Int_operator op, Instruction *pushap) {
    const int32_t depth = qorcpu_stack_top - 2;
    if (depth < 0) return nullptr;
    QOR_OBJECT *left = qorcpu_stack[depth];
    const QOR_OBJECT *right = qorcpu_stack[depth + 1];
    if (!is_own_int(left) || !right || !is_defined_int(right)) return nullptr;
    return compute_ints(op, left->int_value, right->int_value, left, depth, pushap + 1);
}

// PUSH of an int and the operator behind it: the constant needs no place on the
// stack, but there must be one.
[[gnu::always_inline]] inline Instruction *compute_with_int(Instruction *push) {
    const Int_operator op = operator_of(push + 1);
    const int32_t depth = qorcpu_stack_top - 1;
    if (op == INT_OPERATOR_NONE || depth < 0 || depth + 1 >= STACK_SIZE) return nullptr;
    QOR_OBJECT *left = qorcpu_stack[depth];
    if (!is_own_int(left)) return nullptr;
    return compute_ints(op, left->int_value, push->object->int_value, left, depth, push + 2);
}

// PUSHAP of a name that leads to an int, and the two behind it.
[[gnu::always_inline]] inline Instruction *compute_name_with_int(Instruction *pushap) {
    const Int_operator op = operator_of(pushap + 2);
    if (op == INT_OPERATOR_NONE || qorcpu_stack_top + 1 >= STACK_SIZE) return nullptr;
    const QOR_OBJECT *left = pushap->path->obj;
    if (left) {
        if (!is_defined_int(left)) return nullptr;
    } else {
        left = ap_peek(pushap->path);
        if (!left || left->flags != (OBJ_ONE | OBJ_DEFINED | TYPE_INT)) return nullptr; // see ap_peek_value
    }
    QOR_OBJECT *record = record_above_top();
    if (!record) return nullptr;
    return compute_ints(op, left->int_value, pushap[1].object->int_value, record, qorcpu_stack_top, pushap + 3);
}

// PUSH of a text, the test for equality behind it and its IGOTO.
inline Instruction *compare_with_text(Instruction *push) {
    const Int_operator op = operator_of(push + 1);
    if ((op != INT_EQUAL && op != INT_UNEQUAL) || push[2].kind != KIND_IGOTO) return nullptr;
    if (qorcpu_stack_top < 1 || qorcpu_stack_top >= STACK_SIZE) return nullptr;
    QOR_OBJECT *left = qorcpu_stack[qorcpu_stack_top - 1];
    if (!is_reusable_string(left) || !is_defined(left)) return nullptr;
    const bool equal = STRNG_MATCH(*string_of(left), *string_of(push->object)) != 0;
    qorcpu_release_top();
    return equal == (op == INT_EQUAL) ? push + 3 : imem_program + push[2].target;
}

[[gnu::always_inline]] inline bool popap_short(const Instruction *instruction) {
    if (qorcpu_stack_top < 1) return false;
    QOR_OBJECT **slot = &qorcpu_stack[qorcpu_stack_top - 1];
    QOR_OBJECT *container = instruction->path->obj;
    if (!*slot || !container || !is_defined_as(container, TYPE_MAP) || !container->handle) return false;
    if (!map_put_plain(map_of(container), *ap_entry(instruction->stored), slot)) return false;
    qorcpu_drop();
    return true;
}

[[gnu::always_inline]] inline Instruction *igoto_short(Instruction *instruction) {
    if (qorcpu_stack_top < 1) return nullptr;
    const QOR_OBJECT *o = qorcpu_stack[qorcpu_stack_top - 1];
    if (!is_reusable_scalar(o) || (o->flags & 0x7f) != (OBJ_DEFINED | TYPE_BOOLEAN)) return nullptr;
    qorcpu_drop();
    return o->boolean_value ? instruction + 1 : imem_program + instruction->target;
}

} // namespace qor
