#!/usr/bin/env python3
"""The libraries export what the lists in the tree say, and nothing keeps them from unloading.

A symbol that appears or vanishes is a change of the binary interface: --update writes the lists
anew, and the difference is read in the review.
"""

import difflib
import os
import re
import subprocess
import sys

import tree

LISTS = {
    "libMekHost.so": tree.HOST + "/exported-symbols.txt",
    "libZelREKernel.so": tree.KERNEL + "/exported-symbols.txt",
}
FOREIGN = re.compile(
    r"^(std|__gnu_cxx|__cxxabiv1|tbb|oneapi|fmt|spdlog|boost|nlohmann|testing|benchmark)::"
    r"|^operator (new|delete)|^_|^[a-z]\w*$")
PREFIX = re.compile(
    r"^(vtable for|VTT for|typeinfo for|typeinfo name for|guard variable for|construction vtable for|"
    r"non-virtual thunk to|virtual thunk to) ")
# The same type as everyone writes it.
STRING = re.compile(
    r"std::(?:__cxx11::)?basic_string<char, std::char_traits<char>, std::allocator<char> >")
# What the linker itself defines.
LINKER = {"_init", "_fini", "_edata", "_end", "__bss_start"}


def owner(name):
    """The qualified name without what stands around it: 'void ns::f<int>(int)' -> 'ns::f<int>'."""
    name = PREFIX.sub("", name)
    depth, start = 0, 0
    for index, letter in enumerate(name):
        if letter == "<":
            depth += 1
        elif letter == ">":
            depth -= 1
        elif letter == " " and depth == 0 and "operator" not in name[start:index]:
            start = index + 1
        elif letter == "(" and depth == 0 and index > start:
            return name[start:index]
    return name[start:]


def dynamic_table(library, *options):
    """(kind, name as linked) of the dynamic symbols of a library."""
    listing = subprocess.run(
        ["nm", "--dynamic", "--format=posix", *options, library], check=True, capture_output=True,
        text=True).stdout
    for line in listing.splitlines():
        # A demangled name has spaces of its own; kind, value and size end the line.
        match = re.match(r"(.*?) ([A-Za-z])(?: [0-9a-f]*)*\s*$", line)
        yield match.group(2), match.group(1)


def pins(library):
    """What keeps a library in the process after its last dlclose."""
    for kind, name in dynamic_table(library):
        if kind == "u":
            yield f"the unique symbol {name}"
        if name.startswith("__cxa_thread_atexit"):
            yield "a thread_local with a destructor"


def exported(library):
    """(ours, strong symbols that are not ours) of a library's dynamic table."""
    ours, strangers = set(), set()
    for kind, name in dynamic_table(library, "--defined-only", "--demangle"):
        name = STRING.sub("std::string", name.split("@@")[0])
        if name in LINKER:
            continue
        if not FOREIGN.search(owner(name)):
            ours.add(name)
        elif kind not in "VWvwu":
            strangers.add(name)
    return sorted(ours), sorted(strangers)


def main():
    update = "--update" in sys.argv[1:]
    problems = []
    for library, path in LISTS.items():
        built = os.path.join(tree.ROOT, "build/dev/bin", library)
        ours, strangers = exported(built)
        problems += [f"{library} cannot be unloaded: {reason}" for reason in pins(built)]
        problems += [f"{library} exports {name}, which is not ours" for name in strangers]
        full = os.path.join(tree.ROOT, path)
        if update:
            with open(full, "w", encoding="utf-8") as file:
                file.writelines(name + "\n" for name in ours)
            print(f"{path}: {len(ours)} symbols")
            continue
        listed = open(full, encoding="utf-8").read().splitlines() if os.path.exists(full) else []
        problems += difflib.unified_diff(listed, ours, path, library, lineterm="", n=0)
    tree.finish(problems)


if __name__ == "__main__":
    main()
