#!/bin/bash
# Lists the library's functions (std/ and i18n/ sources) longer than the
# limit, counted from the first line of the signature to the closing brace,
# and fails when one of them is not a named exception in
# scripts/function-length.allow.
#   scripts/function-length.sh [LIMIT]   (default 60)
# The scan matches braces: a function is a top-level "{" line at column 0
# after its signature, ending at the next "}" at column 0, as the library's
# sources are laid out. Exceptions are lines "file function  # reason".
set -u
ROOT=$(cd "$(dirname "$0")/.." && pwd)
LIMIT=${1:-60}
cd "$ROOT" || exit 1
python3 - "$LIMIT" scripts/function-length.allow std i18n <<'EOF'
import glob
import os
import re
import sys

limit = int(sys.argv[1])
allow_file = sys.argv[2]
folders = sys.argv[3:]


def allowed_functions():
    """(file, function) pairs named in the allow-list, each with a reason."""
    allowed = set()
    if not os.path.exists(allow_file):
        return allowed
    with open(allow_file) as f:
        for number, line in enumerate(f, 1):
            text = line.split("#", 1)
            fields = text[0].split()
            if not fields:
                continue
            if len(fields) != 2 or len(text) < 2 or not text[1].strip():
                sys.exit(f"{allow_file}:{number}: want 'file function  # reason'")
            allowed.add((fields[0], fields[1]))
    return allowed


def signature_start(lines, brace):
    """The first line of the signature that ends just before line `brace`."""
    start = brace
    while start > 0:
        previous = lines[start - 1]
        if (not previous.strip() or previous.startswith(("}", "#", "//", "/*", " *"))
                or previous.rstrip().endswith((";", "{", "*/"))):
            break
        start -= 1
    return start


def function_name(signature):
    match = re.search(r"((?:[\w~]+::)*(?:operator\s*[^\s(]+|[\w~]+))\s*\(", signature)
    return match.group(1) if match else signature.strip()[:40]


def long_functions(path):
    with open(path, encoding="utf-8", errors="replace") as f:
        lines = f.read().split("\n")
    i = 0
    while i < len(lines):
        if lines[i].rstrip() == "{":
            start = signature_start(lines, i)
            end = i + 1
            while end < len(lines) and not lines[end].startswith("}"):
                end += 1
            length = end - start + 1
            signature = " ".join(l.strip() for l in lines[start:i])
            if length > limit and not signature.startswith(("namespace", "extern")):
                yield function_name(signature), start + 1, length
            i = end
        i += 1


allowed = allowed_functions()
failed = False
for folder in folders:
    for path in sorted(glob.glob(f"{folder}/*.cpp")):
        for name, line, length in long_functions(path):
            known = (path, name) in allowed
            print(f"{path}:{line}: {name}: {length} lines{' (allowed)' if known else ''}")
            failed = failed or not known
sys.exit(1 if failed else 0)
EOF
