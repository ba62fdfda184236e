// RUN1: sources and their hooks, the way of one object through the decision
// tree, and the procedures of a rule. The loop over the objects of a source
// looks nothing up by name and allocates nothing.
#include <algorithm>
#include <optional>
#include <string>

#include "machine/qorcpu.hpp"
#include "rules/qorrun.hpp"

namespace qor {
namespace {

constexpr std::string_view WILDCARD = "*";

Ap *in_path;
Ap *out_path;
Ap *undefined_rules_path;
QOR_PROC own_assert_stack_empty;

// Of the dispatch: the rule that ran last, and the longest name looked for.
Strng last_run_rule;
Strng longest_rule;
Strng component_text;

// Arguments are borrowed from the rule, so they go with its run.
class Arguments_scope {
  public:
    Arguments_scope() = default;
    ~Arguments_scope() { parameters.next = parameters.end = nullptr; }
    Arguments_scope(const Arguments_scope &) = delete;
    Arguments_scope &operator=(const Arguments_scope &) = delete;
};

// The record of an item in a procedure's place. A method object that a script
// stored under another name brings its own name, and with it its own count of
// arguments, which may leave an argument here: that aborts.
QOR_METHOD *method_record(QOR_OBJECT *item) {
    QOR_METHOD *method = nullptr;
    if (type_of(item) == TYPE_METHOD && is_defined(item)) [[likely]] {
        method = method_of(item);
    } else {
        CLASS_read_method_ref(item, &method);
    }
    return method;
}

void LOAD_PARAMS(const Rule &rule, size_t *next) {
    parameters.clear();
    const auto count = static_cast<size_t>(std::max(argument_count(current_procedure.text()), 0));
    const size_t taken = std::min(count, rule.size() - *next);
    parameters.next = rule.data() + *next;
    parameters.end = parameters.next + taken;
    *next += taken;
}

// Runs the procedure at the position and moves it behind the arguments.
void EXECUTE_PROCEDURE(const Rule &rule, size_t *next) {
    set_procedure("EXECUTE_PROCEDURE");
    QOR_METHOD *method = method_record(rule[(*next)++].object);
    if (!method) return;
    current_procedure.assign(view(method->name));
    if (trace) MESSAGE_DISPLAY_S(current_procedure);
    LOAD_PARAMS(rule, next);
    saved_frame_level = QORCPU_GET_PSTACK_SIZE();
    saved_stack_level = QORCPU_GET_STACK_SIZE();
    QORCPU_DO_METHOD(method);
    if (parameters.has_next()) {
        rule_message({"too many arguments for procedure ", current_procedure.text(), ", rule aborted"});
        ABORT_CURRENT_RULE(ABORT_TOO_MANY_ARGUMENTS);
    }
    if (QORCPU_GET_STACK_SIZE() > saved_stack_level) {
        rule_message({"stack not empty after ", current_procedure.text(), ", rule aborted"});
        ABORT_CURRENT_RULE(ABORT_STACK_NOT_EMPTY);
    }
}

void EXECUTE_RULE(const Rule &rule) {
    set_procedure("EXECUTE_RULE");
    if (trace) MESSAGE_DISPLAY_S(current_rule);
    const Arguments_scope scope;
    size_t next = 0;
    for (; next < rule.size() && type_of(rule[next].object) == TYPE_STRING; ++next) {
        const Rule_item &component = rule[next];
        QOR_OBJECT *value = component_value(component.path);
        current_rule.append(',');
        if (value && type_of(value) == TYPE_STRING && is_defined(value)) [[likely]] {
            current_rule.append(c_text(text_of(value)));
        } else if (value) {
            OBJ_to_string(value, &component_text);
            current_rule.append(component_text.text());
        } else {
            // A missing component stands for itself, and the search goes on.
            current_rule.append(text_of(component.object));
        }
    }
    while (next < rule.size()) EXECUTE_PROCEDURE(rule, &next);
}

// After an abort in_rule stays set on purpose: a hook that runs next may still
// break itself off.
int32_t TRY_RULE(const Rule &rule) {
    const Rule_guard guard;
    try {
        in_rule = true;
        EXECUTE_RULE(rule);
        in_rule = false;
        return 0;
    } catch (const Rule_abort &abort) {
        return abort.code;
    }
}

// Cuts the last token of a comma list off, from the right; a blank ends a token
// too, and the delimiter goes.
std::string_view cut_last_token(std::string_view *text) {
    const size_t end = text->find_last_not_of(' ') + 1;
    const size_t start = text->substr(0, end).find_last_of(", ") + 1;
    const std::string_view token = text->substr(start, end - start);
    *text = text->substr(0, start > 0 ? start - 1 : 0);
    return token;
}

// S,A,B becomes S,A,* and S,A,* becomes S,*. False when the search is over.
// The way never leads through S,*,*.
bool fall_back() {
    std::string_view rest = current_rule.text();
    if (cut_last_token(&rest) == WILDCARD) {
        if (cut_last_token(&rest) == WILDCARD) return false;
        STRNG_TRNC(&current_rule, static_cast<uint32_t>(rest.size()));
        if (rest.empty()) return false;
    } else {
        STRNG_TRNC(&current_rule, static_cast<uint32_t>(rest.size()));
    }
    current_rule.append(',');
    current_rule.append(WILDCARD);
    return true;
}

void note_undefined_rule() {
    QOR_OBJECT *map = AP_resolve(undefined_rules_path);
    if (map && type_of(map) == TYPE_MAP && is_defined(map))
        MAP_INSERT_SVALUE(map_of(map), longest_rule, borrow(WILDCARD));
}

void DISPATCH_RULE(Rule_table &rules) {
    last_run_rule.clear();
    longest_rule.clear();
    current_rule.assign(current_source.text());
    if (trace) MESSAGE_DISPLAY1_C("\n");
    for (;;) {
        if (current_rule.text().size() > longest_rule.text().size()) longest_rule.assign(current_rule.text());
        if (const Rule *rule = rules.find(current_rule)) {
            last_run_rule.assign(current_rule.text());
            if (TRY_RULE(*rule) != 0) return;
            if (is_same_text(current_rule.text(), last_run_rule.text())) return;
        } else if (!fall_back()) {
            note_undefined_rule();
            return;
        }
    }
}

// The method object of a procedure, held: a hook in hand outlives its name.
Object_var find_procedure(std::string_view prefix, std::string_view name) {
    Object_var procedure;
    int32_t found;
    const std::string full = std::string(prefix).append(name);
    CLASS_GET_METHOD_OBJECT("PROCEDURES", full.c_str(), &procedure, &found);
    return procedure;
}

Object_var find_required(std::string_view source_class, std::string_view name) {
    Object_var procedure = find_procedure(source_class, name);
    if (!procedure) {
        const std::string full = std::string(source_class).append(name);
        MSG_PABORT_C(qorrun_channel(), "procedure ", borrow(full), " not defined");
    }
    return procedure;
}

// A rule abort in a hook breaks off that hook alone.
[[gnu::noinline]] void run_present_hook(QOR_OBJECT *hook) {
    if (!is_defined(hook)) return;
    const Rule_guard guard;
    try {
        QORCPU_DO_METHOD(method_of(hook));
    } catch (const Rule_abort &) {}
}

inline void run_hook(const Object_var &hook) {
    if (hook) run_present_hook(hook);
}

void clear_map(Ap *path) {
    if (QOR_OBJECT *map = AP_resolve(path)) OBJ_clear_object(map);
}

void TRANSFER_OBJECTS(std::string_view source, std::string_view source_class) {
    const Object_var pre_inout = find_procedure("PRE_INOUT_", source);
    const Object_var post_inout = find_procedure("POST_INOUT_", source);
    const Object_var post_read = find_procedure("POST_READ_", source);
    const Object_var read_object = find_required(source_class, "_READ_OBJECT");
    Object_var assert_stack_empty;
    int32_t found;
    CLASS_GET_METHOD_OBJECT("QORCPU", "ASSERT_STACK_EMPTY", &assert_stack_empty, &found);

    // The machine's own method has nothing to say about an empty stack.
    const bool is_own_assert = assert_stack_empty && is_defined(assert_stack_empty) &&
                               method_of(assert_stack_empty)->kind == METHOD_NATIVE &&
                               method_of(assert_stack_empty)->native == own_assert_stack_empty;

    // Held, and only taken anew when a hook or a rule ran RUN1 again.
    std::shared_ptr<Rule_table> rules = rule_table;

    // The stack is not looked at before the first read: an open procedure may
    // leave values for it.
    run_hook(read_object);
    while (qorcpu_pop_boolean()) {
        run_hook(post_read);
        run_hook(pre_inout);
        if (rules != rule_table) rules = rule_table;
        DISPATCH_RULE(*rules);
        run_hook(post_inout);
        clear_map(in_path);
        clear_map(out_path);
        if (!is_own_assert || QORCPU_GET_STACK_SIZE() != 0) run_hook(assert_stack_empty);
        run_hook(read_object);
    }
}

// A source whose parameter names a list makes a pass for each string in it;
// the list is read as it is then, so a hook may still append to it.
void TRANSFER_SOURCE() {
    // Copies: hooks may nest a run, which sets the current source anew.
    const std::string source(current_source.text());
    Strng class_token;
    Strng parameter(cut_source_class(current_source_definition, class_token));
    const std::string source_class(class_token.text());

    Object_var list;
    if (!parameter.empty()) {
        int32_t found;
        OBJ_get_object_ref_by_name(parameter, &list, &found);
        if (list && type_of(list) != TYPE_LIST) list.reset();
        if (list) BTYP_reset_read_list(list);
    }

    Object_var hook = find_procedure("PRE_SOURCE_", source);
    for (bool first = true;; first = false) {
        run_hook(hook);
        if (list) {
            Object_var item;
            int32_t found;
            BTYP_read_next_listobj_ref(list, &item, &found);
            if (!found || type_of(item) != TYPE_STRING) break;
            OBJ_to_string(item, &parameter);
        } else if (!first) {
            break;
        }
        QORCPU_PUSHS(parameter);
        run_hook(find_procedure("PRE_OPEN_", source));
        run_hook(find_required(source_class, "_OPEN"));
        run_hook(find_procedure("POST_OPEN_", source));
        TRANSFER_OBJECTS(source, source_class);
        run_hook(find_procedure("PRE_CLOSE_", source));
        run_hook(find_required(source_class, "_CLOSE"));
        // It runs at the begin of the next pass, also of the one that ends.
        hook = find_procedure("POST_CLOSE_", source);
    }
    run_hook(find_procedure("POST_SOURCE_", source));
}

void RUN_SOURCE() {
    if (QOR_MAP *var = map_in(var_map)) MAP_INSERT_SVALUE_C(var, "SOURCE", current_source);
    LOAD_SOURCE();
    TRANSFER_SOURCE();
}

void require_map(const char *name, Object_var &variable) {
    if (find_map(name, variable)) return;
    MSG_DISPLAY_ERROR_F(qorrun_channel(), "map %s not found", name);
    throw Run_failure{1};
}

// Nothing when the key is absent.
std::optional<bool> read_switch(QOR_MAP *settings, const char *key) {
    Strng value;
    int32_t found;
    MAP_MAP_VALUE_C(settings, key, &value, &found);
    if (!found) return std::nullopt;
    return value.text() == "ON";
}

void read_settings() {
    trace = false;
    Object_var object;
    QOR_MAP *settings = find_map("QORRUN_PARAM", object);
    if (!settings) return;
    trace = read_switch(settings, "TRACE").value_or(false);
    if (const auto on = read_switch(settings, "DEBUG")) set_debug(*on);
}

} // namespace

void prepare_transfer() {
    in_path = AP_create_path(borrow("IN"));
    out_path = AP_create_path(borrow("OUT"));
    undefined_rules_path = AP_create_path(borrow("UNDEFINED_RULES"));
    QOR_METHOD *method;
    int32_t found;
    CLASS_GET_METHOD_C("QORCPU", "ASSERT_STACK_EMPTY", &method, &found);
    own_assert_stack_empty = found ? method->native : nullptr;
}

void ABORT_CURRENT_RULE(int32_t code) {
    if (!in_rule || rule_guards == 0) {
        MSG_ABORT2_C(qorrun_channel(), "it is not possible to call ABORT_RULE outside of a rule");
        return;
    }
    parameters.clear();
    QORCPU_SET_PSTACK_SIZE(saved_frame_level);
    QORCPU_SET_STACK_SIZE(saved_stack_level);
    throw Rule_abort{code};
}

void RUN1_BODY() {
    set_procedure("RUN1");
    require_map("VAR", var_map);
    require_map("INOUT", inout_map);
    in_rule = false;
    read_settings();
    REPLACE_MACROS();
    CHECK_SOURCES();
    run_hook(find_procedure("PRE_TRANSFER", ""));
    QOR_MAP *sources = map_in(input_sources_map);
    if (sources) MAP_RESET_READ(&sources);
    while ((sources = map_in(input_sources_map))) {
        int32_t found;
        MAP_READ_VALUE(&sources, &current_source, &current_source_definition, &found);
        if (!found) break;
        RUN_SOURCE();
    }
    run_hook(find_procedure("POST_TRANSFER", ""));
}

} // namespace qor
