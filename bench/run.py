"""Runs the same work in QorScript and in other languages and prints a Markdown table of CPU seconds.

Every program's output is checked, so a fast wrong answer stops the run. What is measured is the CPU time (user and system)
of the child, so what else the machine does counts little; the languages take turns within each round for the same reason.
"""

import argparse
import filecmp
import hashlib
import json
import os
import random
import shutil
import sqlite3
import statistics
import subprocess
import sys
import tempfile
import time

HERE = os.path.dirname(os.path.abspath(__file__))
PROGRAMS = os.path.join(HERE, "programs")
AREAS = os.path.join(HERE, "..", "examples", "borders", "data", "countries.geojson")
LINES = 1_000_000
RECORDS = 500_000
RECORDS_IN_STREAM = 360_000 # 100 MB in the stream form
MODULUS = 1000003

# Name, command, ending of its programs, argument that gives its version.
LANGUAGES = [
    ("QorScript", None, "qor", None),
    ("Lua", "lua5.4", "lua", "-v"),
    ("Python", "/usr/bin/python3", "py", "--version"),
    ("Perl", "perl", "pl", "-v"),
    ("Tcl", "tclsh8.6", "tcl", None),
    ("gawk", "gawk", "awk", "--version"),
    ("Miller", "mlr", "mlr", "--version"),
]

TASKS = [
    ("loop", "counting loop on map entries, 10,000,000 passes"),
    ("loop_plain", "the same on plain local variables"),
    ("fib", "recursive Fibonacci of 31"),
    ("lists", "cut 500,000 records of six fields into names, put them together in another order"),
    ("map", "fill and read a map of 400,000 keys"),
    ("count", "count 1,000,000 lines by a field"),
    ("transfer", "route 1,000,000 lines by a field, write two of three branches"),
    ("stream", "write 360,000 records of nine fields and a list (100 MB), read them back (Python: json)"),
    ("stream_pickle", "the same (Python: pickle)"),
    ("points", "create, copy and release 1,000,000 points (Python: shapely)"),
    ("inside", "find the country of 1,000,000 points among 241 (Python: shapely)"),
    ("wkt", "read and write 200,000 points and 2,410 outlines of countries as WKT (Python: shapely)"),
    ("sqlwrite", "load 1,000,000 lines of five fields into SQLite, 10,000 rows in a transaction"),
    ("sqlread", "read 1,000,000 rows of five columns from SQLite, add up a third of them"),
]
# Those that get files: what comes in, the folder for what goes out, and the outlines of countries.
FILE_TASKS = ("count", "transfer", "stream", "stream_pickle", "inside", "wkt", "sqlwrite", "sqlread")
SALES = "create table SALES (ID integer, KEYNAME text, REGION text, AMOUNT real, REMARK text)"

# Containers of a million: what each program fills, the name of one element, and what it can do with it then, which its
# argument names, with what it prints. The languages that have a program for one are those with containers to compare.
MILLION = 1_000_000
ALL_NUMBERS = "%d\n" % (sum(range(MILLION)) % MODULUS)
TEN_TIMES = "%d\n" % (10 * sum(range(MILLION)) % MODULUS)
CONTAINERS = [
    ("keys", "map, keys K and a number", "key", [
        ("FILL", "fill", "7\n"),
        ("FIND", "look up all, in another order", ALL_NUMBERS),
        ("SCAN", "read all in order, ten times",
         "%d\n" % (10 * sum(i + len("K%d" % i) for i in range(MILLION)) % MODULUS)),
        ("SORT", "sort by key", "0 1 10\n"),
        ("REMOVE", "remove one by one, in the order of insertion", "TRUE\n"),
        ("REMOVE_MIXED", "remove one by one, in another order", "TRUE\n"),
        ("REFILL", "empty it and fill it again", "7\n"),
    ]),
    ("places", "map, keys a place and a number", "key", [
        ("FILL", "fill", "7\n"),
        ("FIND", "look up all, in another order", ALL_NUMBERS),
        ("REMOVE_MIXED", "remove one by one, in another order", "TRUE\n"),
    ]),
    ("elements", "list of numbers", "element", [
        ("FILL", "append", "999999\n"),
        ("READ", "read all, ten times", TEN_TIMES),
        ("BY_NUMBER", "read all by number, ten times", TEN_TIMES),
        ("QUEUE", "append one and remove the first, 10,000,000 times", "1000000 9000000\n"),
        ("REMOVE", "remove the first until none is left", "0\n"),
        ("PREPEND", "prepend to another", "999999\n"),
    ]),
    ("records", "table of records of four fields", "record", [
        ("FILL", "write", "7 name7 north 3.5\n"),
        ("FIND", "read all by key, in another order", ALL_NUMBERS),
        ("SCAN", "read all in order", ALL_NUMBERS),
    ]),
]


