#!/bin/sh
# bridge_test.sh QOR LIBQOR INCOMPLETE_GEOM GEOM INCOMPLETE_CODEC: runs the host in a tree of its
# own, where it finds what the test puts beside the kernel.
tree=$(mktemp -d) || exit 1
trap 'rm -rf "$tree"' EXIT
mkdir "$tree/bin" "$tree/lib"
cp "$1" "$tree/bin/qor"
cp "$2" "$tree/lib/libqor.so"
echo "DISPLAY 'ran'" >"$tree/script.qor"
result=0

# expect WHAT: runs the script, which must end with 1 before it starts, and
# compares the output, without the platform's own words, with $tree/expected.
expect() {
    LD_LIBRARY_PATH="$tree/lib" "$tree/bin/qor" -cgi -script "$tree/script.qor" >"$tree/out"
    status=$?
    sed -e '/^GetLastError:$/{n;d;}' "$tree/out" | diff -u "$tree/expected" - || result=1
    if [ $status != 1 ]; then
        echo "$1: expected exit status 1, got $status"
        result=1
    fi
}

cat >"$tree/expected" <<'END'
GetLastError:
unable to load library geom.so
unable to load geom.so
END
expect "no module"

cp "$3" "$tree/lib/geom.so"
cat >"$tree/expected" <<'END'
unable to load proc GEOM_SET_GATTR from library geom.so
unable to load proc GEOM2_FENCE_CUT from library geom.so
unable to load proc GEOM_TERMINATE from library geom.so
unable to load geom.so
END
expect "an incomplete module"

cp "$4" "$tree/lib/geom.so"
cat >"$tree/expected" <<'END'
GetLastError:
unable to load codec.so
END
expect "no codec module"

cp "$5" "$tree/lib/codec.so"
cat >"$tree/expected" <<'END'
unable to load proc CODEC_BASE64_ENCODE from library codec.so
unable to load proc CODEC_TERMINATE from library codec.so
unable to load codec.so
END
expect "an incomplete codec module"

exit $result
