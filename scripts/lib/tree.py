"""The source tree as the checks see it: its files, their code, and who includes whom."""

import functools
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
KERNEL = "ZelREKernel.m"
HOST = "MekHost.m"
PUBLIC = {KERNEL: KERNEL + "/include/", HOST: HOST + "/include/"}
UMBRELLA = {
    KERNEL: KERNEL + "/include/ZelREKernel/ZelREKernel.h",
    HOST: HOST + "/include/MekHost/MekHost.h",
}
# Written by CMake into the build folder; they include nothing of ours.
GENERATED = {"ZelREKernel/ZelREKernelExport.h", "MekHost/MekHostExport.h"}


@functools.lru_cache(None)
def files():
    """Paths of the files git knows or would take, relative to the root."""
    # A continuous-integration clone may belong to another user than the one who checks it.
    listing = subprocess.run(
        ["git", "-c", "safe.directory=*", "ls-files", "-z", "--cached", "--others",
         "--exclude-standard"],
        cwd=ROOT, check=True, capture_output=True).stdout.decode()
    found = {path for path in listing.split("\0") if path}
    return sorted(path for path in found if os.path.isfile(os.path.join(ROOT, path)))


def sources():
    return [path for path in files() if path.endswith((".h", ".cpp"))]


def public_headers(module):
    return [path for path in sources() if path.startswith(PUBLIC[module]) and path.endswith(".h")]


def sanctioned_tbb_headers():
    base = PUBLIC[KERNEL] + "ZelREKernel/tasks/"
    return {base + "vThreadPoolManager.h", base + "vTaskManager.h"}


@functools.lru_cache(None)
def text(path):
    with open(os.path.join(ROOT, path), encoding="utf-8", errors="replace") as file:
        return file.read()


INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


@functools.lru_cache(None)
def includes(path):
    """(line number, name as written) of every include directive, conditional ones too."""
    found = []
    for number, line in enumerate(text(path).split("\n"), 1):
        match = INCLUDE.match(line)
        if match:
            found.append((number, match.group(2)))
    return tuple(found)


@functools.lru_cache(None)
def resolve(path, name):
    """The file of the tree that an include in `path` means, or None when it is not ours."""
    top = path.split("/")[0]
    candidates = [os.path.normpath(os.path.join(os.path.dirname(path), name))]
    candidates += [prefix + name for prefix in PUBLIC.values()]
    candidates += [top + "/src/" + name, top + "/" + name]
    known = known_files()
    return next((candidate for candidate in candidates if candidate in known), None)


@functools.lru_cache(None)
def known_files():
    return frozenset(files())


@functools.lru_cache(None)
def reach(path):
    """Every file of the tree that `path` includes, directly or not, itself among them."""
    seen, todo = {path}, [path]
    while todo:
        current = todo.pop()
        for _, name in includes(current):
            target = resolve(current, name)
            if target and target not in seen:
                seen.add(target)
                todo.append(target)
    return frozenset(seen)


def finish(problems):
    """Ends a check: one line per problem, and a status."""
    problems = list(problems)
    for problem in problems:
        print(problem)
    sys.exit(1 if problems else 0)
