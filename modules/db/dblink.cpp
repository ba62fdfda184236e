// Database links: the text that tells the row, and the row once it was read.
#include <algorithm>

#include "connections.hpp"
#include "qor/db.h"
#include "qor/msg.h"

namespace db {

namespace {

constexpr size_t LONGEST_TEXT = 32767; // what every way of writing a value takes whole

struct Dblink : DB_DBLINK_HEAD {
    std::string connection;
    std::string table, column; // as they stand in the text
    std::string key;
};

Dblink *dblink_of(QOR_DBLINK word) { return reinterpret_cast<Dblink *>(word); }
QOR_DBLINK word_of(Dblink *dblink) { return reinterpret_cast<QOR_DBLINK>(dblink); }

// The connection that the text begins with, which then goes from the text; false
// when it has no end.
bool cut_connection(std::string_view *text, std::string_view *connection) {
    constexpr std::string_view BEGINS[] = {"sqlite:", "odbc:", "option:", "|"};
    if (std::none_of(std::begin(BEGINS), std::end(BEGINS), [text](auto b) { return text->starts_with(b); }))
        return true;
    const size_t bar = text->find('|');
    *connection = text->substr(0, bar);
    if (bar == text->npos) return false;
    text->remove_prefix(bar + 1);
    return true;
}

// TABLE.COLUMN=KEY, the table with its schema or without.
bool parse_row(std::string_view text, Dblink *dblink) {
    const char *const begin = text.data();
    int names = 0;
    for (char behind = '.'; behind != '=';) {
        const size_t length = name_length(text);
        if (length == 0 || length == text.size() || behind != '.' || ++names > 3) return false;
        dblink->column = text.substr(0, length);
        if (names > 1) dblink->table = std::string_view(begin, static_cast<size_t>(text.data() - begin) - 1);
        behind = text[length];
        text.remove_prefix(length + 1);
    }
    dblink->key = text;
    return names > 1;
}

void abort_text(const std::string &text) {
    MESSAGE_ABORT1_C(("*** ABORT *** DB(DB_create_dblink) " + text + "\n").c_str());
}

bool is_one_line(std::string_view text) {
    return text.size() <= LONGEST_TEXT &&
           std::none_of(text.begin(), text.end(), [](char c) { return c >= 0 && c < ' '; });
}

// Aborts on a text that is no link; the variable is then left empty.
void create(QOR_DBLINK *variable, std::string_view text) {
    *variable = 0;
    auto dblink = std::make_unique<Dblink>();
    std::string_view row = text, connection;
    const bool is_cut = cut_connection(&row, &connection);
    if (holds_password(connection))
        return abort_text("a password must not stand in a link: let an option hold the connection");
    if (!is_one_line(text)) return abort_text("the text of a link is one line of at most 32767 bytes");
    if (!is_cut || !parse_row(row, dblink.get()))
        return abort_text("a link is TABLE.COLUMN=KEY or CONNECTION|TABLE.COLUMN=KEY, not " + masked(text));
    dblink->connection = connection;
    STRNG_CREATE(&dblink->text);
    STRNG_COPY(borrow(text), 0, &dblink->text);
    dblink->map = QOR_NIL;
    *variable = word_of(dblink.release());
}

std::string select_of(const Dblink &dblink, Case plain_case) {
    return "SELECT * FROM " + quoted(table_name_of(dblink.table, plain_case)) + " WHERE " +
           quoted(name_of(dblink.column, plain_case)) + " = ?";
}

// Nil when there is no such row.
void read_row(const Dblink &dblink, Connection &connection, Object *row) {
    const std::string select = select_of(dblink, connection.session().plain_case());
    const Use use = connection.run(
        select, false, [&dblink](Prepared &prepared) { prepared.statement->bind(0, Value::of(dblink.key)); });
    Statement &statement = use.statement();
    if (!statement.next()) return;
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    BTYP_create_map_ref(&row->value, map);
    const std::vector<Column> &columns = statement.columns();
    for (size_t i = 0; i < columns.size(); ++i) put_entry(map, columns[i].name, statement.value(i), columns[i].kind);
}

} // namespace

} // namespace db

using namespace db;

void DB_init_dblink(QOR_DBLINK *dblink) { *dblink = 0; }

void DB_create_dblink(QOR_DBLINK *dblink, STRNG text) { create(dblink, view(text)); }

void DB_create_dblink2(QOR_DBLINK *dblink, STRNG text, const STRNG *connection) {
    std::string whole(connection ? view(*connection) : std::string_view());
    *dblink = 0;
    if (whole.find('|') != whole.npos) return abort_text("a | ends the connection: let an option hold this one");
    if (!whole.empty()) whole += '|';
    create(dblink, whole.append(view(text)));
}

void DB_copy_dblink(QOR_DBLINK source, QOR_DBLINK *dblink) {
    *dblink = 0;
    if (!source) return;
    auto copy = std::make_unique<Dblink>(*dblink_of(source));
    STRNG_CREATE(&copy->text);
    copy->map = QOR_NIL;
    STRNG_COPY(dblink_of(source)->text, 0, &copy->text);
    *dblink = word_of(copy.release());
}

void DB_display_dblink(QOR_DBLINK word) {
    const Dblink *dblink = dblink_of(word);
    const std::string text = dblink ? "DBLINK(" + std::string(view(dblink->text)) + ")" : "DBLINK IS QOR_NIL";
    MESSAGE_DISPLAY1_C(text.c_str());
}

void DB_get_dblink_select(QOR_DBLINK word, STRNG *select) {
    // What is shown may run script code that releases the link.
    const Dblink dblink = *dblink_of(word);
    const auto connection = connection_of(dblink.connection);
    Case plain_case = Case::KEPT;
    attempt("DB_get_dblink_select", dblink.connection, connection,
            [&] { plain_case = connection->session().plain_case(); });
    const std::string text = select_of(dblink, plain_case);
    STRNG_COPY(borrow(text), 0, select);
}

void DB_resolve_dblink(QOR_DBLINK word, int32_t *status) {
    *status = 0;
    Dblink *dblink = dblink_of(word);
    if (!dblink) return;
    if (!dblink->map) {
        const auto connection = connection_of(dblink->connection);
        Object row;
        // A failure is shown at last, and that may run script code that releases the link.
        if (!attempt("DB_resolve_dblink", dblink->connection, connection,
                     [&] { read_row(*dblink, *connection, &row); }))
            return;
        std::swap(dblink->map, row.value);
    }
    *status = dblink->map ? 1 : 0;
}

void DB_get_dblink_map(QOR_DBLINK word, QOR_MAP **map, int32_t *status) {
    DB_resolve_dblink(word, status);
    if (*status) BTYP_read_map_ref(dblink_of(word)->map, map);
}

void DB_remove_dblink(QOR_DBLINK *variable) {
    const std::unique_ptr<Dblink> dblink(dblink_of(*variable));
    *variable = 0;
    if (!dblink) return;
    OBJ_remove_object(&dblink->map);
    STRNG_REMOVE(&dblink->text);
}
