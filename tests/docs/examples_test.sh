#!/bin/sh
# Runs the examples of the documents: examples_test.sh QOR_PROGRAM SOURCE_DIR.
# In a document ```qor [FILE [ARGUMENT...]] opens a script, ```file FILE a file
# that it needs, and an ```output block behind the script holds exactly what it
# prints; the folder of the run is called /home/ann/jobs there.
qor=$1
source=$2
work=$(cd "$(mktemp -d)" && pwd -P) || exit 1
trap 'rm -rf "$work"' EXIT
export ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0" # aborts leave things half way
cd "$work" || exit 1
failed=0
for document in README.md docs/language.md docs/types.md docs/plugins.md docs/geometry.md docs/databases.md; do
    rm -rf cases && mkdir cases
    awk '
    /^```/ && file != "" { close(file); file = ""; next }
    /^```file / { file = "cases/" $2; printf "" >file; next }
    /^```qor/ {
        script = NF > 1 ? $2 : "example.qor"
        arguments = ""
        for (i = 3; i <= NF; ++i) arguments = arguments " " $i
        file = sprintf("cases/%03d.qor", ++count)
        printf "" >file
        next
    }
    /^```output/ && script != "" {
        run = sprintf("cases/%03d.run", count)
        print NR, script arguments >run
        close(run)
        script = ""
        file = sprintf("cases/%03d.out", count)
        printf "" >file
        next
    }
    /^```/ { file = "/dev/null"; next }
    file != "" { print >file }' "$source/$document"
    ran=0
    for run in cases/*.run; do
        [ -f "$run" ] || continue
        case=${run%.run}
        read -r line script arguments <"$run"
        mv "$case.qor" "cases/$script"
        (cd cases && "$qor" -cgi -script "$script" $arguments </dev/null) >got 2>&1
        sed "s|$work/cases|/home/ann/jobs|g" got >cleaned
        if ! diff -a -u --label "$document line $line" --label got "$case.out" cleaned; then failed=1; fi
        ran=$((ran + 1))
    done
    if [ "$ran" = 0 ]; then
        echo "$document holds no example"
        failed=1
    fi
done
exit $failed
