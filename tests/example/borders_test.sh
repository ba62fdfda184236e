#!/bin/sh
# Runs the example borders into a temporary folder and compares its report; that the map is XML, and the countries found
# with the codes that the places came with, is looked at apart from it. Usage: borders_test.sh QOR_PROGRAM SOURCE_DIR
set -eu
LC_ALL=C
# The leak checker takes the thread storage of the libraries behind plug-ins for another place and crashes in it.
LSAN_OPTIONS=use_tls=0
export LC_ALL LSAN_OPTIONS
qor=$(realpath "$1")
tests=$(realpath "$2")/tests/example
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cd "$2/examples/borders"
"$qor" -cgi -script borders.qor -results "$work" > "$work/out"
diff -u expected.txt "$work/borders.txt"
tail -n "$(wc -l < expected.txt)" "$work/out" | diff -u expected.txt -
awk -f "$tests/countries.awk" data/countries.geojson "$work/places.csv"
awk -f "$tests/well_formed.awk" "$work/map.svg"
if [ "$(grep -o 'h0' "$work/map.svg" | wc -l)" -ne 25568 ]; then
    echo "the map does not show each place, and one more in its legend"
    exit 1
fi
