#include "rules/qorrun.hpp"

#include "kernel/lifecycle.hpp"
#include "machine/qorcpu.hpp"

namespace qor {

std::shared_ptr<Rule_table> rule_table;
Parameters parameters;
Strng current_rule;
Strng current_procedure;
Strng current_source;
Strng current_source_definition;
Object_var var_map;
Object_var inout_map;
Object_var input_sources_map;
Object_var macro_map;
bool trace;
bool in_rule;
uint32_t saved_frame_level;
int32_t saved_stack_level;
const char *procedure_name = "";
bool debug;
int32_t rule_guards;

namespace {

// RUN1 as a hook of its own run would nest without a script frame in between,
// so the machine's depth of 256 does not stop it.
constexpr int32_t MAX_RUN_DEPTH = 256;

bool initialized;
MSG channel;
int32_t run_depth;

// A nested run must not throw through the frames of the outer one.
class Run_scope {
  public:
    Run_scope()
        : outer_guards_(rule_guards), outer_frame_level_(saved_frame_level), outer_stack_level_(saved_stack_level) {
        ++run_depth;
        rule_guards = 0;
    }
    ~Run_scope() {
        --run_depth;
        rule_guards = outer_guards_;
        // A rule of the outer run that aborts cuts back to its own levels.
        saved_frame_level = outer_frame_level_;
        saved_stack_level = outer_stack_level_;
    }
    Run_scope(const Run_scope &) = delete;
    Run_scope &operator=(const Run_scope &) = delete;

  private:
    int32_t outer_guards_;
    decltype(saved_frame_level) outer_frame_level_;
    decltype(saved_stack_level) outer_stack_level_;
};

// The runner is not re-entrant: a run from within a rule takes over the state
// of the outer one, which goes on with what the inner one left.
void run1() {
    if (run_depth >= MAX_RUN_DEPTH) {
        set_procedure("RUN1");
        MSG_ABORT2_C(qorrun_channel(), "RUN1 nested too deeply");
        return;
    }
    int32_t status = 0;
    {
        const Run_scope scope;
        try {
            RUN1_BODY();
        } catch (const Run_failure &failure) {
            status = failure.status;
        }
    }
    qorcpu_push_int(status);
}

void abort_rule() {
    set_procedure("ABORT_RULE");
    ABORT_CURRENT_RULE(ABORT_BY_PROCEDURE);
}

const Native_method qorrun_methods[] = {
    {"RUN1", run1, 0, 1, 'P', "[][i status]"},
    {"GET_PARAM", get_param, 0, 1, 'P', "[][o object]"},
    {"GET_SPARAM", get_sparam, 0, 1, 'P', "[][s string]"},
    {"GET_IPARAM", get_iparam, 0, 1, 'P', "[][i int]"},
    {"GET_RPARAM", get_rparam, 0, 1, 'P', "[][r real]"},
    {"GET_PPARAM", get_pparam, 0, 1, 'P', "[][p point]"},
    {"GET_LPARAM", get_lparam, 0, 1, 'P', "[][l line]"},
    {"GET_APARAM", get_aparam, 0, 1, 'P', "[][a area]"},
    {"GET_CONST", get_const, 0, 1, 'P', "[][s string]"},
    {"SET_PARAM", set_param, 1, 0, 'P', "[o object][]"},
    {"ABORT_RULE", abort_rule, 0, 0, 'P', "[][]"},
    {"SET_RULE", set_rule, 1, 0, 'P', "[s Rule][]"},
    {"GET_RULE", get_rule, 0, 1, 'P', "[][s Rule]"},
    {"APPEND_TO_RULE", append_to_rule, 1, 0, 'P', "[s rule][]"},
};

} // namespace

void show_procedure(const char *name) { MSG_SET_PROC_C(channel, name); }

MSG qorrun_channel() {
    if (!debug) MSG_SET_PROC_C(channel, procedure_name);
    return channel;
}

void set_debug(bool on) {
    // Without this, switching on would leave the channel with an old name.
    if (!debug) MSG_SET_PROC_C(channel, procedure_name);
    debug = on;
    MSG_SET_DSET_PROC(&channel, on ? 1 : 0);
}

void rule_message(std::initializer_list<std::string_view> parts) {
    Strng text(current_rule.text());
    text.append(": ");
    for (const std::string_view part : parts) text.append(part);
    MSG_DISPLAY_ERROR_S(qorrun_channel(), text);
}

void Parameters::clear() {
    next = end = nullptr;
    added.clear();
    next_added = 0;
}

void qorrun_init() {
    if (!first_time(initialized)) return;
    MSG_CREATE_C(&channel, "QORRUN", 0);
    int32_t status;
    CLASS_CREATE_CLASS_C("QORRUN", "1.0.0", &status);
    register_methods("QORRUN", qorrun_methods);
    rule_table = std::make_shared<Rule_table>();
    QOR_MAP *undefined_rules;
    MAP_CREATE_C(&undefined_rules, "UNDEFINED_RULES");
    prepare_transfer();
}

void qorrun_terminate() {
    if (!initialized) return;
    initialized = false;
    parameters.clear();
    rule_table.reset();
    var_map.reset();
    inout_map.reset();
    input_sources_map.reset();
    macro_map.reset();
    debug = false;
    MSG_REMOVE(&channel);
    int32_t status;
    MAP_REMOVE_OBJECT_C(MAP_ROOT(), "UNDEFINED_RULES", &status);
    // The compiler's map of source texts goes with the runner.
    MAP_REMOVE_OBJECT_C(MAP_ROOT(), "SOURCES", &status);
}

} // namespace qor
