#!/usr/bin/env python3
"""Draws the scaling curves of bench_QELScaling and bench_QELStreamScaling and
tabulates them.

Usage: curves.py SCALING_JSON [STREAM_SCALING_JSON [OUTPUT_DIR]]

SCALING_JSON is the --benchmark_out (JSON) file of bench_QELScaling, whose
benchmarks are named Scaling/<family>/<qel|std>/<items> and carry the
counters ns_per_item and bytes_per_item; STREAM_SCALING_JSON is that of
bench_QELStreamScaling, named the same way with megabytes for items and the
counters ns_per_item (per megabyte) and peak_rss_MB. For each family this writes
OUTPUT_DIR/<family>.svg (default bench/curves): nanoseconds per item against
the number of items, both axes logarithmic, the library and its peer as two
lines. It prints the Markdown section that bench/results.py puts into
bench/RESULTS.md; where the library's cost per item grows faster than its
peer's, the family's last row quotes the reason given in bench/NOTES.md
under "Scaling" (a line "- `family`: reason").
"""

import json
import math
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
NAME = re.compile(r"^Scaling/(\w+)/(qel|std)/(\d+)")
SIDES = (("qel", "library", "#1f5fa8", ""), ("std", "std:: peer", "#d0661a", "6,4"))
# The library's growth from the smallest to the largest size, over the
# peer's, above which a family needs a reason (below it, the machine's
# spread).
FASTER_GROWTH = 1.25

# Plot geometry in SVG user units.
WIDTH, HEIGHT = 640, 400
LEFT, RIGHT, TOP, BOTTOM = 70, 20, 40, 50


def load(path, memory="bytes_per_item"):
    """{family: {side: {items: (ns_per_item, memory counter)}}}, in run order."""
    with open(path) as f:
        data = json.load(f)
    families = {}
    for b in data.get("benchmarks", []):
        m = NAME.match(b.get("run_name", b["name"]))
        if not m or b.get("run_type") == "aggregate" or "ns_per_item" not in b:
            continue
        family, side, items = m.group(1), m.group(2), int(m.group(3))
        families.setdefault(family, {}).setdefault(side, {})[items] = (b["ns_per_item"], b.get(memory))
    return families


def reasons(notes_path):
    """{family: one-line reason} from the "Scaling" part of NOTES.md."""
    found = {}
    if not os.path.exists(notes_path):
        return found
    in_scaling = False
    current = None
    with open(notes_path) as f:
        for line in f:
            if line.startswith("#"):
                in_scaling = "Scaling" in line
                current = None
                continue
            if not in_scaling:
                continue
            m = re.match(r"^- `(\w+)`: (.*)$", line.rstrip())
            if m:
                current = m.group(1)
                found[current] = m.group(2)
            elif current and line.startswith("  ") and line.strip():
                found[current] += " " + line.strip()
            else:
                current = None
    return found


def decades(low, high):
    """The powers of ten that span [low, high]."""
    return range(math.floor(math.log10(low)), math.ceil(math.log10(high)) + 1)


SUPERSCRIPTS = str.maketrans("0123456789-", "⁰¹²³⁴⁵⁶⁷⁸⁹⁻")


def power_label(e):
    """10 to the e, as "10³"."""
    return "10" + str(e).translate(SUPERSCRIPTS)


def time_label(e):
    """10 to the e nanoseconds, as "100 ns" or "10 µs"."""
    for unit, scale in (("s", 9), ("ms", 6), ("µs", 3)):
        if e >= scale:
            return f"{10 ** (e - scale)} {unit}"
    return f"{10 ** e} ns" if e >= 0 else f"{10.0 ** e:g} ns"


