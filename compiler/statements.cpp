// Statements: control flow, and the words that take the next one as an operand.
// Everything else is a value or a call, so postfix needs no more than this.
#include "compiler/qorcomp_state.hpp"

namespace qor {

namespace {

constexpr int32_t MAX_LOOPS = 20;
constexpr int32_t MAX_BREAKS = 255; // of one loop
// Statements in statements. A run of IF IF IF emits nothing, so the program's
// limit does not bound it; the host's stack would.
constexpr int32_t MAX_DEPTH = 1000;

// Forward jumps that wait for the same address. Until it is known, the target
// of each holds the address of the one before it.
struct Jump_chain {
    uint32_t last = IMEM_NO_ADDRESS;

    void add() {
        const uint32_t address = IMEM_GET_COUNT();
        emit(IMEM_EMIT_GOTO, last);
        last = address;
    }
    void patch_to_here() {
        while (last != IMEM_NO_ADDRESS) {
            const uint32_t before = IMEM_GET_INSTRUCTION(last)->target;
            IMEM_PATCH(static_cast<int32_t>(last), IMEM_GET_COUNT());
            last = before;
        }
    }
};

struct Loop {
    uint32_t start = 0; // where CONTINUE goes
    Jump_chain breaks;
    int32_t break_count = 0;
};

Loop qorcomp_loops[MAX_LOOPS];
int32_t qorcomp_loop_depth = 0;
int32_t depth = 0;

class Depth {
  public:
    Depth() { ++depth; }
    ~Depth() { --depth; }
    Depth(const Depth &) = delete;
    Depth &operator=(const Depth &) = delete;
};

Loop &innermost_loop() { return qorcomp_loops[qorcomp_loop_depth - 1]; }

bool open_loop() {
    if (qorcomp_loop_depth == MAX_LOOPS) {
        compile_abort("too many nested loops");
        return false;
    }
    ++qorcomp_loop_depth;
    innermost_loop() = Loop{IMEM_GET_COUNT(), {}, 0};
    return true;
}

// The jump back, and here is where the failed test and the breaks lead.
void close_loop(uint32_t test) {
    emit(IMEM_EMIT_GOTO, innermost_loop().start);
    IMEM_PATCH(static_cast<int32_t>(test), IMEM_GET_COUNT());
    innermost_loop().breaks.patch_to_here();
    --qorcomp_loop_depth;
}

// The jump past what is done when the condition holds; patched later.
uint32_t emit_test() {
    const uint32_t address = IMEM_GET_COUNT();
    emit(IMEM_EMIT_IGOTO, IMEM_NO_ADDRESS);
    return address;
}

// Whether the current word is the statement's own: an operation entered on its
// own must say so.
bool at_keyword(std::string_view keyword, const char *error) {
    if (qorcomp_token.text() == keyword) return true;
    compile_error(error);
    return false;
}

// --- control flow ------------------------------------------------------------------

void READ_IF(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_IF");
    *status = 0;
    if (!at_keyword("IF", "IF expected")) return;
    Jump_chain exits;
    do {
        READ_STATEMENT_BLOCK("THEN", status);
        if (!*status) return;
        const uint32_t test = emit_test();
        READ_STATEMENT_BLOCK("ELSIF,ELSE,END_IF", status);
        if (!*status) return;
        // Every branch ends in a jump, also where nothing follows.
        exits.add();
        IMEM_PATCH(static_cast<int32_t>(test), IMEM_GET_COUNT());
    } while (qorcomp_token.text() == "ELSIF");
    if (qorcomp_token.text() == "ELSE") READ_STATEMENT_BLOCK("END_IF", status);
    if (*status) exits.patch_to_here();
}

void READ_WHILE(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_WHILE");
    *status = 0;
    if (!at_keyword("WHILE", "WHILE expected") || !open_loop()) return;
    READ_STATEMENT_BLOCK("DO", status);
    if (!*status) return;
    const uint32_t test = emit_test();
    READ_STATEMENT_BLOCK("END_WHILE", status);
    if (*status) close_loop(test);
}

// The object, DO, and the start of a pass with its test. The two paths are made
// of the word as written: the look-up only tests it. Apart from READ_FOREACH to
// keep the frames of nested statements small.
bool open_foreach(uint32_t *test) {
    if (!expect_word()) return false;
    Strng name;
    if (!IS_COMP(qorcomp_token, &name)) {
        compile_error("OBJECT exepected");
        return false;
    }
    const Strng word(qorcomp_token.text());
    name.assign(word.text());
    name.append(".RESET_READ");
    emit(IMEM_EMIT_PUSHAP, name);
    if (!expect_word()) return false;
    if (qorcomp_token.text() != "DO") {
        compile_error("DO expected");
        return false;
    }
    if (!open_loop()) return false;
    name.assign(word.text());
    name.append(".READ_NEXT");
    emit(IMEM_EMIT_PUSHAP, name);
    *test = emit_test();
    return true;
}

void READ_FOREACH(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_FOREACH");
    *status = 0;
    uint32_t test;
    if (!at_keyword("FOREACH", "FOREACH expected") || !open_foreach(&test)) return;
    READ_STATEMENT_BLOCK("END_FOREACH", status);
    if (*status) close_loop(test);
}

void read_break(int32_t *status) {
    *status = 0;
    if (qorcomp_loop_depth == 0) {
        compile_error("BREAK has to be defined inside a WHILE loop");
        return;
    }
    Loop &loop = innermost_loop();
    if (loop.break_count == MAX_BREAKS) {
        compile_abort("too many BREAK statements");
        return;
    }
    ++loop.break_count;
    loop.breaks.add();
    *status = 1;
}

void read_continue(int32_t *status) {
    *status = 0;
    if (qorcomp_loop_depth == 0) {
        compile_error("CONTINUE has to be defined inside a WHILE loop");
        return;
    }
    emit(IMEM_EMIT_GOTO, innermost_loop().start);
    *status = 1;
}

void read_return(int32_t *) { emit(IMEM_EMIT_RETURN); }

// --- assignment ----------------------------------------------------------------------

void emit_assignment(const char *error) {
    if (!expect_word()) return;
    Strng name;
    if (IS_COMP(qorcomp_token, &name)) {
        emit(IMEM_EMIT_POPAP, name);
    } else {
        compile_error_abort(error, qorcomp_token, "");
    }
}

void READ_ASSIGNEMENT(int32_t *) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_ASSIGNEMENT");
    emit_assignment("can not assign value to ");
}

void READ_LASSIGNEMENT(int32_t *) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_LASSIGNEMENT");
    QORCOMP_EMIT_METHOD_CALL("QOR", "GET_LVALUE");
    // The missing blank is part of the known text.
    emit_assignment("can not assign value to");
}

