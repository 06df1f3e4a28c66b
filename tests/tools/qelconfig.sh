#!/usr/bin/env bash
# qelconfig run as a real process under a controlled environment.
. "$(dirname "$0")/lib.sh"
conf=$SCRATCH/conf
mkdir -p "$conf"
cat > "$conf/QELSetup.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<Setup>
  <Directory><Home>/opt/q</Home><Temp></Temp></Directory>
  <Java><ClassPath>a.jar:b.jar</ClassPath></Java>
  <Log><LogLevel>2</LogLevel></Log>
  <Repository><Database><LoginPassword>secret</LoginPassword></Database></Repository>
</Setup>
XML
cp "$conf/QELSetup.xml" "$SCRATCH/original.xml"

capture run_clean QEL_CONFIGURATION_PATH="$conf" "$BIN/qelconfig"
check "print exits 0" equals "$RC" 0
check "home from the setup file" grep -Eq '^getQELInstallationPath +/opt/q/ +\[setup file\]$' "$SCRATCH/out"
check "bin path defaults below home" grep -Eq '^getQELBinPath +/opt/q/bin/ +\[default\]$' "$SCRATCH/out"
check "configuration from the environment" grep -Eq "^getQELConfigurationPath +$conf/ +\[environment\]$" "$SCRATCH/out"
check "log level from the setup file" grep -Eq '^getQELLogLevel +2 +\[setup file\]$' "$SCRATCH/out"
check "class path from the setup file" grep -Eq '^getQELClassPath +a.jar:b.jar +\[setup file\]$' "$SCRATCH/out"
check "temp path default" grep -Eq '^getQELTempPath +/opt/q/temp/ +\[default\]$' "$SCRATCH/out"
check "password never shown" lacks "$OUT" secret

capture run_clean QEL_CONFIGURATION_PATH="$conf" QEL_LOG_LEVEL=6 TMP=/var/tmp "$BIN/qelconfig"
check "log level from the environment" grep -Eq '^getQELLogLevel +6 +\[environment\]$' "$SCRATCH/out"
check "temp path from TMP" grep -Eq '^getQELTempPath +/var/tmp/ +\[environment\]$' "$SCRATCH/out"

capture run_clean QEL_CONFIGURATION_PATH="$SCRATCH/none" "$BIN/qelconfig"
check "missing setup file still prints" equals "$RC" 0
check "missing setup file is said" contains "$ERR" "cannot be read"
check "home from the library's place" grep -Eq "^getQELInstallationPath +$HOME_DIR/ +\[default\]$" "$SCRATCH/out"

capture run_clean QEL_CONFIGURATION_PATH="$conf" "$BIN/qelconfig" get Log/LogLevel
check "get prints the value" equals "$OUT" 2
check "get exits 0" equals "$RC" 0
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get Java/ClassPath
check "get with --file" equals "$OUT" "a.jar:b.jar"
capture run_clean "$BIN/qelconfig" --file="$conf/QELSetup.xml" get Directory/Home
check "--file=FILE" equals "$OUT" "/opt/q"
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get Directory/Home --file x
check "words after the command are operands" equals "$RC" 2
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get Directory/Nothing
check "get of a missing element exits 1" equals "$RC" 1
check "get of a missing element says so" contains "$ERR" "no element 'Directory/Nothing'"

capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" set Log/LogLevel 4
check "set exits 0" equals "$RC" 0
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get Log/LogLevel
check "set value read back" equals "$OUT" 4
cp "$conf/QELSetup.xml" "$SCRATCH/before.xml"
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" set Log/Nothing 1
check "set of a missing element exits 1" equals "$RC" 1
check "set of a missing element changes nothing" cmp -s "$conf/QELSetup.xml" "$SCRATCH/before.xml"

cat > "$SCRATCH/other.xml" <<'XML'
<Setup><Log><LogLevel>3</LogLevel></Log><Extra><Key>x</Key></Extra>
<Directory><Home>/srv/q</Home></Directory></Setup>
XML
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" merge "$SCRATCH/other.xml"
check "merge exits 0" equals "$RC" 0
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get Directory/Home
check "merge copies shared keys" equals "$OUT" /srv/q
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get Extra/Key
check "merge never adds elements" equals "$RC" 1

