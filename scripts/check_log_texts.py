#!/usr/bin/env python3
"""Compares the texts that the module logs with the table in docs/hosting.md, both ways.

A text is compared in pieces: the words between what is put in at run time ("..." in the table) and punctuation. Every
literal of the module's own folders that has two words counts as a text, so that a new one is in the table or here."""

import re
import subprocess
import sys

DOCUMENT = "docs/hosting.md"
# Where exceptions with a text of ours and lines for the host's log come from. What lower folders throw has no text in
# the log: HostLog.h knows it by a status, or not at all.
SOURCES = ("modules/*", "fileset/*", "packaging/*", "fragmentation/*", "wrappers/*")
# Texts of these folders that never reach the log of a host, by the reason.
NOT_LOGGED = {
    "Korvo Systems Inc. Hint Handler": "a name in the segment",
    "Invalid Mode for krvo::k2m::IOStream::Seek()": "thrown in a callback, which turns it into a status",
    "a segment ends too early": "an append looks elsewhere for what this fragment does not say",
    "a fragment has another box": "the same",
    "a box ends too early": "the same",
    "a box is too large": "the same",
    "a descriptor is too long for its length field": "no failure with a text: see Unknown Error",
    "Cannot find file": "for a packager of files",
    "No supported tracks in file": "for a packager of files",
    "A track with a timescale of 0 has no times.": "for readers of stored samples",
    "No tag is made of a stored ": "for readers of stored samples",
    " sample of format '": "for readers of stored samples",
    "tag-stream error": "the recorder reads no tag streams",
    "RKX error": "what(); the line has the status, too",
}

LITERAL = re.compile(r'"((?:[^"\\\n]|\\.)*)"')
TWO_WORDS = re.compile(r"[A-Za-z]\W* \W*[A-Za-z]|^ [a-z]+|[A-Za-z] \W*$")
SEPARATORS = re.compile(r"\.\.\.|%s|[^A-Za-z0-9 ,/&-]")


def pieces(text):
    """The parts of a text with letters in them, without what surrounds them."""
    return {piece for part in SEPARATORS.split(text) if re.search("[A-Za-z]", piece := part.strip(" -,"))}


def source_texts():
    """Path and text of each literal of two words or more; neighbours are one literal."""
    paths = subprocess.run(["git", "ls-files", *SOURCES], check=True, capture_output=True, text=True).stdout.split()
    for path in paths:
        if not path.endswith((".cpp", ".h")):
            continue
        with open(path, encoding="utf-8") as source:
            code = re.sub(r"^\s*#.*$|//.*$", "", source.read(), flags=re.M)
        for text in LITERAL.findall(re.sub(r'"\s*\n\s*"', "", code)):
            if TWO_WORDS.search(text):
                yield path, text


def documented_texts():
    """Line number and text of each row of the table: its first cell is code."""
    with open(DOCUMENT, encoding="utf-8") as document:
        for number, line in enumerate(document, 1):
            if found := re.match(r"\| `(.+?)` \| (?:error|warning) \|", line):
                yield number, found.group(1)


def main():
    logged = {(path, text) for path, text in source_texts() if text not in NOT_LOGGED}
    in_sources = set().union(*(pieces(text) for _, text in logged))
    in_document = set().union(*(pieces(text) for _, text in documented_texts()))
    found = [f"{path}: {DOCUMENT} does not have the text '{text}'"
             for path, text in sorted(logged) if not pieces(text) <= in_document]
    found += [f"{DOCUMENT}:{number}: no source has '{piece}'"
              for number, text in documented_texts() for piece in sorted(pieces(text) - in_sources)]
    known = {text for _, text in source_texts()}
    found += [f"scripts/check_log_texts.py: no source has '{text}'" for text in NOT_LOGGED if text not in known]
    print("\n".join(found) if found else "log texts: the sources and docs/hosting.md have the same")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
