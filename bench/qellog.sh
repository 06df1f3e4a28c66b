#!/usr/bin/env bash
# qellog beside cat and grep: wall time and peak resident memory on 200 MB
# of mixed records and plain lines, and peak memory on one 1 GB line. Writes
# bench/TOOLS.md and puts it into bench/RESULTS.md (results.py keeps it).
#   bench/qellog.sh [BIN_DIRECTORY]   (default: build/bin)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bin=${1:-$root/build/bin}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A stream as a product's child writes it: records of every level, one with
# a stack trace and a multi-line message, between plain lines.
{
    echo "starting worker 7"
    for level in FATAL ERROR WARNING STATUS INFO DEBUG; do
        QEL_LOG_LEVEL=6 "$bin/qellog" emit --level $level --code "C-$level" "disk /srv/data is 93% full & <rising>" 2>&1
        echo "plain output line of the worker, level $level done"
    done
    QEL_LOG_LEVEL=6 "$bin/qellog" emit --level ERROR $'two\nlines' 2>&1
} > "$work/sample"
python3 - "$work/sample" "$work/stream" <<'PY'
import sys
sample = open(sys.argv[1], "rb").read()
with open(sys.argv[2], "wb") as out:
    for _ in range(200 * 1000 * 1000 // len(sample) + 1):
        out.write(sample)
PY

# GNU time's figures as a table row. Output goes through a pipe: grep stops
# at its first match when it writes to /dev/null.
row() {
    local seconds user kib
    read -r seconds user kib < <(grep -E '^[0-9.]+ [0-9.]+ [0-9]+$' "$work/time")
    printf '| %s | %s s | %s s | %d MiB |\n' "$1" "$seconds" "$user" $((kib / 1024))
}
measure() { # measure NAME COMMAND...
    /usr/bin/time -f '%e %U %M' -o "$work/time" "${@:2}" | cat > /dev/null
    row "$1"
}
line() { head -c $((1024 * 1024 * 1024)) /dev/zero | tr '\0' x; echo; }
measure_line() { # measure_line NAME COMMAND...: on the 1 GB line, stopped after 60 s
    line | /usr/bin/time -f '%e %U %M' -o "$work/time" timeout 60 "${@:2}" | cat > /dev/null || true
    row "$1"
}

size=$(($(stat -c %s "$work/stream") / 1000000))
{
    echo "## Tools: qellog beside cat and grep"
    echo
    echo "Written by \`bench/qellog.sh\` ($(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) cores, load $(cut -d' ' -f1-3 /proc/loadavg))."
    echo "Wall time, user CPU time and peak resident memory (GNU time), output into a pipe. The"
    echo "machine is shared: wall times move with its load, CPU times much less."
    echo
    echo "$size MB of framed records of every level and plain lines, from a file:"
    echo
    echo "| Command | Wall time | User CPU | Peak memory |"
    echo "|---|---|---|---|"
    measure "qellog FILE" "$bin/qellog" "$work/stream"
    measure "qellog --output json FILE" "$bin/qellog" --output json "$work/stream"
    measure "qellog --level ERROR --grep disk FILE" "$bin/qellog" --level ERROR --grep disk "$work/stream"
    measure "cat FILE" cat "$work/stream"
    measure "grep -c ERROR FILE" grep -c ERROR "$work/stream"
    echo
    echo "One line of 1 GiB (no line end before its last byte) through a pipe:"
    echo
    echo "| Command | Wall time | User CPU | Peak memory |"
    echo "|---|---|---|---|"
    measure_line "qellog" "$bin/qellog"
    measure_line "cat" cat
    measure_line "grep -c x (stopped after 60 s)" grep -c x
    echo
    echo "qellog prints a plain line longer than 65536 bytes in pieces of at most that size, so its"
    echo "memory does not grow with the line; grep gathers the whole line (and slows down as it grows)."
} > "$root/bench/TOOLS.md"

python3 - "$root/bench/TOOLS.md" "$root/bench/RESULTS.md" <<'PY'
import re, sys
tools = open(sys.argv[1]).read().rstrip() + "\n\n"
results = open(sys.argv[2]).read()
results = re.sub(r"## Tools: qellog.*?(?=^## )", "", results, flags=re.S | re.M)
results = results.replace("## Goals missed", tools + "## Goals missed", 1)
open(sys.argv[2], "w").write(results)
PY
cat "$root/bench/TOOLS.md"
