/* DB: databases and links to their rows. They belong to the database module;
 * the kernel finds its entries at start and forwards these names to it.
 *
 * Connections. A connection is named by one text, and what asks for the same
 * text shares the connection, which is opened at its first use:
 *
 *   sqlite:FILE         a file, made when it is missing
 *   sqlite::memory:     a database that lives as long as the connection
 *   odbc:CONNECTION     a connection string of ODBC, as DSN=orders;UID=batch
 *   option:NAME         what the option NAME holds, one of the above
 *   the empty text      option:db
 *
 * A password stands in a connection string only, best in an option file. No
 * message shows one: texts that go out have the values of PWD and PASSWORD
 * taken out.
 *
 * Names of tables and columns are plain words of letters, digits and _, in any
 * case, or stand in double quotes as the database has them. A name of other
 * characters is taken as it stands. Names that come back are the database's.
 *
 * Values. INTEGER columns give an int, a long where the value does not fit;
 * columns with decimals a real; texts, dates and times a string; BOOLEAN a
 * boolean; binary columns a blob. NULL gives an undefined value of the column's
 * type, and an undefined value goes in as NULL.
 *
 * Failures of the database (a lost connection, a wrong statement, a row that is
 * refused) are statuses: 1 done, 0 not. The reason is shown as an error message
 * unless DB_is_silent is on, and DB_get_info tells it again. A connection that
 * was lost is opened anew at its next use. When that, or the database by itself,
 * ended a transaction, everything fails until ROLLBACK, COMMIT (which fails) or
 * closing takes note of it: nothing is written outside of a transaction that
 * was meant to be in it. A row or statement that is refused changes nothing, and
 * the transaction goes on.
 */
#ifndef QOR_DB_H
#define QOR_DB_H

#include "qor/types.h"

QOR_BEGIN_C

/* A statement that was opened: an id above 0. Ids are not used again. */
typedef uintptr_t QOR_CURSOR;

/* How a statement is run. What is not needed is empty. */
typedef struct DB_REQUEST {
    STRNG connection;       /* borrowed */
    QOR_OBJECT *parameters; /* borrowed: a list for the marks ? in their order, a
                               map for the marks :NAME, or nil; values are bound,
                               never pasted into the statement */
    int64_t affected;       /* out: the rows changed; -1 when the statement has rows to read */
    int32_t status;         /* out */
} DB_REQUEST;

/* Runs one statement. One with rows leaves a cursor in front of the first one,
 * which the caller closes; else the cursor is 0. What it writes is written then,
 * though its rows are not read. Statements are kept prepared
 * and used again when the same text comes. BEGIN, COMMIT and ROLLBACK (alone)
 * begin and end a transaction on every kind of connection; outside of one each
 * statement stands for itself. As many values as marks must be there, but a map
 * may hold more. request may be nil: the default connection, no parameters, and
 * failure is seen in the cursor alone. */
QOR_API void DB_open_cursor(QOR_CURSOR *cursor, STRNG statement, DB_REQUEST *request);
/* Ends the reading; what the variable holds becomes 0. To read on from a cursor
 * that was closed is misuse. */
QOR_API void DB_close_cursor(QOR_CURSOR *cursor);
/* Reads the next row. With a map, the values go into it under the columns'
 * names, over those of the row before. status: 1 a row, 0 the end, -1 failed. */
QOR_API void DB_fetch_row(QOR_CURSOR cursor, QOR_MAP *row, int32_t *status);
/* One value of the row that was read: a new object in the variable, nil when
 * there is no such column. The name is compared without case. */
QOR_API void DB_fetch_value(STRNG column, QOR_CURSOR cursor, QOR_OBJECT **value);
/* Inserts the entries of a map as a row of a table, which may be given with its
 * schema; a map without entries makes a row of defaults. The map's read position
 * moves to the end. connection as above. */
QOR_API void DB_insert_row(STRNG connection, STRNG table, QOR_MAP *row, int32_t *status);
/* Whether names of tables and columns with different case are different names
 * when they stand in quotes; -1 when not connected. Opens the connection. */
