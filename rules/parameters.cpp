// What the procedures of a rule call: their parameters, converted, and the
// name of the rule. A wrong type is reported and gives NULL; a missing
// parameter and an unknown component break the rule off.
#include <charconv>
#include <cstdlib>

#include "kernel/saturate.hpp"
#include "machine/qorcpu.hpp"
#include "qor/geom.h"
#include "rules/qorrun.hpp"

namespace qor {
namespace {

Strng work_text;

// A parameter as it was read. A rule's own text must not reach the stack by
// reference: the methods that change a text in place would rewrite the rule.
struct Parameter {
    QOR_OBJECT *object = nullptr; // null: an empty text
    Object_var owner;             // of what SET_PARAM added
    bool is_rule_text = false;

    bool is_null() const { return !object || !is_defined(object); }
    int32_t type() const { return type_of(object); }
    // An object that others share stays shared.
    void push() const {
        if (is_rule_text)
            qorcpu_push_text(text_of(object));
        else
            QORCPU_PUSH_OBJ_REF(object);
    }
};

// The next item as it stands. False after an abort that returned.
bool read_item(Parameter &parameter, const Rule_item **item) {
    *item = nullptr;
    if (parameters.next != parameters.end) {
        *item = parameters.next++;
        parameter.object = (*item)->object;
        parameter.is_rule_text = type_of(parameter.object) == TYPE_STRING;
        return true;
    }
    if (parameters.has_next()) {
        parameter.owner = std::move(parameters.added[parameters.next_added++]);
        parameter.object = parameter.owner;
        return true;
    }
    rule_message({"too few arguments for procedure ", current_procedure.text(), ", rule aborted"});
    ABORT_CURRENT_RULE(ABORT_TOO_FEW_ARGUMENTS);
    return false;
}

// The next parameter: an empty text is NULL, a text that begins with "IN." is
// the component of that name.
bool GET_NEXT_PARAM(Parameter &parameter) {
    const Rule_item *item;
    if (!read_item(parameter, &item)) return false;
    if (type_of(parameter.object) != TYPE_STRING) return true;
    const std::string_view text = text_of(parameter.object);
    if (!is_defined(parameter.object) || text.empty()) {
        parameter.object = nullptr;
        return true;
    }
    if (item ? !item->is_name : !text.starts_with("IN.")) return true;
    Ap *path = item ? item->path : AP_create_path(borrow(text));
    QOR_OBJECT *component = component_value(path);
    if (!component) {
        RULE_ERROR("component ", text, " unknown, rule aborted");
        ABORT_CURRENT_RULE(ABORT_UNKNOWN_COMPONENT);
        return false;
    }
    parameter.object = component;
    parameter.is_rule_text = false;
    return true;
}

// "parameter text is not of type name (n)".
void report_text(std::string_view text, const char *rest) {
    MSG_DISPLAY_PERROR_C(qorrun_channel(), "parameter ", borrow(text), rest);
}

void report_object(QOR_OBJECT *object, const char *message) {
    const Object_var held = Object_var::share(object);
    MSG_DISPLAY_ERROR2_C(qorrun_channel(), message);
    OBJ_display_object(held);
}

void push_null_geometry() {
    Object_var geometry;
    BTYP_create_undef_geometry(&geometry);
    qorcpu_push_owned(std::move(geometry));
}

// A decimal int at the begin of the text, behind white space; what follows it
// does not matter. One that does not fit is none.
bool parse_int(std::string_view text, int32_t *value) {
    size_t start = text.find_first_not_of(" \t\n\v\f\r");
    if (start == text.npos) return false;
    if (text[start] == '+' && text.substr(start + 1, 1) != "-") ++start;
    return std::from_chars(text.data() + start, text.data() + text.size(), *value).ec == std::errc();
}

// Reals separated by "/", at most count. Returns how many there are.
int parse_reals(std::string_view text, double *values, int count) {
    work_text.assign(text);
    const char *next = work_text.c_str();
    for (int n = 0; n < count; ++n) {
        char *end;
        values[n] = std::strtod(next, &end);
        if (end == next) return n;
        if (*end != '/') return n + 1;
        next = end + 1;
    }
    return count;
}

struct Geometry_texts {
    const char *other_geometry;
    const char *other_type;
};

// A geometry of the kind as it stands; anything else is reported.
void push_geometry(const Parameter &parameter, uint8_t kind, const Geometry_texts &texts) {
    if (!parameter.is_null()) {
        const bool is_geometry = parameter.type() == TYPE_GEOMETRY;
        if (is_geometry && BTYP_get_geometry_type(parameter.object) == kind) {
            parameter.push();
            return;
        }
        report_object(parameter.object, is_geometry ? texts.other_geometry : texts.other_type);
    }
    push_null_geometry();
}

} // namespace

void get_param() {
    set_procedure("GET_PARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    if (parameter.object)
        parameter.push();
    else
        QORCPU_PUSH_UNDEF_STRING();
}

void get_const() {
    set_procedure("GET_CONST");
    Parameter parameter;
    const Rule_item *item;
    if (read_item(parameter, &item)) parameter.push();
}

void get_sparam() {
    set_procedure("GET_SPARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    if (parameter.is_null()) {
        QORCPU_PUSH_UNDEF_STRING();
    } else if (parameter.type() == TYPE_STRING) {
        parameter.push();
    } else {
        OBJ_to_string(parameter.object, &work_text);
        qorcpu_push_text(work_text.text());
    }
}

void get_iparam() {
    set_procedure("GET_IPARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    if (!parameter.is_null()) {
        const int32_t type = parameter.type();
        if (type == TYPE_INT) return parameter.push();
        if (type == TYPE_REAL) return qorcpu_push_int(saturate<int32_t>(parameter.object->real_value));
        if (type == TYPE_STRING) {
            int32_t value;
            const std::string_view text = text_of(parameter.object);
            if (parse_int(text, &value)) return qorcpu_push_int(value);
            report_text(text, " is not of type int (1)");
        } else {
            report_object(parameter.object, "parameter is not of type int (2)");
        }
    }
    QORCPU_PUSH_UNDEF_INT();
}

void get_rparam() {
    set_procedure("GET_RPARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    if (!parameter.is_null()) {
        const int32_t type = parameter.type();
        if (type == TYPE_REAL) return parameter.push();
        if (type == TYPE_INT) return qorcpu_push_real(parameter.object->int_value);
        if (type == TYPE_STRING) {
            double value;
            const std::string_view text = text_of(parameter.object);
            if (parse_reals(text, &value, 1) == 1) return qorcpu_push_real(value);
            report_text(text, " is not of type real (1)");
        } else {
            report_object(parameter.object, "parameter is not of type real (2)");
        }
    }
    QORCPU_PUSH_UNDEF_REAL();
}

void get_pparam() {
    set_procedure("GET_PPARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    if (!parameter.is_null() && parameter.type() == TYPE_STRING) {
        double xyz[3];
        const std::string_view text = text_of(parameter.object);
        const int count = parse_reals(text, xyz, 3);
        if (count >= 2) return QORCPU_PUSHP(xyz[0], xyz[1], count == 3 ? xyz[2] : GEOM_NO_HEIGHT);
        report_text(text, " is not of type point (2)");
        push_null_geometry();
        return;
    }
    push_geometry(parameter, GEOM_POINT, {"parameter is not of type point (1)", "parameter is not of type point (3)"});
}

void get_lparam() {
    set_procedure("GET_LPARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    push_geometry(parameter, GEOM_LINE, {"parameter is not of type line (1)", "parameter is not of type line (2)"});
}

void get_aparam() {
    set_procedure("GET_APARAM");
    Parameter parameter;
    if (!GET_NEXT_PARAM(parameter)) return;
    push_geometry(parameter, GEOM_AREA, {"parameter is not of type area (1)", "parameter is not of type area (2)"});
}

// Added behind the arguments: after the last of them has been read, what was
// added is the next to be read, and what stays unread is a surplus argument.
void set_param() {
    set_procedure("SET_PARAM");
    Object_var object;
    QORCPU_POP_OBJ(&object);
    if (parameters.next_added == parameters.added.size()) {
        parameters.added.clear();
        parameters.next_added = 0;
    }
    parameters.added.push_back(std::move(object));
}

void set_rule() {
    set_procedure("SET_RULE");
    current_rule.assign(qorcpu_top_text());
    qorcpu_release_top();
}

void get_rule() {
    set_procedure("GET_RULE");
    qorcpu_push_text(current_rule.text());
}

void append_to_rule() {
    set_procedure("APPEND_TO_RULE");
    const std::string_view text = qorcpu_top_text();
    current_rule.append(',');
    current_rule.append(text);
    qorcpu_release_top();
}

} // namespace qor
