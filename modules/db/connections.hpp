// Connections by the texts that name them, and what a failure means for one.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "statement_text.hpp"

namespace db {

// A statement that is kept prepared. Marks :NAME have become ? when the values come
// from a map.
struct Prepared {
    std::string text;
    bool is_named = false;
    std::vector<std::string> names;
    std::unique_ptr<Statement> statement;
    bool is_busy = false;
    bool was_run = false;
};

// A run of a prepared statement, which can be used again when it ends.
class Use {
  public:
    explicit Use(std::shared_ptr<Prepared> prepared) : prepared_(std::move(prepared)) { prepared_->is_busy = true; }
    Use(Use &&other) noexcept = default;
    Use(const Use &) = delete;
    Use &operator=(const Use &) = delete;
    ~Use() {
        if (!prepared_) return;
        prepared_->statement->reset();
        prepared_->is_busy = false;
    }
    Prepared &operator*() const { return *prepared_; }
    Statement &statement() const { return *prepared_->statement; }

  private:
    std::shared_ptr<Prepared> prepared_;
};

// The entries of a map, gathered to go into a table.
struct Row {
    std::string keys; // each with a zero byte behind it
    std::vector<Object> values;
    Text key; // of the entry that is read
};

class Connection {
  public:
    explicit Connection(std::string text) : text_(std::move(text)) {}

    const std::string &text() const { return text_; }
    const std::optional<Failure> &last_failure() const { return last_failure_; }
    bool in_transaction() const { return in_transaction_; }

    // Opens it if needed. Fails as long as a transaction was lost that nobody took
    // note of: what follows would be written outside of it.
    Session &session();
    // Runs a statement; bind gives the prepared statement its values.
    template <typename Bind> Use run(std::string_view statement, bool is_named, Bind bind) {
        Use use = prepare(statement, is_named);
        run_bound(*use, bind);
        return use;
    }
    void insert(std::string_view table, const Row &row);
    void transact(Command command);
    bool is_alive();
    void close();

    // What a failure means for the connection. Gives the reason as it may be shown.
    const std::string &note(const Failure &failure);

  private:
    struct Insert {
        std::string table, keys;
        size_t count;
        std::shared_ptr<Prepared> prepared;
    };

    Use prepare(std::string_view statement, bool is_named);
    const Insert &insert_of(std::string_view table, const Row &row);
    std::string insert_text(std::string_view table, const Row &row);
    template <typename Bind> void run_bound(Prepared &prepared, Bind bind) {
        Session &session = this->session();
        try {
            bind(prepared);
            prepared.statement->run();
        } catch (const Failure &failure) {
            if (!prepared.was_run || !prepared.statement->is_stale(failure)) throw;
            prepared.statement = session.prepare(prepared.text);
            bind(prepared);
            prepared.statement->run();
        }
        prepared.was_run = true;
        in_transaction_ = session.in_transaction();
    }
    void end_transaction(Session &session, bool is_commit);
    void drop_session();

    const std::string text_;
    std::unique_ptr<Session> session_;
    std::list<std::shared_ptr<Prepared>> statements_; // the last one used is the first
    std::list<Insert> inserts_;                       // likewise
    std::optional<Failure> last_failure_;
    bool in_transaction_ = false;
    bool is_transaction_lost_ = false;
};

// The connection that a text asks for; it need not be open.
std::shared_ptr<Connection> connection_of(std::string_view asked);
// Closes it and forgets it.
void disconnect(const std::shared_ptr<Connection> &connection);
void disconnect_all();

// Ends the reading of all cursors of the connection.
void end_cursors(const Connection *connection);

// Of an open cursor; fails when it is none.
const std::vector<Column> &columns_of_cursor(uintptr_t id);

bool holds_password(std::string_view text);
// The text with the values of PWD and PASSWORD taken out.
std::string masked(std::string_view text);

// Shows a failure of an entry, unless that is switched off; it may run script code.
void tell(const char *entry, std::string_view asked, const std::string &reason);
extern bool is_silent;

// Does the work of an entry. A failure is noted and told, with the result false.
template <typename Job>
bool attempt(const char *entry, std::string_view asked, const std::shared_ptr<Connection> &connection, Job job) {
    std::string reason;
    try {
        job();
        return true;
    } catch (const Failure &failure) {
        reason = connection->note(failure);
    }
    tell(entry, asked, reason);
    return false;
}

} // namespace db
