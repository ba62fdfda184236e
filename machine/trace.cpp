#include "machine/trace.hpp"

#include <cstdio>
#include <string>
#include <unordered_set>
#include <vector>

#include "kernel/upcalls.hpp"
#include "machine/qorcpu.hpp"
#include "object/map_access.hpp"
#include "qor/map.h"

namespace qor {

namespace {

constexpr size_t SEARCH_DEPTH = 100;

// Class maps may hold maps, which may hold themselves: each is searched once.
bool find_entry(QOR_MAP *map, uint32_t address, STRNG *name, std::unordered_set<const QOR_MAP *> &searched,
                size_t depth = 0) {
    if (!map || depth > SEARCH_DEPTH || !searched.insert(map).second) return false;
    for (const Map_node *entry = map_first(map); entry; entry = map_next(entry)) {
        QOR_OBJECT *object = map_object(entry);
        if (type_of(object) == TYPE_MAP) {
            if (find_entry(map_of(object), address, name, searched, depth + 1)) return true;
        } else if (type_of(object) == TYPE_METHOD) {
            const QOR_METHOD *method = method_of(object);
            if (method->kind != METHOD_SCRIPT || method->address != address) continue;
            map_key(entry, name);
            return true;
        }
    }
    return false;
}

std::string slot_head(const char *mark, uint32_t index) {
    char text[32];
    std::snprintf(text, sizeof text, "%s[%3u] : ", mark, index);
    return text;
}

Strng source_line(const Instruction *instruction) {
    Strng text;
    if (instruction) QORCPU_SOURCE_NAME(instruction->source, &text);
    text.append(" line ");
    text.append(std::to_string(instruction ? instruction->line : 0));
    return text;
}

Strng call_line(const char *mark, uint32_t depth, const Instruction *at) {
    Strng text(slot_head(mark, depth));
    Strng name;
    QORCPU_PROC_NAME(qorcpu_entry[depth], &name);
    text.append(name.text());
    text.append(", ");
    text.append(source_line(at).text());
    return text;
}

// Lines are put together before any is shown: showing may run script code,
// which changes what is to be shown.
void show(const char *head, const std::vector<Strng> &lines, const char *tail) {
    MESSAGE_DISPLAY1_C(head);
    for (const Strng &line : lines) MESSAGE_DISPLAY_S(line);
    MESSAGE_DISPLAY1_C(tail);
}

void display_stack() {
    std::vector<Strng> lines;
    Strng value;
    for (int32_t i = 0; i < qorcpu_stack_top; ++i) {
        Strng line(slot_head(i + 1 < qorcpu_stack_top ? "   " : " ->", static_cast<uint32_t>(i)));
        OBJ_to_display_string(qorcpu_stack[i], &value);
        line.append(value.text());
        lines.push_back(std::move(line));
    }
    if (lines.empty()) lines.emplace_back("   EMPTY");
    show("STACK\n", lines, "END_STACK\n");
}

void display_pstack() {
    std::vector<Strng> lines;
    for (uint32_t i = 0; i + 1 < qorcpu_pstack_top; ++i) lines.push_back(call_line("   ", i, qorcpu_return[i + 1] - 1));
    if (qorcpu_pstack_top == 0)
        lines.emplace_back("   EMPTY");
    else
        lines.push_back(call_line(" ->", qorcpu_pstack_top - 1, qorcpu_instr));
    show("PSTACK\n", lines, "END_PSTACK\n");
}

void method_display_source_line() { MESSAGE_DISPLAY_S(source_line(qorcpu_instr)); }

void method_assert_stack_empty() {
    if (qorcpu_stack_top == 0) return;
    display_stack();
    MSG_SET_PROC_C(qorcpu_msg, "ASSERT_STACK_EMPTY");
    MSG_ABORT2_C(qorcpu_msg, "Stack is not empty\n");
}

void method_get_stack_size() { qorcpu_push_int(qorcpu_stack_top); }

constexpr Native_method METHODS[] = {
    {"ASSERT_STACK_EMPTY", method_assert_stack_empty, 0, 0, 'P', ""},
    {"DISPLAY_STACK", display_stack, 0, 0, 'P', ""},
    {"DISPLAY_PSTACK", display_pstack, 0, 0, 'P', ""},
    {"DISPLAY_IMEM", IMEM_DISPLAY, 0, 0, 'P', ""},
    {"DISPLAY_SOURCE_LINE", method_display_source_line, 0, 0, 'P', ""},
    {"GET_STACK_SIZE", method_get_stack_size, 0, 1, 'P', ""},
};

} // namespace

void QORCPU_PROC_NAME(uint32_t address, STRNG *name) {
    std::unordered_set<const QOR_MAP *> searched;
    if (find_entry(procedure_directory(), address, name, searched)) return;
    for (const Map_node *entry = map_first(class_directory()); entry; entry = map_next(entry)) {
        QOR_OBJECT *object = map_object(entry);
        Strng method;
        if (type_of(object) != TYPE_MAP || !find_entry(map_of(object), address, &method, searched)) continue;
        map_key(entry, name);
        STRNG_APPC('.', name);
        strng_append(name, method.text());
        return;
    }
    strng_assign(name, "UNKNOWN");
}

void QORCPU_SOURCE_NAME(uint32_t source, STRNG *name) {
    QOR_OBJECT *sources = map_find(MAP_ROOT(), borrow("SOURCES"));
    if (!sources || type_of(sources) != TYPE_MAP || !map_of(sources)) return;
    name->length = 0;
    for (const Map_node *entry = map_first(map_of(sources)); entry; entry = map_next(entry)) {
        const QOR_OBJECT *number = map_object(entry);
        if (type_of(number) != TYPE_INT || static_cast<uint32_t>(number->int_value) != source) continue;
        map_key(entry, name);
        return;
    }
}

bool QORCPU_IS_CALLED_BY(STRNG name) {
    Strng caller;
    for (int32_t depth = static_cast<int32_t>(qorcpu_pstack_top) - 2; depth >= 0; --depth) {
        QORCPU_PROC_NAME(qorcpu_entry[depth], &caller);
        uint8_t order;
        STRNG_COMPARE(caller, name, &order);
        if (order == 1) return true;
    }
    return false;
}

void qorcpu_abort() {
    display_stack();
    display_pstack();
    QORCPU_DO_METHOD_BY_NAME_C("QOR", "HALT");
}

void register_trace_methods() {
    int32_t status;
    CLASS_CREATE_CLASS_C("QORCPU", "2.0.0", &status);
    register_methods("QORCPU", METHODS);
}

} // namespace qor
