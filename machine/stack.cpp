// The object stack: the pushes, pops and peeks of the calling interface.
#include "kernel/upcalls.hpp"
#include "machine/qorcpu.hpp"
#include "qor/geom.h"
#include "qor/map.h"

namespace qor {

namespace {

QOR_OBJECT *top_for_test() {
    if (qorcpu_stack_top < 1) {
        MSG_SET_PROC_C(qorcpu_msg, "TOP");
        MSG_ABORT2_C(qorcpu_msg, "Stack empty");
        return nullptr;
    }
    return qorcpu_stack[qorcpu_stack_top - 1];
}

bool top_is(int32_t type) {
    const QOR_OBJECT *o = top_for_test();
    return o && type_of(o) == type;
}

} // namespace

void qorcpu_stack_overflow() {
    // The top is lowered first: the message is pushed on this stack too, and
    // would find no room.
    --qorcpu_stack_top;
    MSG_SET_PROC_C(qorcpu_msg, "PUSH");
    MSG_ABORT2_C(qorcpu_msg, "Stack Overflow\n");
}

void qorcpu_bad_top() {
    MSG_SET_PROC_C(qorcpu_msg, "POP");
    if (qorcpu_stack_top < 1)
        MSG_ABORT2_C(qorcpu_msg, "Stack Underflow");
    else
        MSG_ABORT2_C(qorcpu_msg, "object on top of stack is QOR_NIL\n");
}

void qorcpu_push_text(std::string_view text) {
    QOR_OBJECT **slot = qorcpu_push_slot();
    if (is_reusable_string(*slot))
        refill_string(*slot, text);
    else
        fresh_string(slot, text);
}

void qorcpu_push_owned(Object_var &&object) {
    QOR_OBJECT **slot = qorcpu_push_slot();
    OBJ_remove_object(slot);
    *slot = object.release();
    qorcpu_check_top();
}

std::string_view qorcpu_top_text() {
    QOR_OBJECT *o = qorcpu_top();
    if ((o->flags & 0x7f) != (OBJ_DEFINED | TYPE_STRING)) [[unlikely]] {
        STRNG text{0, 0, nullptr};
        OBJ_get_object_value_tcheck(o, TYPE_STRING, &text); // aborts
        return {};
    }
    return text_of(o);
}

void qorcpu_release_top() {
    QOR_OBJECT **slot = &qorcpu_stack[qorcpu_stack_top - 1];
    if (!may_wait_in_slot(*slot)) OBJ_remove_object(slot);
    qorcpu_drop();
}

bool qorcpu_pop_boolean_slow() {
    qorcpu_check_top();
    Object_var object;
    std::swap(*&object, qorcpu_stack[qorcpu_stack_top - 1]);
    qorcpu_drop();
    const int32_t type = type_of(object);
    if (type == TYPE_BOOLEAN) {
        uint32_t value = 0;
        BTYP_read_boolean(object, &value);
        return value != 0;
    }
    if (type == TYPE_STRING) {
        STRNG text{0, 0, nullptr};
        BTYP_read_string_ref(object, &text);
        if (STRNG2_MATCHA_C(text, "TRUE")) return true;
        if (STRNG2_MATCHA_C(text, "FALSE")) return false;
    }
    MSG_SET_PROC_C(qorcpu_msg, "POPB");
    MSG_ABORT2_C(qorcpu_msg, "boolean expected");
    return false;
}

void QORCPU_POP_OBJ_TYPED(QOR_OBJECT **variable, int32_t type) {
    QORCPU_POP_OBJ(variable);
    OBJ_assert_type(*variable, type);
}

namespace {

void push_undefined(Type type) {
    QOR_OBJECT **slot = qorcpu_push_slot();
    OBJ_create_object(slot, type);
}

} // namespace

void QORCPU_PUSH_UNDEF_STRING() { push_undefined(TYPE_STRING); }
void QORCPU_PUSH_UNDEF_INT() { push_undefined(TYPE_INT); }
void QORCPU_PUSH_UNDEF_REAL() { push_undefined(TYPE_REAL); }

void QORCPU_TOP_VALUE_ADDR(void **address, int32_t type) {
    OBJ_get_object_value_addr_tcheck(qorcpu_top(), type, address);
}

bool QORCPU_TOP_IS_DEFINED() {
    const QOR_OBJECT *o = top_for_test();
    return o && is_defined(o);
}

bool QORCPU_TOP_IS_STRING() { return top_is(TYPE_STRING); }
bool QORCPU_TOP_IS_INT() { return top_is(TYPE_INT); }
bool QORCPU_TOP_IS_LONG() { return top_is(TYPE_LONG); }
bool QORCPU_TOP_IS_REAL() { return top_is(TYPE_REAL); }
bool QORCPU_TOP_IS_BOOLEAN() { return top_is(TYPE_BOOLEAN); }

void QORCPU_SWAP() {
    if (qorcpu_stack_top < 2) {
        MSG_SET_PROC_C(qorcpu_msg, "SWAP");
        MSG_ABORT2_C(qorcpu_msg, "Stack Underflow");
        return;
    }
    std::swap(qorcpu_stack[qorcpu_stack_top - 1], qorcpu_stack[qorcpu_stack_top - 2]);
}

void QORCPU_DUP() {
    if (!top_for_test()) return;
    qorcpu_check_top();
    QOR_OBJECT **slot = qorcpu_push_slot();
    copy_into(slot[-1], slot);
}

void QORCPU_RDUP() {
    if (QOR_OBJECT *o = top_for_test()) QORCPU_PUSH_OBJ_REF(o);
}

bool qorcpu_peek_int_and_text(int32_t *number, std::string_view *text) {
    if (qorcpu_stack_top < 2) return false;
    const QOR_OBJECT *below = qorcpu_stack[qorcpu_stack_top - 2];
    QOR_OBJECT *top = qorcpu_stack[qorcpu_stack_top - 1];
    if (!below || (below->flags & 0x7f) != (OBJ_DEFINED | TYPE_INT)) return false;
    if (!top || (top->flags & 0x7f) != (OBJ_DEFINED | TYPE_STRING)) return false;
    *number = below->int_value;
    *text = text_of(top);
    return true;
}

void qorcpu_drop_int_and_text() {
    qorcpu_release_top();
    qorcpu_drop();
}

} // namespace qor

