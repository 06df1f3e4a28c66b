#!/usr/bin/env python3
"""Single-change mutants of the library's sources, each built and tested.

Usage: mutate.py --build DIR [--count N] [--seed S] [--files f1.cpp,...]
                 [--results FILE] [--list]

Candidates are collected from std/*.cpp and i18n/*.cpp, skipping comments,
preprocessor lines and assertion lines (QEL_ASSERT, QEL_OPERATION,
QEL_SOURCE_FILE). The N mutants are spread over the files in proportion to
their number of code lines, each file's share drawn with a fixed seed, and
every kind of change is represented where a file allows it. For each mutant
the file is changed, the build directory rebuilt incrementally, the suite run
by ctest until its first failure, and the file restored, whatever happens.
The results table is written as Markdown; survivors are listed for a person
to mark as equivalent (with the reason) or as a gap (with the test added).
"""
import argparse
import os
import random
import re
import signal
import subprocess
import sys
import time

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))

SKIP_LINE = re.compile(r"^\s*(#|//|\*|/\*)|QEL_ASSERT|QEL_OPERATION|QEL_SOURCE_FILE|static_assert")

# Each kind: a pattern over one code line and how to change one match.
RELATIONAL = [("<=", ">"), (">=", "<"), ("==", "!="), ("!=", "=="), (" < ", " >= "), (" > ", " <= ")]
LOGICAL = [("&&", "||"), ("||", "&&")]


def kinds_for(line):
    """Every single change of `line`, as (kind, start, end, replacement)."""
    out = []
    for old, new in RELATIONAL:
        for m in re.finditer(re.escape(old), line):
            if old.strip() in ("<", ">") and ("<<" in line or ">>" in line or "template" in line
                                             or "->" in line[m.start() - 1:m.end() + 1]):
                continue
            out.append(("relational", m.start(), m.end(), new))
    for old, new in LOGICAL:
        for m in re.finditer(re.escape(old), line):
            out.append(("logical", m.start(), m.end(), new))
    for m in re.finditer(r"(?<![\w.])(\d+)(?![\w.])", line):
        value = int(m.group(1))
        out.append(("constant", m.start(), m.end(), str(value + 1) if value != 1 else "0"))
    for m in re.finditer(r"(?<=[\w)\]])\s*([+-])\s*(?=[\w(])", line):
        if line[m.start(1) - 1:m.start(1) + 1] in ("->",) or line[m.start(1):m.start(1) + 2] in ("++", "--", "->"):
            continue
        out.append(("arithmetic", m.start(1), m.end(1), "-" if m.group(1) == "+" else "+"))
    for m in re.finditer(r"\b(if|while)\s*\(", line):
        close = matching_paren(line, m.end() - 1)
        if close > 0:
            condition = line[m.end():close]
            out.append(("negation", m.end(), close, "!(" + condition + ")"))
    for m in re.finditer(r"\breturn\s+(true|false)\s*;", line):
        out.append(("boolean-return", m.start(1), m.end(1), "false" if m.group(1) == "true" else "true"))
    stripped = line.strip()
    if stripped.endswith(";") and not stripped.startswith(("return", "case", "default", "break", "}", "int ",
                                                           "const ", "static ", "unsigned ", "size_t ",
                                                           "QELString ", "char", "bool ", "long ")):
        indent = len(line) - len(line.lstrip())
        out.append(("statement-deletion", indent, len(line.rstrip("\n")), ";"))
    return out


def matching_paren(line, open_at):
    """Index of the parenthesis closing the one at `open_at`, or -1."""
    depth = 0
    for i in range(open_at, len(line)):
        if line[i] == "(":
            depth += 1
        elif line[i] == ")":
            depth -= 1
            if depth == 0:
                return i
    return -1


