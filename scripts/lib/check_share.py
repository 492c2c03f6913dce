#!/usr/bin/env python3
"""Tests are worth a quarter to a third of the library's, samples' and tools' lines; outside, something
is wrong."""

import tree

LEAST, MOST = 25, 34


def code_lines(paths):
    lines = (line.strip() for path in paths for line in tree.text(path).split("\n"))
    return sum(1 for line in lines if line and not line.startswith("//"))


def main():
    tests = code_lines(path for path in tree.sources() if path.startswith("tests/"))
    code = code_lines(path for path in tree.sources() if not path.startswith(("tests/", "bench/")))
    share = round(100 * tests / code)
    print(f"tests {tests} lines, code {code} lines: {share} %")
    tree.finish([] if LEAST <= share <= MOST else [f"outside {LEAST} to {MOST} %"])


if __name__ == "__main__":
    main()