// --- operators with one operand behind them --------------------------------------------

void read_operator(const char *procedure, const char *method) {
    MSG_SET_PROC_C(qorcomp_msg, procedure);
    if (!expect_word()) return;
    INSERT_VALUE(qorcomp_token);
    QORCOMP_EMIT_METHOD_CALL("QOR", method);
}

void READ_EQUAL(int32_t *) { read_operator("READ_EQUAL", "="); }
void READ_NOT_EQUAL(int32_t *) { read_operator("READ_NOT_EQUAL", "<>"); }
void READ_LESS(int32_t *) { read_operator("READ_LESS", "<"); }
void READ_LESS_EQUAL(int32_t *) { read_operator("READ_LESS_EQUAL", "<="); }
void READ_GREATER(int32_t *) { read_operator("READ_GREATER", ">"); }
// Shares the name of ">" in messages: kept.
void READ_GREATER_EQUAL(int32_t *) { read_operator("READ_GREATER", ">="); }
void READ_COLON(int32_t *) { read_operator("READ_COLON", ","); }
void READ_PERIOD(int32_t *) { read_operator("READ_PERIOD", "APP"); }

// --- display lists ------------------------------------------------------------------------

// The list stays text, quotes included: its names are looked up at run time.
void build_list(const char *procedure, const char *method) {
    MSG_SET_PROC_C(qorcomp_msg, procedure);
    if (!expect_word()) return;
    emit(IMEM_EMIT_PUSH_STRING, qorcomp_token);
    QORCOMP_EMIT_METHOD_CALL("QOR", method);
}

void BUILD_DISPLAY_STMT(int32_t *) { build_list("BUILD_DISPLAY_STMT", "DISPLAY_STMT"); }
void BUILD_ERROR_STMT(int32_t *) { build_list("BUILD_ERROR_STMT", "ERROR_STMT"); }
void BUILD_STATUS_STMT(int32_t *) { build_list("BUILD_STATUS_STMT", "STATUS_STMT"); }

struct Statement {
    std::string_view word;
    void (*read)(int32_t *status); // called with status 1
};

constexpr Statement STATEMENTS[] = {
    {"IF", READ_IF},
    {"WHILE", READ_WHILE},
    {"FOREACH", READ_FOREACH},
    {"BREAK", read_break},
    {"CONTINUE", read_continue},
    {"DISPLAY", BUILD_DISPLAY_STMT},
    {"ERROR", BUILD_ERROR_STMT},
    {"STATUS", BUILD_STATUS_STMT},
    {"RETURN", read_return},
    {"=>", READ_ASSIGNEMENT},
    {"->", READ_LASSIGNEMENT},
    {"=", READ_EQUAL},
    {"==", READ_EQUAL},
    {",", READ_COLON},
    {".", READ_PERIOD},
    {"<>", READ_NOT_EQUAL},
    {"<", READ_LESS},
    {"<=", READ_LESS_EQUAL},
    {">", READ_GREATER},
    {">=", READ_GREATER_EQUAL},
};

// Whether the word is an element of a list with commas.
bool is_listed(std::string_view word, std::string_view list) {
    while (true) {
        const size_t comma = list.find(',');
        if (list.substr(0, comma) == word) return true;
        if (comma == std::string_view::npos) return false;
        list.remove_prefix(comma + 1);
    }
}

} // namespace

void reset_statements() { qorcomp_loop_depth = 0; }

void READ_STATEMENT(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_STATEMENT");
    const Depth nested;
    if (depth > MAX_DEPTH) {
        *status = 0;
        compile_abort("statements nested too deeply");
        return;
    }
    *status = 1;
    const std::string_view word = qorcomp_token.text();
    for (const Statement &statement : STATEMENTS) {
        if (word == statement.word) {
            statement.read(status);
            return;
        }
    }
    INSERT_VALUE(qorcomp_token);
}

void READ_STATEMENT_BLOCK(std::string_view closing, int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_STATEMENT_BLOCK");
    do {
        *status = 0;
        if (!expect_word()) return;
        if (is_listed(qorcomp_token.text(), closing)) {
            *status = 1;
            return;
        }
        READ_STATEMENT(status);
    } while (*status);
}

} // namespace qor
