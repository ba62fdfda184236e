// Statements behind ODBC: values in, rows out.
#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "odbc.hpp"
#include "utf16.hpp"

namespace db {

namespace {

constexpr size_t LONGEST_NAME = 1024;
constexpr size_t FIRST_CELL = 512;           // bytes of a text that most fit into
constexpr SQLULEN LONGEST_PLAIN_TEXT = 4000; // beyond it a database may want a long type

// A value for a mark. It stays where it is until the statement has run.
struct Parameter {
    SQLSMALLINT c_type = 0, sql_type = 0;
    SQLULEN size = 0;
    SQLLEN length = SQL_NULL_DATA; // bytes
    union {
        int64_t integer;
        int32_t small_integer;
        double real;
        uint8_t flag;
    };
    std::u16string text;
    std::string bytes;
    const void *bound = nullptr;
};

struct Result_column {
    Column column;
    SQLSMALLINT c_type;
    bool is_decimal = false; // fetched as a text, since neither int nor real holds all
    std::vector<char> cell;
    SQLLEN length = SQL_NULL_DATA; // bytes in the cell
};

bool is_int(int64_t number) {
    return number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max();
}

// What a text of digits is worth: a whole number where it fits, else a real.
Value number_of(std::string_view digits, Kind kind) {
    const char *end = digits.data() + digits.size();
    int64_t integer = 0;
    if (kind == Kind::INTEGER) {
        const auto read = std::from_chars(digits.data(), end, integer);
        if (read.ec == std::errc() && read.ptr == end) return Value::of(integer);
    }
    double real = 0;
    const auto read = std::from_chars(digits.data(), end, real);
    if (read.ec != std::errc() || read.ptr != end)
        throw Failure{"no number that fits: " + std::string(digits), "22018"};
    return Value::of(real);
}

class Odbc_statement : public Statement {
  public:
    Odbc_statement(std::shared_ptr<Odbc_link> link, const std::string &text)
        : link_(std::move(link)), handle_(SQL_HANDLE_STMT, link_->connection()) {
        std::u16string wide = wide_text(text);
        require(SQLPrepareW(handle_, wide_pointer(wide), static_cast<SQLINTEGER>(wide.size())));
        SQLSMALLINT count = 0;
        require(SQLNumParams(handle_, &count));
        parameters_.resize(static_cast<size_t>(count));
    }

    size_t mark_count() override { return parameters_.size(); }
    void bind(size_t mark, const Value &value) override;
    void run() override;
    const std::vector<Column> &columns() override { return columns_; }
    int64_t affected() override { return affected_; }
    bool next() override;
    Value value(size_t column) override;
    void reset() override {
        SQLFreeStmt(handle_, SQL_CLOSE);
        results_.clear(); // the cells may have grown
    }

    // PostgreSQL's plan of a query whose columns have changed, or that is gone.
    bool is_stale(const Failure &failure) const override {
        return failure.state == "0A000" || failure.state == "26000";
    }

  private:
    void require(SQLRETURN result) { link_->require(result, handle_); }
    void set(Parameter *parameter, const Value &value);
    void describe(SQLUSMALLINT position);
    void read_cell(SQLUSMALLINT position, Result_column *column);

