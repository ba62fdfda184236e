#!/bin/sh
# The program qor seen from outside: exit codes, messages, what it leaves behind,
# and the failures of files that end a run. Usage: host_test.sh QOR_PROGRAM
export LC_ALL=C
# A run that is left half way does not release what it held.
export ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0"
qor=$(realpath "$1")
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
mkdir "$work/run" "$work/tmp" && cd "$work/run" || exit 1
export TMPDIR="$work/tmp"
failures=0

# expect WHAT EXPECTED GOT
expect() {
    [ "$2" = "$3" ] && return
    printf '%s\n--- expected\n%s\n--- got\n%s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

# run ARGUMENT...: leaves the exit code in $status, and the outputs in the files
# out and err
run() {
    "$qor" "$@" >"$work/out" 2>"$work/err" </dev/null
    status=$?
}

# program STATUS LINE SCRIPT: a script that must end so and show the line
program() {
    printf '%s\n' "$3" >case.qor
    run -cgi -script case.qor
    expect "status of: $3" "$1" "$status"
    grep -aqxF -e "$2" "$work/out" || expect "a line of: $3" "$2" "$(head -c 2000 "$work/out")"
}

# shows WHAT EXPECTED ARGUMENT...: the exit code and the output of a run
shows() {
    what=$1 wanted=$2
    shift 2
    run "$@"
    expect "$what" "$wanted" "$status $(cat "$work/out")"
}

# --- the command line

echo "DISPLAY 'hello'" >hello.qor && echo "DISPLAY 'named ',OPT.who" >named.qor
unread='2 *** ABORT *** QOR(COMPILE_SCRIPT) error reading script'

shows "no arguments" "1 *** ABORT *** QOR(READ_OPTIONS) script-option not defined"
expect "no arguments: usage" "usage: qor SCRIPT [-NAME [VALUE]]..." "$(cat "$work/err")"
run -version
expect "-version" "0 QorScript 1" "$status $(cut -d' ' -f1 "$work/out") $(wc -l <"$work/out")"
shows "a bare script" "0 hello" hello.qor -cgi
shows "a missing script" "$unread missing.qor" -cgi -script missing.qor
shows "a directory as the script" "$unread $work/run" -cgi -script "$work/run"
run -cgi -script "$qor"
expect "a binary file as the script" "2 *** " "$status $(grep -ao '^\*\*\* ' "$work/out" | head -n 1)"

printf 'who   option file \n\n  x\t1\n%02000d 5\nlast' 7 >options
shows "a missing option file" "0 unable to open option-file missing.opt
hello" -cgi -who nobody -opt missing.opt -script hello.qor
run -cgi -opt options -script named.qor
expect "an option file" "named option file" "$(tail -n 1 "$work/out")"
expect "an option name that no map can hold" 1 "$(grep -c '^option name is longer than 1024 characters: 0000' "$work/out")"
run -cgi -opt options -who one two -script named.qor
expect "the last value counts" "named two" "$(tail -n 1 "$work/out")"

# Options in the order of the command line, then the directories.
echo "&OPT MAPRESET WHILE &OPT MAPSCAN DO => VAR.KEY POP DISPLAY VAR.KEY END_WHILE" >keys.qor
order="system_dir user_dir data_dir temp_dir jre_dir bin_dir bin64_dir root_dir exe_dir qor_command"
run keys.qor -cgi -b x -gone 1 --gone -a
expect "the order of the options" "cgi b a $order script" "$(tr '\n' ' ' <"$work/out" | sed 's/ $//')"

# --- the temporary directory

echo "OPT.temp_dir '/file' APP TEXTFILE.CREATE POP 'kept until the end' TEXTFILE.WRITELN DISPLAY OPT.temp_dir" >temp.qor
run -cgi -script temp.qor
case $(cat "$work/out") in
"$work"/tmp/qor-??????) ;;
*) expect "a directory of the run" "$work/tmp/qor-XXXXXX" "$(cat "$work/out")" ;;
esac
shows "a temp_dir of the user" "0 given" -cgi -script temp.qor -temp_dir '"given//"'
expect "what is in it" "kept until the end" "$(cat given/file)"
printf 'temp_dir given\n' >options
shows "a temp_dir of an option file" "0 given" -cgi -opt options -script temp.qor
shows "a temp_dir that can not be made" "0 temp directory <$work/no/where> exists not and can not be created !
$work/no/where
hello" -cgi -script hello.qor -temp_dir "$work/no/where"

# --- the standard output

echo "0 => VAR.I WHILE VAR.I < 100000 DO VAR.I 1 + => VAR.I DISPLAY 'line ',VAR.I END_WHILE" >loop.qor
unwritten="3 qor: error writing the standard output"
if [ -c /dev/full ]; then
    "$qor" -cgi -script loop.qor >/dev/full 2>"$work/err"
    expect "a full device" "$unwritten" "$? $(cat "$work/err")"
    "$qor" -version >/dev/full 2>"$work/err"
    expect "a full device: -version" 3 "$?"
