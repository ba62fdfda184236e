#include "writer.hpp"

namespace sql {

Slots<Writer> writers("writer");

namespace {

using Connection_ref = std::shared_ptr<Connection>;

// BEGIN, COMMIT and ROLLBACK, without a message of failure.
bool transact(const Connection_ref &connection, const char *statement) {
    const Silence silence;
    return Cursor(connection, statement, QOR_NIL).is_done();
}

// Ends the account of a transaction that is not there any more. The text follows another one.
std::string lose(const Connection_ref &connection, const char *what_happened = "are not") {
    connection->is_batching = false;
    std::string text;
    for (const auto &writer : writers.all()) {
        if (writer->connection != connection || writer->pending == 0) continue;
        text += "; " + std::to_string(writer->written) + " rows of " + writer->table + " are written, " +
                std::to_string(std::exchange(writer->pending, 0)) + " " + what_happened;
    }
    return text;
}

} // namespace

bool write(Writer &writer, QOR_MAP *row) {
    const Connection_ref &connection = writer.connection;
    if (!connection->is_batching && !transact(connection, "BEGIN")) {
        throw Fault{"no transaction can begin: " + reason(*connection) + "; " + std::to_string(writer.written) +
                    " rows of " + writer.table + " are written"};
    }
    connection->is_batching = true;
    int32_t status;
    DB_insert_row(borrow(connection->text), borrow(writer.table), row, &status);
    ++writer.pending; // a row that goes with its transaction is one of those that are lost
    if (status) {
        if (writer.pending == writer.batch) commit(connection);
    } else {
        check_transaction(connection, reason(*connection));
        --writer.pending;
    }
    return status != 0;
}

void commit(const Connection_ref &connection) {
    if (!connection->is_batching) return;
    // A script may have ended the transaction by a statement of its own.
    const bool was_open = in_transaction(*connection);
    if (!transact(connection, "COMMIT")) {
        const std::string why = reason(*connection);
        // A server that went away has not told what it did before.
        const bool is_known = was_open && is_connected(*connection, DB_ASK);
        transact(connection, "ROLLBACK");
        throw Fault{"the commit failed: " + why + lose(connection, is_known ? "are not" : "may be or not")};
    }
    connection->is_batching = false;
    for (const auto &writer : writers.all())
        if (writer->connection == connection) writer->written += std::exchange(writer->pending, 0);
}

std::string roll_back(const Connection_ref &connection) {
    if (!connection->is_batching) return "";
    transact(connection, "ROLLBACK");
    return lose(connection);
}

void check_transaction(const Connection_ref &connection, const std::string &why) {
    if (!connection->is_batching || in_transaction(*connection)) return;
    transact(connection, "ROLLBACK");
    throw Fault{"the transaction is lost: " + why + lose(connection)};
}

} // namespace sql
