#!/bin/sh
# Builds the plug-ins of docs/plugins.md from an installed kernel alone, and runs
# their scripts: document_test.sh SOURCE_DIR BUILD_DIR C_COMPILER CXX_COMPILER SANITIZE.
document=$1/docs/plugins.md build=$2 cc=$3 cxx=$4
flags="-Wall -Wextra -pedantic -Werror -g -shared -fPIC -fvisibility=hidden ${5:+-fsanitize=$5}"
work=$(cd "$(mktemp -d)" && pwd -P) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
fail() { echo "$1" && exit 1; }

# Each block that names a file, as it stands.
awk '/^```/ { file = file == "" && NF > 1 ? $2 : ""; if (file) printf "" >file; next } file { print >file }' "$document"

cmake --install "$build" --prefix "$work/prefix" >install.log || fail "$(cat install.log)"
mkdir -p user/bin64
libraries="-L$work/prefix/lib -lqor"
$cc -std=c99 $flags -Iprefix/include -o user/bin64/IBAN.so iban.c $libraries || fail "iban.c does not compile"
$cxx -std=c++17 $flags -Iprefix/include -o user/bin64/ROWS.so rows.cpp $libraries || fail "rows.cpp does not compile"

# check NAME STATUS
check() {
    # A run that is left half way does not release what it held.
    ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=$(($2 == 0))" \
        prefix/bin/qor -cgi -script "$1.qor" -user_dir "$work/user" >raw 2>err
    status=$?
    [ $status = "$2" ] || fail "$1.qor ended with status $status: $(cat raw err)"
    sed "s|$work/|/home/ann/jobs/|g" raw >got
    diff -u --label "docs/plugins.md, $1" --label got "$1.out" got || exit 1
}
check iban 3
check rows 0

# The installed system finds its own plug-in by itself.
printf "|LOAD csv\n'payments.csv' CSV_OPEN CSV_READ_OBJECT POP DISPLAY IN.TO\n" >shipped.qor
[ "$(prefix/bin/qor -cgi -script shipped.qor)" = "Anna, Berlin" ] || fail "CSV is not installed"

# What the script leaves half way passes through both, and the cache is given back.
sed 's/^  => LOCAL.KEY => LOCAL.TABLE$/  HALT/' rows.qor >rows_halt.qor
: >rows_halt.out
check rows_halt 3
