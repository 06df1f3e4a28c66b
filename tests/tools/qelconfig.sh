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
capture run_clean "$BIN/qelconfig" get Directory/Home --file "$conf/QELSetup.xml"
check "--file after the command" equals "$OUT" "/opt/q"
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
capture run_clean "$BIN/qelconfig" --file "$SCRATCH/absent.xml" get Log/LogLevel
check "missing file exits 1" equals "$RC" 1
check "missing file is named" contains "$ERR" "absent.xml"
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
finish