    const std::shared_ptr<Odbc_link> link_;
    const Odbc_handle handle_;
    std::vector<Parameter> parameters_;
    std::vector<Result_column> results_;
    std::vector<Column> columns_;
    std::string text_; // of the value that was asked for last
    int64_t affected_ = 0;
};

// --- values in -------------------------------------------------------------------

void Odbc_statement::set(Parameter *p, const Value &value) {
    const auto set_types = [p](SQLSMALLINT c_type, SQLSMALLINT sql_type, SQLULEN size, SQLLEN length) {
        p->c_type = c_type;
        p->sql_type = sql_type;
        p->size = size;
        p->length = length;
    };
    switch (value.kind) {
    case Kind::NOTHING: return set_types(SQL_C_WCHAR, SQL_WVARCHAR, 1, SQL_NULL_DATA);
    case Kind::BOOLEAN: p->flag = static_cast<uint8_t>(value.integer); return set_types(SQL_C_BIT, SQL_BIT, 1, 0);
    case Kind::INTEGER:
        // A function of the database may know the small type alone.
        if (is_int(value.integer)) {
            p->small_integer = static_cast<int32_t>(value.integer);
            return set_types(SQL_C_SLONG, SQL_INTEGER, 10, 0);
        }
        p->integer = value.integer;
        return set_types(SQL_C_SBIGINT, SQL_BIGINT, 19, 0);
    case Kind::REAL: p->real = value.real; return set_types(SQL_C_DOUBLE, SQL_DOUBLE, 15, 0);
    case Kind::TEXT: {
        p->text = wide_text(value.bytes);
        const SQLULEN size = std::max<SQLULEN>(p->text.size(), 1);
        return set_types(SQL_C_WCHAR, size > LONGEST_PLAIN_TEXT ? SQL_WLONGVARCHAR : SQL_WVARCHAR, size,
                         static_cast<SQLLEN>(p->text.size() * sizeof(char16_t)));
    }
    case Kind::BYTES: {
        p->bytes = value.bytes;
        const SQLULEN size = std::max<SQLULEN>(p->bytes.size(), 1);
        return set_types(SQL_C_BINARY, size > LONGEST_PLAIN_TEXT ? SQL_LONGVARBINARY : SQL_VARBINARY, size,
                         static_cast<SQLLEN>(p->bytes.size()));
    }
    }
}

void Odbc_statement::bind(size_t mark, const Value &value) {
    Parameter &p = parameters_[mark];
    const SQLSMALLINT former = p.c_type;
    const SQLULEN former_size = p.size;
    set(&p, value);
    const void *data = p.c_type == SQL_C_WCHAR    ? p.text.data()
                       : p.c_type == SQL_C_BINARY ? static_cast<const void *>(p.bytes.data())
                                                  : &p.integer;
    if (p.c_type == former && p.bound == data && p.size <= former_size) return;
    p.bound = data;
    require(SQLBindParameter(handle_, static_cast<SQLUSMALLINT>(mark + 1), SQL_PARAM_INPUT, p.c_type, p.sql_type,
                             p.size, 0, const_cast<void *>(data), 0, &p.length));
}

// --- rows out --------------------------------------------------------------------

void Odbc_statement::run() {
    const SQLRETURN result = SQLExecute(handle_);
    if (result != SQL_NO_DATA) require(result); // no row was met
    SQLSMALLINT count = 0;
    require(SQLNumResultCols(handle_, &count));
    columns_.clear();
    results_.clear();
    for (SQLSMALLINT i = 1; i <= count; ++i) describe(static_cast<SQLUSMALLINT>(i));
    SQLLEN rows = 0;
    if (count == 0 && result != SQL_NO_DATA) require(SQLRowCount(handle_, &rows));
    affected_ = std::max<SQLLEN>(rows, 0);
}

void Odbc_statement::describe(SQLUSMALLINT position) {
    SQLWCHAR name[LONGEST_NAME], type_name[LONGEST_NAME];
    SQLSMALLINT length = 0, type = 0, decimals = 0, bytes = 0;
    SQLULEN size = 0;
    require(SQLDescribeColW(handle_, position, name, LONGEST_NAME, &length, &type, &size, &decimals, nullptr));
    require(SQLColAttributeW(handle_, position, SQL_DESC_TYPE_NAME, type_name, sizeof type_name, &bytes, nullptr));
    Result_column &c = results_.emplace_back();
    const auto utf8 = [](const SQLWCHAR *text, size_t count) {
        std::string result;
        append_utf8({reinterpret_cast<const char16_t *>(text), std::min(count, LONGEST_NAME - 1)}, &result);
        return result;
    };
    c.column.name = utf8(name, static_cast<size_t>(length));
    const auto set_types = [&c](Kind kind, SQLSMALLINT c_type) {
        c.column.kind = kind;
        c.c_type = c_type;
    };
    switch (type) {
    case SQL_BIT: set_types(Kind::BOOLEAN, SQL_C_BIT); break;
    case SQL_TINYINT:
    case SQL_SMALLINT:
    case SQL_INTEGER:
    case SQL_BIGINT: set_types(Kind::INTEGER, SQL_C_SBIGINT); break;
    case SQL_REAL:
    case SQL_FLOAT:
    case SQL_DOUBLE: set_types(Kind::REAL, SQL_C_DOUBLE); break;
    case SQL_BINARY:
    case SQL_VARBINARY:
    case SQL_LONGVARBINARY: set_types(Kind::BYTES, SQL_C_BINARY); break;
    case SQL_NUMERIC:
    case SQL_DECIMAL:
        set_types(decimals > 0 ? Kind::REAL : Kind::INTEGER, SQL_C_WCHAR);
        c.is_decimal = true;
        break;
    default:
        // A driver may give booleans as texts.
        if (kind_of_type(utf8(type_name, static_cast<size_t>(bytes) / sizeof *type_name)) == Kind::BOOLEAN)
            set_types(Kind::BOOLEAN, SQL_C_BIT);
        else
            set_types(Kind::TEXT, SQL_C_WCHAR);
    }
    c.cell.resize(FIRST_CELL);
    columns_.push_back(c.column);
}

bool Odbc_statement::next() {
    const SQLRETURN result = SQLFetch(handle_);
    if (result == SQL_NO_DATA) return false;
    require(result);
    // A driver gives the columns once and in their order.
    for (size_t i = 0; i < results_.size(); ++i) read_cell(static_cast<SQLUSMALLINT>(i + 1), &results_[i]);
    return true;
}

// A value that is longer than the cell comes in pieces; the cell grows and stays so for
// the next rows.
void Odbc_statement::read_cell(SQLUSMALLINT position, Result_column *c) {
    // Behind each piece of a text stands a zero.
    const size_t zero = c->c_type == SQL_C_WCHAR ? sizeof(SQLWCHAR) : 0;
    size_t done = 0;
    for (;;) {
        SQLLEN rest = 0;
        const size_t room = c->cell.size() - done;
        const SQLRETURN result =
            SQLGetData(handle_, position, c->c_type, c->cell.data() + done, static_cast<SQLLEN>(room), &rest);
        if (result == SQL_NO_DATA) break; // the piece before was the last
        require(result);
        if (rest == SQL_NULL_DATA) {
            c->length = SQL_NULL_DATA;
            return;
        }
        if (result == SQL_SUCCESS || (rest >= 0 && static_cast<size_t>(rest) <= room - zero)) {
            done += static_cast<size_t>(rest);
            break;
        }
        done += room - zero;
        const size_t wanted = rest >= 0 ? static_cast<size_t>(rest) - (room - zero) : done;
        if (done + wanted > size_t{2} * STRNG_LIMIT) throw Failure{"a value is too long", "22001"};
        c->cell.resize(done + wanted + zero);
    }
    c->length = static_cast<SQLLEN>(done);
}

Value Odbc_statement::value(size_t column) {
    const Result_column &c = results_[column];
    if (c.length == SQL_NULL_DATA) return {};
    const char *data = c.cell.data();
    const auto length = static_cast<size_t>(c.length);
    switch (c.c_type) {
    case SQL_C_SBIGINT: {
        int64_t number;
        std::memcpy(&number, data, sizeof number);
        return Value::of(number);
    }
    case SQL_C_DOUBLE: {
        double number;
        std::memcpy(&number, data, sizeof number);
        return Value::of(number);
    }
    case SQL_C_BIT: return Value::of(int64_t{*data != 0}, Kind::BOOLEAN);
    case SQL_C_BINARY: return Value::of({data, length}, Kind::BYTES);
    default:
        text_.clear();
        append_utf8({reinterpret_cast<const char16_t *>(data), length / sizeof(char16_t)}, &text_);
        if (text_.size() > STRNG_LIMIT) throw Failure{"a value is too long", "22001"};
        return c.is_decimal ? number_of(text_, c.column.kind) : Value::of(text_);
    }
}

} // namespace

std::unique_ptr<Statement> prepare_odbc(std::shared_ptr<Odbc_link> link, const std::string &text) {
    return std::make_unique<Odbc_statement>(std::move(link), text);
}

} // namespace db
