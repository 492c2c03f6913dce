"""How the files of this tree are compiled, from the compile database of build/dev."""

import concurrent.futures
import hashlib
import json
import os
import shlex
import subprocess
import sys

import tree

BUILD = os.path.join(tree.ROOT, "build/dev")
CACHE = os.path.join(tree.ROOT, "build/.cache")

# What only GCC understands; clang-tidy would stop at it.
GCC_ONLY = ("-fno-gnu-unique", "-mtls-dialect", "-fconcepts", "-fno-semantic-interposition")


def commands():
    """path of a source of ours -> the arguments that compile it, the compiler first"""
    database = os.path.join(BUILD, "compile_commands.json")
    if not os.path.exists(database):
        sys.exit("no compile database: run scripts/test first, or cmake --preset dev")
    known, found = tree.known_files(), {}
    with open(database, encoding="utf-8") as file:
        for entry in json.load(file):
            path = os.path.relpath(entry["file"], tree.ROOT)
            if path in known:
                found[path] = shlex.split(entry["command"])
    return found


def flags(arguments):
    """Only what decides the meaning of the code: no launcher, no compiler, no input, no output."""
    kept, skip = [], True
    for index, argument in enumerate(arguments):
        if skip and argument.startswith("-"):
            skip = False
        if skip or argument in ("-c", "-o") or arguments[index - 1] in ("-c", "-o"):
            continue
        kept.append(argument)
    return kept


def fingerprint(path, *more):
    """A hash of a file, of all that it includes from this tree, and of what else decides."""
    digest = hashlib.sha256()
    for part in more:
        digest.update(part.encode() + b"\0")
    for member in sorted(tree.reach(path)):
        digest.update(member.encode() + b"\0" + tree.text(member).encode() + b"\0")
    return digest.hexdigest()


def run_each(kind, jobs):
    """Runs (path, fingerprint, command) jobs, one process per processor; a pass is remembered.

    Returns {path: what the command said} of those that failed. Forgetting build/.cache costs time
    and nothing else.
    """
    memory = os.path.join(CACHE, kind)
    os.makedirs(memory, exist_ok=True)

    def run(job):
        path, key, command = job
        mark = os.path.join(memory, key)
        if os.path.exists(mark):
            return path, None
        done = subprocess.run(command, cwd=BUILD, capture_output=True, text=True,
                              stdin=subprocess.DEVNULL)
        if done.returncode == 0:
            open(mark, "w", encoding="utf-8").close()
            return path, None
        return path, (done.stdout.strip() or done.stderr.strip())

    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        return {path: said for path, said in pool.map(run, jobs) if said is not None}
