#!/bin/sh
# Builds and runs the host of docs/embedding.md from an installed kernel alone:
# embedding_test.sh SOURCE_DIR BUILD_DIR C_COMPILER SANITIZE.
source=$1
build=$2
compiler=$3
sanitize=$4
document=$source/docs/embedding.md
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT

# The first block that opens with the given line, as it stands.
block() {
    awk -v fence="$1" '
    $0 == fence && !done { inside = 1; next }
    /^```/ && inside { inside = 0; done = 1 }
    inside' "$document"
}
fail() {
    echo "$1"
    exit 1
}

block '```file orders.qor' >"$work/orders.qor"
block '```c' >"$work/orders.c"
block '```output' >"$work/expected"
[ -s "$work/orders.qor" ] && [ -s "$work/orders.c" ] && [ -s "$work/expected" ] || fail "docs/embedding.md lacks a block"

cmake --install "$build" --prefix "$work/prefix" >"$work/install.log" || fail "$(cat "$work/install.log")"
"$compiler" -std=c99 -Wall -Wextra -Werror ${sanitize:+-fsanitize=$sanitize} -I"$work/prefix/include" -o "$work/orders" "$work/orders.c" \
    -L"$work/prefix/lib" -lqor -Wl,-rpath,"$work/prefix/lib" || fail "the host does not compile"

mkdir "$work/temp"
"$work/orders" "$work/orders.qor" "$work/temp" >"$work/got" 2>"$work/err"
status=$?
[ "$status" = 0 ] || fail "the host ended with status $status: $(cat "$work/got" "$work/err")"
diff -u --label docs/embedding.md --label got "$work/expected" "$work/got" || exit 1

# The installed program finds its library and the geometry module.
(cd "$work/temp" && "$work/prefix/bin/qor" -version) || fail "the installed program does not start"
printf "DISPLAY 'installed'\n" >"$work/hello.qor"
[ "$("$work/prefix/bin/qor" -cgi -script "$work/hello.qor")" = installed ] || fail "the installed program does not run a script"
