// SQLite through its own interface.
#include <new>

#include <sqlite3.h>

#include "session.hpp"

namespace db {

namespace {

constexpr int BUSY_MILLISECONDS = 5000;

[[noreturn]] void fail(sqlite3 *database, int code) {
    throw Failure{database ? sqlite3_errmsg(database) : sqlite3_errstr(code), sqlite3_errstr(code & 0xff)};
}

void require(sqlite3 *database, int code) {
    if (code != SQLITE_OK) fail(database, code);
}

std::string_view bytes_of(const void *data, int size) {
    return {static_cast<const char *>(data), static_cast<size_t>(size)};
}

struct Free_value {
    void operator()(sqlite3_value *value) const { sqlite3_value_free(value); }
};

class Sqlite_statement : public Statement {
  public:
    Sqlite_statement(sqlite3 *database, const std::string &text) : database_(database) {
        const char *tail = nullptr;
        require(database, sqlite3_prepare_v3(database, text.c_str(), static_cast<int>(text.size()) + 1,
                                             SQLITE_PREPARE_PERSISTENT, &statement_, &tail));
        try {
            if (!statement_) throw Failure{"the statement is empty", ""};
            require_end(tail, text);
            read_columns();
        } catch (...) {
            sqlite3_finalize(statement_);
            throw;
        }
    }
    ~Sqlite_statement() override { sqlite3_finalize(statement_); }
    Sqlite_statement(const Sqlite_statement &) = delete;
    Sqlite_statement &operator=(const Sqlite_statement &) = delete;

    size_t mark_count() override { return static_cast<size_t>(sqlite3_bind_parameter_count(statement_)); }

    void bind(size_t mark, const Value &value) override {
        const int position = static_cast<int>(mark) + 1;
        // A statement without rows is done when run returns; rows ask for the values
        // as long as they are read.
        const auto lifetime = columns_.empty() ? SQLITE_STATIC : SQLITE_TRANSIENT;
        // A null pointer would bind NULL.
        const char *bytes = value.bytes.data() ? value.bytes.data() : "";
        int code = SQLITE_OK;
        switch (value.kind) {
        case Kind::NOTHING: code = sqlite3_bind_null(statement_, position); break;
        case Kind::INTEGER:
        case Kind::BOOLEAN: code = sqlite3_bind_int64(statement_, position, value.integer); break;
        case Kind::REAL: code = sqlite3_bind_double(statement_, position, value.real); break;
        case Kind::TEXT:
            code = sqlite3_bind_text64(statement_, position, bytes, value.bytes.size(), lifetime, SQLITE_UTF8);
            break;
        case Kind::BYTES: code = sqlite3_bind_blob64(statement_, position, bytes, value.bytes.size(), lifetime); break;
        }
        require(database_, code);
    }

    void run() override {
        const int64_t before = sqlite3_total_changes64(database_);
        has_row_ = step();
        is_first_ = true;
        // Statements that change no rows leave the count of the one before.
        affected_ = sqlite3_total_changes64(database_) == before ? 0 : sqlite3_changes64(database_);
        const int prepared = sqlite3_stmt_status(statement_, SQLITE_STMTSTATUS_REPREPARE, 0);
        if (prepared != prepared_) read_columns();
        prepared_ = prepared;
        keeps_rows_ = has_row_ && !sqlite3_stmt_readonly(statement_);
        if (keeps_rows_) keep_rows();
    }

    const std::vector<Column> &columns() override { return columns_; }
    int64_t affected() override { return affected_; }

    bool next() override {
        if (is_first_) {
            is_first_ = false;
            return has_row_;
        }
        if (keeps_rows_)
            has_row_ = has_row_ && (first_value_ += columns_.size()) < kept_.size();
        else
            has_row_ = has_row_ && step();
        return has_row_;
    }

    Value value(size_t column) override {
        sqlite3_value *value = keeps_rows_ ? kept_[first_value_ + column].get()
                                           : sqlite3_column_value(statement_, static_cast<int>(column));
        switch (sqlite3_value_type(value)) {
        case SQLITE_INTEGER: return Value::of(int64_t{sqlite3_value_int64(value)});
        case SQLITE_FLOAT: return Value::of(sqlite3_value_double(value));
        case SQLITE_TEXT: {
            const void *text = sqlite3_value_text(value);
            return Value::of(bytes_of(text, sqlite3_value_bytes(value)));
        }
        case SQLITE_BLOB: {
            const void *blob = sqlite3_value_blob(value);
            return Value::of(bytes_of(blob, sqlite3_value_bytes(value)), Kind::BYTES);
        }
        default: return {};
        }
    }

    void reset() override {
        has_row_ = false;
        kept_.clear();
        sqlite3_reset(statement_);
    }

  private:
    static void require_end(const char *tail, const std::string &text);

    // False at the end.
    bool step() {
        const int code = sqlite3_step(statement_);
        if (code == SQLITE_ROW) return true;
        if (code == SQLITE_DONE) return false;
        // The text of the failure is lost by the reset.
        const Failure failure{sqlite3_errmsg(database_), sqlite3_errstr(code & 0xff)};
        reset();
        throw failure;
    }

