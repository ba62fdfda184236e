#!/bin/sh
# Runs one script case: run_case.sh QOR CASE, where CASE.qor is the script and
# CASE.out what it must print. CASE.args holds further arguments, CASE.status
# the exit status when it is not 0. The script runs in a copy of its folder, so
# that it may write files; that folder's path is cut out of what it prints.
qor=$1
case=$2
name=$(basename "$case")
expected=0
[ -f "$case.status" ] && expected=$(cat "$case.status")
arguments=
[ -f "$case.args" ] && arguments=$(cat "$case.args")
# A run that is left half way does not release what it held.
[ "$expected" = 0 ] || export ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0"

work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cp -r "$(dirname "$case")/." "$work/run" && cd "$work/run" || exit 1
"$qor" -cgi -script "$name.qor" $arguments >"$work/raw" 2>"$work/err" </dev/null
status=$?
sed "s|$work/run/||g" "$work/raw" >"$work/out"
result=0
if ! cmp -s "$case.out" "$work/out"; then
    echo "the output differs:"
    diff -a -u --label expected --label got "$case.out" "$work/out" | head -60
    result=1
fi
if [ "$status" != "$expected" ]; then
    echo "expected exit status $expected, got $status"
    result=1
fi
if [ "$result" != 0 ] && [ -s "$work/err" ]; then
    echo "standard error:"
    head -40 "$work/err"
fi
exit $result