capture run_clean "$BIN/qelconfig" --help
check "--help exits 0" equals "$RC" 0
check "--help explains get" contains "$OUT" "get PATH"
capture run_clean "$BIN/qelconfig" --frobnicate
check "unknown option exits 2" equals "$RC" 2
check "unknown option is named" contains "$ERR" "'--frobnicate'"
capture run_clean "$BIN/qelconfig" explode
check "unknown command exits 2" equals "$RC" 2
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" get
check "get without a path exits 2" equals "$RC" 2
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" list extra
check "list with an operand exits 2" equals "$RC" 2
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/absent.xml" list
check "list of a missing file exits 1" equals "$RC" 1
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" set Log/LogLevel
check "set without a value exits 2" equals "$RC" 2
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" merge
check "merge without a file exits 2" equals "$RC" 2
capture run_clean "$BIN/qelconfig" --file "$conf/QELSetup.xml" merge "$SCRATCH/absent.xml"
check "merge from a missing file exits 1" equals "$RC" 1
check "merge from a missing file names it" contains "$ERR" "absent.xml"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/nowhere/QELSetup.xml" set Log/LogLevel 4
check "set where no lock can be made exits 1" equals "$RC" 1
check "set where no lock can be made says so" contains "$ERR" "nowhere"
mkdir -p "$SCRATCH/adir"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/adir" set Log/LogLevel 4
check "set of a directory exits 1" equals "$RC" 1
check "set of a directory says why" contains "$ERR" "Is a directory"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/absent.xml" get Log/LogLevel
check "missing file exits 1" equals "$RC" 1
check "missing file is named" contains "$ERR" "absent.xml"
check "missing file gives the cause" contains "$ERR" "No such file or directory"
printf 'not xml at all' > "$SCRATCH/bad.xml"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/bad.xml" get Log/LogLevel
check "non-XML file exits 1" equals "$RC" 1
check "non-XML file is said" contains "$ERR" "not a readable setup file"

capture run_clean QEL_I18N_LANG=fr "$BIN/qelconfig" --nope
check "French messages" contains "$ERR" "option inconnue"
capture run_clean QEL_I18N_LANG=de_DE "$BIN/qelconfig" --nope
check "German messages" contains "$ERR" "unbekannte Option"

# Memory running out while a large setup file is read: one line naming the
# size, then an abort (never a crash through a null pointer).
if [ -z "${QEL_SANITIZE:-}" ]; then
    python3 -c "import sys; open(sys.argv[1], 'w').write('<Setup><A>' + 'y' * 15000000 + '</A></Setup>')" "$SCRATCH/big.xml"
    capture bash -c 'ulimit -v 100000; exec "$0" --file "$1" get A' "$BIN/qelconfig" "$SCRATCH/big.xml"
    check "out of memory aborts" equals "$RC" 134
    check "out of memory names the size" grep -Eqx 'out of memory allocating [0-9]+ bytes' "$SCRATCH/err"
fi
# --- Values, leaves and the layout of the file ----------------------------
cat > "$conf/QELSetup.xml" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<!-- Site setup: edited by hand, comments stay. -->
<Setup>
    <Directory>
        <Home>/opt/q</Home>   <!-- the home -->
        <Temp/>
    </Directory>
  <Java><RunTime><Options>-Xms1m</Options></RunTime></Java>
  <Log><LogLevel>2</LogLevel><Format kind="x">text</Format></Log>
</Setup>
XML
setup=$conf/QELSetup.xml
cp "$setup" "$SCRATCH/layout.xml"
capture run_clean "$BIN/qelconfig" --file "$setup" set Log/LogLevel 4
sed 's|<LogLevel>2</LogLevel>|<LogLevel>4</LogLevel>|' "$SCRATCH/layout.xml" > "$SCRATCH/expected.xml"
check "set changes only the value's text" cmp -s "$setup" "$SCRATCH/expected.xml"
capture run_clean "$BIN/qelconfig" --file "$setup" set Directory/Temp /var/q
check "set fills an empty element" grep -q '^        <Temp>/var/q</Temp>$' "$setup"
check "empty element read back" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Directory/Temp)" /var/q
capture run_clean "$BIN/qelconfig" --file "$setup" set Java/RunTime/Options -Xmx1g
check "a value starting with - is an operand" equals "$RC" 0
check "a value starting with - read back" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Java/RunTime/Options)" -Xmx1g
capture run_clean "$BIN/qelconfig" --file "$setup" set -- Java/RunTime/Options --verbose
check "-- before operands" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Java/RunTime/Options)" --verbose
special=$'R&D <x> "q" \'s\' caf\u00e9 \u00fcber'
capture run_clean "$BIN/qelconfig" --file "$setup" set Log/Format "$special"
check "special characters read back" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Log/Format)" "$special"
check "special characters escaped in the file" grep -q '<Format kind="x">R&amp;D &lt;x&gt; &quot;q&quot;' "$setup"
check "comments kept" grep -q '<Home>/opt/q</Home>   <!-- the home -->' "$setup"

