// An open database: what SQLite and the servers behind ODBC have in common.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "values.hpp"

namespace db {

// Why the database did not do what it was asked.
struct Failure {
    std::string reason;
    std::string state; // its SQLSTATE or a like word
};

struct Column {
    std::string name;
    Kind kind = Kind::TEXT;
};

// A prepared statement. It can be run again and again; a run ends with reset.
class Statement {
  public:
    virtual ~Statement() = default;
    virtual size_t mark_count() = 0;
    // Marks count from 0. The bytes are borrowed until run has returned.
    virtual void bind(size_t mark, const Value &value) = 0;
    // Does all that the statement changes.
    virtual void run() = 0;
    // The columns of the result; none when the statement has no rows to read.
    virtual const std::vector<Column> &columns() = 0;
    virtual int64_t affected() = 0;
    // Goes to the next row; false at the end.
    virtual bool next() = 0;
    // Of the present row; borrowed until the next call of next or value.
    virtual Value value(size_t column) = 0;
    virtual void reset() = 0;
    // Whether a failure came from what was prepared growing old: the same text,
    // prepared anew, may work.
    virtual bool is_stale(const Failure &) const { return false; }
};

struct Column_info {
    std::string name;
    std::string type;
    bool is_nullable = false;
    bool is_key = false;
};

// Names without quotes; the schema may be empty.
struct Table_name {
    std::string schema;
    std::string table;
};

// What the database makes of the letters of a name that stands without quotes.
enum class Case { KEPT, LOWER, UPPER };

// Its statements may outlive it; they can not be used then.
class Session {
  public:
    virtual ~Session() = default;
    virtual std::unique_ptr<Statement> prepare(const std::string &text) = 0;
    virtual void begin() = 0;
    virtual void commit() = 0;
    virtual void rollback() = 0;
    virtual bool in_transaction() = 0;
    virtual bool is_lost() = 0;  // after a failure: whether the connection is gone
    virtual bool is_alive() = 0; // asks the database
    virtual std::string product() = 0;
    virtual bool is_case_sensitive() = 0;
    virtual Case plain_case() = 0;
    virtual std::vector<std::string> tables() = 0;
    virtual std::vector<Column_info> columns(const Table_name &table) = 0; // none: no such table
};

std::unique_ptr<Session> open_sqlite(const std::string &file);
std::unique_ptr<Session> open_odbc(const std::string &connection);

struct Odbc_source {
    std::string name;
    std::string driver;
};
std::vector<Odbc_source> odbc_sources();

} // namespace db
