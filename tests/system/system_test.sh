#!/bin/sh
# What a script asks of the platform: programs, the environment, time zones, an
# upload on the standard input. Usage: system_test.sh QOR_PROGRAM
export LC_ALL=C
qor=$(realpath "$1")
work=$(cd "$(mktemp -d)" && pwd -P) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
failures=0

# expect WHAT EXPECTED GOT
expect() {
    [ "$2" = "$3" ] && return
    printf '%s\n--- expected\n%s\n--- got\n%s\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

# script TEXT: runs it; SHOW takes the top off and shows it
script() {
    printf 'PROCEDURE SHOW\n => LOCAL.X\n DISPLAY LOCAL.X\nEND_PROCEDURE\n%s\n' "$1" >case.qor
    "$qor" -cgi -script case.qor 2>&1
}

# shows WHAT EXPECTED TEXT: the lines that a script prints, joined by blanks
shows() { expect "$1" "$2" "$(script "$3" | tr '\n' ' ' | sed 's/ $//')"; }

# --- programs

shows "output in its order" "1 2 3 4 5" "DISPLAY '1' 'echo 2' OSCALL POP DISPLAY '3' 'echo 4' OSCALL2 POP DISPLAY '5'"
shows "exit codes and signals" "7 0 1 127 137 143" "'exit 7' OSCALL SHOW 'true' OSCALL2 SHOW 'false' OSCALL2 SHOW
'exec /no/such 2>/dev/null' OSCALL SHOW 'kill -9 \$\$' OSCALL SHOW 'sh -c \"kill -15 \$\$\"' OSCALL2 SHOW"
touch plain && mkdir directory
shows "what can not be started" "-1 -1 -1 -1 -1" \
    "'no_such_program x' OSCALL2 SHOW './plain' OSCALL2 SHOW './directory' OSCALL2 SHOW '' OSCALL2 SHOW '  ' OSCALL2 SHOW"
mkdir bin && printf '#!/bin/sh\nfor a in "$@"; do printf "[%%s]" "$a"; done\necho\n' >bin/show_arguments && chmod +x bin/show_arguments
PATH="$work/bin:$PATH" shows "arguments" '[a][b  c][de][][*][$HOME][x y]' \
    "'  show_arguments a  \"b  c\" d\"\"e \"\" * \$HOME x\" y ' OSCALL2 POP"
shows "the command of a shell" "a b /" "'cd / && echo a \"b\" \$(pwd)' OSCALL POP"
expect "the standard input of a child" "given" "$(printf "'cat' OSCALL2 POP\n" >cat.qor && echo given | "$qor" -cgi -script cat.qor)"

# A child has its standard streams and no file of the kernel.
if [ -d /proc/self/fd ]; then
    script "'held.tmp' TEXTFILE.CREATE POP => VAR.F 'ls -l /proc/self/fd' OSCALL POP 'ls -l /proc/self/fd' OSCALL2 POP" >fds
    expect "files of a child" 0 "$(grep -c held.tmp fds)"
fi
# Signals: the end of a child is seen though its begin found it ignored; a closed
# pipe and an interrupt end a child, and an interrupt does not end who waits.
expect "ignored children" "3 1" "$(trap '' CHLD && script "'exit 3' OSCALL SHOW 'false' OSCALL2 SHOW" | tr '\n' ' ' | sed 's/ $//')"
shows "a closed pipe in a child" "y" "'yes | head -n 1' OSCALL POP"
shows "an interrupt" "130 on" "'kill -INT \$PPID; kill -INT \$\$' OSCALL SHOW DISPLAY 'on'"
expect "an interrupt that was ignored" "0" "$(trap '' INT && script "'kill -INT \$\$' OSCALL SHOW")"

# --- environment

NAME='a b' shows "GETENV" "TRUE a b FALSE" "'NAME' GETENV SHOW SHOW 'NO_SUCH_NAME' GETENV SHOW"
shows "the program" "$qor TRUE $work/case.qor" "GET_MAIN_PROGRAM SHOW IS_BATCH_PROGRAM SHOW SCRIPT_GET SHOW"
shows "the user" "$(id -un)" "GET_USERNAME SHOW"
name=$(uname -n)
[ ${#name} -lt 15 ] || name=NULL
shows "the machine" "$name $(uname -r | sed 's/^\([0-9]*\.[0-9]*\).*/\1/')" "GET_COMPUTERNAME SHOW GET_OSVERSION SHOW"
for pair in de_CH.UTF-8=German/DE en=English/EN es_ES@euro=Spanish/ES fr_FR=French/FR it.utf8=Italian/IT \
    pt_BR=Portuguese/PT nl_NL.UTF-8=nl/NULL C=NULL/NULL C.UTF-8=NULL/NULL POSIX=NULL/NULL =NULL/NULL; do
    LC_ALL= LC_MESSAGES= LANG=${pair%%=*} shows "the language of LANG=${pair%%=*}" "${pair#*=}" \
        "GET_SYSTEMLANGUAGE => VAR.A GET_SYSTEMLANGUAGECODE => VAR.B DISPLAY VAR.A,'/',VAR.B"
done
LC_ALL=de LC_MESSAGES=fr LANG=it shows "the language of LC_ALL" DE "GET_SYSTEMLANGUAGECODE SHOW"
LC_ALL= LC_MESSAGES=fr LANG=it shows "the language of LC_MESSAGES" FR "GET_SYSTEMLANGUAGECODE SHOW"
shows "memory" "TRUE TRUE TRUE 0" "1000 TO_LONG => VAR.K GET_MEMORY_SIZE > VAR.K SHOW GET_MEMORY_SIZE_KB < VAR.K SHOW
GET_MEMORY_SIZE_MB < VAR.K SHOW 5 SET_MEMORY_LIMIT SCREEN_REFRESH QORCPU.GET_STACK_SIZE SHOW"
deep=$work/$(printf '%0100d/' $(seq 25))
mkdir -p "$deep"
expect "a long working directory" "$((${#deep} - 1))" "$(cd "$deep" && echo "GET_WORKING_DIRECTORY LEN => VAR.L DISPLAY VAR.L" >"$work/deep.qor" &&
    "$qor" -cgi -script "$work/deep.qor")"

# --- time zones

summer="20240331 013000 DATE_TIME_TO_SECONDS SHOW 20240331 023000 DATE_TIME_TO_SECONDS DUP SHOW SECONDS_TO_DATE_TIME SHOW SHOW
20240701 120000 DATE_TIME_TO_SECONDS SECONDS_TO_DATE_TIME POP SHOW 20240330 20240401 DATE_DIFF SHOW
20240330 120000 20240331 120000 DATE_TIME_DIFF SHOW 0 SECONDS_TO_DATE_TIME SHOW SHOW"
# In the zones with summer time noon of a summer's day is told in standard time.
TZ=UTC shows "UTC" "1711848600 1711852200 20240331 23000 120000 2 240000 19700101 0" "$summer"
TZ=Europe/Zurich shows "Zurich" "1711845000 1711848600 20240331 33000 130000 2 240000 19700101 10000" "$summer"
TZ=America/New_York shows "New York" "1711866600 1711870200 20240331 33000 130000 2 240000 19691231 190000" "$summer"
TZ=Asia/Kolkata shows "Kolkata" "1711828800 1711832400 20240331 23000 120000 2 240000 19700101 53000" "$summer"
# The 30th of December 2011 was left out; a call before it changes nothing.
TZ=Pacific/Apia shows "Apia" "365 TRUE" "20110701 20120701 DATE_DIFF SHOW
20111230 0 DATE_TIME_TO_SECONDS => VAR.S 20111201 0 DATE_TIME_TO_SECONDS POP 20111230 0 DATE_TIME_TO_SECONDS = VAR.S SHOW"
TZ=UTC shows "the ends of the ints" "156872478 19011213 204552 20380119 31407 2147483647 -2147483648" \
    "-2147483647 1 - 2147483647 DATE_DIFF SHOW -2147483647 1 - SECONDS_TO_DATE_TIME SHOW SHOW 2147483647 SECONDS_TO_DATE_TIME SHOW SHOW
    20380119 031407 DATE_TIME_TO_SECONDS SHOW 20380119 031408 DATE_TIME_TO_SECONDS SHOW"

# --- digests and identifiers

head -c 300000 "$qor" >large
shows "the digest of a large file" "$(md5sum <large | cut -c -32 | tr a-f A-F)" "'large' GET_FILE_MD5 SHOW"
script "0 => VAR.I WHILE VAR.I < 20000 DO GET_GUID SHOW VAR.I 1 + => VAR.I END_WHILE GET_GUID_RAW SHOW" >guids
expect "identifiers" 20001 "$(sort -u guids | wc -l)"
expect "the form of identifiers" "0 1" "$(grep -cvE '^\{[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\}$|^.{32}$' guids) $(grep -cE '^[0-9A-F]{32}$' guids)"

# --- uploads

echo "'got' RECEIVE_FILE => VAR.A 'got2' RECEIVE_FILE => VAR.B DISPLAY VAR.A,' ',VAR.B" >upload.qor
# upload WHAT FILE2: feeds stdin, expects the file "body" in "got" and FILE2 in "got2"
upload() {
    rm -f got got2
    expect "$1: status" "TRUE TRUE" "$("$qor" -cgi -script upload.qor)"
    cmp body got || expect "$1" "the same bytes" "others"
    expect "$1: the next one" "$2" "$(cat got2)"
}
tr -d - <large >bytes # bytes of every kind, and no dash
cat bytes >body && printf '\r\n' >>body
{ printf 'Content-Type: text/plain\r\nX: y\r\n \t\r\n' && cat body && printf -- '-----b--\r\n\r\n-a--b---c'; } >request
upload "a part with a boundary" "-a--b" <request
cat request | upload "through a pipe" "-a--b"
for tail in 'a' 'ab' 'abc' '-' '--' 'a-' 'ab--' '-a-b'; do
    printf '%s' "$tail" >body
    { printf 'Header\n\n' && cat body; } >request
    upload "no closing dashes: $tail" "" <request
done
: >body
printf '\n---' | upload "an empty part" ""
upload "no input" "" </dev/null
shows "a file that can not be made" FALSE "'no/such/file' RECEIVE_FILE SHOW" </dev/null
if [ -c /dev/full ]; then shows "a full disk" FALSE "'/dev/full' RECEIVE_FILE SHOW" <request; fi

[ "$failures" -eq 0 ] || echo "$failures checks failed"
[ "$failures" -eq 0 ]
