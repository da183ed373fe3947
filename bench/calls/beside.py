#!/usr/bin/env python3
"""beside.py BUILD BUILD_ARM64 [--above RATIO]: the instructions of one call of every exported function on ARM64 beside those
of the sse41 variant on x86-64, as a table, the largest ratio first. Both are counted exactly, by QEMU, in the program
zelj_calls of each build folder. With --above: only functions with a larger ratio.
"""
import argparse
import os
import subprocess
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))


def counts(plugin, emulator, program, variant):
    """(function, units, unit, instructions) of each."""
    done = subprocess.run([*emulator, "-plugin", plugin, os.path.join(program, "bench", "calls", "zelj_calls"), variant],
                          check=True, capture_output=True, text=True)
    # Before, behind, before, behind: every second number is that of a call.
    instructions = [int(line) for line in done.stderr.splitlines()][1::2]
    rows = [line.split("\t") for line in done.stdout.splitlines()]
    assert len(rows) == len(instructions) and rows[0][0] == "nothing"
    return [(name, float(units), unit, n - instructions[0]) for (name, units, unit), n in
            list(zip(rows, instructions))[1:]]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("build_arm64")
    parser.add_argument("--above", type=float, default=0)
    options = parser.parse_args()
    root = os.path.join(options.build_arm64, "root", "usr", "lib", "aarch64-linux-gnu")
    with tempfile.TemporaryDirectory() as scratch:
        plugin = os.path.join(scratch, "count.so")
        subprocess.run(["cc", "-O1", "-shared", "-fPIC", os.path.join(HERE, "count.c"), "-o", plugin], check=True)
        x86 = counts(plugin, ["qemu-x86_64", "-cpu", "Nehalem"], options.build, "sse41")
        arm = counts(plugin, ["qemu-aarch64", "-L", "/usr/aarch64-linux-gnu", "-E", f"LD_LIBRARY_PATH={root}"],
                     options.build_arm64, "neon")
    rows = sorted(((there[3] / here[3], here, there) for here, there in zip(x86, arm)), key=lambda r: -r[0])
    print("| function | unit | sse41 | neon | neon / sse41 |\n|---|---|---|---|---|")
    for ratio, (name, units, unit, here), (_, _, _, there) in rows:
        if ratio > options.above:
            print(f"| `{name}` | {unit} | {here / units:.4g} | {there / units:.4g} | {ratio:.2f} |")


if __name__ == "__main__":
    main()
