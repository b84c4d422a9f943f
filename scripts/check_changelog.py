#!/usr/bin/env python3
"""Checks that CHANGELOG.md has the form of Keep a Changelog, that its newest release is the version in
CMakeLists.txt, and that no other file repeats that version."""

import re
import subprocess
import sys

CHANGELOG = "CHANGELOG.md"
# The version's home.
PROJECT = "CMakeLists.txt"
HEADING = re.compile(r"^## (?:\[Unreleased\]|\[(\d+\.\d+\.\d+)\] - \d{4}-\d{2}-\d{2})$")
SECTIONS = {"Added", "Changed", "Deprecated", "Removed", "Fixed", "Security"}


def project_version():
    with open(PROJECT, encoding="utf-8") as project:
        return re.search(r"^project\(\w+ VERSION (\d+\.\d+\.\d+)", project.read(), flags=re.M).group(1)


def changelog_faults(version):
    releases = []
    with open(CHANGELOG, encoding="utf-8") as changelog:
        for number, line in enumerate(changelog, 1):
            if line.startswith("### ") and line[4:].strip() not in SECTIONS:
                yield f"{CHANGELOG}:{number}: a section is one of {', '.join(sorted(SECTIONS))}"
            elif line.startswith("## "):
                if not (heading := HEADING.match(line.rstrip("\n"))):
                    yield f"{CHANGELOG}:{number}: '## [Unreleased]' or '## [1.2.3] - 2026-01-31' expected"
                else:
                    releases.append(heading.group(1))
    if not releases or releases[0] is not None or None in releases[1:]:
        yield f"{CHANGELOG}: '## [Unreleased]' expected, once and first"
    newest = next((release for release in releases if release), "none")
    if newest != version:
        yield f"{CHANGELOG}: the newest release is {newest}, the version in {PROJECT} {version}"


def repetitions(version):
    """Tests and seeds have numbers of other things."""
    found = subprocess.run(
        ["git", "grep", "-nIE", rf"(^|[^0-9.]){re.escape(version)}($|[^0-9.])", "--", ".", f":!{PROJECT}",
         f":!{CHANGELOG}", ":!tests", ":!fuzz"], check=False, capture_output=True, text=True)
    return [f"{':'.join(line.split(':')[:2])}: the version is repeated" for line in found.stdout.splitlines()]


def main():
    version = project_version()
    found = [*changelog_faults(version), *repetitions(version)]
    print("\n".join(found) if found else "changelog: its newest release is the project's version")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
