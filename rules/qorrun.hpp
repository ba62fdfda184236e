// QORRUN, the rule runner: what its sources share.
//
// A run goes through definition.cpp (maps of text become checked rules),
// transfer.cpp (sources, hooks, the decision tree) and, called from the
// procedures of a rule, parameters.cpp.
#pragma once

#include <initializer_list>
#include <memory>
#include <string_view>
#include <vector>

#include "kernel/strng.hpp"
#include "object/ap.hpp"
#include "object/object.hpp"
#include "qor/map.h"
#include "qor/msg.h"

namespace qor {

// --- rules ------------------------------------------------------------------

// One step of a rule: a string or a procedure's method object. Strings before
// the first procedure are components, those behind it are arguments.
struct Rule_item {
    Object_var object;
    bool is_name = false; // a string that begins with "IN."
    Ap *path = nullptr;   // its access path; null when the name is no path
};
using Rule = std::vector<Rule_item>;

// The rules of one source by their names.
class Rule_table {
  public:
    Rule_table();
    ~Rule_table();
    Rule_table(const Rule_table &) = delete;
    Rule_table &operator=(const Rule_table &) = delete;

    void insert(STRNG name, Rule &&rule);
    // Null when there is none. Valid until the next insertion.
    const Rule *find(STRNG name);

  private:
    // The answers of late, at a place that the name's length and last bytes tell:
    // a transfer asks for the same few names again and again.
    struct Answer {
        Strng name;
        const Rule *rule = nullptr;
    };
    static constexpr size_t ANSWERS = 64;
    static size_t answer_place(std::string_view name);
    const Rule *look_up(STRNG name) const;

    QOR_MAP *places_ = nullptr; // name to index in rules_
    std::vector<Rule> rules_;
    Answer answers_[ANSWERS];
};

// The parameters of the procedure that runs: the arguments of the rule text,
// then what SET_PARAM added.
struct Parameters {
    const Rule_item *next = nullptr; // unread arguments, borrowed from the rule
    const Rule_item *end = nullptr;
    std::vector<Object_var> added;
    size_t next_added = 0;

    bool has_next() const { return next != end || next_added != added.size(); }
    void clear();
};

// What a component's path leads to, null when there is nothing. A plain value is
// read without binding the path, which clearing the map would have to undo.
inline QOR_OBJECT *component_value(Ap *path) {
    if (!path) return nullptr;
    if (path->obj) return path->obj;
    QOR_OBJECT *value = ap_peek_value(path);
    return value ? value : ap_resolve_unbound(path);
}

// --- state ------------------------------------------------------------------

// A dispatch holds the table that it works with: a procedure that calls RUN1
// again replaces the runner's table under it.
extern std::shared_ptr<Rule_table> rule_table;
extern Parameters parameters;

extern Strng current_rule;              // the rule name being resolved
extern Strng current_procedure;         // of a rule, for messages
extern Strng current_source;            // key in INPUT_SOURCES
extern Strng current_source_definition; // its value

extern Object_var var_map;
extern Object_var inout_map;
extern Object_var input_sources_map;
extern Object_var macro_map;

extern bool trace;   // setting TRACE
extern bool in_rule; // a rule's procedures run, or the last rule was aborted
// The machine's depths before the procedure that runs, for an abort.
extern uint32_t saved_frame_level;
extern int32_t saved_stack_level;

// --- messages ---------------------------------------------------------------

// Names the operation that is entered. The channel learns it when it shows
// something, or at once while DEBUG displays every change.
void show_procedure(const char *name);
extern const char *procedure_name;
extern bool debug;
inline void set_procedure(const char *name) {
    procedure_name = name;
    if (debug) [[unlikely]]
        show_procedure(name);
}
void set_debug(bool on);
// The channel, with its procedure up to date.
MSG qorrun_channel();
// An error of the current rule: its name, ": " and the joined parts.
void rule_message(std::initializer_list<std::string_view> parts);

// --- failure ----------------------------------------------------------------

// Breaks RUN1 off with a status. Only RUN1 catches it.
struct Run_failure {
    int32_t status;
};

// Breaks a rule, or the hook of a transfer, off. Only a Rule_guard's owner
// catches it.
struct Rule_abort {
    int32_t code;
};
inline constexpr int32_t ABORT_TOO_FEW_ARGUMENTS = 2;
inline constexpr int32_t ABORT_BY_PROCEDURE = 4;
inline constexpr int32_t ABORT_UNKNOWN_COMPONENT = 5;
inline constexpr int32_t ABORT_TOO_MANY_ARGUMENTS = 6;
inline constexpr int32_t ABORT_STACK_NOT_EMPTY = 7;

// Counts the frames of the innermost RUN1 that catch a Rule_abort. Without one
// it must not be thrown: in_rule alone may outlive the run.
extern int32_t rule_guards;
class Rule_guard {
  public:
    Rule_guard() { ++rule_guards; }
    ~Rule_guard() { --rule_guards; }
    Rule_guard(const Rule_guard &) = delete;
    Rule_guard &operator=(const Rule_guard &) = delete;
};

// --- definition -------------------------------------------------------------

// The map behind a root name, held in the variable; null when there is none.
QOR_MAP *find_map(const char *name, Object_var &variable);
// The handle of a map object, null when it holds no map (any more).
QOR_MAP *map_in(const Object_var &variable);
// Cuts the class token off a source definition; the parameter text remains.
std::string_view cut_source_class(STRNG definition, Strng &source_class);
// The count in the last one or two digits of a procedure's name, -1 without.
int32_t argument_count(std::string_view procedure);

void REPLACE_MACROS();
void CHECK_SOURCES();
bool LOAD_SOURCE();
void RULE_ERROR(std::string_view a, std::string_view b, std::string_view c);

// --- transfer ---------------------------------------------------------------

void RUN1_BODY();
// Returns only when the run itself is already on its way out.
void ABORT_CURRENT_RULE(int32_t code);
// The nodes of IN, OUT and UNDEFINED_RULES, and the machine's own method that a
// transfer calls, before a script or a plug-in may replace it.
void prepare_transfer();

// --- parameters -------------------------------------------------------------

void get_param();
void get_sparam();
void get_iparam();
void get_rparam();
void get_pparam();
void get_lparam();
void get_aparam();
void get_const();
void set_param();
void set_rule();
void get_rule();
void append_to_rule();

} // namespace qor
