#!/bin/sh
# sql_test.sh QOR: what ends a run that uses the plug-in SQL, and what the end of a run does.
qor=$1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
export ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0" # aborts leave things half way
result=0

# ends MESSAGE WORDS: a script of these words, with a database, a table T of one row, a row M and
# a writer W, ends with the message and status 3. The one row is still there.
ends() {
    cat >script.qor <<END
|LOAD sql
MAP M A => 1 END_MAP
PROCEDURE NONE '' SET_NULL END_PROCEDURE
'sqlite:data.db' SQL.OPEN POP POP
0 'drop table if exists T' NONE SQL.EXECUTE POP POP
0 'create table T (A integer unique)' NONE SQL.EXECUTE POP POP
0 'T' &M SQL.INSERT POP
2 => M.A
0 'T' 2 SQL.CREATE_WRITER POP => VAR.W
$2
END
    "$qor" -cgi -script script.qor -log log -db sqlite::memory: >out
    status=$?
    grep -q -x -F -e "*** ERROR *** SQL($1" log && [ $status = "${3:-3}" ] &&
        [ "$(sqlite3 data.db 'select * from T')" = 1 ] && return
    echo "status $status of: $2" && cat out
    result=1
}

ends 'CLOSE) invalid connection 1' '1 SQL.CLOSE'
ends 'CLOSE) invalid connection 0' '0 SQL.CLOSE 0 SQL.CLOSE'
ends 'QUERY) parameters are a list, a map or NULL, not a string' "0 'select 1' 'x' SQL.QUERY"
ends 'QUERY) the statement has no rows to read' "0 'delete from T where A = 7' NONE SQL.QUERY"
ends 'QUERY_ROW) reading failed: no such table: nowhere' "0 'select * from nowhere' NONE SQL.QUERY_ROW"
ends 'FETCH) invalid cursor 0' "0 'select 1' NONE SQL.QUERY POP POP 0 SQL.CLOSE_QUERY 0 &M SQL.FETCH"
ends 'FETCH) invalid cursor 0' "0 'select 1' NONE SQL.QUERY POP POP 0 SQL.CLOSE 0 &M SQL.FETCH"
ends 'FETCH) reading failed after row 1: integer overflow' \
    "0 'select abs(column1) from (values (1), (-9223372036854775807 - 1))' NONE SQL.QUERY POP POP 0 &M SQL.FETCH POP 0 &M SQL.FETCH"
ends 'CREATE_WRITER) invalid number of rows -1' "0 'T' -1 SQL.CREATE_WRITER"
ends 'WRITE) no transaction can begin: a transaction is open already; 0 rows of T are written' \
    '0 SQL.BEGIN POP VAR.W &M SQL.WRITE'
ends 'COMMIT) the transaction of a writer is open: FLUSH_WRITER ends it' 'VAR.W &M SQL.WRITE POP 0 SQL.COMMIT'
ends 'SQL_OPEN) reading failed: no such table: nowhere' "'sqlite:data.db|select * from nowhere' SQL_OPEN"
ends 'SQL_OPEN) the statement has no rows to read' "'create table X (Y integer)' SQL_OPEN"
ends 'SQL_READ_OBJECT) no source is open' "'select 1' SQL_OPEN SQL_CLOSE SQL_CLOSE SQL_READ_OBJECT"
# What the database ends by itself takes the batch along.
ends 'WRITE) the transaction is lost: full; the transaction was rolled back; 0 rows of T are written, 2 are not' \
    "0 'create trigger full before insert on T when new.A = 9 begin select raise(rollback, ' QUOTE APP 'full' APP QUOTE APP
    '); end' APP NONE SQL.EXECUTE POP POP VAR.W &M SQL.WRITE POP 9 => M.A VAR.W &M SQL.WRITE"
lost='a transaction was not committed; 0 rows of T are written, 1 are not'
ends "CLOSE) $lost" 'VAR.W &M SQL.WRITE POP 0 SQL.CLOSE' 0
ends "ROLLBACK) $lost" 'VAR.W &M SQL.WRITE POP EXIT' 0
ends "ROLLBACK) $lost" 'VAR.W &M SQL.WRITE POP HALT'
ends "ROLLBACK) $lost" "VAR.W &M SQL.WRITE POP 'x' 1 +"
ends "ROLLBACK) $lost" 'VAR.W &M SQL.WRITE POP'
# A transaction holds off what others write, so that no row of it is refused for their sake.
ends 'ROLLBACK) a transaction was not committed' \
    "0 SQL.BEGIN POP 'sqlite3 data.db \"insert into T values (8)\" 2>/dev/null' OSCALL POP"
# An id stays with its database, whatever becomes of the option that named it.
ends 'CLOSE) invalid connection 7' \
    "'' SQL.OPEN POP => VAR.DB 'none' => OPT.db IF VAR.DB 'select 1' NONE SQL.EXECUTE THEN 7 SQL.CLOSE END_IF"

# What a script does at its end by itself comes before that.
cat >script.qor <<'END'
|LOAD sql
PROCEDURE WORK_TERMINATE VAR.W SQL.CLOSE_WRITER POP DISPLAY 'rows ',$ END_PROCEDURE
'sqlite:data.db' SQL.OPEN POP => VAR.DB
VAR.DB 'T' 0 SQL.CREATE_WRITER POP => VAR.W
5 => OUT.A
VAR.W &OUT SQL.WRITE POP
END
[ "$("$qor" -cgi -script script.qor)" = 'rows 1' ] || { echo 'WORK_TERMINATE'; result=1; }
exit $result
