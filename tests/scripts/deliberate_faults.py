#!/usr/bin/env python3
"""Applies deliberate faults to a copy of the tree, one by one, and tells which of them the tests catch.

The faults stand in tests/faults/*.faults, as blocks of this form; the old text must be found exactly once in its file:

    fault family.name: what is broken
    equivalent: why this changes nothing that a caller could see        (only where that is so)
    file src/family/module.cpp
    <<<
    old text
    ===
    new text
    >>>

A fault counts as caught where a test fails, crashes or hangs. A fault that does not compile is an error of the list. The
exit status is 0 where at least 95 % are caught and every other one is argued to be equivalent.
"""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import threading

ROOT = pathlib.Path(__file__).resolve().parents[2]
REQUIRED_SHARE = 0.95
BLOCK = re.compile(
    r"^fault (\S+): ([^\n]+)\n(?:equivalent: ([^\n]+)\n)?file (\S+)\n<<<\n(.*?)\n===\n(.*?)\n?>>>$", re.M | re.S)


class Fault:
    def __init__(self, match):
        self.name, self.what, self.equivalent, self.file, self.old, self.new = match.groups()

    def in_codecs(self):
        return self.file.startswith(("codecs/", "tools/"))


def read_faults(folder):
    faults = []
    for path in sorted(folder.glob("*.faults")):
        text = path.read_text()
        found = [Fault(m) for m in BLOCK.finditer(text)]
        if len(found) != len(re.findall(r"^fault ", text, re.M)):
            sys.exit(f"{path}: a block that does not have the form of a fault")
        faults += found
    for fault in faults:
        count = (ROOT / fault.file).read_text().count(fault.old)
        if count != 1:
            sys.exit(f"{fault.name}: its old text stands {count} times in {fault.file}")
    return faults


class Copy:
    """A copy of the tree with a build of its own."""

    def __init__(self, folder, with_codecs):
        self.source, self.build, self.with_codecs = folder / "source", folder / "build", with_codecs
        files = subprocess.run(["git", "-C", ROOT, "ls-files"], check=True, capture_output=True, text=True).stdout
        for name in files.splitlines():
            if (ROOT / name).exists():
                (self.source / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, self.source / name)
        subprocess.run(["cmake", "-S", self.source, "-B", self.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
                        "-DZELJ_BUILD_TESTS=ON"], check=True, stdout=subprocess.DEVNULL)

    def make(self, targets):
        run = subprocess.run(["ninja", "-C", self.build, "-j1", *targets], capture_output=True, text=True)
        return run.returncode == 0, run.stdout

    def first_failure(self, in_codecs):
        """Which test sees the fault, or None."""
        programs = [["tests/zelj_tests", "--variant=avx2"], ["tests/zelj_tests", "--variant=sse41"],
                    ["tests/zelj_internal_avx2"], ["tests/zelj_internal_sse41"]]
        if in_codecs:
            programs = [["tests/codec/zelj_codec_tests"], ["tests/codec/zelj_c_interface_tests"]]
        for program, *arguments in programs:
            try:
                run = subprocess.run([self.build / program, *arguments, "--gtest_fail_fast", "--gtest_brief=1"],
                                     capture_output=True, text=True, errors="replace", timeout=300)
            except subprocess.TimeoutExpired:
                return f"{program} hangs"
            if run.returncode not in (0, 77):
                failed = re.search(r"^\[  FAILED  \] (\S+)", run.stdout, re.M)
                return failed.group(1) if failed else f"{program} ends with {run.returncode}"
        return None

    def try_fault(self, fault):
        path = self.source / fault.file
        before = path.read_text()
        path.write_text(before.replace(fault.old, fault.new))
        try:
            built, log = self.make(targets_for(fault))
            if not built:
                return "does not compile", log
            return self.first_failure(fault.in_codecs()), ""
        finally:
            path.write_text(before)


def targets_for(fault):
    if fault.in_codecs():
        return ["zelj_codec_tests", "zelj_c_interface_tests"]
    return ["zelj_tests", "zelj_internal_avx2", "zelj_internal_sse41"]


def main():
    parser = argparse.ArgumentParser(description="Which deliberate faults do the tests catch?")
    parser.add_argument("--jobs", type=int, default=2, help="copies of the tree that are worked on at once")
    parser.add_argument("--only", default="", help="a regular expression that the faults' names must match")
    options = parser.parse_args()
    faults = [f for f in read_faults(ROOT / "tests" / "faults") if re.search(options.only, f.name)]
    results, waiting, lock = {}, list(faults), threading.Lock()

    def work(folder):
        copy = Copy(folder, any(f.in_codecs() for f in faults))
        for kind in {f.in_codecs() for f in faults}:
            built, log = copy.make(targets_for(next(f for f in faults if f.in_codecs() == kind)))
            failure = copy.first_failure(kind) if built else log
            if failure:
                results["the unchanged tree"] = failure
                return
        while True:
            with lock:
                if not waiting or "the unchanged tree" in results:
                    return
                fault = waiting.pop(0)
            caught, log = copy.try_fault(fault)
            with lock:
                results[fault.name] = (caught, log)
                verdict = caught or (f"equivalent: {fault.equivalent}" if fault.equivalent else "SURVIVED")
                print(f"{fault.name:44} {verdict}", flush=True)

    with tempfile.TemporaryDirectory() as scratch:
        threads = [threading.Thread(target=work, args=(pathlib.Path(scratch) / str(i),)) for i in range(options.jobs)]
        for t in threads:
            t.start()
        for t in threads:
            t.join()
    if "the unchanged tree" in results:
        sys.exit(f"the unchanged tree fails: {results['the unchanged tree']}")

    broken = [f for f in faults if results[f.name][0] == "does not compile"]
    caught = [f for f in faults if results[f.name][0] and f not in broken]
    survived = [f for f in faults if not results[f.name][0] and not f.equivalent]
    for f in broken:
        print(f"{f.name} does not compile:\n{results[f.name][1]}")
    for f in survived:
        print(f"not caught: {f.name}: {f.what}")
    print(f"{len(caught)} of {len(faults)} deliberate faults caught, {len(survived)} not, "
          f"{len(faults) - len(caught) - len(survived) - len(broken)} argued to change nothing")
    sys.exit(0 if not broken and not survived and len(caught) >= REQUIRED_SHARE * len(faults) else 1)


if __name__ == "__main__":
    main()
