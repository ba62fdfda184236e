// What can be asked about connections and databases.
#include <algorithm>
#include <charconv>

#include "connections.hpp"
#include "qor/db.h"

namespace db {

namespace {

void append(QOR_OBJECT *list, const Object &element) { BTYP_append_to_list(list, element.value); }

void append_text(QOR_OBJECT *list, std::string_view text) {
    Object element;
    BTYP_create_string(&element.value, borrow(text));
    append(list, element);
}

void put_text(QOR_MAP *map, const char *key, std::string_view text) { MAP_INSERT_SVALUE_C(map, key, borrow(text)); }

void put_boolean(QOR_MAP *map, const char *key, bool value) {
    Object object;
    BTYP_create_boolean(&object.value, value);
    MAP_INSERT_OBJECT_REF_C(map, key, object.value);
}

// A new map at the end of the list, which owns it.
QOR_MAP *append_map(QOR_OBJECT *list) {
    QOR_MAP *map;
    MAP_CREATE_NONAME(&map);
    Object element;
    BTYP_create_map_ref(&element.value, map);
    append(list, element);
    return map;
}

void create_text(const std::optional<Failure> &failure, std::string Failure::*text, QOR_OBJECT **result) {
    if (failure)
        BTYP_create_string(result, borrow((*failure).*text));
    else
        BTYP_create_undef_string(result);
}

void list_tables(Session &session, QOR_OBJECT **result) {
    std::vector<std::string> names = session.tables();
    std::sort(names.begin(), names.end());
    BTYP_create_list(result);
    for (const std::string &name : names) append_text(*result, name);
}

void list_columns(Session &session, std::string_view table, QOR_OBJECT **result) {
    const std::vector<Column_info> columns = session.columns(table_name_of(table, session.plain_case()));
    if (columns.empty()) throw Failure{"no such table: " + std::string(table), ""};
    BTYP_create_list(result);
    for (const Column_info &column : columns) {
        QOR_MAP *map = append_map(*result);
        put_text(map, "NAME", column.name);
        put_text(map, "TYPE", column.type);
        put_boolean(map, "NULLABLE", column.is_nullable);
        put_boolean(map, "KEY", column.is_key);
    }
}

void list_cursor_columns(std::string_view id, QOR_OBJECT **result) {
    QOR_CURSOR cursor = 0;
    std::from_chars(id.data(), id.data() + id.size(), cursor);
    const std::vector<Column> &columns = columns_of_cursor(cursor);
    BTYP_create_list(result);
    for (const Column &column : columns) append_text(*result, column.name);
}

void get_info(Connection &connection, int32_t what, std::string_view name, QOR_OBJECT **result) {
    switch (what) {
    case DB_INFO_ERROR: return create_text(connection.last_failure(), &Failure::reason, result);
    case DB_INFO_STATE: return create_text(connection.last_failure(), &Failure::state, result);
    case DB_INFO_TABLES: return list_tables(connection.session(), result);
    case DB_INFO_COLUMNS: return list_columns(connection.session(), name, result);
    case DB_INFO_TRANSACTION: return BTYP_create_boolean(result, connection.in_transaction());
    case DB_INFO_COLUMN_NAMES: return list_cursor_columns(name, result);
    default: throw Failure{"DB_get_info knows nothing of " + std::to_string(what), ""};
    }
}

} // namespace

} // namespace db

using namespace db;

void DB_get_info(STRNG asked, int32_t what, STRNG name, QOR_OBJECT **result, int32_t *status) {
    OBJ_remove_object(result);
    const auto connection = connection_of(view(asked));
    *status = attempt("DB_get_info", view(asked), connection, [&] { get_info(*connection, what, view(name), result); });
}

int32_t DB_is_case_sensitive(STRNG asked) {
    int32_t answer = -1;
    const auto connection = connection_of(view(asked));
    attempt("DB_is_case_sensitive", view(asked), connection,
            [&] { answer = connection->session().is_case_sensitive(); });
    return answer;
}

int32_t DB_is_connected(STRNG asked, int32_t action) {
    const auto connection = connection_of(view(asked));
    if (action == DB_DISCONNECT) {
        disconnect(connection);
        return 0;
    }
    if (action == DB_ASK) return connection->is_alive();
    return attempt("DB_is_connected", view(asked), connection, [&] { connection->session(); });
}

void DB_get_product(STRNG asked, STRNG *product, int32_t *status) {
    const auto connection = connection_of(view(asked));
    *status = attempt("DB_get_product", view(asked), connection, [&] {
        const std::string text = connection->session().product();
        STRNG_COPY(borrow(text), 0, product);
    });
}

void DB_get_odbc_sources(QOR_OBJECT **sources) {
    BTYP_create_list(sources);
    for (const Odbc_source &source : odbc_sources()) {
        QOR_MAP *map = append_map(*sources);
        put_text(map, "NAME", source.name);
        put_text(map, "DRIVER", source.driver);
    }
}
