#!/bin/sh
# postgres_test.sh QOR UNIT: the script cases of tests/scripts/sql, links into tables and the
# unit test of the database module on a PostgreSQL server that lives as long as this test; and what
# scripts tell when it goes away under them.
qor=$(realpath "$1")
unit=$(realpath "$2")
tests=$(cd "$(dirname "$0")/.." && pwd)
bin=$(ls -d /usr/lib/postgresql/*/bin | sort -V | tail -1)
driver=$(find /usr/lib -name psqlodbcw.so | head -1)
work=$(mktemp -d) || exit 1
server=$work/server
# What the driver keeps until the end is not ours.
echo 'leak:psqlodbcw.so' >"$work/leaks"
export LSAN_OPTIONS="suppressions=$work/leaks:print_suppressions=0"

# What leads to the machine's own server.
unset PGPORT PGDATABASE PGSERVICE PGOPTIONS
# The server refuses to run as root.
user=
mkdir "$server" && chmod 711 "$work" && cd "$server" || exit 1
[ "$(id -u)" != 0 ] || { chown postgres "$server" && user='runuser -u postgres --'; }
# In a script of its own, since scripts stop the server too.
cat >"$work/control" <<END
cd "$server" && $user "$bin/pg_ctl" -D data -w -l log -m immediate \
    -o "-c listen_addresses= -c unix_socket_directories=$server -c fsync=off" \$1 >control.log 2>&1
END
query() { $user "$bin/psql" -X -h "$server" -U postgres -Atqc "$1"; }
trap 'sh "$work/control" stop; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
$user "$bin/initdb" -D data -A trust -U postgres -E UTF8 --locale=C -N >initdb.log 2>&1 && sh "$work/control" start ||
    { cat ./*log; exit 1; }
export ODBCSYSINI="$work" ODBCINI="$work/odbc.ini"
printf '[qortest]\nDriver=%s\nServername=%s\nDatabase=postgres\nUsername=postgres\n' "$driver" "$server" >"$ODBCINI"
result=0

# The same scripts, the same output.
cp -r "$tests/scripts" "$work/scripts"
for case in "$work"/scripts/sql/*.qor "$work/scripts/dblink/rows.qor"; do
    query 'set client_min_messages = error; drop schema public cascade; create schema public'
    sed -i 's/-db sqlite:[^ ]*/-db odbc:DSN=qortest/' "${case%.qor}.args"
    sh "$tests/run_case.sh" "$qor" "${case%.qor}" || { echo "failed: $case"; result=1; }
done
DB_TEST_CONNECTION=odbc:DSN=qortest "$unit" >"$work/unit.log" || { cat "$work/unit.log"; result=1; }

# fails CONNECTION MESSAGE: the script of the standard input, which stops the server, ends with
# status 3 and has a line like the message in its log.
fails() {
    cat >"$work/script.qor"
    ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0" "$qor" -cgi -script "$work/script.qor" -db "$1" \
        -control "sh $work/control" -log "$work/log" >"$work/out"
    status=$?
    [ $status = 3 ] && grep -q -e "$2" "$work/log" || { echo "status $status"; cat "$work/out"; result=1; }
    sh "$work/control" start || { cat control.log; result=1; }
}

# In the fourth batch of a thousand: three are there, and the script is told so.
fails odbc:DSN=qortest '^\*\*\* ERROR \*\*\* SQL(WRITE) the transaction is lost: .*; 3000 rows of load are written, 418 are not$' <<'END'
|LOAD sql
IF '' SQL.OPEN THEN => VAR.DB END_IF
VAR.DB 'create table load (id integer)' '' SET_NULL SQL.EXECUTE POP POP
VAR.DB 'load' 1000 SQL.CREATE_WRITER POP => VAR.WRITER
1 => OUT.id
WHILE OUT.id <= 10000 DO
  IF VAR.WRITER &OUT SQL.WRITE THEN ELSE DISPLAY 'refused ',OUT.id END_IF
  IF OUT.id = 3417 THEN OPT.control . ' stop' OSCALL POP END_IF
  OUT.id 1 + => OUT.id
END_WHILE
END
[ "$(query 'select count(*), max(id) from load')" = '3000|3000' ] || { query 'select count(*) from load'; result=1; }

# Between two portions of rows: that is not the end of the data.
fails 'odbc:DSN=qortest;UseDeclareFetch=1;Fetch=1000' \
    '^\*\*\* ERROR \*\*\* SQL(SQL_READ_OBJECT) reading failed after row 2000: ' <<'END'
|LOAD sql
MAP INPUT_SOURCES NUMBERS => SQL,'select * from generate_series(1, 5000) as n' END_MAP
MAP INOUT NUMBERS => COUNT_0 END_MAP
PROCEDURE COUNT_0
  INCR_INPUT_COUNT
  GET_INPUT_COUNT => LOCAL.N
  IF LOCAL.N = 1500 THEN OPT.control . ' stop' OSCALL POP END_IF
END_PROCEDURE
QORRUN.RUN1 POP
END

# At rest: a status, and the next statement finds the server when it is there again.
fails odbc:DSN=qortest '^connected FALSE, statement FALSE, connected TRUE$' <<'END'
|LOAD sql
IF '' SQL.OPEN THEN => VAR.DB END_IF
OPT.control . ' stop' OSCALL POP
VAR.DB SQL.IS_CONNECTED => VAR.BEFORE
VAR.DB 'select 1' '' SET_NULL SQL.EXECUTE => VAR.STATUS
OPT.control . ' start' OSCALL POP
VAR.DB 'select 1' '' SET_NULL SQL.EXECUTE POP POP
VAR.DB SQL.IS_CONNECTED
DISPLAY 'connected ',VAR.BEFORE,', statement ',VAR.STATUS,', connected ',$
OPT.control . ' stop' OSCALL POP
HALT
END
exit $result
