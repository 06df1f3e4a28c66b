#!/usr/bin/env python3
"""Writes bench/RESULTS.md from the JSON files of one benchmark run.

Usage: results.py ON_DIR OFF_DIR MACHINE_FILE OUTPUT

ON_DIR and OFF_DIR hold one Google Benchmark JSON file per program, from the
build with assertions (the default) and from the one without. Each row of the
tables below names the library's benchmark, its peer's and any further peers
shown beside them; the rows where the library is slower or larger than its
peer are listed after the tables.
"""

import glob
import json
import os
import re
import statistics
import sys

import curves

# (workload, library benchmark, peer benchmark, [goal,] other peers)
# Ratios are library / peer on time per operation (lower is better) or, for
# rows whose metric is a counter, on that counter. A goal is the largest
# ratio the row may have (a rate goal of 0.8x the peer is a ratio of 1.25).
SECTIONS = [
    ("Strings", "std::string (QByteArray beside it); CPU time per operation", [
        (f"{op} {size}", f"BM_String_{op}_{size}/qel", f"BM_String_{op}_{size}/std",
         [f"BM_String_{op}_{size}/qt"])
        for op in ("append16", "plus", "mid", "toUpper", "hashCode") for size in ("64", "1K")
    ]),
    ("Containers", "std::vector, std::multiset with a virtual comparator, std::unordered_map; "
     "1e6 items; bytes per item from mallinfo2", [
        ("vector append", "BM_QELVector_Add", "BM_StdVector_Add", ["BM_QELVector_AddThroughContainer"]),
        ("vector search", "BM_QELVector_ContainsElement", "BM_StdVector_Find",
         ["BM_QELVector_FindFirstElement"]),
        ("vector iterate", "BM_QELVector_IterateIterator", "BM_StdVector_Iterate",
         ["BM_QELVector_IterateIndex"]),
        ("vector remove (unordered)", "BM_QELVector_RemoveElement", "BM_StdVector_SwapAndPop",
         ["BM_QELVector_RemoveThroughIterator"]),
        ("ordered vector remove at", "BM_QELOrderedVector_RemoveIndex", "BM_StdVector_Erase", []),
        ("ordered vector insert", "BM_QELOrderedVector_InsertElement", "BM_StdVector_Insert", []),
        ("vector memory / item", "BM_QELVector_Memory#bytes_per_item", "BM_StdVector_Memory#bytes_per_item", []),
        ("tree insert", "BM_Tree_QEL_Insert", "BM_Tree_Std_Insert", []),
        ("tree find", "BM_Tree_QEL_Find", "BM_Tree_Std_Find", []),
        ("tree iterate", "BM_Tree_QEL_Iterate", "BM_Tree_Std_Iterate", []),
        ("tree remove", "BM_Tree_QEL_Remove", "BM_Tree_Std_Remove", []),
        ("tree memory / item", "BM_Tree_QEL_Insert#bytes_per_item", "BM_Tree_Std_Insert#bytes_per_item", []),
        ("simple string table insert", "BM_SimpleString_QEL_Insert", "BM_String_Std_Insert", []),
        ("simple string table find", "BM_SimpleString_QEL_Find", "BM_String_Std_Find", 1.25, []),
        ("simple string table iterate", "BM_SimpleString_QEL_Iterate", "BM_String_Std_Iterate", []),
        ("simple string table remove", "BM_SimpleString_QEL_Remove", "BM_String_Std_Remove", []),
        ("string hashtable insert", "BM_StringSet_QEL_Insert", "BM_String_Std_Insert", []),
        ("string hashtable find", "BM_StringSet_QEL_Find", "BM_String_Std_Find", 1.25, []),
        ("string hashtable iterate", "BM_StringSet_QEL_Iterate", "BM_String_Std_Iterate", []),
        ("string hashtable remove", "BM_StringSet_QEL_Remove", "BM_String_Std_Remove", []),
        ("simple string table memory / item", "BM_SimpleString_QEL_Insert#bytes_per_item",
         "BM_String_Std_Insert#bytes_per_item", []),
        ("string hashtable memory / item", "BM_StringSet_QEL_Insert#bytes_per_item",
         "BM_String_Std_Insert#bytes_per_item", []),
        ("long table insert", "BM_Long_QEL_Insert", "BM_Long_Std_Insert", []),
        ("long table find", "BM_Long_QEL_Find", "BM_Long_Std_Find", 1.25, []),
        ("long table iterate", "BM_Long_QEL_Iterate", "BM_Long_Std_Iterate", []),
        ("long table remove", "BM_Long_QEL_Remove", "BM_Long_Std_Remove", []),
        ("long table memory / item", "BM_Long_QEL_Insert#bytes_per_item", "BM_Long_Std_Insert#bytes_per_item", []),
    ]),
    ("Logging", "spdlog (header-only, a sink that formats and drops) and expat; CPU time per event "
     "or per run", [
        ("text log: event, filter, format, write", "BM_QELTextLogNewEvent", "BM_SpdlogDefaultPattern", 1.0,
         ["BM_SpdlogLevelAndMessage"]),
        ("text formatting alone", "BM_QELTextFormat", "BM_SpdlogLevelAndMessage", []),
        ("framed XML log: event, filter, format, write", "BM_QELXmlLogNewEvent", "BM_SpdlogXmlLikePattern",
         []),
        ("framed XML formatting alone", "BM_QELXmlFormat", "BM_SpdlogXmlLikePattern",
         ["BM_QELXmlFormatEscaped"]),
        ("filtered-out event", "BM_QELXmlLogFiltered", "BM_SpdlogFiltered", []),
        ("deserialise 50 MB (per run)", "BM_Deserializer_Stream50MB", "BM_Expat_RecordsAsOneStream", 1.67,
         ["BM_Expat_RecordsOneByOne"]),
    ]),
    ("Dates", "strptime (plus the fraction by hand), POCO DateTimeParser beside; strftime of the same fields "
     "from a struct tm (the fraction by hand), snprintf of the same format beside; CPU time", [
        ("parse \"2006-03-05 14:07:09.123\"", "BM_Date_parse/qel", "BM_Date_parse/strptime",
         ["BM_Date_parse/poco"]),
        ("chars()", "BM_Date_chars/qel", "BM_Date_chars/strftime", 0.67, ["BM_Date_chars/snprintf"]),
        ("getHour()", "BM_Date_getHour/qel", "BM_Date_getHour/strftime", 0.67, ["BM_Date_getHour/snprintf"]),
        ("getODBCDate()", "BM_Date_getODBCDate/qel", "BM_Date_getODBCDate/strftime", 0.67,
         ["BM_Date_getODBCDate/snprintf"]),
        ("getODBCTimestamp()", "BM_Date_getODBCTimestamp/qel", "BM_Date_getODBCTimestamp/strftime", 0.67,
         ["BM_Date_getODBCTimestamp/snprintf"]),
        ("getXmlTimestamp()", "BM_Date_getXmlTimestamp/qel", "BM_Date_getXmlTimestamp/strftime", 0.67,
         ["BM_Date_getXmlTimestamp/snprintf"]),
    ]),
    ("Files", "std::getline on 100 MB of mixed lines; CPU time per pass", [
        ("getFullLine(0)", "BM_QELGetFullLine0", "BM_StdGetline", []),
        ("getFullLine(0x40)", "BM_QELGetFullLineTrim", "BM_StdGetline", []),
        ("getFullLine(0x7f)", "BM_QELGetFullLineAllFlags", "BM_StdGetline", []),
    ]),
    ("Configuration", "Xerces-C by hand (POCO XMLConfiguration beside), POCO XMLConfiguration::getString for the "
     "lookups alone; the load rows are wall time from process start to the first answer", [
        ("load with a 2 KB setup file", "BM_Setup_load/qel", "BM_Setup_load/xerces", []),
        ("QELSetup::read + 20 getValue", "BM_Setup_read20/qel", "BM_Setup_read20/xerces",
         ["BM_Setup_read20/poco"]),
        ("20 getValue on a document already read", "BM_Setup_lookup20/qel", "BM_Setup_lookup20/poco", 1.0, []),
    ]),
    ("Processes", "hand-written posix_spawn or fork/execv with pipes and reader threads (POCO "
     "Process::launch, QProcess beside); wall time", [
        ("start and wait for /bin/true", "BM_Launch_True", "BM_PosixSpawn_True", 1.25,
         ["BM_HandWritten_True", "BM_Poco_True", "BM_QProcess_True"]),
        ("collect 256 MiB from a child (time)", "BM_Launch_Collect256MiB",
         "BM_HandWritten_Collect256MiB",
         ["BM_PosixSpawn_Collect256MiB", "BM_Poco_Collect256MiB", "BM_QProcess_Collect256MiB"]),
    ]),
    ("Child processes", "hand-written posix_spawn and poll loop (QProcess beside); wall time", [
        ("QELChildProcess start and wait for /bin/true",
         "BM_ChildProcess_True", "BM_PosixSpawnBare_True", 1.11, ["BM_PosixSpawnPipes_True", "BM_QProcess_True"]),
        ("QELChildProcess cat 256 MiB in and out", "BM_ChildProcess_Cat256MiB",
         "BM_PollLoop_Cat256MiB", 1.25, ["BM_QProcess_Cat256MiB"]),
    ]),
    ("Encoding", "ICU ucnv_convert (iconv beside); CPU time per 10 MB", [
        ("10 MB ISO-8859-1 to UTF-8", "BM_Encoding_latin1ToUtf8/qel", "BM_Encoding_latin1ToUtf8/icu",
         ["BM_Encoding_latin1ToUtf8/iconv"]),
    ]),
]

