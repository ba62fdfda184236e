// What sessions and statements of ODBC share. All texts go through the wide forms:
// the narrow ones depend on the driver and the locale.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <sql.h>
#include <sqlext.h>
#include <sqlucode.h>

#include "session.hpp"

namespace db {

static_assert(sizeof(SQLWCHAR) == sizeof(char16_t));

// A handle that frees itself.
class Odbc_handle {
  public:
    Odbc_handle(SQLSMALLINT type, SQLHANDLE parent);
    ~Odbc_handle() { SQLFreeHandle(type_, handle_); }
    Odbc_handle(const Odbc_handle &) = delete;
    Odbc_handle &operator=(const Odbc_handle &) = delete;
    operator SQLHANDLE() const { return handle_; }
    SQLSMALLINT type() const { return type_; }

  private:
    const SQLSMALLINT type_;
    SQLHANDLE handle_ = SQL_NULL_HANDLE;
};

// What the driver tells of a call that failed.
Failure odbc_failure(const Odbc_handle &handle);

// The connection itself, which its statements keep.
class Odbc_link {
  public:
    explicit Odbc_link(const std::string &connection);
    ~Odbc_link();
    Odbc_link(const Odbc_link &) = delete;
    Odbc_link &operator=(const Odbc_link &) = delete;

    const Odbc_handle &connection() const { return connection_; }
    bool is_lost() const { return is_lost_; }
    // Throws the failure of a call, if it failed.
    void require(SQLRETURN result, const Odbc_handle &handle);

  private:
    // Whether a failure with this state means that the connection is gone.
    bool is_loss(const std::string &state) const;

    Odbc_handle environment_;
    Odbc_handle connection_;
    bool is_lost_ = false;
};

// The text for a wide call; one that is not UTF-8, or holds a zero byte, is a Failure.
std::u16string wide_text(std::string_view text);
inline SQLWCHAR *wide_pointer(std::u16string &text) { return reinterpret_cast<SQLWCHAR *>(text.data()); }

std::unique_ptr<Statement> prepare_odbc(std::shared_ptr<Odbc_link> link, const std::string &text);

} // namespace db
