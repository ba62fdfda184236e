// What a word means: a constant, a reference or a name, and its instruction.
#include <algorithm>
#include <initializer_list>

#include "compiler/qorcomp_state.hpp"
#include "object/class.hpp"
#include "object/map_access.hpp"

namespace qor {

namespace {

bool has_key(QOR_MAP *map, std::string_view key) {
    return !key.empty() && key.size() <= MAX_KEY_LENGTH && MAP_TEST_KEY(map, borrow(key));
}

// The entry, honouring the default, as any look-up by name does.
QOR_OBJECT *entry(QOR_MAP *map, std::string_view key) {
    return key.empty() || key.size() > MAX_KEY_LENGTH ? nullptr : map_find(map, borrow(key));
}

QOR_MAP *as_map(QOR_OBJECT *o) { return o && type_of(o) == TYPE_MAP && is_defined(o) ? map_of(o) : nullptr; }

bool is_method(QOR_MAP *map, std::string_view name) {
    const QOR_OBJECT *o = entry(map, name);
    return o && type_of(o) == TYPE_METHOD;
}

bool is_method_of_class(std::string_view class_name, std::string_view name) {
    QOR_MAP *map = as_map(entry(class_directory(), class_name));
    return map && is_method(map, name);
}

int32_t full_name(std::initializer_list<std::string_view> parts, STRNG *name) {
    name->length = 0;
    for (std::string_view part : parts) strng_append(name, part);
    return 1;
}

// Numbers have a digit, so that the signs and the point alone are names.
bool may_be_number(std::string_view word) {
    return std::any_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool insert_number(STRNG word) {
    if (!may_be_number(view(word))) return false;
    Object_var number;
    int32_t i;
    double r;
    STRNG_CURSOR cursor;
    STRNG2_PREPX(word, &cursor);
    if (STRNG_GET_LOI(&cursor, &i) && STRNG_EOX(&cursor)) {
        BTYP_create_int(&number, i);
    } else {
        // Also an integer that 32 bits do not hold.
        STRNG2_PREPX(word, &cursor);
        if (!STRNG_GET_LREAL(&cursor, &r) || !STRNG_EOX(&cursor)) return false;
        BTYP_create_real(&number, r);
    }
    emit(IMEM_EMIT_PUSH_OBJECT, number);
    return true;
}

} // namespace

QOR_MAP *class_map() { return as_map(qorcomp_class); }

int32_t IS_CONST(STRNG word, STRNG *text) {
    MSG_SET_PROC_C(qorcomp_msg, "IS_CONST");
    std::string_view w = view(word);
    const bool quoted = w.size() >= 2 && w.front() == '\'' && w.back() == '\'';
    // Doubled quotes inside stay doubled.
    strng_assign(text, quoted ? w.substr(1, w.size() - 2) : w);
    return quoted;
}

int32_t IS_COMP(STRNG word, STRNG *name) {
    MSG_SET_PROC_C(qorcomp_msg, "IS_COMP");
    const std::string_view w = view(word);
    if (w == "ROOT" || w.starts_with("ROOT.")) return full_name({w}, name);
    const size_t dot = w.find('.');
    const std::string_view first = w.substr(0, dot);
    if (QOR_MAP *members = class_map(); members && has_key(members, first)) {
        return full_name({"ROOT.CLASSES.", qorcomp_class_name.text(), ".", w}, name);
    }
    if (is_method(procedure_directory(), w)) return full_name({"ROOT.PROCEDURES.", w}, name);
    if (has_key(MAP_ROOT(), first)) return full_name({"ROOT.", w}, name);
    if (dot != std::string_view::npos) {
        // A class whose entry in the root was removed.
        if (is_method_of_class(first, w.substr(dot + 1))) return full_name({"ROOT.CLASSES.", w}, name);
    } else if (is_method_of_class("QOR", w)) {
        return full_name({"ROOT.CLASSES.QOR.", w}, name);
    }
    return 0;
}

int32_t IS_REF(STRNG word, STRNG *name) {
    MSG_SET_PROC_C(qorcomp_msg, "IS_REF");
    std::string_view w = view(word);
    if (!w.starts_with('&')) return 0;
    const STRNG rest = borrow(w.substr(1));
    if (IS_COMP(rest, name)) return 1;
    compile_error_abort("invalid reference &", rest, "");
    return 0;
}

void INSERT_VALUE(STRNG word) {
    MSG_SET_PROC_C(qorcomp_msg, "INSERT_VALUE");
    const std::string_view w = view(word);
    if (w == "TRUE" || w == "FALSE") {
        Object_var value;
        BTYP_create_boolean(&value, w == "TRUE");
        emit(IMEM_EMIT_PUSH_OBJECT, value);
        return;
    }
    if (insert_number(word)) return;
    Strng name;
    if (IS_CONST(word, &name)) {
        emit(IMEM_EMIT_PUSH_STRING, name);
    } else if (IS_REF(word, &name)) {
        emit(IMEM_EMIT_PUSHAP_REF, name);
    } else if (IS_COMP(word, &name)) {
        emit(IMEM_EMIT_PUSHAP, name);
    } else {
        compile_error_abort("unknown keyword ", word, "");
    }
}

void QORCOMP_EMIT_METHOD_CALL(const char *class_name, const char *method) {
    MSG_SET_PROC_C(qorcomp_msg, "QORCOMP_EMIT_METHOD_CALL");
    Strng name;
    full_name({class_name, ".", method}, &name);
    if (!is_method_of_class(class_name, method)) {
        compile_error_abort("method ", name, " not implemented");
        return;
    }
    emit(IMEM_EMIT_PUSHAP, name);
}

} // namespace qor