UNIT_NS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
SUFFIX = re.compile(r"/(iterations:\d+|min_time:[0-9.]+|repeats:\d+|real_time|manual_time)")


def load(directory):
    """Name -> {"time": ns, "counters": {...}}; the median of repetitions."""
    runs = {}
    for path in sorted(glob.glob(os.path.join(directory, "*.json"))):
        try:
            with open(path) as f:
                data = json.load(f)
        except (OSError, ValueError):
            continue
        for b in data.get("benchmarks", []):
            if b.get("run_type") == "aggregate" or b.get("error_occurred"):
                continue
            run_name = b.get("run_name", b["name"])
            wall = "/real_time" in run_name or "/manual_time" in run_name
            name = SUFFIX.sub("", run_name)
            t = (b["real_time"] if wall else b["cpu_time"]) * UNIT_NS.get(b.get("time_unit", "ns"), 1.0)
            entry = runs.setdefault(name, {"times": [], "counters": {}})
            entry["times"].append(t)
            for key, value in b.items():
                if isinstance(value, (int, float)) and key not in (
                        "real_time", "cpu_time", "iterations", "repetitions", "repetition_index", "threads",
                        "family_index", "per_family_instance_index"):
                    entry["counters"].setdefault(key, []).append(value)
    out = {}
    for name, e in runs.items():
        out[name] = {"time": statistics.median(e["times"]),
                     "counters": {k: statistics.median(v) for k, v in e["counters"].items()}}
    return out


