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
check "missing program exits 1" equals "$RC" 1
check "missing program is named" contains "$ERR" "no-such-program"

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
