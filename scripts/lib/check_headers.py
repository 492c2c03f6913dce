#!/usr/bin/env python3
"""Every public header compiles alone, without a warning."""

import os

import compiledb
import tree


def main():
    compiled = compiledb.commands()
    jobs = []
    for module, prefix in tree.PUBLIC.items():
        # Any source of the library knows the search path; a user does not see its private folder.
        model = next(path for path in compiled if path.startswith(module + "/src/"))
        private = "-I" + os.path.join(tree.ROOT, module, "src")
        flags = [flag for flag in compiledb.flags(compiled[model]) if flag != private]
        for path in tree.public_headers(module):
            command = [os.environ.get("CXX", "g++"), *flags, "-fsyntax-only", "-x", "c++",
                       "-include", os.path.join(tree.ROOT, path), "/dev/null"]
            key = compiledb.fingerprint(path, " ".join(command))
            jobs.append((path, key, command))
    failed = compiledb.run_each("headers", jobs)
    tree.finish(f"{path} does not compile alone:\n{said}" for path, said in sorted(failed.items()))


if __name__ == "__main__":
    main()
