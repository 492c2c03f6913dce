#!/usr/bin/env python3
"""What may not stand in the tree: foreign headers in public ones, operating-system conditionals,
internal references, leftover notes, files too long to read, debugger views of what is no more."""

import re
from xml.etree import ElementTree

import tree

LONGEST_FILE = 800

# What a public header may include beside our own headers. No stream with a global object behind it
# (<iosfwd> serves), nothing of an operating system, nothing that a supported compiler lacks.
STANDARD = set("""
algorithm any array atomic bit bitset cassert cctype cerrno cfloat charconv chrono cinttypes climits
cmath compare complex concepts condition_variable coroutine cstdarg cstddef cstdint cstdio cstdlib
cstring ctime deque exception filesystem forward_list functional future initializer_list iosfwd
iterator limits list map memory memory_resource mutex new numbers numeric optional queue random ratio
scoped_allocator set shared_mutex source_location span stack stop_token string string_view
system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility variant
vector version
""".split())

# Their waits lose wake-ups on Windows with the compiler this project supports; <format> is missing.
UNUSABLE = {"latch", "barrier", "semaphore", "format"}

SYSTEM_MACRO = re.compile(
    r"\b(_WIN32|_WIN64|WIN32|WIN64|_WINDOWS|__WIN\w*|__MINGW\w*|__CYGWIN__|__linux__|__linux|linux|"
    r"__gnu_linux__|__unix__|__unix|unix|__APPLE__|__MACH__|__ANDROID__|_POSIX_\w+)\b")
CONDITIONAL = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif|elifdef|elifndef)\b(.*)$")

# Built from pieces, so that this file passes its own check.
LEFTOVER = re.compile(r"\b(" + "|".join(["TO" + "DO", "FIX" + "ME", "XX" + "X"]) + r")\b")
INTERNAL = re.compile("|".join([
    r"\bspec" + r"\.md\b", r"\b[Ss]pecifi" + r"cation\b", r"\b[Pp]ar" + r"ts? [1-7]\.[0-9]",
    r"\bOrder of bui" + r"lding\b", r"\.lib" + r"rary\b", r"DEVEL" + r"OPERS\.md", r"\bthe sp" + r"ec\b"]))

BINARY = (".png", ".jpg", ".obj", ".gz", ".ico")
NOTES = "DEVEL" + "OPERS.md"


def public():
    return [path for module in tree.PUBLIC for path in tree.public_headers(module)]


def check_public_includes(problems):
    sanctioned = tree.sanctioned_tbb_headers()
    for path in public():
        for number, name in tree.includes(path):
            ours = name.startswith(("MekHost/", "ZelREKernel/"))
            tbb = name.startswith(("tbb/", "oneapi/tbb")) and path in sanctioned
            if not (ours or tbb or name in STANDARD):
                problems.append(f"{path}:{number}: a public header includes <{name}>")
        carriers = sanctioned - {path}
        if path not in sanctioned and path not in tree.UMBRELLA.values():
            for carrier in sorted(carriers & tree.reach(path)):
                problems.append(f"{path}: reaches oneTBB through {carrier}")


def check_code(problems):
    for path in tree.sources():
        lines = tree.text(path).split("\n")
        if len(lines) > LONGEST_FILE + 1:
            problems.append(f"{path}: {len(lines) - 1} lines; {LONGEST_FILE} is the most")
        for number, line in enumerate(lines, 1):
            conditional = CONDITIONAL.match(line)
            if conditional and SYSTEM_MACRO.search(conditional.group(2)):
                problems.append(f"{path}:{number}: operating-system conditional: {line.strip()}")
        for number, name in tree.includes(path):
            if name in UNUSABLE:
                problems.append(f"{path}:{number}: <{name}> does not serve on all our systems")
        if path.endswith(".h") and "#pragma once" not in tree.text(path):
            problems.append(f"{path}: no #pragma once")


def check_words(problems):
    for path in tree.files():
        if path.endswith(BINARY) or path == NOTES:
            continue
        if INTERNAL.search(path):
            problems.append(f"{path}: internal reference in a file name")
        for number, line in enumerate(tree.text(path).split("\n"), 1):
            for what, pattern in (("internal reference", INTERNAL), ("leftover note", LEFTOVER)):
                match = pattern.search(line)
                if match:
                    problems.append(f"{path}:{number}: {what}: {match.group(0)}")


DECLARED = re.compile(r"\b(?:struct|class|union|namespace)\s+(?:[A-Z]+_EXPORT\s+)?(\w+)|"
                      r"\b(\w+)(?:\[\w*\])?\s*(?:=[^;{]*|\{[^;{]*\})?;")


def check_natvis(problems):
    """The names in a natvis file's expressions are those of types and members of the JSON headers."""
    code = re.sub(r"//.*", "", "\n".join(
        tree.text(path) for path in tree.sources() if path.endswith(".h") and "/json/" in path))
    known = {"char", "this", "s8"} | {name for pair in DECLARED.findall(code) for name in pair}
    for path in (path for path in tree.files() if path.endswith(".natvis")):
        for element in ElementTree.fromstring(tree.text(path)).iter():
            kind = element.tag.rpartition("}")[2]
            said = [element.get("Condition", ""), element.get("Name", "") if kind == "Type" else ""]
            text = element.text or ""
            said += re.findall(r"\{([^{}]+)\}", text) if kind == "DisplayString" else [text]
            for name in re.findall(r"\b[A-Za-z_]\w*", " ".join(said)):
                if name not in known:
                    problems.append(f"{path}: nothing is called {name}")


def check_readme(problems):
    """The README shows the program that is built, run and packaged."""
    shown = re.search(r"^```cpp\n(.*?)^```", tree.text("README.md"), re.MULTILINE | re.DOTALL)
    if not shown or shown.group(1) != tree.text("samples/hello/main.cpp"):
        problems.append("README.md: its program is not samples/hello/main.cpp")


def main():
    problems = []
    check_readme(problems)
    check_natvis(problems)
    check_public_includes(problems)
    check_code(problems)
    check_words(problems)
    tree.finish(problems)


if __name__ == "__main__":
    main()
