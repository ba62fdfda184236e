// The run: the instruction loop, calls of script code and their frames.
#include "machine/qorcpu.hpp"

#include <iterator>

#include "container/map.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/option.hpp"
#include "kernel/upcalls.hpp"
#include "machine/dbgp/dbgp.hpp"
#include "machine/short_ways.hpp"
#include "machine/trace.hpp"
#include "object/map_access.hpp"
#include "qor/map.h"

namespace qor {

QOR_OBJECT *qorcpu_stack[STACK_SIZE];
int32_t qorcpu_stack_top = 0;
uint32_t qorcpu_pstack_top = 0;
Instruction *qorcpu_instr = nullptr;
MSG qorcpu_msg = nullptr;
bool qorcpu_debugged = false;

// Written at the depth of the caller before the test for an overflow, so one
// cell more than there are depths.
Instruction *qorcpu_return[PSTACK_SIZE + 1]; // the instruction to go on with
uint32_t qorcpu_entry[PSTACK_SIZE + 1];

namespace {

// The locals of each depth. The deepest call has none: the last cell stays nil.
QOR_MAP *qorcpu_frames[PSTACK_SIZE + 1];
QOR_OBJECT *qorcpu_local_object = nullptr; // stands on the frame of the present depth
QOR_MAP *shown_frame = nullptr;
Ap *qorcpu_local_path = nullptr;
QOR_OBJECT *qorcpu_this = nullptr; // pinned
Entry_cache this_entry;
// The receivers, pinned, to which the running calls by path return. The call
// that finds no frame any more has put one here already.
QOR_OBJECT *callers[PSTACK_SIZE + 1];
uint32_t callers_top = 0;

// --- frames ----------------------------------------------------------------------

// A script may have overwritten the object's value: that goes, the frames stay.
[[gnu::cold]] void restore_local_object() {
    OBJ_set_null(qorcpu_local_object);
    qorcpu_local_object->flags = (qorcpu_local_object->flags & ~0x7fu) | OBJ_DEFINED | TYPE_MAP;
}

// Names under ROOT.LOCAL must find the new frame: the object stays, its value
// is another map.
[[gnu::always_inline]] inline void show_frame(uint32_t depth) {
    if (qorcpu_local_object->handle != shown_frame || !is_defined_as(qorcpu_local_object, TYPE_MAP)) [[unlikely]]
        restore_local_object();
    qorcpu_local_object->handle = shown_frame = qorcpu_frames[depth];
    ap_depth = depth;
    AP_reset_children(qorcpu_local_path);
}

[[gnu::cold]] void frame_overflow() {
    MSG_SET_PROC_C(qorcpu_msg, "ENTER_FRAME");
    MSG_ABORT2_C(qorcpu_msg, "PStack Overflow");
}

// Notes where the call returns to and what it runs, and enters its frame.
[[gnu::always_inline]] inline bool enter_frame(uint32_t address, Instruction *next) {
    const uint32_t depth = qorcpu_pstack_top;
    qorcpu_return[depth] = next;
    qorcpu_entry[depth] = address;
    // One depth late on purpose: the call from depth 255 still runs, without
    // locals, and only the next one fails.
    if (depth >= PSTACK_SIZE) [[unlikely]] {
        frame_overflow();
        return false;
    }
    qorcpu_pstack_top = depth + 1;
    // An abort of a rule may have left values in it.
    if (QOR_MAP *frame = qorcpu_frames[depth + 1]) map_clear(frame);
    show_frame(depth + 1);
    return true;
}

[[gnu::cold]] void frame_underflow() {
    MSG_SET_PROC_C(qorcpu_msg, "LEAVE_FRAME");
    MSG_ABORT2_C(qorcpu_msg, "PStack Underflow");
}

// Gives the instruction to return to.
[[gnu::always_inline]] inline Instruction *leave_frame() {
    const uint32_t depth = qorcpu_pstack_top;
    if (depth == 0) [[unlikely]] {
        frame_underflow();
        return imem_next;
    }
    if (QOR_MAP *frame = qorcpu_frames[depth]) map_clear(frame);
    qorcpu_pstack_top = depth - 1;
    show_frame(depth - 1);
    return qorcpu_return[depth - 1];
}

// --- calls -------------------------------------------------------------------------

[[gnu::noinline]] void store_this() {
    if (map_find_cached(MAP_ROOT(), borrow("THIS"), &this_entry) != qorcpu_this)
        MAP_INSERT_OBJECT_REF_C(MAP_ROOT(), "THIS", qorcpu_this);
}

// Storing the object that THIS shows already would change nothing.
[[gnu::always_inline]] inline void show_this() {
    if (cached_object(this_entry, MAP_ROOT()) != qorcpu_this) store_this();
}

// A script method runs with the object that its path's parent leads to as THIS.
// The caller's is kept alive by its pin, without a count that a script could see.
[[gnu::always_inline]] inline bool change_receiver(const Ap *path) {
    if (callers_top >= std::size(callers)) [[unlikely]] {
        frame_overflow();
        return false;
    }
    // A script may have overwritten the root itself with a method.
    QOR_OBJECT *receiver = path->parent ? path->parent->obj : path->obj;
    pin(receiver);
    callers[callers_top++] = std::exchange(qorcpu_this, receiver);
    show_this();
    return true;
}

[[gnu::always_inline]] inline void return_receiver() {
    unpin(std::exchange(qorcpu_this, callers[--callers_top]));
    show_this();
}

// The calls by path that a run has made. An abort that passes leaves THIS as it
// is, and lets go of the receivers that nobody will return to.
class Calls {
  public:
    Calls() = default;
    ~Calls() {
        while (callers_top > outer_) unpin(callers[--callers_top]);
    }
    Calls(const Calls &) = delete;
    Calls &operator=(const Calls &) = delete;
    bool none() const { return callers_top == outer_; }

