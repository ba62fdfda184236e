// Cursors, rows that go in, and the start and end of the module.
#include <unordered_map>

#include "connections.hpp"
#include "parameters.hpp"
#include "qor/db.h"
#include "qor/msg.h"

namespace db {

namespace {

// A statement whose rows are read. Whoever works with it holds it: a message may run
// script code that closes it.
struct Cursor {
    std::shared_ptr<Connection> connection;
    std::string asked;      // how the connection was asked for
    std::optional<Use> use; // until the connection is closed or reading fails
    bool has_row = false;
};

std::unordered_map<QOR_CURSOR, std::shared_ptr<Cursor>> cursors;
QOR_CURSOR last_cursor = 0;

std::shared_ptr<Cursor> cursor_of(QOR_CURSOR id, const char *entry) {
    const auto found = cursors.find(id);
    if (found != cursors.end()) return found->second;
    MESSAGE_ABORT_F("*** ABORT *** DB(%s) no cursor is open under %llu\n", entry, static_cast<unsigned long long>(id));
    return nullptr;
}

Statement &statement_of(const Cursor &cursor) {
    if (!cursor.use) throw Failure{"the cursor can not be read any more", ""};
    return cursor.use->statement();
}

// Takes the entries of a map in their order.
void gather(QOR_MAP *map, Row *row) {
    int32_t found;
    MAP_RESET_READ(&map);
    for (;;) {
        Object value;
        MAP_READ_OBJECT_REF(&map, &row->key.value, &value.value, &found);
        if (!found) return;
        row->keys.append(view(row->key.value)) += '\0';
        row->values.push_back(std::move(value));
    }
}

} // namespace

void end_cursors(const Connection *connection) {
    for (const auto &[id, cursor] : cursors)
        if (cursor->connection.get() == connection) cursor->use.reset();
}

const std::vector<Column> &columns_of_cursor(QOR_CURSOR id) {
    const auto found = cursors.find(id);
    if (found == cursors.end()) throw Failure{"no such cursor", ""};
    return statement_of(*found->second).columns();
}

} // namespace db

using namespace db;

void DB_open_cursor(QOR_CURSOR *cursor, STRNG statement, DB_REQUEST *request) {
    DB_REQUEST plain{};
    if (!request) request = &plain;
    *cursor = 0;
    request->affected = 0;
    request->status = 0;
    Parameters parameters;
    if (!parameters.take(request->parameters)) return;
    const std::string_view asked = view(request->connection);
    const auto connection = connection_of(asked);
    request->status = attempt("DB_open_cursor", asked, connection, [&] {
        const Command command = command_of(view(statement));
        if (command != Command::NONE) return connection->transact(command);
        Use use = connection->run(view(statement), parameters.is_named(),
                                  [&parameters](Prepared &prepared) { parameters.bind(prepared); });
        if (use.statement().columns().empty()) {
            request->affected = use.statement().affected();
            return;
        }
        request->affected = -1;
        *cursor = ++last_cursor;
        auto opened = std::make_shared<Cursor>();
        opened->connection = connection;
        opened->asked = asked;
        opened->use.emplace(std::move(use));
        cursors.emplace(*cursor, std::move(opened));
    });
}

void DB_close_cursor(QOR_CURSOR *cursor) {
    cursors.erase(*cursor);
    *cursor = 0;
}

void DB_fetch_row(QOR_CURSOR id, QOR_MAP *row, int32_t *status) {
    *status = -1;
    const auto cursor = cursor_of(id, "DB_fetch_row");
    if (!cursor) return;
    const bool is_read = attempt("DB_fetch_row", cursor->asked, cursor->connection, [&] {
        cursor->has_row = false;
        Statement &statement = statement_of(*cursor);
        cursor->has_row = statement.next();
        if (row && cursor->has_row) {
            const std::vector<Column> &columns = statement.columns();
            for (size_t i = 0; i < columns.size(); ++i)
                put_entry(row, columns[i].name, statement.value(i), columns[i].kind);
        }
        *status = cursor->has_row;
    });
    if (!is_read) cursor->use.reset(); // a failure must not look like the end later
}

void DB_fetch_value(STRNG column, QOR_CURSOR id, QOR_OBJECT **value) {
    OBJ_remove_object(value);
    const auto cursor = cursor_of(id, "DB_fetch_value");
    if (!cursor || !cursor->has_row) return;
    attempt("DB_fetch_value", cursor->asked, cursor->connection, [&] {
        Statement &statement = statement_of(*cursor);
        const std::vector<Column> &columns = statement.columns();
        for (size_t i = 0; i < columns.size(); ++i)
            if (equal_without_case(columns[i].name, view(column)))
                return create_object(statement.value(i), columns[i].kind, value);
    });
}

void DB_insert_row(STRNG asked, STRNG table, QOR_MAP *map, int32_t *status) {
    *status = 0;
    // The storage of one row serves the next one, unless a message runs a script that
    // inserts in between.
    static std::unique_ptr<Row> spare;
    std::unique_ptr<Row> row = spare ? std::move(spare) : std::make_unique<Row>();
    gather(map, row.get());
    const auto connection = connection_of(view(asked));
    *status = attempt("DB_insert_row", view(asked), connection, [&] { connection->insert(view(table), *row); });
    row->keys.clear();
    row->values.clear();
    spare = std::move(row);
}

int32_t DB_is_silent(int32_t silent) {
    const bool former = is_silent;
    if (silent >= 0) is_silent = silent != 0;
    return former;
}

// The kernel is linked to this library, so its name is not needed to find it.
void DB_INIT(const char *) {}

void DB_TERMINATE(void) {
    cursors.clear();
    disconnect_all();
    is_silent = false;
}