def svg(family, sides, item="item", what="insert + find"):
    """The SVG text of one family's curves."""
    xs = sorted({n for points in sides.values() for n in points})
    ys = [v[0] for points in sides.values() for v in points.values() if v[0] > 0]
    xd, yd = list(decades(min(xs), max(xs))), list(decades(min(ys), max(ys)))
    if len(yd) < 2:
        yd.append(yd[-1] + 1)
    plot_w, plot_h = WIDTH - LEFT - RIGHT, HEIGHT - TOP - BOTTOM

    def x_of(n):
        return LEFT + (math.log10(n) - xd[0]) / (xd[-1] - xd[0]) * plot_w

    def y_of(v):
        return TOP + plot_h - (math.log10(v) - yd[0]) / (yd[-1] - yd[0]) * plot_h

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
           f'viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
           f'<text x="{WIDTH / 2}" y="20" text-anchor="middle" font-size="14">{family}: time per {item} '
           f'({what}), log-log</text>']
    for e in xd:
        x = x_of(10 ** e)
        out.append(f'<line x1="{x:.1f}" y1="{TOP}" x2="{x:.1f}" y2="{TOP + plot_h}" stroke="#ddd"/>')
        out.append(f'<text x="{x:.1f}" y="{TOP + plot_h + 18}" text-anchor="middle">{power_label(e)}</text>')
    for e in yd:
        y = y_of(10 ** e)
        out.append(f'<line x1="{LEFT}" y1="{y:.1f}" x2="{LEFT + plot_w}" y2="{y:.1f}" stroke="#ddd"/>')
        out.append(f'<text x="{LEFT - 6}" y="{y + 4:.1f}" text-anchor="end">{time_label(e)}</text>')
    out.append(f'<rect x="{LEFT}" y="{TOP}" width="{plot_w}" height="{plot_h}" fill="none" stroke="#444"/>')
    out.append(f'<text x="{LEFT + plot_w / 2}" y="{HEIGHT - 10}" text-anchor="middle">{item}s</text>')
    for i, (side, label, colour, dash) in enumerate(SIDES):
        points = sorted((n, v[0]) for n, v in sides.get(side, {}).items() if v[0] > 0)
        style = f'stroke="{colour}" stroke-width="2" fill="none"' + (f' stroke-dasharray="{dash}"' if dash else "")
        if points:
            path = " ".join(f"{x_of(n):.1f},{y_of(v):.1f}" for n, v in points)
            out.append(f'<polyline points="{path}" {style}/>')
            out += [f'<circle cx="{x_of(n):.1f}" cy="{y_of(v):.1f}" r="3" fill="{colour}"/>' for n, v in points]
        ly = TOP + 16 + 18 * i
        out.append(f'<line x1="{LEFT + 12}" y1="{ly - 4}" x2="{LEFT + 42}" y2="{ly - 4}" {style}/>')
        out.append(f'<text x="{LEFT + 48}" y="{ly}">{label}</text>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


def growth(points):
    """Cost per item at the largest size over that at the smallest."""
    sizes = sorted(points)
    return points[sizes[-1]][0] / points[sizes[0]][0] if len(sizes) > 1 and points[sizes[0]][0] > 0 else None


def cell(v, unit):
    return "n/a" if v is None else f"{v:.3g} {unit}"


def table(families, why, item=("Items", "item"), memory=("B/item", "B")):
    """The Markdown table rows, one per family and size."""
    (items, one), (per, unit) = item, memory
    lines = [f"| Family | {items} | Library ns/{one} | Peer ns/{one} | Ratio | Library {per} | Peer {per} | Why |",
             "|---|---|---|---|---|---|---|---|"]
    for family, sides in families.items():
        qel, peer = sides.get("qel", {}), sides.get("std", {})
        sizes = sorted(set(qel) | set(peer))
        g_lib, g_peer = growth(qel), growth(peer)
        reason = ""
        if g_lib and g_peer and g_lib > FASTER_GROWTH * g_peer:
            reason = (f"grows {g_lib:.3g}x against {g_peer:.3g}x: "
                      + why.get(family, "no reason given in bench/NOTES.md"))
        for n in sizes:
            lv, lb = qel.get(n, (None, None))
            pv, pb = peer.get(n, (None, None))
            ratio = f"{lv / pv:.2f}x" if lv and pv else "n/a"
            lines.append(f"| {family} | {power_label(round(math.log10(n)))} | {cell(lv, 'ns')} | {cell(pv, 'ns')} | "
                         f"{ratio} | {cell(lb, unit)} | {cell(pb, unit)} | {reason if n == sizes[-1] else ''} |")
    return lines


def write_svgs(families, out_dir, item, what):
    os.makedirs(out_dir, exist_ok=True)
    for family, sides in families.items():
        with open(os.path.join(out_dir, f"{family}.svg"), "w") as f:
            f.write(svg(family, sides, item, what))


def stream_section(json_path, out_dir, notes_path):
    """The stream readers' curves and table: time per megabyte and peak resident set."""
    families = load(json_path, "peak_rss_MB")
    write_svgs(families, out_dir, "MB", "whole stream")
    lines = ["### Stream readers", "",
             "bench_QELStreamScaling: the log deserializer beside expat reading the same records as one "
             "document, fed in 12288-byte pieces from one 1 MB block repeated; getFullLine(0) beside "
             "std::getline on a file of that size in the page cache. ns/MB = time of the run per megabyte; "
             "RSS = the peak resident set of the whole benchmark process during the run.", ""]
    lines += table(families, reasons(notes_path), ("MB", "MB"), ("peak RSS", "MB"))
    lines.append("")
    rel = os.path.relpath(out_dir, HERE)
    return lines + [f"![{family}]({rel}/{family}.svg)" for family in families] + [""]


def section(json_path, out_dir, notes_path=os.path.join(HERE, "NOTES.md"), stream_json=None):
    """Writes the SVGs into out_dir and returns the Markdown section's lines."""
    families = load(json_path)
    write_svgs(families, out_dir, "item", "insert + find")
    lines = ["## Scaling", "",
             "bench_QELScaling: each container built from empty with 10^3 to 10^7 items, then probed "
             "(lookups of at most 10^6 held items, or one walk over a vector); ns/item = build time per "
             "item + probe time per probe, B/item = heap in use after the build (mallinfo2). "
             "Peers: std::vector, std::unordered_map (reserved to n where the library is given n "
             "buckets), std::multiset.", ""]
    lines += table(families, reasons(notes_path))
    lines.append("")
    rel = os.path.relpath(out_dir, HERE)
    lines += [f"![{family}]({rel}/{family}.svg)" for family in families] + [""]
    if stream_json and os.path.exists(stream_json):
        lines += stream_section(stream_json, out_dir, notes_path)
    return lines


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    stream_json = sys.argv[2] if len(sys.argv) > 2 else None
    out_dir = sys.argv[3] if len(sys.argv) > 3 else os.path.join(HERE, "curves")
    print("\n".join(section(sys.argv[1], out_dir, stream_json=stream_json)))


if __name__ == "__main__":
    main()