  private:
    const uint32_t outer_ = callers_top;
};

[[gnu::noinline]] void call_script(const QOR_METHOD *method, const Ap *path) {
    const uint32_t address = method->address; // the record may go
    const Calls call;
    if (!change_receiver(path)) return;
    QORCPU_EXECUTE_PROC(address);
    return_receiver();
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
        OBJ_display_object(Object_var::share(ap->obj));
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

// --- instructions by kind ----------------------------------------------------------------

void push_copy(QOR_OBJECT *object) {
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

void pushap(Ap *path) {
    QOR_OBJECT *object = path ? path->obj : nullptr;
    if (!object && path) {
        object = ap_peek_value(path);
        if (object) return push_copy(object);
        object = ap_resolve_unbound(path);
    }
    if (!object) [[unlikely]]
        return unknown_attribute(path);
    switch (type_of(object)) {
    case TYPE_METHOD: {
        const QOR_METHOD *method = method_of(object);
        if (method->kind == METHOD_NATIVE)
            method->native();
        else if (method->kind == METHOD_SCRIPT)
            call_script(method, path);
        return; // a method may leave the stack as it likes
    }
    case TYPE_MAP: {
        // A record of a table has no other owner than the path, which the key
        // that is popped may unbind.
        Object_var held;
        if (count_of(object) == 0) [[unlikely]]
            held = Object_var::share(object);
        qorcpu_apply_map(map_of(object));
        qorcpu_check_top();
        return;
    }
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
void popap(const Instruction *instruction) {
    qorcpu_check_top();
    Ap *path = instruction->path;
    QOR_OBJECT *container = path ? AP_resolve(path) : nullptr;
    if (!container) [[unlikely]]
        return unknown_container(path);
    qorcpu_check_top(); // following the path may have run script code
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

// The whole meaning of an instruction that does not end a run. The position is
// told before.
[[gnu::noinline]] void execute(const Instruction *instruction) {
    switch (instruction->kind) {
    case KIND_PUSH: push_copy(instruction->object); break;
    case KIND_PUSHAP: pushap(instruction->path); break;
    case KIND_POPAP: popap(instruction); break;
    case KIND_GOTO: IMEM_SET_PC(instruction->target); break;
    case KIND_IGOTO:
        if (!qorcpu_pop_boolean()) IMEM_SET_PC(instruction->target);
        break;
    case KIND_PUSHAP_REF: pushap_ref(instruction->path); break;
    case KIND_POP: QORCPU_POP(); break;
    case KIND_PUSH_REF: QORCPU_PUSH_OBJ_REF(instruction->object); break;
    default: __builtin_unreachable(); // the emitters write no other kind
    }
}

// --- the loop ------------------------------------------------------------------------------

// What a message, a display or a call may look at. The loop keeps its position
// in a register, and tells it before whatever may do so.
[[gnu::always_inline]] inline void tell_position(Instruction *instruction) {
    imem_next = instruction;
    qorcpu_instr = IMEM_FETCH();
}

[[gnu::always_inline]] inline Instruction *call_in_loop(const QOR_METHOD *method, Instruction *pushap) {
    const uint32_t address = method->address; // the record may go
    tell_position(pushap);
    if (!change_receiver(pushap->path)) [[unlikely]]
        return pushap + 1;
    if (enter_frame(address, pushap + 1)) [[likely]]
        return imem_program + address;
    return_receiver();
    return pushap + 1;
}

[[gnu::always_inline]] inline Instruction *pushap_short(Instruction *pushap) {
    QOR_OBJECT *object = pushap->path->obj;
    if (object && is_defined_as(object, TYPE_METHOD)) {
        const QOR_METHOD *method = method_of(object);
        if (method->kind == METHOD_SCRIPT) return call_in_loop(method, pushap);
        if (method->kind != METHOD_NATIVE) return nullptr;
        const auto op = static_cast<Int_operator>(method->int_operator);
        if (op != INT_OPERATOR_NONE) {
            Instruction *next = compute_top_ints(op, pushap);
            if (next) return next;
        }
        tell_position(pushap);
        method->native();
        return imem_next;
    }
    if (!object) object = ap_peek_value(pushap->path);
    if (!object || type_of(object) == TYPE_MAP || type_of(object) == TYPE_METHOD) return nullptr;
    if (is_scalar_type(type_of(object)) && push_scalar(object)) [[likely]]
        return pushap + 1;
    tell_position(pushap);
    push_copy(object);
    return pushap + 1;
}

// Runs from the program counter to the end of the program or to the RETURN that
// belongs to no call of this run; that one is told.
bool run_instructions() {
    const Calls calls;
    Instruction *at = imem_next;
    for (;;) {
        Instruction *next = nullptr;
        switch (at->way) {
        case WAY_PUSHAP_INT:
            if ((next = compute_name_with_int(at))) break;
            [[fallthrough]];
        case WAY_PUSHAP: next = pushap_short(at); break;
        case WAY_PUSH_INT:
            if ((next = compute_with_int(at))) break;
            [[fallthrough]];
        case WAY_PUSH_SCALAR:
            if (push_scalar(at->object)) next = at + 1;
            break;
        case WAY_PUSH_TEXT: next = compare_with_text(at); break;
        case WAY_POPAP:
            if (popap_short(at)) next = at + 1;
            break;
        case WAY_GOTO: next = imem_program + at->target; break;
        case WAY_IGOTO: next = igoto_short(at); break;
        case WAY_NONE: break;
        default: __builtin_unreachable();
        }
        if (!next) {
            tell_position(at);
            if (at->kind == KIND_RETURN) {
                if (calls.none()) return true;
                next = leave_frame();
                return_receiver();
            } else if (at->kind == KIND_PEND) {
                return false;
            } else {
                execute(at);
                next = imem_next;
            }
        }
        at = next;
    }
}

// A body under the debugger. Every instruction runs by its kind and every call in
// a loop of its own, so that a step over stays in this one.
void run_debugged_body() {
    int32_t mode = BREAK_NONE;
    const Instruction *stepped = nullptr; // a step over ends where the line is not this one's
    for (;;) {
        Instruction *at = qorcpu_instr = IMEM_FETCH();
        if (at->break_flag) {
            mode = DBGP_BREAK();
            stepped = at;
        } else if (mode == BREAK_STEP_OVER) {
            if (!stepped) {
                stepped = at;
            } else if (stepped->line != at->line) {
                mode = DBGP_BREAK();
                // Kept: the step starts from the next instruction's line.
                stepped = nullptr;
            }
        } else if (mode == BREAK_RUN || mode == BREAK_STEP_INTO) {
            mode = BREAK_NONE;
        }
        if (at->kind == KIND_RETURN || at->kind == KIND_PEND) return;
        execute(at);
    }
}

void rebind_abort() {
    int32_t status;
    CLASS_CREATE_METHOD_C("QOR", "ABORT", qorcpu_abort, 0, 0, 'P', "", &status);
}

} // namespace

void QORCPU_EXECUTE_PROC(uint32_t address) {
    if (!enter_frame(address, imem_next)) return;
    IMEM_SET_PC(address);
    if (qorcpu_debugged) [[unlikely]]
        run_debugged_body();
    else
        run_instructions();
    imem_next = leave_frame();
}

void QORCPU_RUN_PROGRAM() {
    rebind_abort();
    IMEM_SET_PC(IMEM_GET_START());
    if (run_instructions()) frame_underflow(); // a RETURN of the main program
}

void QORCPU_RUN() {
    std::string client;
    if (option_text("dbgp", &client) && !client.empty())
        QORCPU_RUN_DBGP(client.c_str());
    else
        QORCPU_RUN_PROGRAM();
}

void qorcpu_begin_stepping() {
    rebind_abort();
    IMEM_SET_PC(IMEM_GET_START());
    qorcpu_instr = IMEM_FETCH();
    QORCPU_STEP();
}

int32_t QORCPU_STEP() {
    if (qorcpu_instr->kind == KIND_PEND) return 0;
    // Of a body that was stepped into: a called one ends in its own loop.
    if (qorcpu_instr->kind == KIND_RETURN)
        imem_next = leave_frame();
    else
        execute(qorcpu_instr);
    qorcpu_instr = IMEM_FETCH();
    return 1;
}

int32_t QORCPU_STEP_INTO() {
    if (qorcpu_instr->kind != KIND_PUSHAP) return 1;
    Ap *path = qorcpu_instr->path;
    const Object_var object = Object_var::share(path ? AP_resolve(path) : nullptr);
    if (!object) {
        unknown_attribute(path);
        return 1;
    }
    OBJ_display_object(object);
    if (type_of(object) != TYPE_METHOD || method_of(object)->kind != METHOD_SCRIPT) return 1;
    // Kept: THIS stays the caller's.
    const uint32_t address = method_of(object)->address;
    if (!enter_frame(address, imem_next)) return 1;
    IMEM_SET_PC(address);
    qorcpu_instr = IMEM_FETCH();
    return 1;
}

uint32_t QORCPU_GET_PSTACK_SIZE() { return qorcpu_pstack_top; }
int32_t QORCPU_GET_STACK_SIZE() { return qorcpu_stack_top; }

// The frames that are left are not cleared, and ROOT.LOCAL goes on showing the
// abandoned one until the next call or return.
void QORCPU_SET_PSTACK_SIZE(uint32_t depth) {
    if (qorcpu_pstack_top <= depth) return;
    qorcpu_pstack_top = depth;
    imem_next = qorcpu_return[depth];
}

void QORCPU_SET_STACK_SIZE(int32_t depth) {
    while (qorcpu_stack_top > depth) {
        --qorcpu_stack_top;
        OBJ_remove_object(&qorcpu_stack[qorcpu_stack_top]);
    }
}

namespace {

// A run that was broken off left its stacks as they were, and THIS.
void forget_run() {
    QORCPU_SET_STACK_SIZE(0);
    qorcpu_pstack_top = 0;
    for (QOR_MAP *&frame : qorcpu_frames) MAP_CLEAR(&frame);
    show_frame(0);
    QOR_MAP *map;
    MAP_CREATE_C(&map, "THIS");
    QOR_OBJECT *receiver = map_find(MAP_ROOT(), borrow("THIS"));
    pin(receiver);
    unpin(std::exchange(qorcpu_this, receiver));
}

} // namespace

void qorcpu_init() {
    static bool done = false;
    if (!first_time(done)) {
        forget_run();
        return;
    }
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