def candidates(path):
    """Every mutant of one file: (line number, kind, start, end, replacement)."""
    result = []
    in_block_comment = False
    with open(path, encoding="utf-8") as f:
        lines = f.readlines()
    for number, line in enumerate(lines, 1):
        if in_block_comment:
            in_block_comment = "*/" not in line
            continue
        if line.lstrip().startswith("/*") and "*/" not in line:
            in_block_comment = True
            continue
        if SKIP_LINE.search(line) or not line.strip():
            continue
        code = line.split("//")[0] if '"' not in line else line
        for kind, start, end, new in kinds_for(code):
            result.append((number, kind, start, end, new))
    return lines, result


def choose(files, count, seed):
    """Mutants spread over the files by code size, every kind represented."""
    rng = random.Random(seed)
    pools = {f: candidates(f) for f in files}
    total = sum(len(lines) for lines, _ in pools.values())
    chosen = []
    for f in files:
        lines, pool = pools[f]
        share = max(1, round(count * len(lines) / total))
        by_kind = {}
        for c in pool:
            by_kind.setdefault(c[1], []).append(c)
        picks = [rng.choice(v) for _, v in sorted(by_kind.items())][:share]
        rest = [c for c in pool if c not in picks]
        rng.shuffle(rest)
        picks += rest[:max(0, share - len(picks))]
        chosen += [(f, lines) + p for p in picks]
    rng.shuffle(chosen)
    return chosen


def run(cmd, cwd, timeout):
    """The command's exit code, or -1 when it ran out of time. It runs in a
    session of its own, which is killed whole at the end: a mutant's test may
    leave children behind that hold ctest's output pipes open."""
    process = subprocess.Popen(cmd, cwd=cwd, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                               env=dict(os.environ, **SMALLER_STREAMS), start_new_session=True)
    try:
        return process.wait(timeout=timeout)
    except subprocess.TimeoutExpired:
        return -1
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()


# The ctest entries that test a source file most directly; they run first, so
# that most mutants are killed without running the whole suite.
FAMILY_TESTS = {
    "encoding": "QELEncoding", "text": "QELText", "process": "QELProcess|QELChildProcess",
    "configuration": "QELConfiguration|QELSetup", "QELLogEventParser": "QELLogDeserializer|QELLog$",
    "QELTranslationLoader": "QELTextLiteral", "QELVersion": "QELApi",
}


def family_regex(path):
    name = os.path.splitext(os.path.basename(path))[0]
    return "^(" + FAMILY_TESTS.get(name, name) + ")"


# The streaming tests move less data than in a normal run (the sizes the
# sanitizer build uses): a mutant that breaks streaming breaks it early.
SMALLER_STREAMS = {"QEL_TEST_CAT_BYTES": "67108864", "QEL_TEST_RUNS": "1000", "QEL_TEST_HOSTILE_BYTES": "8388608"}


def suite_passes(build, path, jobs):
    """The family's tests first, then the rest, each stopping at its first failure."""
    family = family_regex(path)
    ctest = ["ctest", "-j", str(jobs), "--stop-on-failure", "--timeout", "120"]
    if run(ctest + ["-R", family], build, 300) != 0:
        return False
    return run(ctest + ["-E", family], build, 600) == 0


def earlier_outcomes(log):
    """Outcomes already printed by an interrupted run: {number: outcome}."""
    outcomes = {}
    if log:
        with open(log, encoding="utf-8") as f:
            for line in f:
                m = re.match(r"\[(\d+)/\d+\] .*: (killed|survived|stillborn)$", line.strip())
                if m:
                    outcomes[int(m.group(1))] = m.group(2)
    return outcomes


