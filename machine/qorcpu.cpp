// The run: the instruction loop, calls of script code and their frames.
#include "machine/qorcpu.hpp"

#include "object/map_access.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/upcalls.hpp"
#include "machine/methods/methods.hpp"
#include "machine/trace.hpp"
#include "qor/map.h"

namespace qor {

QOR_OBJECT *qorcpu_stack[STACK_SIZE];
int32_t qorcpu_stack_top = 0;
uint32_t qorcpu_pstack_top = 0;
Instruction *qorcpu_instr = nullptr;
MSG qorcpu_msg = nullptr;

// Written at the depth of the caller before the test for an overflow, so one
// cell more than there are depths.
uint32_t qorcpu_return[PSTACK_SIZE + 1];
uint32_t qorcpu_entry[PSTACK_SIZE + 1];

namespace {

// The locals of each depth. The deepest call has none: the last cell stays nil.
QOR_MAP *qorcpu_frames[PSTACK_SIZE + 1];
QOR_OBJECT *qorcpu_local_object = nullptr; // stands on the frame of the present depth
QOR_MAP *shown_frame = nullptr;
Ap *qorcpu_local_path = nullptr;
QOR_OBJECT *qorcpu_this = nullptr; // pinned
Entry_cache this_entry;

// --- frames ----------------------------------------------------------------------

// A script may have overwritten the object's value: that goes, the frames stay.
[[gnu::cold]] void restore_local_object() {
    OBJ_set_null(qorcpu_local_object);
    qorcpu_local_object->flags = (qorcpu_local_object->flags & ~0x7fu) | OBJ_DEFINED | TYPE_MAP;
}

// Names under ROOT.LOCAL must find the new frame: the object stays, its value
// is another map.
inline void show_frame(uint32_t depth) {
    if (qorcpu_local_object->handle != shown_frame ||
        (qorcpu_local_object->flags & 0x7f) != (OBJ_DEFINED | TYPE_MAP)) [[unlikely]]
        restore_local_object();
    qorcpu_local_object->handle = shown_frame = qorcpu_frames[depth];
    ap_depth = depth;
    AP_reset_children(qorcpu_local_path);
}

void QORCPU_ENTER_FRAME() {
    // One depth late on purpose: the call from depth 255 still runs, without
    // locals, and only the next one fails.
    if (qorcpu_pstack_top >= PSTACK_SIZE) {
        MSG_SET_PROC_C(qorcpu_msg, "ENTER_FRAME");
        MSG_ABORT2_C(qorcpu_msg, "PStack Overflow");
        return;
    }
    ++qorcpu_pstack_top;
    MAP_CLEAR(&qorcpu_frames[qorcpu_pstack_top]);
    show_frame(qorcpu_pstack_top);
}

void QORCPU_LEAVE_FRAME() {
    if (qorcpu_pstack_top == 0) {
        MSG_SET_PROC_C(qorcpu_msg, "LEAVE_FRAME");
        MSG_ABORT2_C(qorcpu_msg, "PStack Underflow");
        return;
    }
    MAP_CLEAR(&qorcpu_frames[qorcpu_pstack_top]);
    --qorcpu_pstack_top;
    show_frame(qorcpu_pstack_top);
}

// --- calls -------------------------------------------------------------------------

// Storing the object that THIS shows already would change nothing.
inline void show_this(QOR_OBJECT *receiver) {
    if (qorcpu_this != receiver) {
        pin(receiver);
        unpin(std::exchange(qorcpu_this, receiver));
    }
    if (cached_object(this_entry, MAP_ROOT()) == receiver) return;
    if (map_find_cached(MAP_ROOT(), borrow("THIS"), &this_entry) != receiver)
        MAP_INSERT_OBJECT_REF_C(MAP_ROOT(), "THIS", receiver);
}

// Keeps a caller's receiver alive while a method runs on it, without a count that a
// script could see.
class Pinned {
  public:
    explicit Pinned(QOR_OBJECT *object) : object_(object) { pin(object_); }
    ~Pinned() { unpin(object_); }
    Pinned(const Pinned &) = delete;
    Pinned &operator=(const Pinned &) = delete;