class Work:
    """The input file and what the programs must print and write for it."""

    def __init__(self, folder):
        self.folder = folder
        self.input = os.path.join(folder, "sales.csv")
        self.out = os.path.join(folder, "out")
        os.mkdir(self.out)
        counts = {}
        self.files = {"north": hashlib.sha256(), "south": hashlib.sha256()}
        state = 1
        with open(self.input, "w", encoding="ascii") as file:
            for i in range(LINES):
                state = state * 1103515245 + 12345 & 0x7FFFFFFF
                key = "key%03d" % (state // 65536 % 200)
                region = ("north", "south", "west")[state // 256 % 3]
                file.write("%07d,%s,%s,%d.%02d,remark of line %d\n" % (i, key, region, state % 1000, i % 100, i))
                counts[key] = counts.get(key, 0) + 1
                if region in self.files:
                    self.files[region].update(b"%07d,%s\n" % (i, key.encode()))
        self.inputs = {"inside": self.write_points(), "wkt": self.write_wkt()}
        loop = 10_000_000 * 10_000_001 // 2 % MODULUS
        rebuilt = "north,%d,2026-11-22,widget,first of the month,12.50"
        length = sum(len(rebuilt % i) for i in range(RECORDS)) % MODULUS
        one_round = sum(i * 1237 + 600_000 - i * 425 + len("alternative %d" % i) for i in range(1000))
        in_stream = one_round * (RECORDS_IN_STREAM // 1000) % MODULUS
        self.expected = {
            "loop": "%d\n" % loop,
            "loop_plain": "%d\n" % loop,
            "fib": "1346269\n",
            "lists": "%s\n%d\n" % (rebuilt % (RECORDS - 1), length),
            "map": "%d\n" % (sum(range(400_000)) % MODULUS),
            "count": "".join("%s %d\n" % item for item in sorted(counts.items())),
            "transfer": "status 0\n",
            "stream": "%d %d\n" % (RECORDS_IN_STREAM, in_stream),
            "stream_pickle": "%d %d\n" % (RECORDS_IN_STREAM, in_stream),
            "points": "%d\n" % ((sum(range(MILLION)) + MILLION // 2) % MODULUS),
            "wkt": "",
            "sqlwrite": "%d\n" % LINES,
        }

    def write_points(self):
        """Places anywhere between 60 degrees south and 75 north."""
        numbers = random.Random(1)
        path = os.path.join(self.folder, "points.csv")
        with open(path, "w", encoding="ascii") as file:
            for _ in range(MILLION):
                file.write("%.5f,%.5f\n" % (numbers.uniform(-180, 180), numbers.uniform(-60, 75)))
        return path

    def write_wkt(self):
        """Written as both write it, so that what they make of it must be the same file."""
        def text(value):
            return "%.15g" % value

        def ring(points):
            return "(%s)" % ", ".join("%s %s" % (text(x), text(y)) for x, y in points)

        def outline(polygons):
            texts = ["(%s)" % ", ".join(ring(points) for points in polygon) for polygon in polygons]
            return "MULTIPOLYGON (%s)" % ", ".join(texts) if len(texts) > 1 else "POLYGON " + texts[0]

        with open(AREAS, encoding="utf-8") as file:
            outlines = [outline(feature["geometry"]["coordinates"]) for feature in json.load(file)["features"]]
        numbers = random.Random(2)
        path = os.path.join(self.folder, "geometries.wkt")
        with open(path, "w", encoding="ascii") as file:
            for _ in range(10):
                file.writelines(line + "\n" for line in outlines)
                for _ in range(20_000):
                    x, y = numbers.randrange(-18_000_000, 18_000_000), numbers.randrange(-9_000_000, 9_000_000)
                    file.write("POINT (%s %s)\n" % (text(x / 100_000), text(y / 100_000)))
        return path

    def make_database(self):
        """The same lines as a table, to be read and to be compared with what is written."""
        with open(self.input, encoding="ascii") as file:
            rows = [line.rstrip("\n").split(",") for line in file]
        with sqlite3.connect(os.path.join(self.out, "read.db")) as database:
            database.execute(SALES)
            database.executemany("insert into SALES values (?, ?, ?, ?, ?)", rows)
        north = [float(row[3]) for row in rows if row[2] == "north"]
        self.expected["sqlread"] = "%d %.2f\n" % (len(north), sum(north))

    def check(self, task, who, printed):
        # Which point lies in which country is not worked out here: the programs check each other.
        self.expected.setdefault(task, printed)
        # Miller's program has nothing to print.
        if printed != (self.expected[task] if who != "Miller" else ""):
            sys.exit("bench: %s of %s printed something else than expected:\n%s" % (task, who, printed[:500]))
        if task == "transfer":
            for name, digest in self.files.items():
                with open(os.path.join(self.out, name), "rb") as file:
                    if hashlib.sha256(file.read()).digest() != digest.digest():
                        sys.exit("bench: %s of %s wrote a wrong file %s" % (task, who, name))
        if task == "wkt" and not filecmp.cmp(self.inputs[task], os.path.join(self.out, "wkt"), shallow=False):
            sys.exit("bench: wkt of %s did not write what it read" % who)
        if task == "sqlwrite":
            written, wanted = (rows_of(os.path.join(self.out, name)) for name in ("write.db", "read.db"))
            if written != wanted:
                sys.exit("bench: %s of %s wrote %s for %s" % (task, who, written, wanted))


def rows_of(path):
    """What two tables have in common that hold the same rows in the same order."""
    with sqlite3.connect(path) as database:
        return database.execute("select count(*), sum(ID), sum(ID * length(KEYNAME || REGION || REMARK)), "
                                "sum(rowid * cast(AMOUNT * 100 + 0.5 as integer)) from SALES").fetchone()


def command(program, ending, task, source, out):
    path = os.path.join(PROGRAMS, "%s.%s" % (task, ending))
    data = task in FILE_TASKS
    if ending == "qor":
        return [program, "-cgi", "-script", path] + (["-input", source, "-out", out, "-areas", AREAS] if data else [])
    if ending == "awk":
        return [program, "-v", "out=" + out, "-f", path] + ([source] if data else [])
    if ending == "mlr":
        return [program, "--inidx", "--ifs", ",", "--from", source, "put", "-q", "-f", path]
    return [program, path] + ([source, out, AREAS] if data else [])


def run(arguments, folder, out, watch=lambda pid: None):
    """CPU seconds and standard output of a child; watch is called with its id while it runs."""
    with open(os.path.join(folder, "printed"), "w+b") as printed:
        environment = dict(os.environ, LC_ALL="C", OUT=out, PYTHONWARNINGS="ignore")
        child = subprocess.Popen(arguments, stdin=subprocess.DEVNULL, stdout=printed, env=environment)
        watch(child.pid)
        status, usage = os.wait4(child.pid, 0)[1:]
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode:
            sys.exit("bench: %s ended with %d" % (" ".join(arguments), child.returncode))
        printed.seek(0)
        return usage.ru_utime + usage.ru_stime, printed.read().decode("utf-8", "replace")


def version(program, argument):
    if not argument:
        return ""
    done = subprocess.run([program, argument], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    words = done.stdout.replace("(v", " ").replace(")", " ").replace(",", " ").split()
    return next((word for word in words if word[0].isdigit() and "." in word), "")


def main():
    parser = argparse.ArgumentParser(prog="run.sh", description="Compares QorScript with other languages.")
    parser.add_argument("qor", help="the program qor")
    parser.add_argument("tasks", nargs="*", help="tasks to run, all when none is named; memory is one of them")
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_intermixed_args()
    names = [name for name, _ in TASKS] + ["memory"] + [container[0] for container in CONTAINERS]
    for task in options.tasks:
        if task not in names:
            parser.error("unknown task %s, there are %s" % (task, ", ".join(names)))
    wanted = options.tasks or names

    languages = []
    for who, program, ending, argument in LANGUAGES:
        found = shutil.which(program or options.qor)
        if found:
            languages.append((who, os.path.abspath(found), ending, version(found, argument)))
        else:
            print("bench: %s is missing and left out" % (program or options.qor), file=sys.stderr)

    with tempfile.TemporaryDirectory(prefix="qor-bench-") as folder:
        work = Work(folder)
        if "sqlread" in wanted or "sqlwrite" in wanted:
            work.make_database()
        if any(task in wanted for task, _ in TASKS):
            print_head("CPU seconds (ratio to Python)", languages)
        for task, title in TASKS:
            if task in wanted:
                print("| %s | %s |" % (title, measure(work, task, languages, options.rounds)), flush=True)
        if "sqlwrite" in wanted:
            import_by_shell(work, options.rounds)
        if "memory" in wanted:
            memory(work, languages[0][1])
        containers(work.folder, wanted, languages, options.rounds)


def print_head(title, languages):
    print("| %s | %s |" % (title, " | ".join(("%s %s" % (l[0], l[3])).strip() for l in languages)))
    print("|---|%s" % ("---|" * len(languages)))


def cells(values, languages, form):
    """The cells of a row from a figure for each language, with its ratio to Python's."""
    base = values.get("Python")
    return " | ".join((form + " (%.2f)") % (values[l[0]], values[l[0]] / base) if l[0] in values and base
                      else form % values[l[0]] if l[0] in values else "" for l in languages)


def measure(work, task, languages, rounds):
    """The cells of a row: the median of each language."""
    runners = runners_of(task, languages)
    source = work.inputs.get(task, work.input)
    seconds = {l[0]: [] for l in runners}
    for _ in range(rounds):
        for who, program, ending, _ in runners:
            taken, printed = run(command(program, ending, task, source, work.out), work.folder, work.out)
            work.check(task, who, printed)
            seconds[who].append(taken)
    return cells({who: statistics.median(taken) for who, taken in seconds.items()}, languages, "%.2f")


def import_by_shell(work, rounds):
    """SQLite's own program loads the same file; it splits lines and converts by the types of the columns."""
    shell = shutil.which("sqlite3")
    if not shell:
        print("bench: sqlite3 is missing and left out", file=sys.stderr)
        return
    seconds = []
    for _ in range(rounds):
        taken, _ = run([shell, os.path.join(work.out, "write.db"), "-cmd", "drop table if exists SALES", "-cmd", SALES,
                        "-cmd", ".mode csv", ".import %s SALES" % work.input], work.folder, work.out)
        work.check("sqlwrite", "sqlite3", "%d\n" % LINES)
        seconds.append(taken)
    print("\nThe sqlite3 shell imports the same lines in %.2f s" % statistics.median(seconds))


def runners_of(task, languages):
    return [l for l in languages if os.path.exists(os.path.join(PROGRAMS, "%s.%s" % (task, l[2])))]


def containers(folder, wanted, languages, rounds):
    """The tables of the containers. Filling is measured with the start of the program; every other step by a program that
    fills first, less the filling. The difference of two figures needs those that were disturbed least."""
    for name, title, element, steps in CONTAINERS:
        if name not in wanted:
            continue
        runners = runners_of(name, languages)
        seconds = {(step[0], l[0]): [] for step in steps for l in runners}
        for _ in range(rounds):
            for who, program, ending, _ in runners:
                for step, _, expected in steps:
                    taken, printed = run(filling(program, ending, name, step), folder, folder)
                    if printed != expected:
                        sys.exit("bench: %s %s of %s printed %s" % (name, step, who, printed[:500]))
                    seconds[step, who].append(taken)
        print()
        print_head("1,000,000: " + title + ", CPU seconds", runners)
        for step, what, _ in steps:
            best = {l[0]: min(seconds[step, l[0]]) - (min(seconds["FILL", l[0]]) if step != "FILL" else 0)
                    for l in runners}
            print("| %s | %s |" % (what, cells(best, runners, "%.2f")))
        sizes = {l[0]: bytes_each(folder, l, name) for l in runners}
        print("| bytes for each %s | %s |" % (element, cells(sizes, runners, "%.0f")), flush=True)


def filling(program, ending, name, step):
    path = os.path.join(PROGRAMS, "%s.%s" % (name, ending))
    return [program, "-cgi", "-script", path, "-do", step] if ending == "qor" else [program, path, step]


def bytes_each(folder, language, name):
    """What an element takes: the peak memory of filling, less that of a program without containers."""
    _, program, ending, _ = language
    filled, empty = [0], [0]
    run(filling(program, ending, name, "FILL"), folder, folder, peak_watcher(filled))
    run(command(program, ending, "fib", "", ""), folder, folder, peak_watcher(empty))
    return (filled[0] - empty[0]) * 1024 / MILLION


def peak_watcher(peak):
    """Keeps a child's high-water mark of memory, in KiB, in peak[0]. The rusage of a child would count this program's own
    memory too, since that is what the child starts from; the mark in /proc begins anew with the program it runs."""
    def watch(pid):
        while not os.waitid(os.P_PID, pid, os.WEXITED | os.WNOHANG | os.WNOWAIT):
            with open("/proc/%d/status" % pid, encoding="ascii", errors="replace") as status:
                for line in status:
                    if line.startswith("VmHWM:") and started(pid):
                        peak[0] = max(peak[0], int(line.split()[1]))
            time.sleep(0.002)
    return watch


def started(pid):
    """Whether the child already runs its program and is not a copy of this one any more."""
    with open("/proc/%d/cmdline" % pid, "rb") as child, open("/proc/self/cmdline", "rb") as own:
        return child.read() not in (b"", own.read())


def memory(work, qor):
    """Peak memory of the transfer for one and for ten copies of the input, and of writing and reading a long stream: it
    must not grow with what goes through."""
    tenfold = os.path.join(work.folder, "tenfold.csv")
    with open(tenfold, "wb") as target:
        for _ in range(10):
            with open(work.input, "rb") as source:
                shutil.copyfileobj(source, target)
    peaks, written = [], []
    for source in (work.input, tenfold):
        peak = [0]
        run(command(qor, "qor", "transfer", source, work.out), work.folder, work.out, peak_watcher(peak))
        peaks.append(peak[0] / 1024)
        written.append(os.path.getsize(os.path.join(work.out, "north")))
    if written[1] != 10 * written[0]:
        sys.exit("bench: the transfer of ten copies wrote %d bytes, of one copy %d" % (written[1], written[0]))
    print("\nPeak memory of the QorScript transfer: %.1f MiB for the input, %.1f MiB for ten copies of it, ratio %.2f"
          % (peaks[0], peaks[1], peaks[1] / peaks[0]))
    peak = [0]
    run(command(qor, "qor", "stream", work.input, work.out), work.folder, work.out, peak_watcher(peak))
    print("Peak memory of writing and reading a stream of %.0f MB: %.1f MiB"
          % (os.path.getsize(os.path.join(work.out, "stream")) / 1e6, peak[0] / 1024))


main()