    // A statement that gives rows back for what it writes commits behind the last one: to
    // leave one out must not hide that the commit failed.
    void keep_rows() {
        first_value_ = 0;
        do {
            for (int i = 0; i < sqlite3_data_count(statement_); ++i)
                if (!kept_.emplace_back(sqlite3_value_dup(sqlite3_column_value(statement_, i)))) throw std::bad_alloc();
        } while (step());
    }

    void read_columns() {
        columns_.clear();
        for (int i = 0; i < sqlite3_column_count(statement_); ++i) {
            const char *name = sqlite3_column_name(statement_, i);
            const char *type = sqlite3_column_decltype(statement_, i);
            columns_.push_back({name ? name : "", type ? kind_of_type(type) : Kind::TEXT});
        }
    }

    sqlite3 *const database_;
    sqlite3_stmt *statement_ = nullptr;
    std::vector<Column> columns_;
    int64_t affected_ = 0;
    int prepared_ = 0;
    bool has_row_ = false;
    bool is_first_ = false; // the row that run went to was not asked for yet
    bool keeps_rows_ = false;
    std::vector<std::unique_ptr<sqlite3_value, Free_value>> kept_; // row by row
    size_t first_value_ = 0;                                       // of the present row
};

// Only comments and blanks may follow.
void Sqlite_statement::require_end(const char *tail, const std::string &text) {
    const std::string_view rest(tail, static_cast<size_t>(text.data() + text.size() - tail));
    size_t i = 0;
    while (i < rest.size()) {
        if (static_cast<uint8_t>(rest[i]) <= ' ' || rest[i] == ';')
            ++i;
        else if (rest.substr(i, 2) == "--")
            i = std::min(rest.find('\n', i), rest.size());
        else if (rest.substr(i, 2) == "/*")
            i = std::min(rest.find("*/", i + 2), rest.size() - 2) + 2;
        else
            throw Failure{"more than one statement", ""};
    }
}

class Sqlite_session : public Session {
  public:
    explicit Sqlite_session(const std::string &file) {
        if (file.empty()) throw Failure{"the name of the file is missing", ""};
        if (file.find('\0') != file.npos) throw Failure{"the name of the file holds a zero byte", ""};
        // One thread: the library need not lock.
        const int code = sqlite3_open_v2(
            file.c_str(), &database_,
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE, nullptr);
        try {
            require(database_, code);
            sqlite3_busy_timeout(database_, BUSY_MILLISECONDS);
            // A name in double quotes that is unknown must not turn into a text.
            sqlite3_db_config(database_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
            sqlite3_db_config(database_, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
            sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
            // Nothing was read so far: whether the file is a database shows here.
            execute("SELECT count(*) FROM sqlite_schema");
        } catch (...) {
            sqlite3_close_v2(database_);
            throw;
        }
    }
    // Lives on until its last statement has gone.
    ~Sqlite_session() override { sqlite3_close_v2(database_); }
    Sqlite_session(const Sqlite_session &) = delete;
    Sqlite_session &operator=(const Sqlite_session &) = delete;

    std::unique_ptr<Statement> prepare(const std::string &text) override {
        return std::make_unique<Sqlite_statement>(database_, text);
    }

    // With the lock for writing, so that no single row is refused because of another
    // program; what can not be written has none.
    void begin() override { execute(sqlite3_db_readonly(database_, "main") ? "BEGIN" : "BEGIN IMMEDIATE"); }
    void commit() override { execute("COMMIT"); }
    void rollback() override { execute("ROLLBACK"); }
    bool in_transaction() override { return sqlite3_get_autocommit(database_) == 0; }
    bool is_lost() override { return false; }
    bool is_alive() override { return true; }
    std::string product() override { return std::string("SQLite ") + sqlite3_libversion(); }
    bool is_case_sensitive() override { return false; }
    Case plain_case() override { return Case::KEPT; }

    std::vector<std::string> tables() override {
        std::vector<std::string> names;
        const auto query = prepare("SELECT name FROM sqlite_schema WHERE type IN ('table', 'view') "
                                   "AND substr(name, 1, 7) <> 'sqlite_'");
        for (query->run(); query->next();) names.emplace_back(query->value(0).bytes);
        return names;
    }

    std::vector<Column_info> columns(const Table_name &table) override {
        std::vector<Column_info> columns;
        const auto query = prepare("SELECT name, type, \"notnull\", pk FROM pragma_table_info(?, ?)");
        query->bind(0, Value::of(table.table));
        query->bind(1, table.schema.empty() ? Value() : Value::of(table.schema));
        for (query->run(); query->next();) {
            Column_info &column = columns.emplace_back();
            column.name = query->value(0).bytes;
            column.type = query->value(1).bytes;
            column.is_key = query->value(3).integer != 0;
            column.is_nullable = query->value(2).integer == 0 && !column.is_key;
        }
        return columns;
    }

  private:
    void execute(const char *statement) {
        require(database_, sqlite3_exec(database_, statement, nullptr, nullptr, nullptr));
    }

    sqlite3 *database_ = nullptr;
};

} // namespace

std::unique_ptr<Session> open_sqlite(const std::string &file) { return std::make_unique<Sqlite_session>(file); }

} // namespace db