def value(runs, key):
    """(number, is_counter) for 'Name' (time) or 'Name#counter'."""
    name, _, counter = key.partition("#")
    r = runs.get(name)
    if r is None:
        return None, bool(counter)
    if counter:
        return r["counters"].get(counter), True
    return r["time"], False


def fmt(v, is_counter):
    if v is None:
        return "n/a"
    if is_counter:
        return f"{v:.1f} B"
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if v >= scale:
            return f"{v / scale:.3g} {unit}"
    return f"{v:.3g} ns"


def short(key):
    name = key.partition("#")[0]
    return name.replace("BM_", "")


def unpack(row):
    """(workload, lib, peer, goal or None, others) of a row with or without a goal."""
    if len(row) == 5:
        return row
    workload, lib, peer, others = row
    return workload, lib, peer, None, others


def ratio_of(runs, lib, peer):
    lv, _ = value(runs, lib)
    pv, _ = value(runs, peer)
    return lv / pv if lv is not None and pv else None


def goal_cell(ratio, goal):
    if goal is None:
        return ""
    met = "n/a" if ratio is None else "met" if round(ratio, 2) <= goal else "missed"
    return f"≤ {goal:.2f}x ({met})"


def load_why(path):
    """{"Section: workload": (text, is_design)} from the lines of WHY.md that read
    "- Section: workload :: why", "[design]" at the start of why marking a cost of the
    library's described design."""
    why = {}
    if os.path.exists(path):
        with open(path) as f:
            for line in f:
                m = re.match(r"^- (\w[\w ]*): (.+?) :: (.+)$", line.rstrip())
                if m:
                    text = m.group(3)
                    design = text.startswith("[design]")
                    why[f"{m.group(1)}: {m.group(2)}"] = (text.replace("[design]", "").strip(), design)
    return why


