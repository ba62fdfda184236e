#!/bin/sh
# bridge_test.sh QOR LIBQOR INCOMPLETE COMPLETE: runs the host in a tree of its own, where it
# finds what the test puts beside the kernel from the two folders of modules.
tree=$(mktemp -d) || exit 1
trap 'rm -rf "$tree"' EXIT
mkdir -p "$tree/system/bin" "$tree/lib" "$tree/user/bin"
cp "$1" "$tree/system/bin/qor"
cp "$2" "$tree/lib/libqor.so"
echo "DISPLAY 'ran'" >"$tree/script.qor"
result=0

# expect STATUS WHAT: runs the script and compares its end and its output, without the
# platform's own words, with the status and the standard input.
expect() {
    cat >"$tree/expected"
    LD_LIBRARY_PATH="$tree/lib" "$tree/system/bin/qor" -cgi -script "$tree/script.qor" >"$tree/out"
    status=$?
    sed -e '/^GetLastError:$/{n;d;}' "$tree/out" | diff -u "$tree/expected" - || result=1
    if [ $status != "$1" ]; then
        echo "$2: expected exit status $1, got $status"
        result=1
    fi
}

expect 1 "no module" <<'END'
GetLastError:
unable to load library geom.so
unable to load geom.so
END
cp "$3/geom.so" "$tree/lib"
expect 1 "an incomplete module" <<'END'
unable to load proc GEOM_SET_GATTR from library geom.so
unable to load proc GEOM2_FENCE_CUT from library geom.so
unable to load proc GEOM_TERMINATE from library geom.so
unable to load geom.so
END

cp "$4/geom.so" "$tree/lib"
expect 1 "no database module" <<'END'
GetLastError:
unable to load db.so
END
cp "$3/db.so" "$tree/lib"
expect 1 "an incomplete database module" <<'END'
unable to load proc DB_fetch_row from library db.so
unable to load proc DB_resolve_dblink from library db.so
unable to load db.so
END
rm "$tree/lib/db.so"

# The user's directory is beside the one of the system, which the program stands in.
cp "$4/db.so" "$tree/user/bin"
expect 1 "the database module in the user's directory, but no codec module" <<'END'
GetLastError:
unable to load codec.so
END
cp "$3/codec.so" "$tree/lib"
expect 1 "an incomplete codec module" <<'END'
unable to load proc CODEC_BASE64_ENCODE from library codec.so
unable to load proc CODEC_TERMINATE from library codec.so
unable to load codec.so
END
cp "$4/codec.so" "$tree/lib"
expect 0 "all modules" <<'END'
ran
END

exit $result
