#!/bin/sh
# plugins_test.sh QOR USER_DIR: scripts with the plug-ins of USER_DIR/bin64.
qor=$1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cp -r "$2" "$work/user" && cd "$work" || exit 1
plugins=$work/user/bin64
cp "$plugins/SECOND.so" "$plugins/THIRD.so"
echo 'no library' >"$plugins/BROKEN.so"
result=0

# expect STATUS [OPTION...]: a script from standard input and, below a line
# "---", what it must show, without the platform's own words.
expect() {
    expected=$1
    shift
    cat >case
    sed '/^---$/,$d' case >script.qor
    # A run that is left half way does not release what it held.
    ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=$((expected == 0))" \
        "$qor" -cgi -script script.qor -user_dir "$work/user" "$@" >raw
    status=$?
    sed -e '/^GetLastError:$/{n;d;}' -e "s|$work/||" raw >out
    sed '1,/^---$/d' case | diff -u --label expected --label got - out && [ $status = "$expected" ] && return
    echo "status $status, expected $expected, of:" && cat script.qor
    result=1
}

# Names in any case. What can not be loaded is told and passed over; an empty
# item ends the list. The ends come in the reverse order.
expect 0 <<'END'
|LOAD second,Tally
|LOAD nowhere,bare,third=endless,tally,,second=other
SECOND.WHO => VAR.WHO
TALLY.CREATE => VAR.T
VAR.T => VAR.COPY
' a ' TRIM => VAR.TRIM
DISPLAY VAR.WHO,' ',VAR.COPY,' ',VAR.TRIM,' ',CLASSES.TALLY.VERSION
---
SECOND_INIT
TALLY_INIT libqor.so

can not load plugin NOWHERE
GetLastError:
method BARE_INIT not implemented in plugin
second tally of 7 trimmed by the plug-in 3.1
method ENDLESS_TERMINATE not implemented in plugin
TALLY_TERMINATE
SECOND_TERMINATE
END

# Named again, only its end changes.
expect 0 <<'END'
|LOAD second=other
|LOAD second
DISPLAY 'main'
---
OTHER_INIT
main
SECOND_TERMINATE
END

# All registrations go to one class, which the second plug-in creates anew.
expect 0 <<'END'
|LOAD second,tally AS BOX
BOX.TYPE_ID => VAR.ID
' a ' TRIM => VAR.TRIM
DISPLAY VAR.ID,' ',VAR.TRIM,' ',CLASSES.BOX.VERSION
IF 'CLASSES.BOX.WHO' EXISTS 'CLASSES.TALLY' EXISTS OR THEN
  DISPLAY 'wrong'
END_IF
---
SECOND_INIT
TALLY_INIT libqor.so
15 a 3.1
TALLY_TERMINATE
SECOND_TERMINATE
END

# By the option, and while the script runs.
expect 0 -load second <<'END'
SECOND.WHO => VAR.WHO
'tally' LOAD
DISPLAY VAR.WHO,' ',CLASSES.TALLY.VERSION
---
SECOND_INIT
TALLY_INIT libqor.so
second 3.1
TALLY_TERMINATE
SECOND_TERMINATE
END

# A plug-in that loads what it needs, and names itself among it.
expect 0 -needs second,tally <<'END'
|LOAD tally,third=other
DISPLAY 'main'
---
TALLY_INIT libqor.so
SECOND_INIT
OTHER_INIT
main
OTHER_TERMINATE
TALLY_TERMINATE
SECOND_TERMINATE
END

# The way out of a run and of a compilation leads through a plug-in. One that was
# not initialised is not terminated.
expect 3 <<'END'
|LOAD tally
PROCEDURE LEAVE
  HALT
END_PROCEDURE
'LEAVE' TALLY.CALL
---
TALLY_INIT libqor.so
TALLY_TERMINATE
END
expect 2 -fail <<'END'
|LOAD second,tally AS BOX
---
SECOND_INIT
TALLY_INIT libqor.so
the plug-in gives up
SECOND_TERMINATE
END

# A script that ends behind the list has failed, though it is loaded.
expect 2 <<'END'
|LOAD second
---
SECOND_INIT
*** ABORT *** QOR(COMPILE_SCRIPT) error reading script script.qor
SECOND_TERMINATE
END

# The platform's reason is that of the file that is there.
echo "|LOAD broken DISPLAY 'main'" >script.qor
"$qor" -cgi -script script.qor -user_dir "$work/user" >out
grep -q "^$plugins/BROKEN.so: " out || { cat out; result=1; }

# 100 are the limit: the rest of the option's list is dropped, and then the script's.
list=
for i in $(seq 102); do
    ln -s SECOND.so "$plugins/P$i.so"
    list=$list,p$i=second
done
"$qor" -cgi -load "${list#,}" -script script.qor -user_dir "$work/user" | uniq -c | sed 's/^ *//' >out
diff -u - out <<'END' || result=1
100 SECOND_INIT
2 unable to load more than 100 plugins
1 main
100 SECOND_TERMINATE
END
exit $result
