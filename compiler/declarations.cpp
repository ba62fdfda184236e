// The outer half of the compiler: the token reader, declarations, and the
// script as a whole. A declaration takes effect at once in the root map or in
// the class's map; there is no symbol table beside them.
#include "compiler/lex2.hpp"
#include "compiler/qorcomp_state.hpp"
#include "kernel/lifecycle.hpp"
#include "kernel/option.hpp"
#include "kernel/plugin.hpp"
#include "object/class.hpp"
#include "object/map_access.hpp"
#include "qor/lex2.h"
#include "qor/option.h"
#include "services/serial.hpp"

namespace qor {

MSG qorcomp_msg;
Strng qorcomp_token;
Strng qorcomp_class_name;
QOR_OBJECT *qorcomp_class;
Strng qorcomp_version_file;

namespace {

bool initialised = false;
bool qorcomp_parse = false;
bool qorcomp_pushback = false; // the current word is to be read once more
bool is_compiling = false;
Strng qorcomp_source_name; // of the current file
uint32_t qorcomp_source = 0;
uint32_t qorcomp_line = 0;
uint32_t qorcomp_source_count = 0; // highest number given so far

constexpr uint32_t MAX_MAP_NAME = 120;

// --- where the compiler stands ---------------------------------------------------

QOR_MAP *sources() {
    QOR_MAP *map = nullptr;
    int32_t status = 0;
    MAP_GET_MAP_BY_NAME_C(&map, "SOURCES", &status);
    if (status) return map;
    compile_abort("internal error: map SOURCES not found");
    return nullptr;
}

// A file gets its number with its first token.
void number_source() {
    QOR_MAP *map = sources();
    if (!map) return;
    announce_refused_key(qorcomp_source_name);
    if (MAP_TEST_KEY(map, qorcomp_source_name)) {
        int32_t number = 0;
        BTYP_read_int(map_find(map, qorcomp_source_name), &number);
        qorcomp_source = static_cast<uint32_t>(number);
    } else {
        qorcomp_source = ++qorcomp_source_count;
        MAP_INSERT_IVALUE(map, qorcomp_source_name, static_cast<int32_t>(qorcomp_source));
    }
}

void update_position() {
    static Strng name;
    LEX2_GET_POSITION(&name, &qorcomp_line);
    if (qorcomp_source != 0 && name.text() == qorcomp_source_name.text()) return;
    qorcomp_source_name.assign(name.text());
    number_source();
}

void show_token() {
    MESSAGE_DISPLAY_F("line[%4d]: ", static_cast<int>(qorcomp_line));
    MESSAGE_DISPLAY_S(qorcomp_token);
}

// --- maps ------------------------------------------------------------------------

// Splits the current word at each comma, quoted or not, takes an enclosing pair
// of quotes off each element and joins them again.
void QORCOMP_READ_LIST(Strng &out) {
    Strng element;
    out.clear();
    std::string_view rest = qorcomp_token.text();
    while (true) {
        const size_t comma = rest.find(',');
        IS_CONST(borrow(rest.substr(0, comma)), &element);
        out.append(element.text());
        if (comma == std::string_view::npos) return;
        out.append(',');
        rest.remove_prefix(comma + 1);
    }
}

// The pairs of a map. Script code may take the map away from its place while
// messages are shown: the caller's count keeps the object.
void read_pairs(QOR_OBJECT *object, int32_t *status) {
    *status = 0;
    Strng key, value;
    while (expect_word()) {
        if (qorcomp_token.text() == "END_MAP") {
            *status = 1;
            return;
        }
        QORCOMP_READ_LIST(key);
        if (!expect_word()) return;
        if (qorcomp_token.text() != "=>") {
            compile_error("=> expected");
            return;
        }
        if (!expect_word()) return;
        QORCOMP_READ_LIST(value);
        QOR_MAP *map = nullptr;
        BTYP_read_map_ref(object, &map);
        announce_refused_key(key);
        MAP_INSERT_SVALUE(map, key, value);
    }
}

void READ_MAP(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_MAP");
    *status = 0;
    if (!expect_word()) return;
    const std::string_view name = qorcomp_token.text().substr(0, MAX_MAP_NAME);
    QOR_MAP *map = nullptr;
    MAP_CREATE_NONAME(&map);
    Object_var object;
    BTYP_create_map_ref(&object, map);
    QOR_MAP *owner = class_map();
    MAP_INSERT_OBJECT_REF(owner ? owner : MAP_ROOT(), borrow(name), object);
    read_pairs(object, status);
}

// --- objects -----------------------------------------------------------------------

// The object's lines are read past the lexer, which then goes on behind them; so
// nothing may follow the name on its line, and no line of it is an include.
void READ_OBJECT(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_OBJECT");
    *status = 0;
    if (!expect_word()) return;
    Object_var object;
    SERIAL_READ_OBJECT(LEX2_GET_FILE(), &object, status);
    lex2_drop_line();
    if (!*status) return;
    QOR_MAP *owner = class_map();
    announce_refused_key(qorcomp_token);
    MAP_INSERT_OBJECT_REF(owner ? owner : MAP_ROOT(), qorcomp_token, object);
    *status = expect_word() && qorcomp_token.text() == "END_OBJECT";
}

// --- procedures, methods, classes ----------------------------------------------------

// The body of the current word's procedure in this map, just created. Until it is
// complete a call does nothing: a message may run script code in the middle of
// the compilation, and an INCLUDE that fails leaves the program running.
void read_body(QOR_MAP *owner, std::string_view closing, int32_t *status) {
    const Object_var object = Object_var::share(map_find(owner, qorcomp_token));
    const uint32_t address = IMEM_GET_COUNT();
    *status = object && type_of(object) == TYPE_METHOD;
    if (!*status) return;
    method_of(object)->kind = METHOD_MODEL;
    READ_STATEMENT_BLOCK(closing, status);
    if (!*status) return;
    emit(IMEM_EMIT_RETURN);
    QOR_METHOD *method = method_of(object);
    if (method->kind == METHOD_MODEL && method->address == address) method->kind = METHOD_SCRIPT;
}

void READ_PROCEDURE(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_PROCEDURE");
    *status = 0;
    if (!expect_word()) return;
    announce_refused_key(qorcomp_token);
    CLASS_CREATE_PROCEDURE(qorcomp_token, IMEM_GET_COUNT(), status);
    if (*status) read_body(procedure_directory(), "END_PROCEDURE", status);
}

void read_member(std::string_view closing, int32_t *status) {
    *status = 0;
    if (!expect_word()) return;
    announce_refused_key(qorcomp_token);
    CLASS_CREATE_SCRIPT_METHOD(qorcomp_class_name, qorcomp_token, IMEM_GET_COUNT(), status);
    // The methods of a class of this name are procedures.
    QOR_MAP *owner = qorcomp_class_name.text() == "PROCEDURES" ? procedure_directory() : class_map();
    if (*status) read_body(owner, closing, status);
}

void READ_CLASS_PROCEDURE(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_CLASS_PROCEDURE");
    read_member("END_PROCEDURE", status);
}

void READ_METHOD(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_METHOD");
    read_member("END_METHOD", status);
}

void leave_class() {
    qorcomp_class_name.clear();
    OBJ_remove_object(&qorcomp_class);
}

// Creates the class and makes it the current one. A class of that name, built in
// or not, is replaced as a whole; its copy stays under NATIVE.
bool enter_class() {
    // The word as a C string, which is what classes are created by.
    qorcomp_class_name.assign(qorcomp_token.c_str());
    announce_refused_key(qorcomp_class_name);
    const char *name = qorcomp_class_name.c_str();
    CLASS_SAVE_NATIVE(name);
    int32_t created = 0;
    CLASS_CREATE_CLASS_C(name, "1.0", &created);
    QOR_OBJECT *object = map_find(class_directory(), qorcomp_class_name);
    if (!created || !object) {
        compile_abort("unable to create class ", qorcomp_class_name);
        return false;
    }
    OBJ_create_object_ref(object, &qorcomp_class);
    return true;
}

void READ_CLASS(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_CLASS");
    *status = 0;
    // At the end of the script the class gets the keyword as its name, and the
    // compilation fails at its first member.
    QORCOMP_NEXT_TOKEN();
    if (!enter_class()) return;
    do {
        *status = QORCOMP_NEXT_TOKEN();
        if (!*status) return;
        const std::string_view word = qorcomp_token.text();
        if (word == "END_CLASS") {
            leave_class();
            return;
        }
        if (word == "MAP") {
            READ_MAP(status);
        } else if (word == "OBJECT") {
            READ_OBJECT(status);
        } else if (word == "PROCEDURE") {
            READ_CLASS_PROCEDURE(status);
        } else if (word == "METHOD") {
            READ_METHOD(status);
        } else {
            compile_abort("unexpected token ", qorcomp_token);
            *status = 0;
        }
    } while (*status);
}

// A class MESSAGE that is not complete can not tell what is wrong with it: the
// class that it replaces does.
void restore_messages() {
    if (qorcomp_class_name.text() != "MESSAGE") return;
    QOR_MAP *native = nullptr;
    int32_t status = 0;
    MAP_GET_MAP_BY_NAME_C(&native, "NATIVE", &status);
    QOR_OBJECT *saved = status ? map_find(native, qorcomp_class_name) : nullptr;
    if (!saved) return;
    MAP_INSERT_OBJECT_REF(class_directory(), qorcomp_class_name, saved);
    MAP_INSERT_OBJECT_REF(MAP_ROOT(), qorcomp_class_name, saved);
}

// --- plug-ins ----------------------------------------------------------------------

// Their classes are known to every later word. A script that ends behind the list
// has failed, but only after they were loaded.
void READ_LOAD(int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_LOAD");
    QORCOMP_NEXT_TOKEN();
    const std::string list(qorcomp_token.text());
    *status = QORCOMP_NEXT_TOKEN();
    if (*status && qorcomp_token.text() == "AS") {
        *status = expect_word();
        if (*status) QORPROC_LOAD_PLUGINS_AS(list, std::string(qorcomp_token.text()));
        return;
    }
    qorcomp_pushback = *status;
    PLUGIN_LOAD(list);
}

// --- the two halves of a script --------------------------------------------------------

enum class Read { SCRIPT, PART };
enum class Outcome { FAILED, END_OF_SCRIPT, MAIN_STATEMENT };

// Up to the first word that is no declaration, which stays the current word. In a
// part OBJECT and |VERSION are none.
Outcome read_declarations(Read what) {
    while (QORCOMP_NEXT_TOKEN()) {
        const std::string_view word = qorcomp_token.text();
        int32_t status = 1;
        if (word == "MAP") {
            READ_MAP(&status);
        } else if (word == "OBJECT" && what == Read::SCRIPT) {
            READ_OBJECT(&status);
        } else if (word == "PROCEDURE") {
            READ_PROCEDURE(&status);
        } else if (word == "CLASS") {
            READ_CLASS(&status);
        } else if (word == "|LOAD") {
            READ_LOAD(&status);
        } else if (word == "|MARKLOT") {
            QORCOMP_NEXT_TOKEN();
        } else if (word == "|VERSION" && what == Read::SCRIPT) {
            if (QORCOMP_NEXT_TOKEN()) qorcomp_version_file.assign(qorcomp_token.text());
        } else {
            return Outcome::MAIN_STATEMENT;
        }
        if (!status) return Outcome::FAILED;
    }
    return Outcome::END_OF_SCRIPT;
}

// From the current word to the end of the script.
void read_main_statements(int32_t *status) {
    do {
        const std::string_view word = qorcomp_token.text();
        *status = 0;
        if (word == "MAP" || word == "PROCEDURE") {
            compile_abort("mixing of declarations and statements not allowed");
            return;
        }
        READ_STATEMENT(status);
    } while (*status && QORCOMP_NEXT_TOKEN());
}

// GOTO to the main statements, the bodies, the main statements, PEND.
void read_program(int32_t *status) {
    const uint32_t start = IMEM_GET_COUNT();
    emit(IMEM_EMIT_GOTO, IMEM_NO_ADDRESS);
    const Outcome declared = read_declarations(Read::SCRIPT);
    *status = declared != Outcome::FAILED;
    if (!*status) return;
    if (!OPTION_ISOPT_C("cgi")) {
        display_banner();
        MESSAGE_DISPLAY1_C("\n");
    }
    IMEM_PATCH(static_cast<int32_t>(start), IMEM_GET_COUNT());
    if (declared == Outcome::MAIN_STATEMENT) read_main_statements(status);
    if (*status) emit(IMEM_EMIT_PEND);
}

// There is one compiler and one lexer. Script code that receives messages runs in
// the middle of a compilation: it can not start another.
class Compilation {
  public:
    Compilation() { is_compiling = true; }
    ~Compilation() { is_compiling = false; }
    Compilation(const Compilation &) = delete;
    Compilation &operator=(const Compilation &) = delete;
};

// A compilation that was broken off leaves its class and loops open.
void forget_compilation() {
    leave_class();
    reset_statements();
    qorcomp_pushback = false;
}

} // namespace

// --- the token reader ----------------------------------------------------------------

int32_t QORCOMP_NEXT_TOKEN() {
    if (qorcomp_pushback) {
        qorcomp_pushback = false;
        return 1;
    }
    if (!LEX2_READ_NEXT_TOKEN(&qorcomp_token)) return 0;
    update_position();
    if (qorcomp_parse) show_token();
    return 1;
}

bool expect_word() {
    if (QORCOMP_NEXT_TOKEN()) return true;
    compile_abort("unexpected end of file");
    return false;
}

void QORCOMP_DISPLAY_POSITION() {
    restore_messages();
    Strng position(qorcomp_source_name.text());
    position.append(" line ");
    STRNG_APPCAR(qorcomp_line, &position, 0);
    MESSAGE_DISPLAY_S(position);
}

void compile_abort(const char *text) {
    QORCOMP_DISPLAY_POSITION();
    MSG_ABORT2_C(qorcomp_msg, text);
}

void compile_abort(const char *prefix, STRNG text) {
    QORCOMP_DISPLAY_POSITION();
    Strng message(prefix);
    message.append(view(text));
    MSG_ABORT_S(qorcomp_msg, message);
}

void compile_error_abort(const char *prefix, STRNG text, const char *suffix) {
    QORCOMP_DISPLAY_POSITION();
    MSG_PABORT_C(qorcomp_msg, prefix, text, suffix);
}

void compile_error(const char *text) {
    QORCOMP_DISPLAY_POSITION();
    MSG_DISPLAY_ERROR2_C(qorcomp_msg, text);
}

void announce_refused_key(STRNG key) {
    if (key.length > MAX_KEY_LENGTH) QORCOMP_DISPLAY_POSITION();
}

void READ_SCRIPT_FROM(STRNG name, int32_t parse, int32_t *status) {
    qorcomp_parse = parse != 0;
    std::string plugins;
    if (option_text("load", &plugins)) PLUGIN_LOAD(plugins);
    MSG_SET_PROC_C(qorcomp_msg, "READ_SCRIPT_FROM");
    LEX2_OPEN(nullptr, name, status);
    if (!*status) return;
    const Compilation compilation;
    forget_compilation();
    qorcomp_source_name.clear();
    qorcomp_source = qorcomp_line = qorcomp_source_count = 0;
    IMEM_SET_SOURCE(&qorcomp_source, &qorcomp_line);
    *status = 0;
    if (QOR_MAP *map = sources()) {
        MAP_CLEAR(&map);
        read_program(status);
    }
    if (!*status) restore_messages();
    LEX2_CLOSE();
}

void READ_SCRIPT_PART_FROM(STRNG name, int32_t *status) {
    MSG_SET_PROC_C(qorcomp_msg, "READ_SCRIPT_PART_FROM");
    *status = 0;
    if (is_compiling) return;
    const Compilation compilation;
    LEX2_OPEN(nullptr, name, status);
    if (!*status) return;
    Strng file;
    uint32_t line = 0;
    LEX2_GET_POSITION(&file, &line);
    // Kept: the file that has been read already stays open.
    QOR_MAP *map = sources();
    *status = map != nullptr;
    if (!map || MAP_TEST_KEY(map, file)) return;
    forget_compilation();
    *status = read_declarations(Read::PART) != Outcome::FAILED;
    if (!*status) restore_messages();
    LEX2_CLOSE();
}

void qorcomp_init() {
    if (!first_time(initialised)) return;
    MSG_CREATE_C(&qorcomp_msg, "QORCOMP", 0);
    QOR_MAP *map = nullptr;
    MAP_CREATE_C(&map, "SOURCES");
    qorcomp_version_file.assign("/version/qorkit.ver");
}

void qorcomp_terminate() {
    initialised = false;
    leave_class();
    MSG_REMOVE(&qorcomp_msg);
}

} // namespace qor
