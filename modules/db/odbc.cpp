// Databases behind ODBC: connections, transactions and what the catalogue tells.
#include "odbc.hpp"

#include "statement_text.hpp"
#include "utf16.hpp"

namespace db {

namespace {

constexpr SQLUINTEGER LOGIN_SECONDS = 30;
constexpr size_t LONGEST_MESSAGE = 4096;
constexpr char GENERAL_STATE[] = "HY000";

SQLPOINTER as_pointer(SQLULEN value) { return reinterpret_cast<SQLPOINTER>(value); }

// The environment, which must know the version before it gives anything.
const Odbc_handle &with_version(const Odbc_handle &environment) {
    SQLSetEnvAttr(environment, SQL_ATTR_ODBC_VERSION, as_pointer(SQL_OV_ODBC3), 0);
    return environment;
}

// Of a buffer for the longest message: what is longer was cut, and has a zero at its end.
std::string utf8(const SQLWCHAR *text, size_t length) {
    std::string result;
    append_utf8({reinterpret_cast<const char16_t *>(text), std::min(length, LONGEST_MESSAGE - 1)}, &result);
    return result;
}

// Drivers break their reasons into lines and indent them.
std::string one_line(std::string_view text) {
    std::string line;
    for (const char c : text) {
        const bool is_blank = static_cast<uint8_t>(c) <= ' ';
        if (!is_blank)
            line += c;
        else if (!line.empty() && line.back() != ' ')
            line += ' ';
    }
    if (line.ends_with(' ')) line.pop_back();
    return line;
}

// States of a connection that has ended: the class 08, and PostgreSQL's words of a
// server that goes down.
bool is_state_of_loss(const std::string &state) {
    return state.starts_with("08") || state == "57P01" || state == "57P02" || state == "57P03";
}

class Odbc_session : public Session {
  public:
    explicit Odbc_session(const std::string &connection) : link_(std::make_shared<Odbc_link>(connection)) {}
    ~Odbc_session() override {
        if (in_transaction_ && !link_->is_lost()) SQLEndTran(SQL_HANDLE_DBC, link_->connection(), SQL_ROLLBACK);
    }
    Odbc_session(const Odbc_session &) = delete;
    Odbc_session &operator=(const Odbc_session &) = delete;

    std::unique_ptr<Statement> prepare(const std::string &text) override { return prepare_odbc(link_, text); }

    void begin() override {
        set_autocommit(SQL_AUTOCOMMIT_OFF);
        in_transaction_ = true;
    }
    void commit() override { end(SQL_COMMIT); }
    void rollback() override { end(SQL_ROLLBACK); }
    bool in_transaction() override { return in_transaction_ && !link_->is_lost(); }
    bool is_lost() override { return link_->is_lost(); }

    // Whatever the answer, a server that gives one is there.
    bool is_alive() override {
        try {
            prepare("SELECT 1")->run();
        } catch (const Failure &) {
            return !link_->is_lost();
        }
        return true;
    }

    std::string product() override { return text_info(SQL_DBMS_NAME) + " " + text_info(SQL_DBMS_VER); }
    bool is_case_sensitive() override { return word_info(SQL_QUOTED_IDENTIFIER_CASE) == SQL_IC_SENSITIVE; }
    Case plain_case() override {
        const SQLUSMALLINT plain = word_info(SQL_IDENTIFIER_CASE);
        return plain == SQL_IC_LOWER ? Case::LOWER : plain == SQL_IC_UPPER ? Case::UPPER : Case::KEPT;
    }
    std::vector<std::string> tables() override;
    std::vector<Column_info> columns(const Table_name &table) override;

  private:
    void set_autocommit(SQLULEN state) {
        link_->require(SQLSetConnectAttr(link_->connection(), SQL_ATTR_AUTOCOMMIT, as_pointer(state), SQL_IS_UINTEGER),
                       link_->connection());
    }

    void end(SQLSMALLINT how) {
        const SQLRETURN result = SQLEndTran(SQL_HANDLE_DBC, link_->connection(), how);
        in_transaction_ = false;
        try {
            link_->require(result, link_->connection());
        } catch (const Failure &) {
            if (!link_->is_lost()) {
                SQLEndTran(SQL_HANDLE_DBC, link_->connection(), SQL_ROLLBACK);
                set_autocommit(SQL_AUTOCOMMIT_ON);
            }
            throw;
        }
        set_autocommit(SQL_AUTOCOMMIT_ON);
    }

