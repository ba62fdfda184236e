// The plug-in SQL: class SQL, databases for scripts, and a source class for transfers.
#include <array>

#include "plugins/methods.hpp"
#include "writer.hpp"

namespace sql {

namespace {

MSG channel = nullptr;

Slots<Connection> connections("connection");
Slots<Cursor> queries("cursor");

// Of the sources that are open: a transfer may run inside of another one.
std::vector<std::shared_ptr<Cursor>> sources;

void show_error(const char *procedure, const std::string &text) {
    MSG_SET_PROC_C(channel, procedure);
    MSG_DISPLAY_PERROR_C(channel, "", borrow(text), "");
}

// The abort comes back when the run is being left already.
template <typename Work> void run(const char *procedure, Work work) {
    try {
        work();
    } catch (const Fault &fault) {
        MSG_SET_PROC_C(channel, procedure);
        MSG_PABORT_C(channel, "", borrow(fault.text), "");
    }
}

// --- arguments and results -----------------------------------------------------------------
// Arguments are taken from the stack, the last one first.

std::string pop_text() {
    Text text;
    QORCPU_POPS(&text.value);
    return std::string(view(text.value));
}

int32_t pop_int() {
    int32_t value = -1;
    QORCPU_POPI(&value);
    return value;
}

QOR_MAP *pop_map(Object *object) {
    QORCPU_POP_OBJ(&object->value);
    QOR_MAP *map = QOR_NIL;
    BTYP_read_map_ref(object->value, &map);
    return map;
}

struct Statement {
    Object parameters; // nil when the script gives NULL
    std::string text;
    std::shared_ptr<Connection> connection;

