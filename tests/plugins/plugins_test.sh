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

# expect STATUS EXPECTED SCRIPT [OPTION...]: what the script shows, its lines joined
# by "/", without the platform's own words. "\n" stands for the end of a line.
expect() {
    expected=$1 text=$2
    printf '%b\n' "$3" >script.qor
    shift 3
    # A run that is left half way does not release what it held.
    ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=$((expected == 0))" \
        "$qor" -cgi -script script.qor -user_dir "$work/user" "$@" >raw
    status=$?
    got=$(sed -e '/^GetLastError:$/{n;d;}' -e "s|$work/||" raw | tr '\n' /)
    [ "$got" = "$text/" ] && [ $status = "$expected" ] && return
    printf 'status %s, expected %s, of:\n%s\n--- expected\n%s/\n--- got\n%s\n' \
        $status "$expected" "$(cat script.qor)" "$text" "$got"
    result=1
}
second='SECOND_INIT/' tally='TALLY_INIT libqor.so/' tally_end=TALLY_TERMINATE second_end=SECOND_TERMINATE

# Names in any case. What can not be loaded is told and passed over; an empty
# item ends the list. The ends come in the reverse order.
expect 0 "$second$tally/can not load plugin NOWHERE/GetLastError:/method BARE_INIT not implemented in plugin/\
second tally of 7 trimmed by the plug-in 3.1/method ENDLESS_TERMINATE not implemented in plugin/$tally_end/$second_end" \
    "|LOAD second,Tally\n|LOAD nowhere,bare,third=endless,tally,,second=other
SECOND.WHO => VAR.WHO TALLY.CREATE => VAR.T VAR.T => VAR.COPY ' a ' TRIM => VAR.TRIM
DISPLAY VAR.WHO,' ',VAR.COPY,' ',VAR.TRIM,' ',CLASSES.TALLY.VERSION"
# Named again, only its end changes.
expect 0 "OTHER_INIT/main/$second_end" "|LOAD second=other\n|LOAD second\nDISPLAY 'main'"
# All registrations go to one class, which the second plug-in creates anew.
expect 0 "$second${tally}15 a 3.1/$tally_end/$second_end" "|LOAD second,tally AS BOX
BOX.TYPE_ID => VAR.ID ' a ' TRIM => VAR.TRIM DISPLAY VAR.ID,' ',VAR.TRIM,' ',CLASSES.BOX.VERSION
IF 'CLASSES.BOX.WHO' EXISTS 'CLASSES.TALLY' EXISTS OR THEN DISPLAY 'wrong' END_IF"
# By the option, and while the script runs.
expect 0 "$second${tally}second 3.1/$tally_end/$second_end" \
    "SECOND.WHO => VAR.WHO 'tally' LOAD\nDISPLAY VAR.WHO,' ',CLASSES.TALLY.VERSION" -load second
# A plug-in that loads what it needs, and names itself among it.
expect 0 "$tally${second}OTHER_INIT/main/OTHER_TERMINATE/$tally_end/$second_end" \
    "|LOAD tally,third=other\nDISPLAY 'main'" -needs second,tally
# The way out of a run and of a compilation leads through a plug-in. One that was
# not initialised is not terminated.
expect 3 "$tally$tally_end" "|LOAD tally\nPROCEDURE LEAVE HALT END_PROCEDURE 'LEAVE' TALLY.CALL"
expect 2 "$second${tally}the plug-in gives up/$second_end" "|LOAD second,tally AS BOX" -fail
# A script that ends behind the list has failed, though it is loaded.
expect 2 "$second*** ABORT *** QOR(COMPILE_SCRIPT) error reading script script.qor/$second_end" "|LOAD second"

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
