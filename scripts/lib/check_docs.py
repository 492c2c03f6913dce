#!/usr/bin/env python3
"""What the documents promise: every public name has a comment, Doxygen understands all of them, and the
links of the pages lead somewhere. Leaves the reference in build/docs/html."""

import os
import re
import shutil
import subprocess

import tree

FENCE = re.compile(r"^```.*?^```", re.S | re.M)
CODE = re.compile(r"`[^`\n]*`")
LINK = re.compile(r"\]\(([^)\s]+)\)")
HEADING = re.compile(r"^#+ +(.*?) *#*$", re.M)


def anchors(path):
    """What a heading can be linked by: small letters, blanks as hyphens, no punctuation."""
    headings = HEADING.findall(FENCE.sub("", tree.text(path)))
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def check_links(problems):
    known = tree.known_files()
    folders = {os.path.dirname(path) for path in known}
    folders |= {os.path.dirname(folder) for folder in folders}
    for path in (path for path in tree.files() if path.endswith(".md")):
        text = CODE.sub("", FENCE.sub("", tree.text(path)))
        for link in LINK.findall(text):
            if re.match(r"[a-z]+:", link):
                continue
            name, _, anchor = link.partition("#")
            target = os.path.normpath(os.path.join(os.path.dirname(path), name)) if name else path
            if target not in known and target not in folders:
                problems.append(f"{path}: {link} leads nowhere")
            elif anchor and anchor not in anchors(target):
                problems.append(f"{path}: {link}: there is no such heading")


def check_reference(problems):
    if not shutil.which("doxygen"):
        problems.append("doxygen is missing; run scripts/install-deps")
        return
    os.makedirs(os.path.join(tree.ROOT, "build"), exist_ok=True)
    run = subprocess.run(["doxygen", "docs/Doxyfile"], cwd=tree.ROOT, text=True, errors="replace",
                         capture_output=True)
    said = (run.stdout + run.stderr).replace(tree.ROOT + "/", "").strip()
    problems += dict.fromkeys(said.split("\n") if said else [])
    if run.returncode != 0 and not said:
        problems.append(f"doxygen ended with {run.returncode}")


def main():
    problems = []
    check_links(problems)
    check_reference(problems)
    tree.finish(problems)


if __name__ == "__main__":
    main()