cp "$setup" "$SCRATCH/before.xml"
capture run_clean "$BIN/qelconfig" --file "$setup" set Log 6
check "set of an element with children exits 1" equals "$RC" 1
check "set of an element with children says so" contains "$ERR" "'Log' has child elements"
check "set of an element with children changes nothing" cmp -s "$setup" "$SCRATCH/before.xml"
capture run_clean "$BIN/qelconfig" --file "$setup" get Log
check "get of an element with children exits 1" equals "$RC" 1
cat > "$SCRATCH/flat.xml" <<'XML'
<Setup><Log>7</Log><Directory><Home>/srv/new</Home></Directory></Setup>
XML
capture run_clean "$BIN/qelconfig" --file "$setup" merge "$SCRATCH/flat.xml"
check "merge exits 0" equals "$RC" 0
check "merge copies leaves" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Directory/Home)" /srv/new
check "merge never overwrites an element with children" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Log/LogLevel)" 4

chmod 640 "$setup"
ln -s "$setup" "$SCRATCH/link.xml"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/link.xml" set Log/LogLevel 5
check "set through a symlink" equals "$(run_clean "$BIN/qelconfig" --file "$setup" get Log/LogLevel)" 5
check "the symlink stays a symlink" test -L "$SCRATCH/link.xml"
check "permissions kept" equals "$(stat -c %a "$setup")" 640
check "no temporary file left" equals "$(ls "$conf" | grep -vc -e '^QELSetup.xml$' -e '^QELSetup.xml.lock$')" 0

# A Latin-1 file: an ASCII value is spliced in, any other is written through
# the document, and both read back.
printf '<?xml version="1.0" encoding="ISO-8859-1"?>\n<Setup>\n  <!-- caf\xe9 -->\n  <Log><LogLevel>2</LogLevel></Log>\n  <Server><Parameters>x</Parameters></Server>\n</Setup>\n' > "$SCRATCH/latin1.xml"
cp "$SCRATCH/latin1.xml" "$SCRATCH/latin1-before.xml"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/latin1.xml" set Log/LogLevel 3
sed 's|<LogLevel>2</LogLevel>|<LogLevel>3</LogLevel>|' "$SCRATCH/latin1-before.xml" > "$SCRATCH/expected.xml"
check "Latin-1 file: ASCII value spliced" cmp -s "$SCRATCH/latin1.xml" "$SCRATCH/expected.xml"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/latin1.xml" set Server/Parameters "caf$(printf '\xc3\xa9')"
check "Latin-1 file: non-ASCII value read back" equals "$(run_clean "$BIN/qelconfig" --file "$SCRATCH/latin1.xml" get Server/Parameters)" "caf$(printf '\xc3\xa9')"
check "Latin-1 file: other values kept" equals "$(run_clean "$BIN/qelconfig" --file "$SCRATCH/latin1.xml" get Log/LogLevel)" 3

# --- list and --json ------------------------------------------------------
capture run_clean "$BIN/qelconfig" --file "$setup" list
check "list exits 0" equals "$RC" 0
check "list prints every leaf" equals "$(grep -c = <<< "$OUT")" 5
check "list prints PATH=VALUE" contains "$OUT" "Directory/Home=/srv/new"
capture run_clean "$BIN/qelconfig" --json --file "$setup" list
check "list --json is JSON" equals "$(jq -r '."Log/Format"' <<< "$OUT")" "$special"
capture run_clean QEL_CONFIGURATION_PATH="$conf" "$BIN/qelconfig" --json
check "listing --json is JSON" equals "$(jq -r '.getQELLogLevel.origin' <<< "$OUT")" "setup file"

