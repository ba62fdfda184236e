#!/bin/sh
# Prints docs/methods.md: the listing of the program given as the argument, put
# together with the descriptions in methods.txt. Fails when the listing holds a
# method that has no description.
set -eu
program=$1
descriptions=$(dirname "$0")/methods.txt
listing=$(mktemp)
trap 'rm -f "$listing"' EXIT
"$program" -help >"$listing"

awk '
function problem(text) { print "generate-methods: " text > "/dev/stderr"; failed = 1 }
function cell(text) { gsub(/\|/, "\\|", text); return text }
function end_row() {
    if (name == "") return
    short = name
    sub(/^QOR\./, "", short)
    printf "| `%s`%s | `%s` | %s |\n", cell(short), name in listed ? "" : " *", cell(effect), cell(description)
    name = ""
}
function end_introduction() {
    if (!introduction) return
    print ""
    introduction = 0
}

# The listing. A class may follow the END_CLASS of the one before on its line.
FNR == NR {
    sub(/^END_CLASS/, "")
    if ($1 == "CLASS") {
        class = $2
        versions = versions (versions == "" ? "" : ", ") class " " $4
    } else if ($1 == "METHOD") {
        listed[class "." $2] = 1
    }
    next
}

FNR == 1 {
    print "# Built-in methods"
    print ""
    print "Made by `make docs` of the program'"'"'s own listing (`qor -help`) and of [methods.txt](methods.txt): change that file, not this one."
    print ""
    print "`a b -- c` reads: takes a and b from the stack, of which b is on top, and leaves c. Two ways to end are separated by `/`."
    print "A method of class QOR needs no class before its name; all others do, as in `TEXTFILE.OPEN`. The texts that `-help` shows"
    print "behind the names are short hints, some old and some wrong about what is left on the stack: what holds stands here."
    print "A star marks the methods that work but that `-help` does not list."
    print ""
    print "Classes: " versions "."
}
/^!/ || /^$/ { next }
/^# / {
    end_row()
    printf "\n## %s\n\n", substr($0, 3)
    heading = 1
    next
}
/^> / {
    print substr($0, 3)
    introduction = 1
    next
}
/^[ \t]/ {
    sub(/^[ \t]+/, "")
    description = description (description == "" ? "" : " ") $0
    next
}
{
    end_row()
    end_introduction()
    if (heading) {
        print "| method | stack | what it does |"
        print "|---|---|---|"
        heading = 0
    }
    name = $1
    if (name in described) problem(name " is described twice")
    described[name] = 1
    effect = substr($0, length(name) + 1)
    sub(/^[ \t]+/, "", effect)
    if (effect !~ /--/) problem(name " has no stack effect")
    description = ""
}
END {
    end_row()
    for (name in listed)
        if (!(name in described)) problem(name " is in the listing and has no description in methods.txt")
    exit failed
}' "$listing" "$descriptions"
