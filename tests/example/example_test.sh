#!/bin/sh
# Runs the main example into a temporary folder and compares its report and its result files with what
# report.awk counts from the same data. Usage: example_test.sh QOR_PROGRAM SOURCE_DIR
set -eu
LC_ALL=C
export LC_ALL
qor=$(realpath "$1")
tests=$(realpath "$2")/tests/example
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cd "$2/examples/atlas"
awk -v files_out="$work/lines" -v shares_out="$work/shares" -f "$tests/report.awk" data/cities_*.csv data/earthquakes.csv > "$work/counted.txt"
diff -u expected.txt "$work/counted.txt"

mkdir "$work/results"
"$qor" -cgi -script atlas.qor -results "$work/results" > "$work/out"
diff -u expected.txt "$work/results/report.txt"
tail -n "$(wc -l < expected.txt)" "$work/out" | diff -u expected.txt -
while read -r name lines; do
    found=$(wc -l < "$work/results/$name")
    if [ "$found" -ne "$lines" ]; then
        echo "$name has $found lines, counted were $lines"
        exit 1
    fi
done < "$work/lines"
grep -q '^   27000 objects processed$' "$work/out"

# The second script works on what the first one saved.
"$qor" -cgi -script shares.qor -results "$work/results" > "$work/out"
diff -u "$work/shares" "$work/out"
if "$qor" -cgi -script shares.qor -results "$work" > "$work/out"; then
    echo "a missing summary was not reported"
    exit 1
fi

# The third script puts what the first one wrote into a database, also where there is one already.
for time in first second; do
    "$qor" -cgi -script database.qor -results "$work/results" | diff -u expected_database.txt -
done

# All places as a stream of objects, there and back.
"$qor" -cgi -script "$tests/roundtrip.qor" -results "$work/results" > "$work/out"
if ! grep -q '^25567 written, 25567 read$' "$work/out"; then
    tail -n 5 "$work/out"
    exit 1
fi
cmp "$work/results/first.stream" "$work/results/second.stream"

# A folder that is not there is an error with a reason, not a silent run.
if "$qor" -cgi -script atlas.qor -results "$work/nowhere" > "$work/out"; then
    echo "a missing result folder was not reported"
    exit 1
fi
grep -q 'does its folder exist' "$work/out"
