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
check "error event as text" contains "$OUT" '<ERROR>   disk <full> & "stuck"'
check "info event as text" contains "$OUT" '<INFO>    all is well'
check "multi-line message kept" contains "$OUT" $'<WARNING> line one\nline two'
check "plain lines are level 0" contains "$OUT" '          plain line one'
check "CR LF ends one line" equals "$(grep -c 'plain line two' <<< "$OUT")" 1
check "last line without line end delivered" contains "$OUT" '          no final line end'

capture "$BIN/qellog" --level WARNING "$SCRATCH/stream"
check "level filter keeps warnings" contains "$OUT" '<WARNING> line one'
check "level filter drops info" lacks "$OUT" 'all is well'
check "level by number" equals "$("$BIN/qellog" --level 2 "$SCRATCH/stream" | grep -c '<')" 1

STDIN_FILE=$SCRATCH/stream capture "$BIN/qellog" --xml --level 3
check "xml exits 0" equals "$RC" 0
check "xml re-frames records" equals "$(grep -c '^<!-- QELLog size=' <<< "$OUT")" 5
check "xml keeps the code" contains "$OUT" 'code="E42"'
STDIN_FILE=$SCRATCH/stream capture "$BIN/qellog" --xml --level 3
printf '%s\n' "$OUT" > "$SCRATCH/reframed"
capture "$BIN/qellog" --level 3 "$SCRATCH/reframed"
check "re-framed records read back" contains "$OUT" '<ERROR>   disk <full> & "stuck"'

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
" "$0" 2> "$0.copies" | "$1" --level 3 | grep -c "^<ERROR>"' "$SCRATCH/stream" "$BIN/qellog")
check "100 MB stream: every error event" equals "$result" "$(cat "$SCRATCH/stream.copies")"
finish
