#!/usr/bin/env python3
"""Programs built against the kept binary interface still run: docs/abi.md says what that means.

The interface of each library lies beside its sources as abi.xml.xz. What a public header shows is
compared with build/dev, which has debug information: layouts, virtual tables, signatures, SONAME.
A new symbol breaks nobody and passes. --update keeps today's interface instead.
"""

import lzma
import os
import subprocess
import sys
import tempfile

import tree

LIBRARIES = {"libMekHost.so": tree.HOST, "libZelREKernel.so": tree.KERNEL}
# Bits of abidiff's status; 4 and 8 tell of differences.
FAULTS = 1 | 2
# The standard library's templates, which this compiler happened to keep as functions of their own.
NOT_OURS = "[suppress_function]\nsymbol_name_regexp = ^_ZN?K?(St|9__gnu_cxx)\n"
# No places, paths or names of parameters: they change without the interface.
NO_NOISE = ["--no-show-locs", "--no-corpus-path", "--no-comp-dir-path", "--no-parameter-names",
            "--type-id-style", "hash"]


def interface(library):
    """The interface of a built library as XML, without the types that no public header shows."""
    headers = [option for folder in tree.PUBLIC.values()
               for option in ("--headers-dir", os.path.join(tree.ROOT, folder))]
    return subprocess.run(
        ["abidw", *NO_NOISE, "--drop-private-types", "--drop-undefined-syms", *headers,
         os.path.join(tree.ROOT, "build/dev/bin", library)],
        check=True, capture_output=True).stdout


def differences(kept, built):
    """What abidiff says between two interfaces; empty when only symbols were added."""
    with tempfile.TemporaryDirectory() as folder:
        paths = [os.path.join(folder, name) for name in ("kept.xml", "built.xml")]
        for path, content in zip(paths, (kept, built)):
            with open(path, "wb") as file:
                file.write(content)
        suppressions = os.path.join(folder, "not-ours.ini")
        with open(suppressions, "w", encoding="utf-8") as file:
            file.write(NOT_OURS)
        result = subprocess.run(["abidiff", "--no-added-syms", "--suppressions", suppressions,
                                 *paths], capture_output=True, text=True, check=False)
    if result.returncode & FAULTS:
        return [f"abidiff failed: {result.stderr.strip() or result.stdout.strip()}"]
    return result.stdout.splitlines() if result.returncode else []


def main():
    update = "--update" in sys.argv[1:]
    problems = []
    for library, module in LIBRARIES.items():
        path = os.path.join(module, "abi.xml.xz")
        full = os.path.join(tree.ROOT, path)
        built = interface(library)
        if update:
            packed = lzma.compress(built, preset=9 | lzma.PRESET_EXTREME)
            with open(full, "wb") as file:
                file.write(packed)
            print(f"{path}: {len(packed) // 1024} KiB")
        elif not os.path.exists(full):
            problems.append(f"{path} is missing; scripts/check abi --update writes it")
        else:
            with open(full, "rb") as file:
                found = differences(lzma.decompress(file.read()), built)
            if found:
                problems += [f"{library} is not what {path} keeps; docs/abi.md says what to do:"]
                problems += found
    tree.finish(problems)


if __name__ == "__main__":
    main()
