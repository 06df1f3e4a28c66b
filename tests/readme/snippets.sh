#!/usr/bin/env bash
# Compiles every C++ snippet of the README into one program, each in its own
# block of main() in the README's order, against an installed home, and runs
# it: a snippet that does not compile, stops or never ends fails the test.
#   snippets.sh HOME README SAMPLE_TEXTS_DIRECTORY
set -u
HOME_DIR=$1
README=$2
SAMPLES=$3
WORK=$(mktemp -d)
trap 'rm -rf "$WORK"' EXIT

# What the snippets take as given: a person to sort, the sample texts, and a
# log sink for the process snippet.
cat > "$WORK/snippets.cpp" <<'CPP'
#include <cstdio>
#include <iostream>
#include "QELStd.h"
#include "QELSampleTexts.h"

struct Person { int age; };
static Person ada = { 36 };
static QELSampleTexts texts;
static QELTextLog log(std::cout);

int main()
{
CPP
awk -v out="$WORK/snippets.cpp" '
    /^```cpp$/ { inside = 1; count++; printf "    std::printf(\"snippet %d\\n\"); {\n", count >> out; next }
    /^```$/ && inside { inside = 0; print "    }" >> out; next }
    inside { print "        " $0 >> out }
    END { print count > "/dev/stderr" }
' "$README" 2> "$WORK/count"
printf '    std::printf("all snippets ran\\n");\n    return 0;\n}\n' >> "$WORK/snippets.cpp"
echo "$(cat "$WORK/count") snippets"

sanitize=()
[ "${QEL_SANITIZE:-0}" = 1 ] && sanitize=(-fsanitize=address,undefined)
${CXX:-c++} "${sanitize[@]}" -std=c++17 -Wall -Wno-unused-variable -Wno-unused-but-set-variable -I"$HOME_DIR/include" -I"$SAMPLES" \
    "$WORK/snippets.cpp" "$SAMPLES/QELSampleTexts.cpp" -L"$HOME_DIR/bin" -lQELStd -Wl,-rpath,"$HOME_DIR/bin" \
    -o "$WORK/snippets" || { cat -n "$WORK/snippets.cpp"; exit 1; }
PATH="$HOME_DIR/bin:$PATH" timeout 60 "$WORK/snippets" < /dev/null > "$WORK/out" 2>&1
status=$?
cat "$WORK/out"
[ "$status" -eq 0 ] && grep -q '^all snippets ran$' "$WORK/out"
