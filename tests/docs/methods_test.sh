#!/bin/sh
# Holds docs/methods.md to the program: methods_test.sh QOR_PROGRAM SOURCE_DIR.
qor=$1
source=$2
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
failed=0

# Every listed method has a description, and the document is up to date.
if ! sh "$source/docs/generate-methods.sh" "$qor" >"$work/methods.md"; then
    failed=1
elif ! diff -u --label docs/methods.md --label "generated now" "$source/docs/methods.md" "$work/methods.md" >"$work/diff"; then
    head -40 "$work/diff"
    echo "docs/methods.md is out of date; regenerate it with: make docs"
    failed=1
fi

# Every described method exists.
awk '/^[A-Z]+\./ { printf "IF \047CLASSES.%s\047 EXISTS NOT THEN DISPLAY \047%s\047 END_IF\n", $1, $1; ++n }
    END { print "DISPLAY \047" n " looked up\047" }' "$source/docs/methods.txt" >"$work/exist.qor"
(cd "$work" && "$qor" -cgi -script exist.qor) >"$work/missing"
described=$(grep -c '^[A-Z]*\.' "$source/docs/methods.txt")
if [ "$(cat "$work/missing")" != "$described looked up" ]; then
    echo "docs/methods.txt describes methods that do not exist:"
    cat "$work/missing"
    failed=1
fi
exit $failed