using namespace qor;

void QORCPU_PUSHS_C(const char *text) { qorcpu_push_text(text); }
void QORCPU_PUSHS(STRNG text) { qorcpu_push_text(view(text)); }
void QORCPU_PUSHB(int32_t value) { qorcpu_push_scalar(TYPE_BOOLEAN)->word = static_cast<uint32_t>(value); }
void QORCPU_PUSHI(int32_t value) { qorcpu_push_int(value); }
void QORCPU_PUSHR(double value) { qorcpu_push_real(value); }

void QORCPU_PUSHG(QOR_GEOMETRY value) {
    Object_var object;
    BTYP_create_geometry(&object, value);
    qorcpu_push_owned(std::move(object));
}

void QORCPU_PUSHP(double x, double y, double z) {
    QOR_GEOMETRY point = 0;
    GEOM_CREATE_POINT(&point, x, y, z);
    Object_var object;
    BTYP_create_geometry_ref(&object, point);
    qorcpu_push_owned(std::move(object));
}

void QORCPU_PUSHM(QOR_MAP *map) {
    Object_var object;
    BTYP_create_map(&object, map);
    qorcpu_push_owned(std::move(object));
}

void QORCPU_PUSH_OBJ_REF(QOR_OBJECT *object) {
    QOR_OBJECT **slot = qorcpu_push_slot();
    if (object && *slot == object) {
        // The slot still holds a reference to this very object: it serves.
        return;
    }
    OBJ_create_object_ref(object, slot);
    qorcpu_check_top();
}

void QORCPU_POP() {
    if (is_reusable_scalar(qorcpu_top())) return qorcpu_drop();
    qorcpu_release_top();
}

void QORCPU_POP_OBJ(QOR_OBJECT **variable) {
    qorcpu_check_top();
    OBJ_move_object_ref(&qorcpu_stack[qorcpu_stack_top - 1], variable);
    qorcpu_drop();
}

void QORCPU_POPS(STRNG *text) {
    strng_assign(text, qorcpu_top_text());
    qorcpu_release_top();
}

void QORCPU_POPS_C(char *text) {
    QOR_OBJECT *o = qorcpu_top();
    OBJ_assert_type(o, TYPE_STRING);
    STRNG value{0, 0, nullptr};
    BTYP_read_string_ref(o, &value);
    STRNG2_MSTRING_TO_CSTRING(value, text);
    qorcpu_drop();
}

void QORCPU_POPB(int32_t *value) { *value = qorcpu_pop_boolean() ? 1 : 0; }
void QORCPU_POPI(int32_t *value) { *value = qorcpu_pop_int(); }
void QORCPU_POPR(double *value) { *value = qorcpu_pop_real(); }

void QORCPU_POPG(QOR_GEOMETRY *value, uint8_t type) {
    QOR_OBJECT *o = qorcpu_top();
    QOR_GEOMETRY geometry = 0;
    BTYP_read_geometry(o, &geometry);
    int32_t kind = 0;
    GEOM_READ_TYPE(geometry, &kind);
    if ((kind & 0xff) != type) {
        GEOM_REMOVE(&geometry);
        MSG_SET_PROC_C(qorcpu_msg, "POPG");
        MSG_ABORT_F(qorcpu_msg, "wrong geometry type %d(%d)\n", kind & 0xff, type);
        return;
    }
    *value = geometry;
    qorcpu_drop();
}

void QORCPU_POPP(double *x, double *y, double *z) {
    QOR_GEOMETRY geometry = 0;
    BTYP_read_geometry_ref(qorcpu_top(), &geometry);
    int32_t kind = 0;
    GEOM_READ_TYPE(geometry, &kind);
    if ((kind & 0xff) != GEOM_POINT) {
        MSG_SET_PROC_C(qorcpu_msg, "POPP");
        MSG_ABORT_F(qorcpu_msg, "QORCPU_POPP(): wrong geometry type %d\n", kind & 0xff);
        return;
    }
    GEOM_READ_POINT(geometry, x, y, z);
    qorcpu_drop();
}

void QORCPU_POPM(QOR_MAP **map) {
    BTYP_read_map_ref(qorcpu_top(), map);
    OBJ_remove_object_keep_value(&qorcpu_stack[qorcpu_stack_top - 1]);
    qorcpu_drop();
}

void QORCPU_TOP_OBJ_REF(QOR_OBJECT **variable) { OBJ_create_object_ref(qorcpu_top(), variable); }
int32_t QORCPU_TOP_OBJ_TYPE() { return type_of(qorcpu_top()); }