fi
"$qor" -cgi -script loop.qor >&- 2>"$work/err"
expect "a closed output" "$unwritten" "$? $(cat "$work/err")"
first=$({ "$qor" -cgi -script loop.qor 2>"$work/err"; echo $? >"$work/status"; } | head -n 1)
expect "a reader that goes away" "line 1 141 " "$first $(cat "$work/status") $(cat "$work/err")"
expect "nothing is left in the temporary directory" "" "$(ls "$work/tmp")"

# --- failures of files

printf 'one\ntwo\n' >two.txt
program 3 '*** ABORT *** TEXTFILE(READLN) invalid fileid 1024' '1024 TEXTFILE.READLN'
program 3 '*** ABORT *** TEXTFILE(CLOSE) invalid fileid -2' '-2 TEXTFILE.CLOSE'
program 3 '*** ABORT *** TEXTFILE(READLN) attempt to read from a closed file (1)' '7 TEXTFILE.READLN'
program 3 'fid=7, f=-1, fname=, read=0, last=0, rbuf=' '7 TEXTFILE.READ_BYTE'
program 3 '*** ABORT *** TEXTFILE(READ_BYTE) attempt to read from a closed file (2)' '7 TEXTFILE.READ_BYTE'
program 3 '*** ABORT *** TEXTFILE(WRITE) attempt to write a closed file' "7 'x' TEXTFILE.WRITE"
program 3 '*** ABORT *** TEXTFILE(FLUSH) attempt to flush a closed file' '7 TEXTFILE.FLUSH'
opened="'two.txt' TEXTFILE.OPEN POP => VAR.F VAR.F TEXTFILE.READLN"
program 3 'fid=0, f=0, fname=two.txt, read=1, last=-1, rbuf=one' "$opened VAR.F 'x' TEXTFILE.WRITE"
program 3 '*** ABORT *** TEXTFILE(WRITE) attempt to write a read only file' "$opened VAR.F 'x' TEXTFILE.WRITE"
program 3 '*** ABORT *** TEXTFILE(WRITELN) attempt to write to read only file' "$opened VAR.F 'x' TEXTFILE.WRITELN"
program 3 '*** ERROR *** TEXTFILE(CREATE) file two.txt is already open' "$opened 'two.txt' TEXTFILE.CREATE"
program 3 '*** ERROR *** TEXTFILE(OPEN_APPEND) file two.txt is open for read operations' "$opened 'two.txt' TEXTFILE.OPEN_APPEND"
program 0 'two' "$opened POP POP 'two.txt' EXPAND_PATH TEXTFILE.OPEN_APPEND POP TEXTFILE.CLOSE VAR.F TEXTFILE.READLN POP => VAR.L DISPLAY VAR.L"
program 3 '*** ABORT *** TEXTFILE(READ_BYTE) attempt to read a write only file' "'x.tmp' TEXTFILE.CREATE POP TEXTFILE.READ_BYTE"
program 3 '*** ERROR *** TEXTFILE(OPEN) file x.tmp is open for write operations 0.0' "'x.tmp' TEXTFILE.CREATE 'x.tmp' TEXTFILE.OPEN"
program 3 '*** ERROR *** TEXTFILE(OPEN) attempt to open more than 1024 files' "WHILE TRUE DO 'two.txt' TEXTFILE.OPEN POP POP END_WHILE"
program 2 '*** ABORT *** TEXTFILE(READ_SOURCE_LINE) error opening |INCL file nothing.inc' '|INCL nothing.inc'
printf '|INCL self.inc\n1 POP\n' >self.inc
program 2 '*** ABORT *** TEXTFILE(READ_SOURCE_LINE) error opening |INCL file self.inc' '|INCL self.inc'
if [ -c /dev/full ]; then
    lost='error writing file /dev/full: No space left on device'
    written="'/dev/full' TEXTFILE.CREATE POP => VAR.F VAR.F 'lost' TEXTFILE.WRITELN"
    program 3 "*** ERROR *** TEXTFILE(FLUSH) $lost" "$written VAR.F TEXTFILE.FLUSH"
    program 3 "*** ERROR *** TEXTFILE(CLOSE) $lost" "$written VAR.F TEXTFILE.CLOSE"
    program 3 "*** ERROR *** TEXTFILE(FLUSH) $lost" "$written"
    run -cgi -log /dev/full -script hello.qor
    expect "a log that can not be written" "3 hello" "$status $(head -n 1 "$work/out")"
fi
# A run that is killed leaves no directory behind, whatever it had put away there.
mkdir "$work/killed"
echo "1 FILE_OBJECT POP 'away' TEXTFILE.CREATE POP POP 60000 SLEEP" >sleep.qor
TMPDIR=$work/killed "$qor" -cgi -script sleep.qor >"$work/out" 2>&1 &
for _ in $(seq 200); do [ -f away ] || sleep 0.05; done
kill -TERM $!
wait $! 2>/dev/null
expect "a killed run" "143 " "$? $(ls "$work/killed")"

[ ! -r /proc/self/mem ] || program 3 '*** ERROR *** TEXTFILE(READLN) error reading file /proc/self/mem: Input/output error' \
    "'/proc/self/mem' TEXTFILE.OPEN POP TEXTFILE.READLN"
[ "$failures" -eq 0 ] || echo "$failures checks failed"
[ "$failures" -eq 0 ]