  private:
    QOR_OBJECT *object_;
};

// A script method runs with the object that its path's parent leads to as THIS.
void call_script(const QOR_METHOD *method, Ap *path) {
    const uint32_t address = method->address;
    QOR_OBJECT *caller_this = qorcpu_this;
    const Pinned keep_caller(caller_this);
    show_this(path->parent ? path->parent->obj : path->obj);
    QORCPU_EXECUTE_PROC(address);
    show_this(caller_this);
}

// --- failures ------------------------------------------------------------------------

Strng path_name(const Ap *path) {
    Strng name;
    if (path) AP_get_name(path, &name);
    return name;
}

[[gnu::cold]] void unknown_attribute(const Ap *path) {
    for (const Ap *ap = path ? path->parent : nullptr; ap; ap = ap->parent) {
        if (!ap->obj) continue;
        OBJ_display_object(ap->obj);
        break;
    }
    MSG_SET_PROC_C(qorcpu_msg, "PUSHAP");
    MSG_PABORT_C(qorcpu_msg, "attribute ", path_name(path), " unknown");
}

[[gnu::cold]] void unknown_container(const Ap *path) {
    Strng text("unknown object ");
    text.append(path_name(path).text());
    MESSAGE_ABORT_S(text);
}

[[gnu::cold]] void refused_entry(const Ap *path, STRNG name) {
    Strng text("object ");
    text.append(path_name(path).text());
    text.append(" can not insert subobject ");
    text.append(view(name));
    MESSAGE_ABORT_S(text);
}

// --- instructions ----------------------------------------------------------------------

[[gnu::always_inline]] inline void push_copy(QOR_OBJECT *object) {
    QOR_OBJECT **slot = qorcpu_push_slot();
    if (is_scalar_type(type_of(object))) [[likely]] {
        // The slot may hold the last reference to the object itself.
        const uint32_t flags = (object->flags & 0x7f) | OBJ_ONE;
        const uintptr_t word = object->word;
        QOR_OBJECT *record = scalar_record(slot);
        record->flags = flags;
        record->word = word;
    } else {
        copy_into(object, slot);
    }
}

// Operators on ints are computed here, without a call, where the left operand is
// an int of the stack's own, which takes the result.
inline bool is_own_int(const QOR_OBJECT *o) { return o && o->flags == (OBJ_ONE | OBJ_DEFINED | TYPE_INT) && !o->aps; }

// left is on top. A comparison right before an IGOTO decides the jump at once.
[[gnu::always_inline]] inline void compute_ints(Int_operator op, QOR_OBJECT *left, int32_t b) {
    const int32_t a = left->int_value;
    qormeth_work_int = a; // the operator pops it last
    bool truth;
    switch (op) {
    case INT_ADD:
        left->int_value = static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
        return;
    case INT_SUBTRACT:
        left->int_value = static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
        return;
    case INT_EQUAL: truth = a == b; break;
    case INT_UNEQUAL: truth = a != b; break;
    case INT_LESS: truth = a < b; break;
    case INT_LESS_OR_EQUAL: truth = a <= b; break;
    case INT_GREATER: truth = a > b; break;
    default: truth = a >= b; break;
    }
    left->flags = OBJ_ONE | OBJ_DEFINED | TYPE_BOOLEAN;
    left->word = truth;
    if (imem_next->kind == KIND_IGOTO) {
        qorcpu_drop();
        qorcpu_instr = imem_next;
        imem_next = truth ? imem_next + 1 : imem_program + imem_next->target;
    }
}

[[gnu::always_inline]] inline bool compute_top_ints(Int_operator op) {
    if (qorcpu_stack_top < 2) return false;
    QOR_OBJECT *left = qorcpu_stack[qorcpu_stack_top - 2];
    const QOR_OBJECT *right = qorcpu_stack[qorcpu_stack_top - 1];
    if (!is_own_int(left) || !right || (right->flags & 0x7f) != (OBJ_DEFINED | TYPE_INT)) return false;
    qorcpu_drop();
    compute_ints(op, left, right->int_value);
    return true;
}

// The test of a text for equality with a constant right before an IGOTO.
bool compare_with_text(Int_operator op, QOR_OBJECT *left, QOR_OBJECT *constant) {
    const Instruction *jump = imem_next + 1;
    if ((op != INT_EQUAL && op != INT_UNEQUAL) || jump->kind != KIND_IGOTO) return false;
    if (!is_reusable_string(left) || !is_defined(left)) return false;
    const bool equal = STRNG_MATCH(*string_of(left), *string_of(constant)) != 0;
    qorcpu_release_top();
    imem_next += 2;
    qorcpu_instr = imem_next - 1;
    if (equal != (op == INT_EQUAL)) imem_next = imem_program + jump->target;
    return true;
}

// PUSH of a constant and the operator behind it, in one: the constant needs no
// place on the stack.
[[gnu::always_inline]] inline bool compute_with_constant(const Instruction *push) {
    const Ap *path = push[1].path;
    if (!path || !path->obj || type_of(path->obj) != TYPE_METHOD) return false;
    const auto op = static_cast<Int_operator>(method_of(path->obj)->int_operator);
    if (op == INT_OPERATOR_NONE || qorcpu_stack_top < 1 || qorcpu_stack_top >= STACK_SIZE) return false;
    QOR_OBJECT *left = qorcpu_stack[qorcpu_stack_top - 1];
    if (type_of(push->object) == TYPE_STRING) return compare_with_text(op, left, push->object);
    if (!is_own_int(left)) return false;
    qorcpu_instr = imem_next++;
    compute_ints(op, left, push->object->int_value);
    return true;
}

[[gnu::always_inline]] inline void pushap(Ap *path) {
    QOR_OBJECT *object = path ? path->obj : nullptr;
    if (!object && path) {
        object = ap_peek_value(path);
        if (object) return push_copy(object);
        object = ap_resolve_unbound(path);
    }
    if (!object) [[unlikely]] return unknown_attribute(path);
    switch (type_of(object)) {
    case TYPE_METHOD: {
        const QOR_METHOD *method = method_of(object);
        if (method->kind == METHOD_NATIVE) [[likely]] {
            const auto op = static_cast<Int_operator>(method->int_operator);
            if (op == INT_OPERATOR_NONE || !compute_top_ints(op)) method->native();
        } else if (method->kind == METHOD_SCRIPT) {
            call_script(method, path);
        }
        return; // a method may leave the stack as it likes
    }
    case TYPE_MAP:
        qorcpu_apply_map(map_of(object));
        qorcpu_check_top();
        return;
    default: push_copy(object);
    }
}

void pushap_ref(Ap *path) {
    QOR_OBJECT *object = path ? AP_resolve(path) : nullptr;
    if (!object) return unknown_attribute(path);
    QORCPU_PUSH_OBJ_REF(object);
}

// Stores the very object that is on the stack: what PUSHAP pushed is a copy,
// what PUSHAP & pushed is shared from now on.
void popap(Instruction *instruction) {
    qorcpu_check_top();
    Ap *path = instruction->path;
    QOR_OBJECT *container = path ? AP_resolve(path) : nullptr;
    if (!container) [[unlikely]] return unknown_container(path);
    QOR_OBJECT **slot = &qorcpu_stack[qorcpu_stack_top - 1];
    const STRNG name = *string_of(instruction->object);
    if (type_of(container) == TYPE_MAP && map_of(container)) [[likely]] {
        if (instruction->stored) [[likely]] {
            map_put_cached(map_of(container), name, ap_entry(instruction->stored), slot);
        } else {
            MAP_INSERT_MOVED(map_of(container), name, slot);
            OBJ_remove_object(slot);
        }
    } else {
        Object_var moved;
        std::swap(*&moved, *slot);
        int32_t status = 0;
        OBJ_insert_object_ref(container, name, moved, &status);
        if (status != 1) return refused_entry(path, name);
    }
    qorcpu_drop();
}

// A body ends with RETURN, the program with PEND.
template <bool BODY> void run_instructions() {
    for (;;) {
        Instruction *instruction = qorcpu_instr = IMEM_FETCH();
        switch (instruction->kind) {
        case KIND_PUSH:
            if (!instruction->is_operand || !compute_with_constant(instruction)) push_copy(instruction->object);
            break;
        case KIND_PUSHAP: pushap(instruction->path); break;
        case KIND_POPAP: popap(instruction); break;
        case KIND_GOTO: IMEM_SET_PC(instruction->target); break;
        case KIND_IGOTO:
            if (!qorcpu_pop_boolean()) IMEM_SET_PC(instruction->target);
            break;
        case KIND_PUSHAP_REF: pushap_ref(instruction->path); break;
        case KIND_POP: QORCPU_POP(); break;
        case KIND_PUSH_REF: QORCPU_PUSH_OBJ_REF(instruction->object); break;
        case KIND_RETURN:
            if constexpr (!BODY) QORCPU_LEAVE_FRAME(); // aborts: there is none to leave
            return;
        case KIND_PEND: return;
        default: __builtin_unreachable(); // the emitters write no other kind
        }
    }
}

} // namespace

void QORCPU_EXECUTE_PROC(uint32_t address) {
    qorcpu_return[qorcpu_pstack_top] = IMEM_GET_PC();
    qorcpu_entry[qorcpu_pstack_top] = address;
    QORCPU_ENTER_FRAME();
    IMEM_SET_PC(address);
    run_instructions<true>();
    QORCPU_LEAVE_FRAME();
    IMEM_SET_PC(qorcpu_return[qorcpu_pstack_top]);
}

void QORCPU_RUN() {
    int32_t status;
    CLASS_CREATE_METHOD_C("QOR", "ABORT", qorcpu_abort, 0, 0, 'P', "", &status);
    IMEM_SET_PC(IMEM_GET_START());
    run_instructions<false>();
}

uint32_t QORCPU_GET_PSTACK_SIZE() { return qorcpu_pstack_top; }
int32_t QORCPU_GET_STACK_SIZE() { return qorcpu_stack_top; }

// The frames that are left are not cleared, and ROOT.LOCAL goes on showing the
// abandoned one until the next call or return.
void QORCPU_SET_PSTACK_SIZE(uint32_t depth) {
    if (qorcpu_pstack_top <= depth) return;
    qorcpu_pstack_top = depth;
    IMEM_SET_PC(qorcpu_return[depth]);
}

void QORCPU_SET_STACK_SIZE(int32_t depth) {
    while (qorcpu_stack_top > depth) {
        --qorcpu_stack_top;
        OBJ_remove_object(&qorcpu_stack[qorcpu_stack_top]);
    }
}

void qorcpu_init() {
    static bool done = false;
    if (!first_time(done)) return;
    MSG_CREATE_C(&qorcpu_msg, "QORCPU", 0);
    register_trace_methods();
    for (uint32_t depth = 0; depth < PSTACK_SIZE; ++depth) {
        MAP_CREATE_NONAME(&qorcpu_frames[depth]);
        map_keep(qorcpu_frames[depth]);
    }
    shown_frame = qorcpu_frames[0];
    BTYP_create_map_ref(&qorcpu_local_object, qorcpu_frames[0]);
    MAP_INSERT_OBJECT_REF_C(MAP_ROOT(), "LOCAL", qorcpu_local_object);
    for (const char *name : {"IN", "OUT", "VAR", "THIS"}) {
        QOR_MAP *map;
        MAP_CREATE_C(&map, name);
    }
    qorcpu_this = map_find(MAP_ROOT(), borrow("THIS"));
    pin(qorcpu_this);
    // Procedures may run before the main program does.
    ap_init();
    qorcpu_local_path = AP_create_path(borrow("ROOT.LOCAL"));
    ap_keep_entries_by_depth(qorcpu_local_path);
}

} // namespace qor
