#!/usr/bin/env bash
# qellog run as a real process on recorded and generated streams.
. "$(dirname "$0")/lib.sh"
export QEL_LOG_LEVEL=6

# Records written by `qellog emit` through QEL_STDERR, with plain lines.
{
    echo "plain line one"
    run_clean QEL_LOG_LEVEL=6 "$BIN/qellog" emit --level ERROR --code E42 'disk <full> & "stuck"' 2>&1
    printf 'plain line two\r\n'
    run_clean QEL_LOG_LEVEL=6 "$BIN/qellog" emit --level INFO 'all is well' 2>&1
    run_clean QEL_LOG_LEVEL=6 "$BIN/qellog" emit --level WARNING 'line one
line two' 2>&1
    printf 'no final line end'
} > "$SCRATCH/stream"
check "emit writes a framed record" grep -q '^<!-- QELLog size=' "$SCRATCH/stream"
check "emit escapes the message" grep -q 'disk &lt;full&gt; &amp; &quot;stuck&quot;' "$SCRATCH/stream"

capture "$BIN/qellog" "$SCRATCH/stream"
check "text exits 0" equals "$RC" 0
check "error event as text, with its code" contains "$OUT" '<ERROR>   [E42] disk <full> & "stuck"'
check "info event as text" contains "$OUT" '<INFO>    all is well'
check "the time first" grep -Eq '^[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} <INFO>    all is well$' "$SCRATCH/out"
check "continuation lines indented under the message" contains "$OUT" $'<WARNING> line one\n                              line two\n'
check "plain lines as they are" grep -qx 'plain line one' "$SCRATCH/out"
check "CR LF ends one line" equals "$(grep -c 'plain line two' <<< "$OUT")" 1
check "last line without line end delivered" grep -qx 'no final line end' "$SCRATCH/out"

capture "$BIN/qellog" --level WARNING "$SCRATCH/stream"
check "level filter keeps warnings" contains "$OUT" '<WARNING> line one'
check "level filter drops info" lacks "$OUT" 'all is well'
check "level by number" equals "$("$BIN/qellog" --level 2 --no-plain "$SCRATCH/stream" | grep -c '<')" 1
capture "$BIN/qellog" --level NONE "$SCRATCH/stream"
check "--level NONE accepted" equals "$RC" 0
check "--level NONE keeps plain lines only" equals "$(grep -c '<' <<< "$OUT")" 0
check "--level=VALUE" equals "$("$BIN/qellog" --level=ERROR --no-plain "$SCRATCH/stream" | grep -c '<')" 1

STDIN_FILE=$SCRATCH/stream capture "$BIN/qellog" --xml --level 3
check "xml exits 0" equals "$RC" 0
check "xml re-frames records" equals "$(grep -c '^<!-- QELLog size=' <<< "$OUT")" 2
check "xml keeps plain lines plain" grep -qx 'plain line one' "$SCRATCH/out"
check "xml keeps the code" contains "$OUT" 'code="E42"'
STDIN_FILE=$SCRATCH/stream capture "$BIN/qellog" --xml --level 3
printf '%s\n' "$OUT" > "$SCRATCH/reframed"
capture "$BIN/qellog" --level 3 "$SCRATCH/reframed"
check "re-framed records read back" contains "$OUT" '<ERROR>   [E42] disk <full> & "stuck"'

capture run_clean "$BIN/qellog" emit --level DEBUG dropped
check "emit below the process level writes nothing" equals "$ERR" ""
capture run_clean "$BIN/qellog" emit --level loud x
check "emit with a bad level exits 2" equals "$RC" 2
capture run_clean "$BIN/qellog" emit x
check "emit without a level exits 2" equals "$RC" 2
capture "$BIN/qellog" "$SCRATCH/absent"
check "missing file exits 1" equals "$RC" 1
check "missing file is named" contains "$ERR" "absent"
capture "$BIN/qellog" --level
check "option without value exits 2" equals "$RC" 2
check "option without value says so" contains "$ERR" "option '--level' needs a value"
capture "$BIN/qellog" --help
check "--help exits 0" equals "$RC" 0
check "--help names emit" contains "$OUT" "emit"

