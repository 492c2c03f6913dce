#!/usr/bin/env python3
"""plot_growth.py WORK BENCH.json >PICTURE.svg: cost per item over the size, on logarithmic axes.

Every contender of the work is a line. Beside ours runs a dashed one that grows with the logarithm of
the size from our first point on. Figures are medians where there are repetitions, of processor time:
a busy machine lengthens it less.
"""

import json
import math
import sys

import bench_table

WIDTH, HEIGHT, LEFT, TOP = 640, 360, 70, 50
COLOURS = ["#2e6da4", "#b03a2e", "#4d8c57", "#8c6d31"]


def points(work, path):
    """{contender: {size: ns per item}}"""
    with open(path) as file:
        entries = json.load(file)["benchmarks"]
    found = {}
    for entry in entries:
        if entry.get("aggregate_name", "median") != "median":
            continue
        name, contender, size = bench_table.split_name(entry["run_name"])
        if name == work and size.isdigit():
            found.setdefault(contender, {})[int(size)] = 1e9 / entry["items_per_second"]
    return found


def draw(work, lines):
    sizes = sorted({size for line in lines.values() for size in line})
    ours = lines["ours"]
    first = min(ours)
    lines["grows with the logarithm"] = {
        size: ours[first] * math.log(size) / math.log(first) for size in ours}
    values = [value for line in lines.values() for value in line.values()]
    low, high = math.log10(min(values)) - 0.1, math.log10(max(values)) + 0.1
    left, right = math.log10(sizes[0]), math.log10(sizes[-1])

    def x(size):
        return LEFT + (WIDTH - 2 * LEFT) * (math.log10(size) - left) / (right - left)

    def y(value):
        return HEIGHT - TOP - (HEIGHT - 2 * TOP) * (math.log10(value) - low) / (high - low)

    def text(at_x, at_y, content, anchor="middle", colour="black"):
        print(f'<text x="{at_x:.0f}" y="{at_y:.0f}" text-anchor="{anchor}" fill="{colour}">'
              f"{content}</text>")

    print(f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{HEIGHT}" '
          'font-family="sans-serif" font-size="12">\n<rect width="100%" height="100%" fill="white"/>')
    text(WIDTH / 2, 20, f"{work}: ns per operation over live blocks")
    for size in sizes:
        text(x(size), HEIGHT - TOP + 18, f"{size:,}")
        print(f'<line x1="{x(size):.0f}" x2="{x(size):.0f}" y1="{TOP}" y2="{HEIGHT - TOP}" '
              'stroke="#dddddd"/>')
    for index, (contender, line) in enumerate(lines.items()):
        ordered = sorted(line.items())
        bound = contender.startswith("grows")
        colour = "#777777" if bound else COLOURS[index % len(COLOURS)]
        dash = ' stroke-dasharray="5 4"' if bound else ""
        path = " ".join(f"{x(size):.1f},{y(value):.1f}" for size, value in ordered)
        print(f'<polyline fill="none" stroke="{colour}" stroke-width="2"{dash} points="{path}"/>')
        if not bound:
            for size, value in ordered:
                text(x(size), y(value) - 7, f"{value:.0f}", colour=colour)
        text(LEFT + 6, TOP + 14 + 16 * index, contender, "start", colour)
    print("</svg>")


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    found = points(sys.argv[1], sys.argv[2])
    if not found.get("ours"):
        sys.exit(f"{sys.argv[2]} holds no {sys.argv[1]}/ours/SIZE")
    draw(sys.argv[1], found)


if __name__ == "__main__":
    main()
