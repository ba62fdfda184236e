// Writers: they put rows into tables in transactions of many rows. A connection has
// one transaction at a time, so the writers of a connection share theirs: what one of
// them commits stands for all of them.
#pragma once

#include "database.hpp"

namespace sql {

struct Writer {
    const std::shared_ptr<Connection> connection;
    const std::string table;
    const int32_t batch; // rows for each transaction; 0: all of them
    int64_t written = 0; // committed
    int64_t pending = 0; // of the open transaction
};

extern Slots<Writer> writers;

// False when the row was refused; the transaction goes on. A transaction that is lost is
// a Fault that tells what is written and what is not.
bool write(Writer &writer, QOR_MAP *row);
// Commits what the writers of a connection have pending, if anything; a Fault likewise.
void commit(const std::shared_ptr<Connection> &connection);
// Rolls it back. The text tells of the rows that are lost, each table with a semicolon before it.
std::string roll_back(const std::shared_ptr<Connection> &connection);
// A statement has failed for this reason: a Fault when the transaction of the writers went with it.
void check_transaction(const std::shared_ptr<Connection> &connection, const std::string &why);

} // namespace sql
