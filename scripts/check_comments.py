#!/usr/bin/env python3
"""Checks what comments and documents promise and no compiler sees: files that they name exist, decisions that a comment
quotes are in docs/decisions.md, the functions that this document names are in their files, and the maps of boxes are
not folded by the formatter."""

import os
import re
import subprocess
import sys

FILE_NAME = re.compile(r"(?<![\w/.*<])[\w./-]*\w\.(?:cpp|h|md|py|sh|mjs|html)\b")
COMMENT = re.compile(r"^\s*(?://+|#(?!\s*include))(.*)$")
# A row of a map: offset (or a dot, where it depends), then a width or a name.
MAP_ROW = re.compile(r"^ {4,}(?:\d+|\.)  +\S")
CONTINUED_ROW = re.compile(r"^ {8,}\S")
DECISIONS = "docs/decisions.md"
QUOTED_DECISION = re.compile(re.escape(DECISIONS) + r',? "([^"]+)"')
DECISION_TITLE = re.compile(r"^\*\*(.+?)\*\*", re.MULTILINE | re.DOTALL)
# A function and its file, over the end of a line, too.
PLACE = re.compile(r"`(?:\w+::)*(\w+)`\s+in\s+`([\w./]+\.(?:cpp|h|js))`")
# Names that stand for others, and files that a build or a user makes.
PLACEHOLDERS = {"_test.cpp", "NAME.cpp"}


def tracked(*patterns):
    return subprocess.run(["git", "ls-files", *patterns], check=True, capture_output=True, text=True).stdout.split()


def comments_of(path):
    """Number and text of each line that is a comment; of a document every line."""
    with open(path, encoding="utf-8") as source:
        for number, line in enumerate(source, 1):
            if path.endswith(".md"):
                yield number, line.rstrip("\n")
            elif found := COMMENT.match(line):
                yield number, found.group(1)


def unknown_files(path, comments, known):
    for number, text in comments:
        for name in FILE_NAME.findall(text):
            ending = "/" + name.lstrip("./")
            if name not in PLACEHOLDERS and not any(("/" + file).endswith(ending) for file in known):
                yield f"{path}:{number}: there is no file {name}"


def folded_maps(path, comments):
    """A line between two rows of a map that is neither a row nor the indented rest of one."""
    rows = [number for number, text in comments if MAP_ROW.match(text)]
    text_of = dict(comments)
    for before, after in zip(rows, rows[1:] + [rows[-1] + 2] if rows else []):
        for number in range(before + 1, after):
            text = text_of.get(number, "")
            if not text.strip():
                break  # The map has ended, or an empty line parts it.
            if not CONTINUED_ROW.match(text):
                yield f"{path}:{number}: the row of a map is broken: '{text.strip()}'"


def read(path):
    with open(path, encoding="utf-8") as source:
        return source.read()


def unknown_decisions(path, comments, titles):
    """A title that is quoted over several lines is read as one."""
    text = " ".join(" ".join(line for _, line in comments).split())
    for title in QUOTED_DECISION.findall(text):
        if not any(known.rstrip(".").startswith(title.rstrip(".")) for known in titles):
            yield f"{path}: {DECISIONS} has no \"{title}\""


def unknown_places(decisions, known):
    for function, file in PLACE.findall(decisions):
        places = [path for path in known if ("/" + path).endswith("/" + file)]
        if not any(re.search(rf"\b{function}\b", read(path)) for path in places):
            yield f"{DECISIONS}: there is no {function} in {file}"


def main():
    known = tracked()
    decisions = read(DECISIONS)
    titles = [" ".join(title.split()) for title in DECISION_TITLE.findall(decisions)]
    found = list(unknown_places(decisions, known))
    for path in tracked("*.cpp", "*.h", "*.md", "*.py", "*.sh", "*CMakeLists.txt"):
        comments = list(comments_of(path))
        found += unknown_files(path, comments, known)
        if not path.endswith(".md"):
            found += unknown_decisions(path, comments, titles)
        if path.endswith(".h"):
            found += folded_maps(path, comments)
    print("\n".join(found) if found else "comments: their files and decisions exist, their maps are whole")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
