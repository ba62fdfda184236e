#!/bin/sh
# Runs the comparison: run.sh QOR_PROGRAM [--rounds N] [TASK...]; the table goes to standard output.
set -eu
here=$(dirname "$0")
if [ ! -x /usr/bin/python3 ]; then
    echo "bench: /usr/bin/python3 is missing; packages.txt lists what the comparison needs" >&2
    exit 1
fi
exec /usr/bin/python3 "$here/run.py" "$@"
