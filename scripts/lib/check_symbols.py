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

DLLS = os.path.join(tree.ROOT, "build/windows/bin")
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


def dll_exports(library):
    """The demangled names that a DLL exports."""
    listing = subprocess.run(["x86_64-w64-mingw32-objdump", "-p", library], check=True,
                             capture_output=True, text=True).stdout
    names = re.findall(r"^\s+\[\s*\d+\] (\S+)$",
                       listing[listing.index("[Ordinal/Name Pointer] Table"):], re.MULTILINE)
    return subprocess.run(["c++filt"], input="\n".join(names), check=True, capture_output=True,
                          text=True).stdout.splitlines()


def common_form(name):
    """What a symbol is called where the two systems' ABIs call the same thing by other names."""
    name = STRING.sub("std::string", name).replace("[abi:cxx11]", "")
    name = re.sub(r"std::basic_([io]stream)<char, std::char_traits<char> >", r"std::\1", name)
    # 64 bits are a long there and a long long here; so is a size.
    name = re.sub(r"\blong long\b", "long", name)
    # A va_list is an array there and a pointer here, and only as the last parameter.
    return re.sub(r"char const\*, (__va_list_tag\*|char\*)\)", "char const*, va_list)", name)


def dll_differences(library, listed, weak):
    """How a DLL's exports differ from the shared object's, but for what the systems force.

    - Tables and type information go with the class; which of them are symbols differs.
    - A nested class is visible with its outer class on Linux, and on Windows where it says so.
    - Inline functions, which are weak on Linux, are compiled by their users and need not be there.
    """
    there = {common_form(name) for name in listed if not PREFIX.search(name)}
    here = {common_form(name) for name in dll_exports(os.path.join(DLLS, library))}
    here = {name for name in here if not PREFIX.search(name)}
    scopes = {owner(name).rpartition("::")[0] for name in here}

    def is_class(scope):
        last = scope.rpartition("::")[2]
        return any(owner(name) in (f"{scope}::{last}", f"{scope}::~{last}") for name in there)

    def is_nested(name):
        scope = owner(name).rpartition("::")[0]
        return scope not in scopes and is_class(scope.rpartition("::")[0])

    for name in sorted(there - here):
        if not is_nested(name) and name not in weak:
            yield f"{library} lacks {name}"
    for name in sorted(here - there):
        if not FOREIGN.search(owner(name)):
            yield f"{library} exports {name} and the shared object does not"


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
        dll = library[len("lib"):-len(".so")] + ".dll"
        if os.path.exists(os.path.join(DLLS, dll)):
            weak = {common_form(name.split("@@")[0]) for kind, name in
                    dynamic_table(built, "--defined-only", "--demangle") if kind in "VWvw"}
            problems += dll_differences(dll, listed, weak)
        problems += difflib.unified_diff(listed, ours, path, library, lineterm="", n=0)
    tree.finish(problems)


if __name__ == "__main__":
    main()