# 100 MB of records and plain lines through a pipe, in constant memory.
limit=""
[ -z "${QEL_SANITIZE:-}" ] && limit="ulimit -v 400000;"
result=$(bash -c "$limit"' python3 -c "
import sys
data = open(sys.argv[1], \"rb\").read() + b\"\\n\"
copies = 100 * 1024 * 1024 // len(data) + 1
sys.stderr.write(str(copies))
out = sys.stdout.buffer
for _ in range(copies):
    out.write(data)
" "$0" 2> "$0.copies" | "$1" --level 3 | grep -c " <ERROR> "' "$SCRATCH/stream" "$BIN/qellog")
check "100 MB stream: every error event" equals "$result" "$(cat "$SCRATCH/stream.copies")"

# --- Records nobody expected: printed as plain lines, never an abort ------
frame() { # frame RECORD: the record with its header, as the XML form writes it
    LC_ALL=C printf '<!-- QELLog size=%-8d -->%s\n' $((${#1} + 1)) "$1"
}
{
    echo before
    frame '<Message xmlns="urn:x" type="ERROR" timestamp="2020- 1-01T10:00:00Z">namespaced</Message>'
    frame '<Message type="ERROR" origin="y" timestamp="2020- 1-01T10:00:00Z">foreign</Message>'
    frame '<Message type="WARNING" code="W1" timestamp="2020- 1-01T10:00:00Z">known</Message>'
    echo after
} > "$SCRATCH/foreign"
capture "$BIN/qellog" "$SCRATCH/foreign"
check "unknown attribute: exit 0" equals "$RC" 0
check "unknown attribute: the record as plain lines" contains "$OUT" '<Message xmlns="urn:x" type="ERROR"'
check "unknown attribute: one warning" equals "$(grep -c 'attribute other than' <<< "$ERR")" 1
check "unknown attribute: what follows is read" contains "$OUT" '<WARNING> [W1] known'
check "unknown attribute: the last line" grep -qx after "$SCRATCH/out"

# --- emit and qellog: every code and message reads back as written --------
roundtrip_cases=(
    'R&D|plain message'
    'A<B>C|<tag> & "quoted" '"'single'"
    "it's|caf""$(printf '\xc3\xa9')"" $(printf '\xe2\x82\xac') $(printf '\xf0\x9f\x98\x80') über"
    '"q"|a&amp;b is not &lt; decoded twice'
    '&&<<>>|line one
line two & <three>'
)
for case in "${roundtrip_cases[@]}"; do
    code=${case%%|*}
    message=${case#*|}
    run_clean QEL_LOG_LEVEL=6 "$BIN/qellog" emit --level WARNING --code "$code" "$message" 2> "$SCRATCH/emitted"
    json=$("$BIN/qellog" --output json "$SCRATCH/emitted")
    check "round trip of code $code" equals "$(jq -j .code <<< "$json")" "$code"
    check "round trip of message $message" equals "$(jq -j .message <<< "$json")" "$message"
    check "round trip of $code: one event, no plain line" equals "$(jq -s 'map(select(.plain)) | length' <<< "$json")" 0
done
run_clean QEL_LOG_LEVEL=6 "$BIN/qellog" emit --level ERROR -- '-Xmx1g is too small' 2> "$SCRATCH/emitted"
check "emit: a message starting with -" equals "$("$BIN/qellog" --output json "$SCRATCH/emitted" | jq -r .message)" '-Xmx1g is too small'

# --- Output forms, filters --------------------------------------------------
{
    echo "first plain"
    frame '<Message type="INFO" timestamp="2020- 1-01T10:00:00Z">new year</Message>'
    echo "plain after new year"
    frame '<Message type="ERROR" code="E7" timestamp="2021- 6-15T12:30:00Z" stackTrace="at a&#10;at b">midsummer</Message>'
    frame '<Message type="DEBUG" timestamp="2022-12-31T23:59:59Z">year end</Message>'
} > "$SCRATCH/timed"
capture "$BIN/qellog" --output json "$SCRATCH/timed"
check "json: one valid object per line" equals "$(jq -s length <<< "$OUT")" 5
check "json: ISO 8601 timestamps" equals "$(jq -r 'select(.code == "E7") | .timestamp' <<< "$OUT" | grep -Ec '^2021-06-15T12:30:00[+-][0-9]{2}:[0-9]{2}$')" 1
check "json: stack trace" equals "$(jq -r 'select(.code == "E7") | .stackTrace' <<< "$OUT")" $'at a\nat b'
check "json: plain lines marked" equals "$(jq -r 'select(.plain) | .message' <<< "$OUT" | head -1)" "first plain"
printf 'bad \xff byte, overlong \xc0\xaf, cut \xe2\x82\n' > "$SCRATCH/invalid"
capture "$BIN/qellog" --output json "$SCRATCH/invalid"
check "json: invalid UTF-8 becomes U+FFFD" equals "$(jq -r .message <<< "$OUT")" $'bad \uFFFD byte, overlong \uFFFD\uFFFD, cut \uFFFD\uFFFD'
capture "$BIN/qellog" --output full "$SCRATCH/timed"
check "full: the stack trace indented" contains "$OUT" $'[E7] midsummer\n                              at a\n                              at b'
capture "$BIN/qellog" --output short "$SCRATCH/timed"
check "short: no stack trace" lacks "$OUT" "at a"
check "short: time and code" contains "$OUT" "2021-06-15 12:30:00 <ERROR>   [E7] midsummer"
capture "$BIN/qellog" --output yaml "$SCRATCH/timed"
check "unknown output form exits 2" equals "$RC" 2
capture "$BIN/qellog" --since 2021-01-01 "$SCRATCH/timed"
check "--since drops older events" lacks "$OUT" "new year"
check "--since drops plain lines of older records" lacks "$OUT" "plain"
check "--since keeps newer events" contains "$OUT" "year end"
capture "$BIN/qellog" --until "2021-06-15 12:29" "$SCRATCH/timed"
check "--until keeps older events" contains "$OUT" "new year"
check "--until keeps plain lines of older records" contains "$OUT" "plain after new year"
check "--until drops newer events" lacks "$OUT" "midsummer"
capture "$BIN/qellog" --since "2021-06-15T12:30:00" --until 2022-01-01 "$SCRATCH/timed"
check "--since and --until: the window" equals "$(grep -c . <<< "$OUT")" 1
capture "$BIN/qellog" --since -2d "$SCRATCH/timed"
check "--since relative" equals "$OUT" ""
capture "$BIN/qellog" --since soon "$SCRATCH/timed"
check "bad time exits 2" equals "$RC" 2
capture "$BIN/qellog" --until today "$SCRATCH/timed"
check "--until today keeps the past" contains "$OUT" "year end"
capture "$BIN/qellog" --since yesterday "$SCRATCH/timed"
check "--since yesterday drops the past" equals "$OUT" ""
capture "$BIN/qellog" --since now "$SCRATCH/timed"
check "--since now drops the past" equals "$OUT" ""
capture "$BIN/qellog" --since 2021-13-01 "$SCRATCH/timed"
check "month 13 is no time" equals "$RC" 2
capture "$BIN/qellog" --since "2021-06-15 12:30:00x" "$SCRATCH/timed"
check "trailing text after the time is refused" equals "$RC" 2
capture "$BIN/qellog" --since -5x "$SCRATCH/timed"
check "unknown relative unit is refused" equals "$RC" 2
capture "$BIN/qellog" --level loud "$SCRATCH/timed"
check "bad level to read exits 2" equals "$RC" 2
capture "$BIN/qellog" "$SCRATCH"
check "a directory cannot be read: exit 1" equals "$RC" 1
check "a directory cannot be read: says why" contains "$ERR" "Is a directory"
capture "$BIN/qellog" --grep 'mid|end$' "$SCRATCH/timed"
check "--grep keeps matches" equals "$(grep -c . <<< "$OUT")" 2
check "--grep drops the rest" lacks "$OUT" "new year"
capture "$BIN/qellog" --grep '(' "$SCRATCH/timed"
check "bad pattern exits 2" equals "$RC" 2
capture "$BIN/qellog" --no-plain "$SCRATCH/timed"
check "--no-plain drops plain lines" lacks "$OUT" "plain"
check "--no-plain keeps records" equals "$(grep -c . <<< "$OUT")" 3

capture "$BIN/qellog" --color=always "$SCRATCH/timed"
check "--color=always colours errors" contains "$OUT" $'\e[31m2021-06-15'
check "--color=always leaves plain lines" grep -qx 'first plain' "$SCRATCH/out"
capture "$BIN/qellog" "$SCRATCH/timed"
check "no colour into a file" lacks "$OUT" $'\e['
if command -v script > /dev/null; then
    TERM=xterm script -qec "$BIN/qellog $SCRATCH/timed" /dev/null > "$SCRATCH/tty" < /dev/null
    check "colour on a terminal" grep -q $'\e\\[31m' "$SCRATCH/tty"
    NO_COLOR=1 TERM=xterm script -qec "$BIN/qellog $SCRATCH/timed" /dev/null > "$SCRATCH/tty" < /dev/null
    check "NO_COLOR on a terminal" lacks "$(cat "$SCRATCH/tty")" $'\e['
fi

# A last line longer than a read, without its line end, and line ends of
# CR LF split between reads: every byte of text arrives, no line end doubles.
head -c 200000 /dev/zero | tr '\0' 'x' > "$SCRATCH/long"
capture "$BIN/qellog" "$SCRATCH/long"
check "unterminated long last line arrives whole" equals "$(tr -d '\n' <<< "$OUT" | wc -c)" 200000
{ head -c 131071 /dev/zero | tr '\0' 'y'; printf '\r\nnext\r\n'; } > "$SCRATCH/split"
capture "$BIN/qellog" "$SCRATCH/split"
check "CR LF across reads ends one line" equals "$(tail -1 <<< "$OUT")" "next"
check "CR LF across reads: no empty line" equals "$(grep -c '^$' <<< "$OUT")" 0

# --- --follow ---------------------------------------------------------------
: > "$SCRATCH/growing"
"$BIN/qellog" --follow "$SCRATCH/growing" > "$SCRATCH/followed" 2>&1 &
follower=$!
wait_for() { # wait_for TEXT: until the followed output holds TEXT (10 s at most)
    for _ in $(seq 100); do grep -q "$1" "$SCRATCH/followed" && return 0; sleep 0.1; done
    return 1
}
frame '<Message type="ERROR" timestamp="2020- 1-01T10:00:00Z">appended once</Message>' >> "$SCRATCH/growing"
check "--follow prints what is appended" wait_for "appended once"
echo "a plain line" >> "$SCRATCH/growing"
check "--follow prints appended lines" wait_for "a plain line"
: > "$SCRATCH/growing"
sleep 0.5
echo "after truncation" >> "$SCRATCH/growing"
check "--follow reads a truncated file from its start" wait_for "after truncation"
kill "$follower"
wait "$follower" 2> /dev/null
capture "$BIN/qellog" --follow "$SCRATCH/timed" "$SCRATCH/stream"
check "--follow with two files exits 2" equals "$RC" 2

# --- Write errors, version --------------------------------------------------
"$BIN/qellog" "$SCRATCH/stream" > /dev/full 2> "$SCRATCH/err"
check "output to a full disk exits 1" equals "$?" 1
check "output to a full disk says so" grep -qx "qellog: write error: No space left on device" "$SCRATCH/err"
run_clean QEL_LOG_LEVEL=6 "$BIN/qellog" emit --level ERROR lost 2> /dev/full
check "emit to a full disk exits 1" equals "$?" 1
capture "$BIN/qellog" --version
check "--version" grep -Eq '^qellog \(QELStd\) [0-9]+\.[0-9]+\.[0-9]+$' "$SCRATCH/out"

{ head -c 100000 /dev/zero | tr '\0' y; printf '\nshort\n'; } > "$SCRATCH/midline"
check "a line of 100000 bytes: two pieces" equals "$("$BIN/qellog" "$SCRATCH/midline" | awk '{ print length($0) }' | tr '\n' ' ')" "65536 34464 5 "

check "manual page installed" test -f "$HOME_DIR/share/man/man1/qellog.1"
if command -v groff > /dev/null; then
    check "manual page without warnings" equals "$(groff -man -Tutf8 -ww -z "$HOME_DIR/share/man/man1/qellog.1" 2>&1)" ""
fi
check "completion of --output" equals "$(bash -c '. "$1"; COMP_WORDS=(qellog --output j); COMP_CWORD=2; _qellog; echo "${COMPREPLY[@]}"' \
    complete "$HOME_DIR/share/bash-completion/completions/qellog")" json

# --- A 1 GB line: printed in pieces of 65536 bytes, in bounded memory -------
size=$((1024 * 1024 * 1024))
[ -n "${QEL_SANITIZE:-}" ] && size=$((64 * 1024 * 1024))
python3 - "$BIN/qellog" "$size" > "$SCRATCH/longline" <<'PY'
import resource, subprocess, sys
qellog, size = sys.argv[1], int(sys.argv[2])
reader = subprocess.Popen([qellog], stdin=subprocess.PIPE, stdout=subprocess.PIPE)
counter = subprocess.Popen(["wc", "-lc"], stdin=reader.stdout, stdout=subprocess.PIPE)
reader.stdout.close()
block = b"x" * (1 << 20)
for _ in range(size >> 20):
    reader.stdin.write(block)
reader.stdin.write(b"\nend\n")
reader.stdin.close()
counted = counter.communicate()[0].split()
reader.wait()
peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss // 1024
print(reader.returncode, counted[0].decode(), counted[1].decode(), peak)
PY
read -r rc lines bytes peak < "$SCRATCH/longline"
check "long line: exit 0" equals "$rc" 0
check "long line: pieces of 65536 bytes" equals "$lines" $((size / 65536 + 1))
check "long line: every byte" equals "$bytes" $((size + size / 65536 + 4))
if [ -z "${QEL_SANITIZE:-}" ]; then
    check "long line: resident memory under 64 MiB (${peak} MiB)" test "$peak" -lt 64
fi
finish
