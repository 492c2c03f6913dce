#!/usr/bin/env python3
"""clang-tidy over every source that the dev build compiles, with the rules in .clang-tidy."""

import json
import os
import re
import subprocess
import sys

import compiledb
import tree


def filtered_database(compiled):
    """Writes a compile database that clang understands; returns its folder."""
    folder = os.path.join(compiledb.CACHE, "tidy-database")
    os.makedirs(folder, exist_ok=True)
    entries = []
    for path, arguments in compiled.items():
        kept = [flag for flag in compiledb.flags(arguments)
                if not flag.startswith(compiledb.GCC_ONLY) and flag != "-Werror"]
        entries.append({"directory": compiledb.BUILD, "file": os.path.join(tree.ROOT, path),
                        "arguments": ["g++", *kept, "-w", "-c", os.path.join(tree.ROOT, path)]})
    with open(os.path.join(folder, "compile_commands.json"), "w", encoding="utf-8") as file:
        json.dump(entries, file, indent=1)
    return folder


def main():
    compiled = compiledb.commands()
    wanted = sys.argv[1:]
    folder = filtered_database(compiled)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, text=True,
                             check=True).stdout
    rules = tree.text(".clang-tidy")
    jobs = []
    for path, arguments in compiled.items():
        if wanted and not any(word in path for word in wanted):
            continue
        command = ["clang-tidy", "--quiet", "-p", folder, os.path.join(tree.ROOT, path)]
        relative = " ".join(compiledb.flags(arguments)).replace(tree.ROOT, ".")
        jobs.append((path, compiledb.fingerprint(path, version, rules, relative), command))
    if not jobs:
        tree.finish([f"no source's path has {' or '.join(wanted)} in it"])
    failed = compiledb.run_each("tidy", jobs)

    # A header that many sources include says the same thing many times.
    findings = {}
    for path, said in sorted(failed.items()):
        for block in re.split(r"\n(?=/[^\n]*: (?:warning|error): )", "\n" + said):
            block = block.strip("\n").replace(tree.ROOT + "/", "")
            if block:
                findings.setdefault(block, path)
    tree.finish(findings)


if __name__ == "__main__":
    main()
