#include "database.hpp"

namespace sql {

Cursor::Cursor(std::shared_ptr<Connection> connection, std::string_view statement, QOR_OBJECT *parameters)
    : connection_(std::move(connection)) {
    DB_REQUEST request{borrow(connection_->text), parameters, 0, 0};
    DB_open_cursor(&id_, borrow(statement), &request);
    affected_ = request.affected;
    is_done_ = request.status != 0;
}

bool Cursor::fetch(QOR_MAP *row) {
    int32_t status;
    {
        const Silence silence;
        DB_fetch_row(id_, row, &status);
    }
    if (status < 0) throw Fault{"reading failed after row " + std::to_string(rows_) + ": " + reason(*connection_)};
    rows_ += status > 0;
    return status > 0;
}

void ask(const Connection &connection, int32_t what, std::string_view name, Object *result) {
    int32_t status;
    DB_get_info(borrow(connection.text), what, borrow(name), &result->value, &status);
    if (!status) OBJ_remove_object(&result->value);
}

std::string reason(const Connection &connection) {
    Object text;
    ask(connection, DB_INFO_ERROR, "", &text);
    if (!text.value || !OBJ_object_value_is_defined(text.value)) return "";
    STRNG borrowed;
    BTYP_read_string_ref(text.value, &borrowed);
    return std::string(view(borrowed));
}

bool in_transaction(const Connection &connection) {
    const Silence silence;
    Object state;
    ask(connection, DB_INFO_TRANSACTION, "", &state);
    uint32_t is_open = 0;
    if (state.value) BTYP_read_boolean(state.value, &is_open);
    return is_open != 0;
}

bool is_connected(const Connection &connection, int32_t action) {
    return DB_is_connected(borrow(connection.text), action) != 0;
}

} // namespace sql