QOR_API int32_t DB_is_case_sensitive(STRNG connection);
enum { DB_ASK = 0, DB_CONNECT = 1, DB_DISCONNECT = 2 };
/* Tells whether a connection is open and alive, opens it, or closes it, which
 * rolls an open transaction back and ends its cursors. Answers whether it is
 * open afterwards. */
QOR_API int32_t DB_is_connected(STRNG connection, int32_t action);
/* Switches messages of failures off (1), on (0), or leaves that (-1); answers
 * the former state. */
QOR_API int32_t DB_is_silent(int32_t silent);
enum {
    DB_INFO_ERROR = 0,       /* string: the reason of the last failure, NULL when none; name "" */
    DB_INFO_STATE = 1,       /* string: its SQLSTATE, or SQLite's code in words */
    DB_INFO_TABLES = 2,      /* list of strings: tables and views, sorted */
    DB_INFO_COLUMNS = 3,     /* list of maps, of the table name: NAME and TYPE, strings; NULLABLE and
                                KEY (part of the primary key), booleans; a missing table is a failure */
    DB_INFO_TRANSACTION = 4, /* boolean: whether one is open */
    DB_INFO_COLUMN_NAMES = 5 /* list of strings: the columns of a cursor, its id as the name */
};
QOR_API void DB_get_info(STRNG connection, int32_t what, STRNG name, QOR_OBJECT **result, int32_t *status);
/* The data sources that ODBC knows: a list of maps with NAME and DRIVER. */
QOR_API void DB_get_odbc_sources(QOR_OBJECT **sources);
/* The database's name and version, as "SQLite 3.40.1". Opens the connection. */
QOR_API void DB_get_product(STRNG connection, STRNG *product, int32_t *status);

/* How the module's record of a link begins; the rest is its own. */
typedef struct DB_DBLINK_HEAD {
    STRNG text;      /* what the link was made of, which is its text form */
    QOR_OBJECT *map; /* the row's values once the link is resolved, else nil */
} DB_DBLINK_HEAD;

/* A database link stands for one row: TABLE.COLUMN=KEY, or
 * CONNECTION|TABLE.COLUMN=KEY. The table may have its schema in front; names with
 * other characters than letters, digits and _ stand in double quotes. All behind
 * the = is the key, which the database compares as a value of the column. The
 * text is one line of at most 32,767 bytes. A text of another form, or with a
 * password in its connection, is misuse. */
/* As DB_create_dblink, with the connection apart: the link's text begins with it
 * unless it is empty. One with a | in it must be held by an option. */
QOR_API void DB_create_dblink2(QOR_DBLINK *dblink, STRNG text, const STRNG *connection);

/* --- entries of the module that the kernel does not pass on --------------------------- */

QOR_API void DB_init_dblink(QOR_DBLINK *dblink);
/* The copy finds its row for itself. */
QOR_API void DB_copy_dblink(QOR_DBLINK source, QOR_DBLINK *dblink);
/* "DBLINK(TEXT)", or "DBLINK IS QOR_NIL". */
QOR_API void DB_display_dblink(QOR_DBLINK dblink);
QOR_API void DB_create_dblink(QOR_DBLINK *dblink, STRNG text);
/* The statement that reads the row, with a mark in the place of the key. */
QOR_API void DB_get_dblink_select(QOR_DBLINK dblink, STRNG *select);
/* The map of the row's values, borrowed from the link; reads the row if needed. */
QOR_API void DB_get_dblink_map(QOR_DBLINK dblink, QOR_MAP **map, int32_t *status);
/* Reads the row, once; a row that is not found is looked for again next time.
 * status: 1 there, 0 not. That there is no such row is no failure: nothing is
 * shown. */
QOR_API void DB_resolve_dblink(QOR_DBLINK dblink, int32_t *status);
QOR_API void DB_remove_dblink(QOR_DBLINK *dblink);
QOR_API void DB_INIT(const char *kernel_library);
/* Closes all connections; open transactions are rolled back. */
QOR_API void DB_TERMINATE(void);

QOR_END_C

#endif