def section_table(title, peers, rows, on, off, slower):
    lines = [f"## {title}", "", f"Peers: {peers}.", "",
             "| Workload | Library | Peer | Ratio | Goal | Assertions off | Beside |",
             "|---|---|---|---|---|---|---|"]
    for row in rows:
        workload, lib, peer, goal, others = unpack(row)
        lv, counter = value(on, lib)
        pv, _ = value(on, peer)
        ratio = ratio_of(on, lib, peer)
        oratio = ratio_of(off, lib, peer)
        # Judged at the precision shown (48.0 B against 47.9997 B is 1.00x).
        if ratio is not None and round(ratio, 2) > 1.0:
            slower.append((ratio, title, workload))
        beside = []
        for o in others:
            ov, oc = value(on, o)
            if ov is not None:
                beside.append(f"{short(o)} {fmt(ov, oc)}")
        lines.append(
            f"| {workload} | {fmt(lv, counter)} | {short(peer)} {fmt(pv, counter)} | "
            f"{'n/a' if ratio is None else f'{ratio:.2f}x'} | {goal_cell(ratio, goal)} | "
            f"{'n/a' if oratio is None else f'{oratio:.2f}x'} | {'; '.join(beside)} |")
    return lines + [""]


def slower_list(slower, why):
    """The rows behind their peer, each with its reason; the described design's apart."""
    misses, design = [], []
    for ratio, title, workload in sorted(slower, key=lambda s: -s[0]):
        text, is_design = why.get(f"{title}: {workload}", ("no reason written yet", False))
        (design if is_design else misses).append(f"- {title}: {workload} ({ratio:.2f}x): {text}")
    lines = ["## Where the library is slower or larger than its peer", "",
             "Largest ratio first, each with its cause in the code; the profiles behind them follow.", ""]
    lines += misses or ["Nowhere, apart from the costs of the described design below."]
    lines += ["", "### Costs of the described design (not counted as misses)", ""]
    lines += design or ["None."]
    return lines + [""]


def main():
    on_dir, off_dir, machine_file, output = sys.argv[1:5]
    on, off = load(on_dir), load(off_dir)
    with open(machine_file) as f:
        machine = f.read().strip()
    lines = ["# Benchmark results", "",
             "Written by `bench/run.sh` from one run of the suite: every library figure and its peer's come",
             "from the same program in the same run. Ratio = library / peer (time per operation, or bytes",
             "per item for memory rows): below 1 the library is faster or smaller. \"Assertions off\" is",
             "the same ratio from the build with",
             "`-DQEL_ASSERTIONS=OFF`. Times are medians of the repetitions; microbenchmarks use CPU time,",
             "process and load rows wall time.", "", "## Machine", "", machine, ""]
    slower = []
    for title, peers, rows in SECTIONS:
        lines += section_table(title, peers, rows, on, off, slower)
    # The tools' row, written by bench/qellog.sh.
    tools = os.path.join(os.path.dirname(os.path.abspath(__file__)), "TOOLS.md")
    if os.path.exists(tools):
        with open(tools) as f:
            lines += [f.read().rstrip(), ""]
    # The cause of each slower row (WHY.md) and the profiles behind them
    # (NOTES.md), written by hand.
    here = os.path.dirname(os.path.abspath(__file__))
    lines += slower_list(slower, load_why(os.path.join(here, "WHY.md")))
    notes = os.path.join(here, "NOTES.md")
    if os.path.exists(notes):
        with open(notes) as f:
            lines += [f.read().rstrip(), ""]
    # The scaling curves and their table, drawn by bench/curves.py.
    scaling = os.path.join(on_dir, "QELScaling.json")
    if os.path.exists(scaling):
        lines += curves.section(scaling, os.path.join(here, "curves"),
                                stream_json=os.path.join(on_dir, "QELStreamScaling.json"))
        lines.append("")
    with open(output, "w") as f:
        f.write("\n".join(lines))


if __name__ == "__main__":
    main()