    std::string text_info(SQLUSMALLINT what) {
        SQLWCHAR text[LONGEST_MESSAGE];
        SQLSMALLINT bytes = 0;
        link_->require(SQLGetInfoW(link_->connection(), what, text, sizeof text, &bytes), link_->connection());
        return utf8(text, static_cast<size_t>(bytes) / sizeof *text);
    }
    SQLUSMALLINT word_info(SQLUSMALLINT what) {
        SQLUSMALLINT word = 0;
        link_->require(SQLGetInfoW(link_->connection(), what, &word, sizeof word, nullptr), link_->connection());
        return word;
    }

    std::string current_schema();

    const std::shared_ptr<Odbc_link> link_;
    bool in_transaction_ = false;
};

std::string text_cell(const Odbc_handle &statement, SQLUSMALLINT column) {
    SQLWCHAR text[LONGEST_MESSAGE];
    SQLLEN bytes = 0;
    if (!SQL_SUCCEEDED(SQLGetData(statement, column, SQL_C_WCHAR, text, sizeof text, &bytes)) || bytes < 0) return "";
    return utf8(text, static_cast<size_t>(bytes) / sizeof *text);
}

// The schema whose tables need not be named with it; empty where the database does
// not tell.
std::string Odbc_session::current_schema() {
    try {
        const auto query = prepare("SELECT current_schema()");
        query->run();
        return query->next() ? std::string(query->value(0).bytes) : "";
    } catch (const Failure &) {
        if (link_->is_lost()) throw;
        return "";
    }
}

std::vector<std::string> Odbc_session::tables() {
    const std::string own = current_schema();
    const Odbc_handle statement(SQL_HANDLE_STMT, link_->connection());
    std::u16string all = u"%", types = u"TABLE,VIEW";
    link_->require(
        SQLTablesW(statement, nullptr, 0, nullptr, 0, wide_pointer(all), SQL_NTS, wide_pointer(types), SQL_NTS),
        statement);
    std::vector<std::string> names;
    for (;;) {
        const SQLRETURN result = SQLFetch(statement);
        if (result == SQL_NO_DATA) return names;
        link_->require(result, statement);
        const std::string schema = text_cell(statement, 2), table = text_cell(statement, 3);
        names.push_back(table);
        if (!own.empty() && schema != own) names.back().insert(0, 1, '.').insert(0, schema);
    }
}

std::vector<Column_info> Odbc_session::columns(const Table_name &table) {
    std::vector<Column_info> columns;
    // The database itself finds the table, in the schemas that it looks at.
    std::u16string query = wide_text("SELECT * FROM " + quoted(table) + " WHERE 1 = 0");
    const Odbc_handle described(SQL_HANDLE_STMT, link_->connection());
    link_->require(SQLExecDirectW(described, wide_pointer(query), SQL_NTS), described);
    SQLSMALLINT count = 0;
    link_->require(SQLNumResultCols(described, &count), described);
    for (SQLUSMALLINT i = 1; i <= count; ++i) {
        SQLWCHAR name[LONGEST_MESSAGE], type[LONGEST_MESSAGE];
        SQLSMALLINT length = 0, bytes = 0, nullable = 0;
        link_->require(
            SQLDescribeColW(described, i, name, LONGEST_MESSAGE, &length, nullptr, nullptr, nullptr, &nullable),
            described);
        link_->require(SQLColAttributeW(described, i, SQL_DESC_TYPE_NAME, type, sizeof type, &bytes, nullptr),
                       described);
        columns.push_back({utf8(name, static_cast<size_t>(length)),
                           utf8(type, static_cast<size_t>(bytes) / sizeof *type), nullable != SQL_NO_NULLS, false});
    }
    const Odbc_handle keys(SQL_HANDLE_STMT, link_->connection());
    std::u16string schema = wide_text(table.schema), name = wide_text(table.table);
    link_->require(SQLPrimaryKeysW(keys, nullptr, 0, schema.empty() ? nullptr : wide_pointer(schema), SQL_NTS,
                                   wide_pointer(name), SQL_NTS),
                   keys);
    while (SQL_SUCCEEDED(SQLFetch(keys))) {
        const std::string key = text_cell(keys, 4);
        for (Column_info &column : columns)
            if (column.name == key) column.is_key = true;
    }
    return columns;
}

} // namespace

std::u16string wide_text(std::string_view text) {
    std::u16string wide;
    if (!to_utf16(text, &wide)) throw Failure{"a text is not UTF-8", "22021"};
    // Drivers take it for the end.
    if (wide.find(u'\0') != wide.npos) throw Failure{"a text holds a zero byte", "22021"};
    return wide;
}

Odbc_handle::Odbc_handle(SQLSMALLINT type, SQLHANDLE parent) : type_(type) {
    if (!SQL_SUCCEEDED(SQLAllocHandle(type, parent, &handle_))) throw Failure{"ODBC gives no handle", "HY001"};
}

Failure odbc_failure(const Odbc_handle &handle) {
    SQLWCHAR state[6] = {}, message[LONGEST_MESSAGE];
    SQLINTEGER code = 0;
    SQLSMALLINT length = 0;
    if (!SQL_SUCCEEDED(SQLGetDiagRecW(handle.type(), handle, 1, state, &code, message,
                                      static_cast<SQLSMALLINT>(LONGEST_MESSAGE), &length)))
        return {"ODBC tells no reason", "HY000"};
    Failure failure{utf8(message, static_cast<size_t>(length)), utf8(state, 5)};
    failure.reason = one_line(failure.reason);
    return failure;
}

Odbc_link::Odbc_link(const std::string &connection)
    : environment_(SQL_HANDLE_ENV, SQL_NULL_HANDLE), connection_(SQL_HANDLE_DBC, with_version(environment_)) {
    // A driver that knows no limit waits as long as it does.
    SQLSetConnectAttr(connection_, SQL_ATTR_LOGIN_TIMEOUT, as_pointer(LOGIN_SECONDS), SQL_IS_UINTEGER);
    std::u16string text = wide_text(connection);
    require(
        SQLDriverConnectW(connection_, nullptr, wide_pointer(text), SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT),
        connection_);
}

Odbc_link::~Odbc_link() { SQLDisconnect(connection_); }

void Odbc_link::require(SQLRETURN result, const Odbc_handle &handle) {
    if (SQL_SUCCEEDED(result)) return;
    const Failure failure = odbc_failure(handle);
    is_lost_ = is_lost_ || is_loss(failure.state);
    throw failure;
}

bool Odbc_link::is_loss(const std::string &state) const {
    if (is_state_of_loss(state)) return true;
    SQLUINTEGER is_dead = SQL_CD_FALSE;
    SQLGetConnectAttr(connection_, SQL_ATTR_CONNECTION_DEAD, &is_dead, sizeof is_dead, nullptr);
    if (is_dead == SQL_CD_TRUE || state != GENERAL_STATE) return is_dead == SQL_CD_TRUE;
    // A driver may have nothing but the general state for a server that is gone. A
    // database that is there does this, or has more to say against it.
    try {
        const Odbc_handle probe(SQL_HANDLE_STMT, connection_);
        std::u16string query = u"SELECT 1";
        if (SQL_SUCCEEDED(SQLExecDirectW(probe, wide_pointer(query), SQL_NTS))) return false;
        const std::string probed = odbc_failure(probe).state;
        return probed == GENERAL_STATE || is_state_of_loss(probed);
    } catch (const Failure &) {
        return true; // no connection that would give a handle
    }
}

std::unique_ptr<Session> open_odbc(const std::string &connection) { return std::make_unique<Odbc_session>(connection); }

std::vector<Odbc_source> odbc_sources() {
    std::vector<Odbc_source> sources;
    const Odbc_handle environment(SQL_HANDLE_ENV, SQL_NULL_HANDLE);
    with_version(environment);
    SQLWCHAR name[LONGEST_MESSAGE], driver[LONGEST_MESSAGE];
    SQLSMALLINT name_length = 0, driver_length = 0;
    SQLUSMALLINT direction = SQL_FETCH_FIRST;
    while (SQL_SUCCEEDED(SQLDataSourcesW(environment, direction, name, LONGEST_MESSAGE, &name_length, driver,
                                         LONGEST_MESSAGE, &driver_length))) {
        sources.push_back(
            {utf8(name, static_cast<size_t>(name_length)), utf8(driver, static_cast<size_t>(driver_length))});
        direction = SQL_FETCH_NEXT;
    }
    return sources;
}

} // namespace db