    Statement() {
        QORCPU_POP_OBJ(&parameters.value);
        text = pop_text();
        connection = connections.at(pop_int());
        const int32_t type = OBJ_get_type(parameters.value);
        if (!OBJ_object_value_is_defined(parameters.value))
            OBJ_remove_object(&parameters.value);
        else if (type != BTYP_list_tidf() && type != BTYP_map_tidf())
            throw Fault{std::string("parameters are a list, a map or NULL, not a ") +
                        OBJ_get_type_name_C(parameters.value)};
    }
    std::shared_ptr<Cursor> run() const { return std::make_shared<Cursor>(connection, text, parameters.value); }
};

void push_long(int64_t value) {
    Object object;
    BTYP_create_long(&object.value, value);
    QORCPU_PUSH_OBJ_REF(object.value);
}

// The module has told why a statement failed.
void push_status(bool done, const std::shared_ptr<Connection> &connection) {
    if (!done) check_transaction(connection, reason(*connection));
    QORCPU_PUSHB(done);
}

// --- connections ---------------------------------------------------------------------------

void procedure_terminate();

// Of a text that names an option, what it holds: another value later must not lead an id to
// another database.
std::string what_is_meant(const std::string &text) {
    const std::string option = text.empty() ? "option:db" : text;
    const size_t begin = std::string_view("option:").size();
    if (!option.starts_with("option:") || option.size() == begin) return text;
    Text value;
    const auto high = static_cast<uint32_t>(option.size() - begin) - 1;
    return OPTION_GETOPT(high, option.c_str() + begin, &value.value) ? std::string(view(value.value)) : text;
}

// [s connection][i id,b status]
void method_open() {
    auto connection = std::make_shared<Connection>(Connection{what_is_meant(pop_text())});
    const bool is_open = is_connected(*connection, DB_CONNECT);
    if (is_open) {
        for (const auto &known : connections.all())
            if (known->text == connection->text) connection = known;
        QORCPU_PUSHI(connections.add(connection));
        // Only now, so that the run calls it behind what the script declares for its end.
        int32_t status;
        CLASS_CREATE_METHOD_C("PROCEDURES", "PLUGIN_SQL_TERMINATE", procedure_terminate, 0, 0, 'P', "[][]", &status);
    }
    QORCPU_PUSHB(is_open);
}

// Ends all that hangs on a connection; tells what is lost by that.
std::string close(const std::shared_ptr<Connection> &connection) {
    const bool is_lost = connection->is_batching || in_transaction(*connection);
    const std::string rows = roll_back(connection);
    for (const auto &query : queries.all())
        if (&query->connection() == connection.get()) queries.remove(query);
    for (const auto &writer : writers.all())
        if (writer->connection == connection) writers.remove(writer);
    is_connected(*connection, DB_DISCONNECT);
    return is_lost ? "a transaction was not committed" + rows : "";
}

// [i id][]
void method_close() {
    run("CLOSE", [] {
        const auto connection = connections.take(pop_int());
        for (const auto &other : connections.all())
            if (other == connection) return;
        const std::string lost = close(connection);
        if (!lost.empty()) show_error("CLOSE", lost);
    });
}

// [i id][b status]
void method_is_connected() {
    run("IS_CONNECTED", [] { QORCPU_PUSHB(is_connected(*connections.at(pop_int()), DB_ASK)); });
}

// Pushes what the module tells of a connection, NULL of the type when it does not.
void push_info(int32_t what, std::string_view name, void (*create_undef)(QOR_OBJECT **)) {
    const auto connection = connections.at(pop_int());
    Object result;
    ask(*connection, what, name, &result);
    if (!result.value) create_undef(&result.value);
    QORCPU_PUSH_OBJ_REF(result.value);
}

// [i id][s reason]
void method_get_error() {
    run("GET_ERROR", [] { push_info(DB_INFO_ERROR, "", BTYP_create_undef_string); });
}

// [i id][li names]
void method_get_tables() {
    run("GET_TABLES", [] { push_info(DB_INFO_TABLES, "", BTYP_create_undef_list); });
}

// [i id,s table][li columns]
void method_get_columns() {
    run("GET_COLUMNS", [] { push_info(DB_INFO_COLUMNS, pop_text(), BTYP_create_undef_list); });
}

// [i id][b status]
void method_in_transaction() {
    run("IN_TRANSACTION", [] { push_info(DB_INFO_TRANSACTION, "", BTYP_create_undef_boolean); });
}

// [i id][s product]
void method_get_product() {
    run("GET_PRODUCT", [] {
        const auto connection = connections.at(pop_int());
        Text product;
        int32_t status;
        DB_get_product(borrow(connection->text), &product.value, &status);
        Object result;
        if (status)
            BTYP_create_string(&result.value, product.value);
        else
            BTYP_create_undef_string(&result.value);
        QORCPU_PUSH_OBJ_REF(result.value);
    });
}

// [b silent][]
void method_set_silent() {
    int32_t silent;
    QORCPU_POPB(&silent);
    DB_is_silent(silent);
}

// --- statements ----------------------------------------------------------------------------

// [i id,s statement,o parameters][l rows,b status]
void method_execute() {
    run("EXECUTE", [] {
        const Statement statement;
        const auto cursor = statement.run();
        if (cursor->is_done()) push_long(cursor->affected());
        push_status(cursor->is_done(), statement.connection);
    });
}

// [i id,s select,o parameters][i cursor,b status]
void method_query() {
    run("QUERY", [] {
        const Statement statement;
        const auto cursor = statement.run();
        if (cursor->is_done()) {
            if (!cursor->has_rows()) throw Fault{"the statement has no rows to read"};
            QORCPU_PUSHI(queries.add(cursor));
        }
        push_status(cursor->is_done(), statement.connection);
    });
}

// [i cursor,m row][b status]
void method_fetch() {
    run("FETCH", [] {
        Object row;
        QOR_MAP *const map = pop_map(&row);
        QORCPU_PUSHB(queries.at(pop_int())->fetch(map));
    });
}

// [i cursor][]
void method_close_query() {
    run("CLOSE_QUERY", [] { queries.take(pop_int()); });
}

// As a query, but a failure is a Fault, so that it does not look like no row.
std::shared_ptr<Cursor> open_to_read(const std::shared_ptr<Connection> &connection, std::string_view select,
                                     QOR_OBJECT *parameters) {
    const Silence silence;
    auto cursor = std::make_shared<Cursor>(connection, select, parameters);
    if (!cursor->is_done()) {
        const std::string why = reason(*connection);
        check_transaction(connection, why);
        throw Fault{"reading failed: " + why};
    }
    if (!cursor->has_rows()) throw Fault{"the statement has no rows to read"};
    return cursor;
}

// [i id,s select,o parameters][m row,b status]
void method_query_row() {
    run("QUERY_ROW", [] {
        const Statement statement;
        const auto cursor = open_to_read(statement.connection, statement.text, statement.parameters.value);
        QOR_MAP *map = QOR_NIL;
        MAP_CREATE_NONAME(&map);
        Object row;
        BTYP_create_map_ref(&row.value, map);
        const bool found = cursor->fetch(map);
        if (found) QORCPU_PUSH_OBJ_REF(row.value);
        QORCPU_PUSHB(found);
    });
}

// [i id,s table,m row][b status]
void method_insert() {
    run("INSERT", [] {
        Object row;
        QOR_MAP *const map = pop_map(&row);
        const std::string table = pop_text();
        const auto connection = connections.at(pop_int());
        int32_t status;
        DB_insert_row(borrow(connection->text), borrow(table), map, &status);
        push_status(status != 0, connection);
    });
}

// [i id][b status]
void transact(const char *statement) {
    run(statement, [statement] {
        const auto connection = connections.at(pop_int());
        if (connection->is_batching) throw Fault{"the transaction of a writer is open: FLUSH_WRITER ends it"};
        QORCPU_PUSHB(Cursor(connection, statement, QOR_NIL).is_done());
    });
}

void method_begin() { transact("BEGIN"); }
void method_commit() { transact("COMMIT"); }
void method_rollback() { transact("ROLLBACK"); }

// --- writers -------------------------------------------------------------------------------

// [i id,s table,i batch][i writer,b status]
void method_create_writer() {
    run("CREATE_WRITER", [] {
        const int32_t batch = pop_int();
        const std::string table = pop_text();
        const auto connection = connections.at(pop_int());
        if (batch < 0) throw Fault{"invalid number of rows " + std::to_string(batch)};
        const bool is_open = is_connected(*connection, DB_CONNECT);
        if (is_open) QORCPU_PUSHI(writers.add(std::make_shared<Writer>(Writer{connection, table, batch})));
        QORCPU_PUSHB(is_open);
    });
}

// [i writer,m row][b status]
void method_write() {
    run("WRITE", [] {
        Object row;
        QOR_MAP *const map = pop_map(&row);
        QORCPU_PUSHB(write(*writers.at(pop_int()), map));
    });
}

// Here it is the script that asks for the commit, and gets a status.
bool try_commit(const char *procedure, const std::shared_ptr<Connection> &connection) {
    try {
        commit(connection);
        return true;
    } catch (const Fault &fault) {
        show_error(procedure, fault.text);
        return false;
    }
}

// [i writer][b status]
void method_flush_writer() {
    run("FLUSH_WRITER", [] { QORCPU_PUSHB(try_commit("FLUSH_WRITER", writers.at(pop_int())->connection)); });
}

// [i writer][l rows,b status]
void method_close_writer() {
    run("CLOSE_WRITER", [] {
        const auto writer = writers.at(pop_int());
        const bool done = try_commit("CLOSE_WRITER", writer->connection);
        writers.remove(writer);
        push_long(writer->written);
        QORCPU_PUSHB(done);
    });
}

// --- the source class ----------------------------------------------------------------------

// A text with commas in a MAP declaration keeps the quotes around it.
std::string_view without_quotes(std::string_view text) {
    const bool is_quoted = text.size() > 1 && text.starts_with('\'') && text.ends_with('\'');
    return is_quoted ? text.substr(1, text.size() - 2) : text;
}

// CONNECTION|SELECT or SELECT, which has no such beginning.
std::pair<std::string_view, std::string_view> split(std::string_view parameter) {
    parameter = without_quotes(parameter);
    const size_t end = parameter.find('|');
    for (const std::string_view kind : {"sqlite:", "odbc:", "option:"}) {
        if (parameter.starts_with(kind) && end != parameter.npos)
            return {parameter.substr(0, end), without_quotes(parameter.substr(end + 1))};
    }
    return {"", parameter};
}

// [s parameter][]
void source_open() {
    run("SQL_OPEN", [] {
        const std::string parameter = pop_text();
        const auto [connection, select] = split(parameter);
        Object var; // what :NAME stands for
        int32_t status;
        OBJ_get_object_ref_by_name(borrow("VAR"), &var.value, &status);
        sources.push_back(open_to_read(std::make_shared<Connection>(Connection{what_is_meant(std::string(connection))}),
                                       select, var.value));
    });
}

// [][b status]
void source_read_object() {
    run("SQL_READ_OBJECT", [] {
        if (sources.empty()) throw Fault{"no source is open"};
        QOR_MAP *in;
        int32_t status;
        MAP_GET_MAP_BY_NAME_C(&in, "IN", &status);
        if (!status) throw Fault{"there is no map IN"};
        const auto source = sources.back();
        QORCPU_PUSHB(source->fetch(in));
    });
}

// [][]
void source_close() {
    if (!sources.empty()) sources.pop_back();
}

// --- the end of a run ----------------------------------------------------------------------

// Closes what the run left open; tells what is lost by that.
std::string close_all() {
    sources.clear();
    std::string lost;
    for (const auto &connection : connections.all()) {
        connections.remove(connection);
        const std::string text = close(connection);
        lost += (lost.empty() || text.empty() ? "" : "; ") + text;
    }
    return lost;
}

void close_all_and_tell() {
    const std::string lost = close_all();
    if (!lost.empty()) show_error("ROLLBACK", lost);
}

// The end that comes by itself: a script that did not close its writer has not done its work.
void procedure_terminate() {
    run("ROLLBACK", [] {
        const std::string lost = close_all();
        if (!lost.empty()) throw Fault{lost};
    });
}

// The methods that end a run early, which roll back first: while the run is still there, what
// that has to say reaches the log.
constexpr const char *ENDINGS[] = {"HALT", "EXIT"}; // an abort halts
std::array<Object, std::size(ENDINGS)> former_endings;

template <size_t I> void ending() {
    close_all_and_tell();
    QOR_METHOD *former;
    CLASS_read_method_ref(former_endings[I].value, &former);
    QORCPU_DO_METHOD(former);
}

template <size_t I> void take_ending() {
    int32_t status;
    CLASS_GET_METHOD_OBJECT("QOR", ENDINGS[I], &former_endings[I].value, &status);
    if (status) CLASS_CREATE_METHOD_C("QOR", ENDINGS[I], ending<I>, 0, 0, 'P', "", &status);
}

constexpr plugins::Method_row METHODS[] = {
    {"SQL", "OPEN", method_open, 1, 2, "[s connection][i id,b status]"},
    {"SQL", "CLOSE", method_close, 1, 0, "[i id][]"},
    {"SQL", "IS_CONNECTED", method_is_connected, 1, 1, "[i id][b status]"},
    {"SQL", "GET_PRODUCT", method_get_product, 1, 1, "[i id][s product]"},
    {"SQL", "GET_TABLES", method_get_tables, 1, 1, "[i id][li names]"},
    {"SQL", "GET_COLUMNS", method_get_columns, 2, 1, "[i id,s table][li columns]"},
    {"SQL", "GET_ERROR", method_get_error, 1, 1, "[i id][s reason]"},
    {"SQL", "SET_SILENT", method_set_silent, 1, 0, "[b silent][]"},
    {"SQL", "EXECUTE", method_execute, 3, 2, "[i id,s statement,o parameters][l rows,b status]"},
    {"SQL", "QUERY", method_query, 3, 2, "[i id,s select,o parameters][i cursor,b status]"},
    {"SQL", "FETCH", method_fetch, 2, 1, "[i cursor,m row][b status]"},
    {"SQL", "CLOSE_QUERY", method_close_query, 1, 0, "[i cursor][]"},
    {"SQL", "QUERY_ROW", method_query_row, 3, 2, "[i id,s select,o parameters][m row,b status]"},
    {"SQL", "INSERT", method_insert, 3, 1, "[i id,s table,m row][b status]"},
    {"SQL", "BEGIN", method_begin, 1, 1, "[i id][b status]"},
    {"SQL", "COMMIT", method_commit, 1, 1, "[i id][b status]"},
    {"SQL", "ROLLBACK", method_rollback, 1, 1, "[i id][b status]"},
    {"SQL", "IN_TRANSACTION", method_in_transaction, 1, 1, "[i id][b status]"},
    {"SQL", "CREATE_WRITER", method_create_writer, 3, 2, "[i id,s table,i batch][i writer,b status]"},
    {"SQL", "WRITE", method_write, 2, 1, "[i writer,m row][b status]"},
    {"SQL", "FLUSH_WRITER", method_flush_writer, 1, 1, "[i writer][b status]"},
    {"SQL", "CLOSE_WRITER", method_close_writer, 1, 2, "[i writer][l rows,b status]"},
    {"PROCEDURES", "SQL_OPEN", source_open, 1, 0, "[s parameter][]"},
    {"PROCEDURES", "SQL_READ_OBJECT", source_read_object, 0, 1, "[][b status]"},
    {"PROCEDURES", "SQL_CLOSE", source_close, 0, 0, "[][]"},
};

} // namespace

} // namespace sql

extern "C" QOR_API void SQL_INIT(const char *) {
    int32_t status;
    MSG_CREATE_C(&sql::channel, "SQL", 0);
    CLASS_CREATE_CLASS_C("SQL", "1.0.0", &status);
    plugins::create_methods(sql::METHODS);
    sql::take_ending<0>();
    sql::take_ending<1>();
}

extern "C" QOR_API void SQL_TERMINATE() {
    sql::close_all_and_tell();
    for (auto &ending : sql::former_endings) OBJ_remove_object(&ending.value);
    MSG_REMOVE(&sql::channel);
}
