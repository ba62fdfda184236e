#!/bin/sh
# csv_test.sh QOR: what ends a run that uses the plug-in CSV.
qor=$1
work=$(mktemp -d) || exit 1
trap 'rm -rf "$work"' EXIT
cd "$work" || exit 1
export ASAN_OPTIONS="$ASAN_OPTIONS:detect_leaks=0" # aborts leave things half way
result=0
printf 'A,B\n1,2\n3\n' >ragged.csv
printf 'A,B\n1,2\n' >good.csv
mkdir folder

# aborts MESSAGE WORDS: a script of these words ends with the message.
aborts() {
    printf '|LOAD csv\nMAP M\n A => 1\nEND_MAP\n%s\n' "$2" >script.qor
    "$qor" -cgi -script script.qor >out
    status=$?
    [ "$(sed -n '/^\*\*\*/{p;q;}' out)" = "*** ERROR *** $1" ] && [ $status = 3 ] && return
    echo "status $status of: $2" && cat out
    result=1
}

aborts 'CSV(CSV_READ_OBJECT) ragged.csv, line 3, record 2: the number of fields is 1, not 2' \
    "'ragged.csv' CSV_OPEN CSV_READ_OBJECT POP CSV_READ_OBJECT"
aborts 'CSV(READ) ragged.csv, line 3, record 2: the number of fields is 1, not 2' \
    "'ragged.csv' CSV.OPEN POP POP 0 &M CSV.READ POP 0 &M CSV.READ POP"
aborts 'CSV(CSV_OPEN) can not open file nowhere.csv: No such file or directory' "'nowhere.csv' CSV_OPEN"
aborts 'CSV(CSV_OPEN) error reading file folder: Is a directory' "'folder' CSV_OPEN"
aborts 'CSV(OPEN) unknown option delimeter=;' "'good.csv,delimeter=;' CSV.OPEN"
aborts 'CSV(CREATE) option header can not be maybe' "'good.csv,header=maybe' CSV.CREATE"
aborts 'CSV(CSV_READ_OBJECT) no file is open' "'good.csv' CSV_OPEN CSV_CLOSE CSV_CLOSE CSV_READ_OBJECT"
aborts 'CSV(CREATE) file good.csv is open for reading' "'good.csv' CSV_OPEN 'good.csv' CSV.CREATE"
aborts 'CSV(READ) invalid fileid 1' "'good.csv' CSV.OPEN POP POP 1 &M CSV.READ"
aborts 'CSV(CLOSE) invalid fileid 0' "'good.csv' CSV.OPEN POP CSV.CLOSE 0 CSV.CLOSE"
aborts 'CSV(WRITE) file 0 is not open for writing' "'good.csv' CSV.OPEN POP &M CSV.WRITE"
aborts 'CSV(READ) file 0 is not open for reading' "'new.csv' CSV.CREATE POP &M CSV.READ"
aborts 'CSV(WRITE) new.csv: the map has no entry B' "'new.csv,fields=A,B' CSV.CREATE POP &M CSV.WRITE"
aborts 'CSV(WRITE) new.csv: a map without entries makes no record' "'new.csv' CSV.CREATE POP &OUT CSV.WRITE"
aborts 'CSV(WRITE) new.csv: the entry A is a list' "CREATE_LIST => M.A 'new.csv' CSV.CREATE POP &M CSV.WRITE"
aborts 'CSV(WRITE) new.csv: a field can not be written without quotes: x,y' \
    "'x,y' => M.A 'new.csv,quote=none' CSV.CREATE POP &M CSV.WRITE"
[ -e /dev/full ] && aborts 'TEXTFILE(CLOSE) error writing file /dev/full: No space left on device' \
    "'/dev/full' CSV.CREATE POP &M CSV.WRITE 0 CSV.CLOSE"
[ "$(cat good.csv)" = "$(printf 'A,B\n1,2')" ] || { echo 'good.csv was changed'; result=1; }

# What an abort left open gets its end.
printf "|LOAD csv\nMAP M\n A => 1\nEND_MAP\n'last.csv' CSV.CREATE POP &M CSV.WRITE HALT\n" >script.qor
"$qor" -cgi -script script.qor
printf 'A\n1\n' | cmp - last.csv || result=1
exit $result
