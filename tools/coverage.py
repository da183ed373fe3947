#!/usr/bin/env python3
"""coverage.py FILE [--lines]: a table by part of what llvm-cov has exported; fails where a part has too little of its
lines or branches. A place counts once, however often it is compiled (for each variant and template argument); functions
that the compiler alone calls, for tables, do not count."""
import collections
import functools
import json
import os
import re
import sys

LEAST_LINES, LEAST_BRANCHES = 97, 93
# Of files, maps and threads, half the branches are answers of the system that no test brings about.
LEAST_BRANCHES_OF = {"codecs/common": 88}
ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


@functools.lru_cache(None)
def source(name):
    return open(name).read().split("\n")


def at_compile_time(functions):
    """Lines by file of constexpr functions that nothing calls when the program runs."""
    called, lines = collections.Counter(), collections.defaultdict(set)
    for f in functions:
        called[f["filenames"][0], f["regions"][0][0]] += f["count"]
    for f in functions:
        name, (first, _, last) = f["filenames"][0], f["regions"][0][:3]
        head = source(name)[max(0, first - 3) : first]
        if called[name, first] == 0 and any("constexpr" in line for line in head):
            lines[name].update(range(first, last + 1))
    return lines


def line_counts(segments):
    """How often each line has been executed: the most of what lies on it."""
    counts = {}
    for (line, _, count, has_count, _, gap), after in zip(segments, segments[1:]):
        for at in range(line, after[0] + 1):
            if has_count and not gap and (at != after[0] or after[1] > 1):
                counts[at] = max(count, counts.get(at, 0))
    return counts


CONSTANT = re.compile(r"\bk[A-Z]|\bsizeof|\b[A-Z]\w*::|\b[A-Z]\b|_v<")  # as constants and types are named here


def branch_counts(text, branches):
    """Of each condition, how often it was true and false. Constant ones, which are counted as neither, are left out."""
    counts = collections.defaultdict(lambda: [0, 0])
    condition = {}
    for line, column, to_line, end, true, false, *_ in branches:
        counts[line, column][0] += true
        counts[line, column][1] += false
        condition[line, column] = text[line - 1][column - 1 : end - 1 if to_line == line else None]
    return {k: n for k, n in counts.items() if any(n) or not CONSTANT.search(condition[k])}


def main():
    data = json.load(open(sys.argv[1]))["data"][0]
    compiled = at_compile_time(data["functions"])
    parts = collections.defaultdict(lambda: [0, 0, 0, 0])
    for f in data["files"]:
        name = os.path.relpath(f["filename"], ROOT)
        skipped = compiled[f["filename"]]
        lines = {k: n for k, n in line_counts(f["segments"]).items() if k not in skipped}
        branches = {k: n for k, n in branch_counts(source(f["filename"]), f["branches"]).items() if k[0] not in skipped}
        found = [sum(n > 0 for n in lines.values()), len(lines),
                 sum((t > 0) + (f > 0) for t, f in branches.values()), 2 * len(branches)]
        part = parts["src" if name.startswith("src") else os.path.dirname(name)]
        part[:] = map(sum, zip(part, found))
        if "--lines" in sys.argv:
            missing = {k: "never executed" for k, n in lines.items() if n == 0}
            for (line, _), (true, false) in branches.items():
                if not (true and false):
                    what = "neither" if true == false else "true" if true == 0 else "false"
                    missing.setdefault(line, f"never {what}".replace("never neither", "not asked"))
            for line, what in sorted(missing.items()):
                print(f"{name}:{line}: {what}: {source(f['filename'])[line - 1].strip()}")
    failed = False
    print(f"{'part':16} {'lines':>8} {'branches':>9}")
    for name, (lines, all_lines, branches, all_branches) in sorted(parts.items()):
        by_line, by_branch = 100 * lines / all_lines, 100 * branches / max(1, all_branches)
        low = by_line < LEAST_LINES or by_branch < LEAST_BRANCHES_OF.get(name, LEAST_BRANCHES)
        failed |= low
        print(f"{name:16} {by_line:7.2f}% {by_branch:8.2f}%{'  too little' if low else ''}")
    return failed


sys.exit(main())
