// QORCPU: the machine's state, its run, and the stack operations that only the
// kernel uses. The short cases are inline: this is the hot path.
#pragma once

#include "compiler/imem.hpp"
#include "object/class.hpp"
#include "object/object.hpp"
#include "qor/msg.h"
#include "qor/qorcpu.h"

namespace qor {

inline constexpr int32_t STACK_SIZE = 256;
inline constexpr uint32_t PSTACK_SIZE = 256;

extern QOR_OBJECT *qorcpu_stack[STACK_SIZE];
extern int32_t qorcpu_stack_top; // number of live slots
extern uint32_t qorcpu_pstack_top;
extern Instruction *qorcpu_instr;
extern MSG qorcpu_msg;

// --- run ---------------------------------------------------------------------

void QORCPU_RUN(); // under the debugger where the option dbgp has a value
void QORCPU_RUN_PROGRAM();
void QORCPU_EXECUTE_PROC(uint32_t address);
uint32_t QORCPU_GET_PSTACK_SIZE();
int32_t QORCPU_GET_STACK_SIZE();
void QORCPU_SET_PSTACK_SIZE(uint32_t depth);
void QORCPU_SET_STACK_SIZE(int32_t depth);
void QORCPU_PROC_NAME(uint32_t address, STRNG *name);
void QORCPU_SOURCE_NAME(uint32_t source, STRNG *name);
bool QORCPU_IS_CALLED_BY(STRNG name);

// For the debugger, which then owns the main program's position. Beginning stands
// at the first instruction of the main program: the jump over the bodies has run.
void qorcpu_begin_stepping();
int32_t QORCPU_STEP();      // executes the current instruction and fetches; 0 at the end
int32_t QORCPU_STEP_INTO(); // shows what a name leads to, and enters it when it is a script body; always 1
// Set while a client is connected: calls look at the break flags.
extern bool qorcpu_debugged;

// The map is a function from its keys to its entries: the top object is popped
// as the key; the entry is pushed as a copy, or run.
void qorcpu_apply_map(QOR_MAP *map);

// --- stack -------------------------------------------------------------------

[[gnu::cold]] void qorcpu_stack_overflow();
[[gnu::cold]] void qorcpu_bad_top();

// The slot of a new top. A scalar pop leaves its object in the slot: it is no
// longer counted by the stack, and the next content may take over its record.
[[gnu::always_inline]] inline QOR_OBJECT **qorcpu_push_slot() {
    if (qorcpu_stack_top >= STACK_SIZE) [[unlikely]]
        qorcpu_stack_overflow();
    return &qorcpu_stack[static_cast<uint16_t>(qorcpu_stack_top++)];
}

// Aborts with "Stack Underflow" or "object on top of stack is QOR_NIL\n".
[[gnu::always_inline]] inline void qorcpu_check_top() {
    if (qorcpu_stack_top < 1 || !qorcpu_stack[qorcpu_stack_top - 1]) [[unlikely]]
        qorcpu_bad_top();
}

// The top object, borrowed, after the top check.
[[gnu::always_inline]] inline QOR_OBJECT *qorcpu_top() {
    qorcpu_check_top();
    return qorcpu_stack[qorcpu_stack_top - 1];
}

// Takes the top off without a release: the slot keeps a stale object.
inline void qorcpu_drop() { --qorcpu_stack_top; }

[[gnu::always_inline]] inline QOR_OBJECT *qorcpu_push_scalar(int32_t type) {
    QOR_OBJECT *o = scalar_record(qorcpu_push_slot());
    o->flags = OBJ_ONE | OBJ_DEFINED | static_cast<uint32_t>(type);
    return o;
}

[[gnu::always_inline]] inline void qorcpu_push_int(int32_t value) { qorcpu_push_scalar(TYPE_INT)->int_value = value; }
[[gnu::always_inline]] inline void qorcpu_push_real(double value) { qorcpu_push_scalar(TYPE_REAL)->real_value = value; }
[[gnu::always_inline]] inline void qorcpu_push_boolean(bool value) {
    qorcpu_push_scalar(TYPE_BOOLEAN)->word = value ? 1 : 0;
}
[[gnu::always_inline]] inline void qorcpu_push_long(int64_t value) {
    qorcpu_push_scalar(TYPE_LONG)->long_value = value;
}

// A new string; an unshared string that a pop left in the slot is refilled.
void qorcpu_push_text(std::string_view text);
// Pushes an object the caller owns; the variable is left nil.
void qorcpu_push_owned(Object_var &&object);

[[gnu::always_inline]] inline int32_t qorcpu_pop_int() {
    QOR_OBJECT *o = qorcpu_top();
    int32_t value;
    if ((o->flags & 0x7f) == (OBJ_DEFINED | TYPE_INT)) [[likely]] {
        value = o->int_value;
    } else {
        BTYP_read_int(o, &value);
    }
    qorcpu_drop();
    return value;
}

inline double qorcpu_pop_real() {
    QOR_OBJECT *o = qorcpu_top();
    double value;
    if ((o->flags & 0x7f) == (OBJ_DEFINED | TYPE_REAL)) [[likely]] {
        value = o->real_value;
    } else {
        BTYP_read_real(o, &value);
    }
    qorcpu_drop();
    return value;
}

inline int64_t qorcpu_pop_long() {
    int64_t value;
    BTYP_read_long(qorcpu_top(), &value);
    qorcpu_drop();
    return value;
}

bool qorcpu_pop_boolean_slow();
[[gnu::always_inline]] inline bool qorcpu_pop_boolean() {
    QOR_OBJECT *o = qorcpu_top();
    if (is_reusable_scalar(o) && (o->flags & 0x7f) == (OBJ_DEFINED | TYPE_BOOLEAN)) [[likely]] {
        qorcpu_drop();
        return o->boolean_value != 0;
    }
    return qorcpu_pop_boolean_slow();
}

// The text of the defined string on top, borrowed from its object; aborts as
// QORCPU_POPS does. It is valid until the slot is pushed into or popped with a
// release: use it, then qorcpu_release_top.
std::string_view qorcpu_top_text();
// As QORCPU_POP, but an unshared string stays in the slot for reuse.
void qorcpu_release_top();

void QORCPU_POP_OBJ_TYPED(QOR_OBJECT **variable, int32_t type);
void QORCPU_PUSH_UNDEF_STRING();
void QORCPU_PUSH_UNDEF_INT();
void QORCPU_PUSH_UNDEF_REAL();
// The address of the top object's value, for writing in place. No test for NULL.
void QORCPU_TOP_VALUE_ADDR(void **address, int32_t type);

// On an empty stack these abort with "Stack empty".
bool QORCPU_TOP_IS_DEFINED();
bool QORCPU_TOP_IS_STRING();
bool QORCPU_TOP_IS_INT();
bool QORCPU_TOP_IS_LONG();
bool QORCPU_TOP_IS_REAL();
bool QORCPU_TOP_IS_BOOLEAN();

void QORCPU_SWAP();
void QORCPU_DUP();
void QORCPU_RDUP();

void QORCPU_DO_METHOD_BY_NAME(STRNG class_name, STRNG method);
void QORCPU_CALL_QOR_PROC(STRNG procedure);

} // namespace qor
