#!/usr/bin/env python3
"""Shows a header to Doxygen as people read it: a // comment above a declaration is the declaration's
text, one behind it on the same line too, and the opening comment is that of the class which the file
is named after, or of the file. Neighbouring overloads share the comment above the first of them, and
a comment that ends with a colon is for all declarations below it, up to an empty line or the next
comment. Without a comment of their own, destructors, copies and moves are what the language makes of
them, and are left out, as is what is deleted.

Lines keep their numbers, so that a warning points to the right one."""

import pathlib
import re
import sys

COMMENT = re.compile(r"^(\s*)// ?(.*)$")
TRAILING = re.compile(r"^(\s*[^/\s].*?\S)\s+// ?(.*)$")
SCOPE = re.compile(r"^\s*(?:extern \"C\"|(?:inline )?namespace\b|(?:template\b.*>\s*)?(?:class|struct|union|enum)\b)")
NAMESPACE = re.compile(r"^\s*namespace ([\w:]+) \{")
SPECIAL = re.compile(
    r"^\s*(virtual |constexpr |inline )*"
    r"(~\w+\(|(\w+)\((const \3&|\3&&)|(\w+)& operator=\(((const )?\5&?&?)[ )])")
PREPROCESSOR = re.compile(r"^\s*#")
ACCESS = re.compile(r"^\s*(public|protected|private):$")
# The last word before the first parenthesis: a function's name.
NAME = re.compile(r"(~?\w+|operator\s*\S+)\s*\(")


def function_name(declaration):
    plain = re.sub(r"\b(ZKL_PRINTF_FORMAT|alignas|requires|noexcept)\b\([^)]*\)", "", declaration)
    plain = re.sub(r"<[^<>]*>", "", plain)
    match = NAME.search(plain)
    return match.group(1) if match else None


def strip_strings(line):
    return re.sub(r"\"(?:\\.|[^\"\\])*\"|'(?:\\.|[^'\\])'", '""', line)


class Filter:
    def __init__(self, path):
        self.lines = path.read_text().split("\n")
        self.stem = path.stem
        self.scopes = []      # of each open brace: whether declarations stand in it
        self.comment = []     # lines of the comment above the declaration to come
        self.shared = None    # name and comment of the declaration just above
        self.hidden = False   # what is being read is left out
        self.statement = ""   # the declaration that is being read
        self.bodies = 0       # open braces that hold no declarations

    def stem_class(self):
        """The qualified name of the class of the file's name, if it has no comment of its own."""
        namespaces = []
        for number, line in enumerate(self.lines):
            if match := NAMESPACE.match(line):
                namespaces.append(match.group(1))
            elif line.startswith("}  // namespace") or (
                    line == "}" and self.lines[number - 2].startswith("namespace")):
                namespaces.pop()
            elif re.match(rf"(class|struct)\b[^;:]*\b{self.stem}\b[^;]*$", line):
                above = number - 1
                while self.lines[above].startswith("template"):
                    above -= 1
                commented = self.lines[above].startswith("//")
                return None if commented else "::".join([*namespaces, self.stem])
        return None

    def opening(self):
        """Turns the opening comment and the two lines above it; returns where it ends."""
        end = 2
        while end < len(self.lines) and self.lines[end].startswith("//"):
            end += 1
        if self.lines[0] != "#pragma once" or end == 2:
            return 0
        name = self.stem_class()
        print(f"/** \\file */" if name else "")
        print(f"/// \\class {name}" if name else "/// \\file")
        for line in self.lines[2:end]:
            print("///" + line[2:])
        return end

    def count(self, line):
        """Follows the braces of a line."""
        for character in strip_strings(line):
            if character == "{":
                declares = not self.bodies and bool(SCOPE.match(self.statement))
                self.scopes.append(declares)
                self.bodies += not declares
                self.statement = ""
            elif character == "}":
                self.bodies -= not self.scopes.pop()
                self.statement = ""
            elif character == ";":
                self.statement = ""
            else:
                self.statement += character
        self.statement = (self.statement.strip() + " ") if self.statement.strip() else ""

    def declaration(self, line):
        """A line of code outside of bodies, where a declaration may begin."""
        begins = not self.statement
        name = function_name(line) if begins else None
        text = line
        trailing = TRAILING.match(line)
        if trailing:
            text = f"{trailing.group(1)}  ///< {trailing.group(2)}"
        elif begins and not self.comment:
            deleted = line.rstrip().endswith("= delete;")
            shared = not deleted and self.shared
            if shared and (name == shared[0] or shared[1][-1].endswith(":")):
                self.comment = shared[1]
                text = f"/** {' '.join(self.comment)} */ {line.strip()}"
            elif deleted or SPECIAL.match(line):
                text = f"/** \\cond */ {line.strip()}"
                self.hidden = True
        if begins:
            self.shared = (name, self.comment) if self.comment else None
            self.comment = []
        self.count(line.split("//")[0])
        self.out(text)

    def out(self, text):
        """Writes a line, and the end of what is hidden behind the line on which that ends."""
        if self.hidden and not self.statement and not self.bodies:
            text += " /** \\endcond */"
            self.hidden = False
        print(text)

    def run(self):
        for line in self.lines[self.opening():]:
            if self.bodies or PREPROCESSOR.match(line):
                self.count("" if PREPROCESSOR.match(line) else line.split("//")[0])
                self.out(line)
                continue
            if ACCESS.match(line):
                self.comment, self.shared = [], None
                print(line)
                continue
            comment = COMMENT.match(line)
            if comment and not self.statement:
                self.comment.append(comment.group(2).strip())
                print(f"{comment.group(1)}/// {comment.group(2)}")
                continue
            if not line.strip():
                self.comment, self.shared = [], None
                print(line)
                continue
            self.declaration(line)


if __name__ == "__main__":
    Filter(pathlib.Path(sys.argv[1])).run()