def try_mutant(build, mutant, jobs):
    path, lines, number, kind, start, end, new = mutant
    line = lines[number - 1]
    mutated = line[:start] + new + line[end:]
    with open(path, "w", encoding="utf-8") as f:
        f.writelines(lines[:number - 1] + [mutated] + lines[number:])
    try:
        if run(["cmake", "--build", build, "-j", str(jobs)], ROOT, 900) != 0:
            return "stillborn", line, mutated
        return ("survived" if suite_passes(build, path, jobs) else "killed"), line, mutated
    finally:
        with open(path, "w", encoding="utf-8") as f:
            f.writelines(lines)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", required=True)
    parser.add_argument("--count", type=int, default=150)
    parser.add_argument("--seed", type=int, default=20261124)
    parser.add_argument("--files", default="")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 2)
    parser.add_argument("--results", default=os.path.join(ROOT, "tests", "mutation", "RESULTS.md"))
    parser.add_argument("--list", action="store_true", help="print the chosen mutants and stop")
    parser.add_argument("--resume", default="", help="the output of an interrupted run: its outcomes are kept")
    args = parser.parse_args()

    if args.files:
        files = [os.path.join(ROOT, f) for f in args.files.split(",")]
    else:
        files = sorted(os.path.join(ROOT, d, f) for d in ("std", "i18n")
                       for f in os.listdir(os.path.join(ROOT, d)) if f.endswith(".cpp"))
    mutants = choose(files, args.count, args.seed)
    if args.list:
        for path, lines, number, kind, start, end, new in mutants:
            print(f"{os.path.relpath(path, ROOT)}:{number}: {kind}: {lines[number - 1].strip()} -> {new}")
        return 0

    if subprocess.run(["git", "diff", "--quiet", "--", "std", "i18n"], cwd=ROOT).returncode != 0:
        sys.exit("mutate: std/ or i18n/ has uncommitted changes (another run, or a mutant left behind)")
    if run(["cmake", "--build", args.build, "-j", str(args.jobs)], ROOT, 1800) != 0:
        sys.exit("mutate: the unmutated tree does not build")
    rows = []
    began = time.time()
    done = earlier_outcomes(args.resume)
    for i, mutant in enumerate(mutants, 1):
        if i in done:
            line = mutant[1][mutant[2] - 1]
            outcome, before, after = done[i], line, line[:mutant[4]] + mutant[6] + line[mutant[5]:]
        else:
            outcome, before, after = try_mutant(args.build, mutant, args.jobs)
        rel = os.path.relpath(mutant[0], ROOT)
        rows.append((i, rel, mutant[2], mutant[3], before.strip(), after.strip(), outcome))
        print(f"[{i}/{len(mutants)}] {rel}:{mutant[2]} {mutant[3]}: {outcome}", flush=True)
    run(["cmake", "--build", args.build, "-j", str(args.jobs)], ROOT, 1800)
    write_results(args, rows, time.time() - began)
    return 0


def write_results(args, rows, seconds):
    counts = {k: sum(1 for r in rows if r[6] == k) for k in ("killed", "survived", "stillborn")}
    with open(args.results, "w", encoding="utf-8") as f:
        f.write("# Mutation results\n\n")
        f.write(f"Seed {args.seed}, {len(rows)} mutants of std/ and i18n/, {seconds / 60:.0f} minutes.\n\n")
        f.write(f"| mutants | stillborn | killed | survived |\n|---|---|---|---|\n")
        f.write(f"| {len(rows)} | {counts['stillborn']} | {counts['killed']} | {counts['survived']} |\n\n")
        f.write("Mutation score = killed / (killed + survivors that are gaps). Each survivor below is\n"
                "marked *equivalent* (no observable change, with the reason) or *gap* (with the test\n"
                "that now kills it).\n\n## Survivors\n\n| # | where | kind | change | verdict |\n|---|---|---|---|---|\n")
        for r in rows:
            if r[6] == "survived":
                change = f"`{r[4]}` → `{r[5]}`".replace("|", "\\|")
                f.write(f"| {r[0]} | {r[1]}:{r[2]} | {r[3]} | {change} | to classify |\n")
        f.write("\n## Every mutant\n\n| # | where | kind | outcome |\n|---|---|---|---|\n")
        for r in rows:
            f.write(f"| {r[0]} | {r[1]}:{r[2]} | {r[3]} | {r[6]} |\n")


if __name__ == "__main__":
    sys.exit(main())
