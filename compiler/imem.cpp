#include "compiler/imem.hpp"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>

#include "kernel/lifecycle.hpp"
#include "kernel/upcalls.hpp"
#include "object/class.hpp"
#include "qor/msg.h"

namespace qor {

Instruction imem_program[IMEM_LIMIT + 1];
Instruction *imem_next = imem_program;

namespace {

bool initialised = false;
MSG imem_msg = nullptr;
uint32_t count = 0; // the index of the next free row
const uint32_t *current_source = nullptr;
const uint32_t *current_line = nullptr;

bool is_int(const QOR_OBJECT *o) { return type_of(o) == TYPE_INT && is_defined(o); }

Short_way way_of(const Instruction &i) {
    switch (i.kind) {
    case KIND_PUSH: return is_scalar_type(type_of(i.object)) ? WAY_PUSH_SCALAR : WAY_NONE;
    case KIND_PUSHAP: return i.path ? WAY_PUSHAP : WAY_NONE;
    case KIND_POPAP: return i.stored ? WAY_POPAP : WAY_NONE;
    case KIND_GOTO: return WAY_GOTO;
    case KIND_IGOTO: return WAY_IGOTO;
    default: return WAY_NONE;
    }
}

// All short ways are chosen here. Those of operands run over the instructions
// behind them too; a jump to one of these finds its own mark.
void mark(uint32_t index) {
    Instruction *i = &imem_program[index];
    i->way = way_of(*i);
    if (i->way != WAY_PUSHAP || index < 1 || i[-1].kind != KIND_PUSH) return;
    if (type_of(i[-1].object) == TYPE_STRING) i[-1].way = WAY_PUSH_TEXT;
    if (!is_int(i[-1].object)) return;
    i[-1].way = WAY_PUSH_INT;
    if (index >= 2 && i[-2].way == WAY_PUSHAP) i[-2].way = WAY_PUSHAP_INT;
}

void emit(uint8_t kind, uint32_t target = 0, Ap *path = nullptr) {
    Instruction &i = imem_program[count];
    i.kind = kind;
    i.target = target;
    i.path = path;
    const bool known = current_source && current_line;
    i.source = known ? *current_source : 0;
    i.line = known ? *current_line : 0;
    mark(count);
    if (++count < IMEM_LIMIT) return;
    // The row is valid, and the compilation ends all the same.
    count = IMEM_LIMIT;
    MSG_SET_PROC_C(imem_msg, "IMEM_EMIT");
    MSG_ABORT2_C(imem_msg, "program too large");
}

void append_path(Strng &text, const Ap *path) {
    Strng name;
    if (path) AP_get_name(path, &name);
    text.append(name.text());
}

} // namespace

void IMEM_EMIT_PUSH_OBJECT(QOR_OBJECT *object) {
    OBJ_copy_object(object, &imem_program[count].object);
    emit(KIND_PUSH);
}

void IMEM_EMIT_PUSH_STRING(STRNG text) {
    BTYP_create_string(&imem_program[count].object, text);
    emit(KIND_PUSH);
}

void IMEM_EMIT_PUSHAP(STRNG name) { emit(KIND_PUSHAP, 0, AP_create_path(name)); }

void IMEM_EMIT_PUSHAP_REF(STRNG name) { emit(KIND_PUSHAP_REF, 0, AP_create_path(name)); }

void IMEM_EMIT_POPAP(STRNG name) {
    const std::string_view text = view(name);
    const size_t dot = text.rfind('.');
    const bool has_dot = dot != std::string_view::npos;
    Ap *container = has_dot ? AP_create_path(borrow(text.substr(0, dot))) : nullptr;
    const std::string_view entry = has_dot ? text.substr(dot + 1) : text;
    BTYP_create_string(&imem_program[count].object, borrow(entry));
    // The node remembers the map entry for both ways, reading and storing.
    Ap *stored = container ? AP_create_path(name) : nullptr;
    const bool same = stored && stored->parent == container && stored->name.text() == entry;
    imem_program[count].stored = same ? stored : nullptr;
    emit(KIND_POPAP, 0, container);
}

void IMEM_EMIT_RETURN() { emit(KIND_RETURN); }
void IMEM_EMIT_GOTO(uint32_t target) { emit(KIND_GOTO, target); }
void IMEM_EMIT_IGOTO(uint32_t target) { emit(KIND_IGOTO, target); }
void IMEM_EMIT_PEND() { emit(KIND_PEND); }

void IMEM_SET_SOURCE(const uint32_t *source, const uint32_t *line) {
    current_source = source;
    current_line = line;
}

void IMEM_PATCH(int32_t index, uint32_t target) {
    MSG_SET_PROC_C(imem_msg, "IMEM_PATCH");
    if (index < 0 || index >= static_cast<int32_t>(IMEM_LIMIT)) {
        MSG_ABORT_F(imem_msg, "wrong instruction address %d", index);
        return;
    }
    Instruction &i = imem_program[index];
    if (i.kind != KIND_GOTO && i.kind != KIND_IGOTO) {
        MSG_ABORT2_C(imem_msg, "wrong instruction");
        return;
    }
    i.target = target;
}

void IMEM_SET_BREAKPOINT(uint32_t source, uint32_t line, uint32_t value) {
    for (uint32_t i = 0; i <= count; ++i) {
        Instruction &instruction = imem_program[i];
        if (instruction.source != source || instruction.line != line) continue;
        instruction.break_flag = value;
        return;
    }
}

uint32_t IMEM_GET_COUNT() { return count; }

uint32_t IMEM_GET_START() {
    if (count == 0) {
        MSG_SET_PROC_C(imem_msg, "IMEM_GET_START");
        MSG_ABORT2_C(imem_msg, "no program code exists");
    }
    return 0;
}

Instruction *IMEM_GET_INSTRUCTION(uint32_t index) { return &imem_program[index]; }

void IMEM_DISPLAY_INSTRUCTION(uint32_t index) {
    const Instruction &i = imem_program[index];
    char number[16];
    std::snprintf(number, sizeof number, "%5" PRIu32 " : ", index);
    Strng line(number);
    Strng shown;
    switch (i.kind) {
    case KIND_PUSH:
    case KIND_PUSH_REF:
        line.append(i.kind == KIND_PUSH ? "PUSH   " : "PUSH   &");
        OBJ_to_display_string(i.object, &shown);
        line.append(shown.text());
        break;
    case KIND_POP: line.append("POP"); break;
    case KIND_PUSHAP:
        line.append("PUSHAP ");
        append_path(line, i.path);
        break;
    case KIND_PUSHAP_REF:
        line.append("PUSHAP &");
        append_path(line, i.path);
        break;
    case KIND_POPAP:
        line.append("POPAP  ");
        append_path(line, i.path);
        line.append('.');
        line.append(text_of(i.object));
        break;
    case KIND_RETURN: line.append("RETURN"); break;
    case KIND_GOTO:
    case KIND_IGOTO:
        line.append(i.kind == KIND_GOTO ? "GOTO   " : "IGOTO  ");
        line.append(std::to_string(i.target));
        break;
    case KIND_PEND: line.append("PEND"); break;
    default:
        MSG_SET_PROC_C(imem_msg, "IMEM_DISPLAY_INSTRUCTION");
        MSG_ABORT2_C(imem_msg, "unknown instruction type");
        return;
    }
    MESSAGE_DISPLAY_S(line);
}

void IMEM_DISPLAY() {
    for (uint32_t i = 0; i < count; ++i) IMEM_DISPLAY_INSTRUCTION(i);
}

void imem_init() {
    if (first_time(initialised)) MSG_CREATE_C(&imem_msg, "IMEM", 0);
}

void imem_terminate() {
    MSG_REMOVE(&imem_msg);
    // Row 0 is always a GOTO and has no object.
    for (uint32_t i = 1; i < count; ++i) OBJ_remove_object(&imem_program[i].object);
    // A later start compiles a program of its own.
    class_forget_script();
    std::fill_n(imem_program, count, Instruction{});
    count = 0;
    initialised = false;
}

} // namespace qor
