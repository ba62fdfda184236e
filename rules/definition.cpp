// From the maps that a script defines to checked rules: macros, sources, and
// the rules of one source. Every fault is reported before the run is given up.
#include <string>

#include "object/map_access.hpp"
#include "qor/class.h"
#include "rules/qorrun.hpp"

namespace qor {
namespace {

constexpr std::string_view NAME_PREFIX = "IN.";

void append_string(Rule &rule, std::string_view text) {
    Rule_item item;
    BTYP_create_string(&item.object, borrow(text));
    item.is_name = text.starts_with(NAME_PREFIX);
    if (item.is_name) item.path = AP_create_path(borrow(text));
    rule.push_back(std::move(item));
}

bool is_blank(std::string_view text) { return text.find_first_not_of(' ') == text.npos; }

// The item whose name was cut from the text, and its arguments.
bool append_procedure(Rule &rule, STRNG_CURSOR &text, Strng &token) {
    STRNG2_EXTRTOKEN_C(&text, &token, ",");
    Strng path("PROCEDURES.");
    path.append(token.text());
    Rule_item procedure;
    int32_t found;
    OBJ_get_object_ref_by_name(path, &procedure.object, &found);
    if (!found) {
        RULE_ERROR("procedure ", token.text(), " not found");
        return false;
    }
    int32_t arguments = argument_count(token.text());
    if (arguments < 0) {
        RULE_ERROR("", token.text(), ": invalid procedure without argcount");
        return false;
    }
    if (type_of(procedure.object) != TYPE_METHOD) {
        RULE_ERROR("procedure ", token.text(), " not found");
        return false;
    }
    rule.push_back(std::move(procedure));
    Strng argument;
    for (; arguments > 0; --arguments) {
        if (STRNG_EOX(&text)) {
            RULE_ERROR("too few arguments for procedure ", token.text(), "");
            return false;
        }
        STRNG2_EXTRTOK_C(&text, &argument, ",", 0, 1);
        append_string(rule, argument.text());
    }
    return true;
}

bool CREATE_RULE(STRNG name, STRNG text) {
    set_procedure("CREATE_RULE");
    Rule rule;
    // The comma behind the text is the caller's. Only the exact word is off:
    // with blanks or a comma of its own it is a procedure's name.
    const bool off = view(text) == "OFF,";
    if (!off && !is_blank(view(text).substr(0, text.length - 1))) {
        STRNG_CURSOR rest;
        STRNG2_PREPX(text, &rest);
        Strng token;
        bool components = true;
        while (!STRNG_EOX(&rest)) {
            if (components) {
                const STRNG_CURSOR before = rest;
                STRNG2_EXTRTOKEN_C(&rest, &token, ",");
                if (token.text().starts_with(NAME_PREFIX)) {
                    append_string(rule, token.text());
                    continue;
                }
                components = false;
                rest = before;
            }
            if (!append_procedure(rule, rest, token)) return false;
        }
    }
    rule_table->insert(name, std::move(rule));
    return true;
}

// The value of a field, or the field itself.
void append_expanded(QOR_MAP *macros, std::string_view field, Strng &result) {
    if (QOR_OBJECT *value = map_find(macros, borrow(field))) {
        STRNG text{0, 0, nullptr};
        BTYP_read_string_ref(value, &text);
        result.append(view(text));
    } else {
        result.append(field);
    }
}

bool CHECK_CLASS(const char *name) {
    set_procedure("CHECK_CLASS");
    bool complete = true;
    for (const char *method : {"OPEN", "READ_OBJECT", "CLOSE"}) {
        const std::string procedure = std::string(name) + "_" + method;
        QOR_METHOD *record;
        int32_t found;
        CLASS_GET_METHOD_C("PROCEDURES", procedure.c_str(), &record, &found);
        if (found) continue;
        MSG_DISPLAY_ERROR_F(qorrun_channel(), "class %s has no method %s", name, method);
        complete = false;
    }
    return complete;
}

} // namespace

Rule_table::Rule_table() { MAP_CREATE_NONAME(&places_); }
Rule_table::~Rule_table() { MAP_REMOVE(&places_); }

void Rule_table::insert(STRNG name, Rule &&rule) {
    MAP_INSERT_IVALUE(places_, name, static_cast<int32_t>(rules_.size()));
    rules_.push_back(std::move(rule));
    for (Answer &answer : answers_) answer.name.clear();
}

size_t Rule_table::answer_place(std::string_view name) {
    const size_t n = name.size();
    const auto last = static_cast<uint8_t>(name[n - 1]);
    const auto before = static_cast<uint8_t>(n > 1 ? name[n - 2] : '\0');
    return (n * 5 + last * size_t{3} + before) % ANSWERS;
}

const Rule *Rule_table::look_up(STRNG name) const {
    const QOR_OBJECT *place = map_find(places_, name);
    return place ? &rules_[static_cast<size_t>(place->int_value)] : nullptr;
}

const Rule *Rule_table::find(STRNG name) {
    if (name.length == 0) return look_up(name); // it marks an answer that is free
    Answer &answer = answers_[answer_place(view(name))];
    if (!is_same_text(answer.name.text(), view(name))) {
        answer.rule = look_up(name);
        answer.name.assign(view(name));
    }
    return answer.rule;
}

QOR_MAP *map_in(const Object_var &variable) {
    QOR_OBJECT *o = variable.get();
    return o && type_of(o) == TYPE_MAP && is_defined(o) ? map_of(o) : nullptr;
}

QOR_MAP *find_map(const char *name, Object_var &variable) {
    int32_t found;
    variable.reset();
    OBJ_get_object_ref_by_name(borrow(name), &variable, &found);
    return map_in(variable);
}

std::string_view cut_source_class(STRNG definition, Strng &source_class) {
    STRNG_CURSOR rest;
    STRNG2_PREPX(definition, &rest);
    STRNG2_EXTRTOKEN_C(&rest, &source_class, ",");
    return view(rest);
}

int32_t argument_count(std::string_view procedure) {
    const auto digit = [&](size_t from_right) {
        if (procedure.size() < from_right) return -1;
        const char c = procedure[procedure.size() - from_right];
        return c >= '0' && c <= '9' ? c - '0' : -1;
    };
    const int32_t units = digit(1);
    const int32_t tens = digit(2);
    return units < 0 || tens < 0 ? units : tens * 10 + units;
}

void RULE_ERROR(std::string_view a, std::string_view b, std::string_view c) {
    set_procedure("RULE_ERROR");
    rule_message({a, b, c});
}

// Rewrites INOUT in place, one level deep: a second run expands what the first
// one left.
void REPLACE_MACROS() {
    set_procedure("REPLACE_MACROS");
    QOR_MAP *macros = find_map("MACRO", macro_map);
    QOR_MAP *inout = map_in(inout_map);
    if (!macros || !inout) return;
    MAP_RESET_READ(&inout);
    Strng key;
    Strng value;
    Strng result;
    for (;;) {
        int32_t found;
        MAP_READ_VALUE(&inout, &key, &value, &found);
        if (!found) return;
        result.clear();
        std::string_view rest = value.text();
        for (size_t comma; (comma = rest.find(',')) != rest.npos; rest.remove_prefix(comma + 1)) {
            append_expanded(macros, rest.substr(0, comma), result);
            result.append(',');
        }
        append_expanded(macros, rest, result);
        MAP_INSERT_SVALUE(inout, key, result);
    }
}

bool LOAD_SOURCE() {
    set_procedure("LOAD_SOURCE");
    QOR_MAP *inout = map_in(inout_map);
    bool complete = true;
    if (!MAP_TEST_KEY(inout, current_source)) {
        MSG_DISPLAY_PERROR_C(qorrun_channel(), "rule ", current_source, " not found in map INOUT");
        complete = false;
    }
    rule_table = std::make_shared<Rule_table>();
    if (!inout) return complete;
    MAP_RESET_READ(&inout);
    Strng name;
    Strng value;
    Strng source;
    for (;;) {
        // A message may have run script code in between.
        if (!(inout = map_in(inout_map))) return complete;
        int32_t found;
        MAP_READ_VALUE(&inout, &name, &value, &found);
        if (!found) return complete;
        current_rule.assign(name.text());
        STRNG_CURSOR key;
        STRNG2_PREPX(name, &key);
        STRNG2_EXTRTOKEN_C(&key, &source, ",");
        if (source.text() != current_source.text()) continue;
        value.append(',');
        // By its own name: script code in a message may set another rule.
        if (!CREATE_RULE(name, value)) complete = false;
    }
}

void CHECK_SOURCES() {
    set_procedure("CHECK_SOURCES");
    QOR_MAP *sources = find_map("INPUT_SOURCES", input_sources_map);
    if (!sources) {
        MSG_DISPLAY_ERROR2_C(qorrun_channel(), "map INPUT_SOURCES not found");
        throw Run_failure{1};
    }
    bool complete = true;
    Strng source_class;
    MAP_RESET_READ(&sources);
    while ((sources = map_in(input_sources_map))) {
        int32_t found;
        MAP_READ_VALUE(&sources, &current_source, &current_source_definition, &found);
        if (!found) break;
        cut_source_class(current_source_definition, source_class);
        if (!CHECK_CLASS(source_class.c_str())) complete = false;
        if (!LOAD_SOURCE()) complete = false;
    }
    if (complete) return;
    MSG_DISPLAY2_C(qorrun_channel(), "errors in source definition, qorrun aborted");
    throw Run_failure{3};
}

} // namespace qor
