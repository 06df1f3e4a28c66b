#!/usr/bin/env bash
# qelrun against children that log, fail, are killed and read their input.
. "$(dirname "$0")/lib.sh"
cat > "$SCRATCH/child.sh" <<'SH'
echo "output of the child"
qellog emit --level ERROR --code C1 "child failed to frobnicate"
qellog emit --level WARNING "child warns"
qellog emit --level INFO "child informs"
echo "a plain diagnostic" >&2
exit 3
SH
capture run_clean QEL_LOG_LEVEL=6 "$BIN/qelrun" --level WARNING sh "$SCRATCH/child.sh"
check "exit code of the child" equals "$RC" 3
check "child output on stdout" equals "$OUT" "output of the child"
check "error event replayed" contains "$ERR" "<ERROR>   child failed to frobnicate"
check "warning event replayed" contains "$ERR" "<WARNING> child warns"
check "info event filtered" lacks "$ERR" "child informs"
check "plain stderr lines replayed" contains "$ERR" "a plain diagnostic"

capture run_clean QEL_LOG_LEVEL=6 "$BIN/qelrun" --level DEBUG sh "$SCRATCH/child.sh"
check "info kept at DEBUG" contains "$ERR" "<INFO>    child informs"

printf 'hello\nworld\n' > "$SCRATCH/input"
STDIN_FILE=$SCRATCH/input capture run_clean "$BIN/qelrun" cat
check "input fed to the child" equals "$OUT" $'hello\nworld'
check "cat exits 0" equals "$RC" 0

capture run_clean "$BIN/qelrun" sh -c 'kill -TERM $$'
check "killed child gives 128 + signal" equals "$RC" 143

capture run_clean "$BIN/qelrun" --dir "$SCRATCH" pwd
check "working directory" equals "$OUT" "$SCRATCH"
capture run_clean "$BIN/qelrun" --dir "$SCRATCH/none" pwd
check "missing directory exits 1" equals "$RC" 1

capture run_clean "$BIN/qelrun" "$SCRATCH/no-such-program"
check "missing program exits 127" equals "$RC" 127
check "missing program is named" contains "$ERR" "no-such-program"
check "missing program says why" contains "$ERR" "not found"
capture run_clean "$BIN/qelrun" no-such-program-on-path
check "program missing from PATH exits 127" equals "$RC" 127
printf 'data\n' > "$SCRATCH/plain"
capture run_clean "$BIN/qelrun" "$SCRATCH/plain"
check "not executable exits 126" equals "$RC" 126
check "not executable says why" contains "$ERR" "not executable"
capture run_clean "$BIN/qelrun" "$SCRATCH"
check "directory exits 126" equals "$RC" 126
check "directory says why" contains "$ERR" "is a directory"
check "missing directory says why" equals "$(run_clean "$BIN/qelrun" --dir "$SCRATCH/none" pwd 2>&1 | wc -l)" 1

capture run_clean bash -c "yes | '$BIN/qelrun' head -1"
check "yes | qelrun head -1 exits 0" equals "$RC" 0
check "yes | qelrun head -1 prints one line" equals "$OUT" "y"
head -c 3000000 /dev/zero > "$SCRATCH/zeros"
capture run_clean bash -c "'$BIN/qelrun' cat < '$SCRATCH/zeros' | wc -c"
check "3 MB through cat" equals "$OUT" 3000000

capture run_clean "$BIN/qelrun" --timeout 0.2 sleep 10
check "timeout exits 124" equals "$RC" 124
check "timeout says why" contains "$ERR" "timed out"
capture run_clean "$BIN/qelrun" --timeout=0.2 --kill-after=0.2 sh -c 'trap "" TERM; while :; do :; done'
check "kill after the grace period exits 137" equals "$RC" 137
capture run_clean "$BIN/qelrun" --timeout 0 true
check "timeout 0 means none" equals "$RC" 0
capture run_clean "$BIN/qelrun" --timeout 5x true
check "bad duration exits 2" equals "$RC" 2
capture run_clean "$BIN/qelrun" --timeout 2ms true
check "a two-letter unit is no duration" equals "$RC" 2
capture run_clean "$BIN/qelrun" --timeout -1 true
check "a negative duration exits 2" equals "$RC" 2
capture run_clean "$BIN/qelrun" --timeout 10 --kill-after soon true
check "bad grace period exits 2" equals "$RC" 2
capture run_clean "$BIN/qelrun" --timeout 1m --kill-after 1h true
check "durations with units" equals "$RC" 0
capture run_clean "$BIN/qelrun" --frobnicate true
check "unknown option exits 2" equals "$RC" 2
check "unknown option is named" contains "$ERR" "--frobnicate"
capture run_clean "$BIN/qelrun" --dir
check "option without its value exits 2" equals "$RC" 2
capture run_clean "$BIN/qelrun" -- sh -c 'echo after the separator'
check "-- ends the options" equals "$OUT" "after the separator"
capture run_clean "$BIN/qelrun" --timeoutx=1 true
check "an option name's prefix is no option" equals "$RC" 2
capture run_clean "$BIN/qelrun" --level=ERROR --dir="$SCRATCH" pwd
check "--opt=value accepted" equals "$OUT" "$SCRATCH"
capture run_clean "$BIN/qelrun" sh -c 'kill -TERM $$'
check "killed child says why" contains "$ERR" "signal 15"

# Started without a function around it, so that $! is qelrun itself.
env -i PATH="$BIN:/usr/bin:/bin" LSAN_OPTIONS="${LSAN_OPTIONS:-}" ASAN_OPTIONS="${ASAN_OPTIONS:-}" \
    "$BIN/qelrun" sh -c ": > '$SCRATCH/started'; sleep 20" > /dev/null 2> "$SCRATCH/forwarded" < /dev/null &
runner=$!
for _ in $(seq 100); do [ -e "$SCRATCH/started" ] && break; sleep 0.1; done
kill -TERM "$runner"
wait "$runner"
check "SIGTERM is passed on to the child" equals "$?" 143
check "forwarded signal says why" contains "$(cat "$SCRATCH/forwarded")" "signal 15"

cat > "$SCRATCH/stranger.sh" <<'SH'
body='<Message type="ERROR" xmlns="urn:other">a record from elsewhere</Message>'
printf '<!-- QELLog size=%-8d -->%s\n' "${#body}" "$body" >&2
echo "after the record" >&2
exit 3
SH
capture run_clean "$BIN/qelrun" --level ERROR sh "$SCRATCH/stranger.sh"
check "unknown attribute: the child's code" equals "$RC" 3
check "unknown attribute: one warning" equals "$(grep -c 'follows as plain lines' <<< "$ERR")" 1
check "unknown attribute: the record as plain lines" contains "$ERR" "a record from elsewhere</Message>"
check "unknown attribute: later lines still arrive" contains "$ERR" "after the record"

capture run_clean "$BIN/qelrun" --version
check "--version exits 0" equals "$RC" 0
check "--version prints the library version" contains "$OUT" "qelrun (QELStd) "

capture run_clean QEL_LOG_LEVEL=6 "$BIN/qelrun" --level ERROR qel-example-logging --child
check "library child's events arrive" contains "$ERR" "<ERROR>   cannot open <data> & give up"
check "library child's lower events filtered" lacks "$ERR" "disk almost full"
check "library child's exit code" equals "$RC" 3

capture run_clean "$BIN/qelrun"
check "no program exits 2" equals "$RC" 2
capture run_clean "$BIN/qelrun" --level nonsense true
check "bad level exits 2" equals "$RC" 2
capture run_clean "$BIN/qelrun" --help
check "--help exits 0" equals "$RC" 0
finish