# --- Messages that give the cause -----------------------------------------
capture run_clean "$BIN/qelconfig" --file "$SCRATCH" get Log/LogLevel
check "a directory is not a setup file" contains "$ERR" "Is a directory"
capture run_clean "$BIN/qelconfig" --file "$SCRATCH"
check "unreadable file: the cause" contains "$ERR" "Is a directory"
check "unreadable file: values not labelled default" grep -Eq '^getQELBinPath +.* \[setup file not read\]$' "$SCRATCH/out"
if [ "$(id -u)" = 0 ] && command -v setpriv > /dev/null; then
    cp "$setup" "$SCRATCH/locked.xml"
    chmod 600 "$SCRATCH/locked.xml"
    chmod 755 "$SCRATCH"
    as_nobody() { setpriv --reuid=65534 --regid=65534 --clear-groups "$@"; }
    capture as_nobody env -i "$BIN/qelconfig" --file "$SCRATCH/locked.xml" get Log/LogLevel
    check "permission denied is said" contains "$ERR" "Permission denied"
    capture as_nobody env -i "$BIN/qelconfig" --file "$SCRATCH/locked.xml"
    check "permission denied: values not labelled default" grep -Eq '^getQELJavaOptions +.* \[setup file not read\]$' "$SCRATCH/out"
fi

# --- Write errors, version ------------------------------------------------
run_clean QEL_CONFIGURATION_PATH="$conf" "$BIN/qelconfig" > /dev/full 2> "$SCRATCH/err"
check "listing to a full disk exits 1" equals "$?" 1
check "listing to a full disk says so" grep -q "^qelconfig: write error: No space left on device$" "$SCRATCH/err"
run_clean "$BIN/qelconfig" --file "$setup" get Log/LogLevel > /dev/full 2> /dev/null
check "get to a full disk exits 1" equals "$?" 1
capture run_clean "$BIN/qelconfig" --version
check "--version" grep -Eq '^qelconfig \(QELStd\) [0-9]+\.[0-9]+\.[0-9]+$' "$SCRATCH/out"

# --- Manual page and completion ------------------------------------------
check "manual page installed" test -f "$HOME_DIR/share/man/man1/qelconfig.1"
if command -v groff > /dev/null; then
    check "manual page without warnings" equals "$(groff -man -Tutf8 -ww -z "$HOME_DIR/share/man/man1/qelconfig.1" 2>&1)" ""
fi
complete_words() { # complete_words WORD...: what the installed completion offers for the last word
    bash -c '. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _qelconfig; printf "%s\n" "${COMPREPLY[@]}"' \
        complete "$HOME_DIR/share/bash-completion/completions/qelconfig" "$@"
}
export PATH="$BIN:$PATH"
check "completion of commands" equals "$(complete_words qelconfig g)" get
check "completion of setup paths" equals "$(complete_words qelconfig --file "$setup" get Dir)" "Directory/"
check "completion below a path" equals "$(complete_words qelconfig --file "$setup" set Directory/H)" "Directory/Home"
check "completion for the other tools" test -f "$HOME_DIR/share/bash-completion/completions/qelrun"

# --- Concurrent changes: none lost, every intermediate file well-formed ---
cat > "$setup" <<'XML'
<Setup><Counters><P0>0</P0><P1>0</P1><P2>0</P2><P3>0</P3><P4>0</P4><P5>0</P5><P6>0</P6><P7>0</P7><P8>0</P8><P9>0</P9></Counters><Sum>0</Sum></Setup>
XML
# Each process sets its own element; a write from a stale copy of the file
# would put another process's element back to an older round.
increment() {
    for round in $(seq 1 20); do
        run_clean "$BIN/qelconfig" --file "$setup" set "Counters/P$1" "$round" || echo "set failed" >> "$SCRATCH/failures"
    done
}
for p in 0 1 2 3 4 5 6 7 8 9; do increment $p & done
while [ -n "$(jobs -r)" ]; do
    xmllint --noout "$setup" 2>> "$SCRATCH/failures" || echo "malformed" >> "$SCRATCH/failures"
done
wait
check "concurrent sets: none failed, every file well-formed" test ! -s "$SCRATCH/failures"
check "concurrent sets: no update lost" equals "$(run_clean "$BIN/qelconfig" --file "$setup" list | tr '\n' ' ')" \
    "Counters/P0=20 Counters/P1=20 Counters/P2=20 Counters/P3=20 Counters/P4=20 Counters/P5=20 Counters/P6=20 Counters/P7=20 Counters/P8=20 Counters/P9=20 Sum=0 "
finish
