#!/usr/bin/env python3
"""Prints the figures of the tree that docs/architecture.md quotes: lines of files and functions, comments by kind of
file, the share of tests, includes, and lines that are written twice.

    scripts/figures.py [COMMIT]    the work tree, or the tree of a commit, for a comparison
"""

import collections
import re
import statistics
import subprocess
import sys

TEST_FOLDERS = ("tests/", "fuzz/")
OTHER_FOLDERS = ("bench/", "examples/")
# As many equal lines in a row count as written twice.
WINDOW = 6
# A head in the first column, as the formatter sets it; what follows may run over several lines.
NO_FUNCTION = re.compile(r"^(namespace|class|struct|enum|union|extern|template|using|typedef|#|//|\}|\s|$)")


def git(*arguments):
    return subprocess.run(["git", *arguments], check=True, capture_output=True, text=True).stdout


def read_tree(commit):
    """The C++ files, by path, as lists of lines."""
    if commit is None:
        files = {}
        for path in git("ls-files", "*.h", "*.cpp").split():
            with open(path, encoding="utf-8") as source:
                files[path] = source.read().splitlines()
        return files
    paths = [path for path in git("ls-tree", "-r", "--name-only", commit).split() if path.endswith((".h", ".cpp"))]
    return {path: git("show", f"{commit}:{path}").splitlines() for path in paths}


def kind(path):
    if path.startswith(TEST_FOLDERS):
        return "tests and fuzz targets"
    if path.startswith(OTHER_FOLDERS):
        return "benchmarks and examples"
    if path.startswith("include/imo/"):
        return "include/imo"
    return "headers" if path.endswith(".h") else "sources"


def is_comment(line):
    return line.lstrip().startswith("//")


def code_lines(lines):
    return [line for line in lines if line.strip() and not is_comment(line)]


def function_lengths(lines):
    """Lengths of the functions that begin in the first column, from the head to the closing brace: that of the last
    handler, if the body is a try block. A table of constants is no function. `lines` has code alone: a reason in a
    comment makes no function longer."""
    head = None
    in_body = False
    for number, line in enumerate(lines):
        if in_body:
            if line.startswith("}") and not line.endswith("{"):
                if not line.startswith("};"):
                    yield number - head + 1
                head, in_body = None, False
        elif not NO_FUNCTION.match(line):
            head = number
        if head is not None and not in_body:
            if line.endswith((";", "}")):
                head = None
            in_body = line.endswith("{")


def repeated_lines(files):
    """Lines of code in runs of WINDOW or more that are somewhere else, too, letter by letter."""
    places = collections.defaultdict(list)
    for path, lines in files.items():
        code = [(number, line.strip()) for number, line in enumerate(lines)
                if len(line.strip()) > 2 and not is_comment(line) and not line.startswith("#include")]
        for i in range(len(code) - WINDOW + 1):
            places["\n".join(line for _, line in code[i:i + WINDOW])].append((path, [n for n, _ in code[i:i + WINDOW]]))
    repeated = {(path, number) for found in places.values() if len(found) > 1 for path, numbers in found
                for number in numbers}
    return len(repeated)


def print_rows(rows):
    for name, value in rows:
        print(f"  {name:<50}{value:>8}")


def main():
    files = read_tree(sys.argv[1] if len(sys.argv) > 1 else None)
    groups = collections.defaultdict(dict)
    for path, lines in files.items():
        groups[kind(path)][path] = lines

    print("lines, and the share of comments in what is not blank")
    for name in ("sources", "headers", "include/imo", "tests and fuzz targets", "benchmarks and examples"):
        lines = [line for content in groups[name].values() for line in content]
        comments = sum(map(is_comment, lines))
        filled = sum(1 for line in lines if line.strip())
        print(f"  {name:<30}{len(groups[name]):>5} files {len(lines):>7} lines {100 * comments / filled:>6.1f} %")

    product = groups["sources"] | groups["headers"] | groups["include/imo"]
    sizes = sorted(len(lines) for lines in groups["sources"].values())
    functions = sorted(length for lines in product.values() for length in function_lengths(code_lines(lines)))
    includes = [sum(line.startswith("#include") for line in lines) for lines in product.values()]
    code = {name: sum(len(code_lines(lines)) for lines in group.values()) for name, group in groups.items()}
    print("the product")
    print_rows([
        ("lines of a source, median", f"{statistics.median(sizes):.0f}"),
        ("lines of a source, most", sizes[-1]),
        ("lines of code of a function, median", f"{statistics.median(functions):.0f}"),
        ("lines of code of a function, 99 of 100 at most", functions[len(functions) * 99 // 100]),
        ("lines of code of a function, most", functions[-1]),
        ("includes of a file, mean", f"{statistics.mean(includes):.1f}"),
        (f"lines in runs of {WINDOW} that are written twice", repeated_lines(product)),
    ])
    print("tests and fuzz targets")
    print_rows([
        ("lines of code", code["tests and fuzz targets"]),
        ("share of all lines of code", f"{100 * code['tests and fuzz targets'] / sum(code.values()):.1f} %"),
        (f"lines in runs of {WINDOW} that are written twice", repeated_lines(groups["tests and fuzz targets"])),
    ])


if __name__ == "__main__":
    main()
