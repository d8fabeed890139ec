"""Plants single faults, and says which test finds each: faults.py [--list LIST]... [--only NUMBER...] [--jobs N]

Every line of a list is one fault. A copy of the tree is built once with all of them, each behind its number in the
environment; then the tests run for one after the other, those first that are likely to find it, to the first that
fails. Run by hand: it takes hours. Works in build/faults; the tree itself stays as it is.
"""

import argparse
import concurrent.futures
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "faults"
TREE = WORK / "tree"
BUILD = WORK / "build"

HEADER = """// Which fault is planted, in every file of C++.
#pragma once
#include <stdlib.h>
static int fourTapFault;
__attribute__((constructor(101), unused)) static void ReadFourTapFault(void) {
  char const* const text = getenv("FOURTAP_FAULT");
  fourTapFault = text ? atoi(text) : 0;
}
"""

# What runs for faults of a list: programs of tests, to their first failing case. The first that are named for a file go
# before all others.
RUNS = {
    # Every small size of every variant takes the longest, and comes last.
    "library": ["UnitTest", "CheckedTest", "DispatchTest", "AllocationFailureTest", "NoAllocationTest",
                "PairAssertionsTest", "CppWrapperTest", "DocsTest", "PlugInTest", "ThreadsTest",
                "ScalerTest --gtest_filter=-Variants*", "ScalerTest --gtest_filter=Variants*"],
}
FIRST = [
    ("src/(filters|util|entry/Queries|entry/ScaleContext|core)", ["UnitTest"]),
    ("src/(checked|picture)", ["CheckedTest", "ScalerTest --gtest_filter=-Variants*"]),
    ("src/(reduced)", ["ScalerTest --gtest_filter=-Variants*"]),
    ("src/(gathered|turned|layouts|scheme)", ["ScalerTest --gtest_filter=-Variants*"]),
    ("src/entry/Dispatch", ["DispatchTest"]),
]
SECONDS = 600


class Fault:
    def __init__(self, number, where, file, original, faulty, statement, equivalent):
        self.number, self.where, self.file = number, where, file
        self.original, self.faulty, self.statement, self.equivalent = original, faulty, statement, equivalent

    def __str__(self):
        return f"{self.number} {self.file}: {self.original} ==> {self.faulty or 'nothing'}"


def fail(what):
    sys.exit(f"faults.py: {what}")


def read_lists(names):
    """A list has the file's name in brackets, then for each fault of it

        ORIGINAL ==> FAULTY          an expression; or with "; " before it, statements, which may become nothing
        ~ REASON                     the fault above makes no difference that anybody could see, since ...

    The original text stands in the file once. Blank lines and those that begin with # are skipped."""
    faults = []
    for name in names:
        path = ROOT / "tests" / "faults" / f"{name}.txt"
        file = None
        for count, line in enumerate(path.read_text().splitlines(), 1):
            where = f"{path.name}:{count}"
            if not line.strip() or line.startswith("#"):
                continue
            if heading := re.fullmatch(r"\[(.+)\]", line):
                file = heading[1]
            elif line.startswith("~ "):
                faults[-1].equivalent = line[2:]
            else:
                statement = line.startswith("; ")
                original, arrow, faulty = line.removeprefix("; ").partition(" ==>")
                if not arrow or file is None:
                    fail(f"{where}: {line}: expected ORIGINAL ==> FAULTY behind a file's name in brackets")
                fault = Fault(len(faults) + 1, where, file, original.strip(), faulty.strip(), statement, None)
                fault.list = name
                faults.append(fault)
    return faults


def plant(text, faults):
    """The text with all faults of its file."""
    places = {}
    for fault in faults:
        if text.count(fault.original) != 1:
            fail(f"{fault.where}: {fault.original}: stands {text.count(fault.original)} times in {fault.file}, "
                 "expected once")
        start = text.index(fault.original)
        places.setdefault((start, start + len(fault.original)), []).append(fault)
    end = len(text)
    for (first, last), here in sorted(places.items(), reverse=True):
        if last > end:
            fail(f"{here[0].where}: overlaps another fault, expected them apart")
        end = first
        original = text[first:last]
        for fault in here:
            if fault.statement != here[0].statement:
                fail(f"{fault.where}: a statement and an expression of the same text, expected one of them")
            planted = f"fourTapFault == {fault.number}"
            if fault.statement:
                original = f"if ({planted}) {{ {fault.faulty} }} else {{ {original} }}"
            else:
                original = f"({planted} ? ({fault.faulty}) : ({original}))"
        text = text[:first] + original + text[last:]
    return text


def write_if_other(path, data):
    if not path.exists() or path.read_bytes() != data:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


def copy_tree(faults):
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout
    names = [name for name in names.decode().split("\0") if name and (ROOT / name).is_file()]
    by_file = {}
    for fault in faults:
        by_file.setdefault(fault.file, []).append(fault)
    for name in names:
        data = (ROOT / name).read_bytes()
        if name in by_file:
            data = plant(data.decode(), by_file.pop(name)).encode()
        if name == "cmake/CompileFlags.cmake":
            data = data.replace(b" -Werror", b"")
        write_if_other(TREE / name, data)
        shutil.copymode(ROOT / name, TREE / name)
    if by_file:
        fail(f"{', '.join(by_file)}: no file of the project, expected the name of one")
    write_if_other(WORK / "fault.h", HEADER.encode())
    kept = set(names)
    for path in list(TREE.rglob("*")):
        if path.is_file() and str(path.relative_to(TREE)) not in kept:
            path.unlink()


def build(jobs, lists):
    subprocess.run(["cmake", "-G", "Ninja", "-S", TREE, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Release",
                    "-DFOURTAP_BUILD_BENCH=OFF", "-DFOURTAP_BUILD_BINDINGS=OFF", "-DFOURTAP_BUILD_PYTHON=OFF",
                    f"-DCMAKE_CXX_FLAGS=-w -include {WORK}/fault.h"], check=True, stdout=subprocess.DEVNULL)
    targets = {test.split()[0] for name in lists for test in RUNS[name]}
    subprocess.run(["cmake", "--build", BUILD, "-j", str(jobs), "--target", *sorted(targets)], check=True,
                   stdout=subprocess.DEVNULL)


def run(test, number):
    """The name of the first test that fails; None if all pass."""
    environment = dict(os.environ, FOURTAP_FAULT=str(number))
    name, *filters = test.split()
    command = [BUILD / "tests" / name, "--gtest_fail_fast", "--gtest_brief=1", *filters]
    try:
        done = subprocess.run(command, env=environment, capture_output=True, timeout=SECONDS)
    except subprocess.TimeoutExpired:
        return f"{name} (no end)"
    if done.returncode == 0:
        return None
    found = re.search(r"\[  FAILED  \] (\S+)", done.stdout.decode(errors="replace"))
    if found:
        return found[1].rstrip(",")
    return f"{name} (signal {-done.returncode})" if done.returncode < 0 else name


def order(fault):
    tests = RUNS[fault.list]
    first = [test for pattern, names in FIRST if re.match(pattern, fault.file) for test in names]
    return first + [test for test in tests if test not in first]


def judge(fault):
    started = time.monotonic()
    killer = next(filter(None, (run(test, fault.number) for test in order(fault))), None)
    return fault, killer, time.monotonic() - started


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    lists = sorted(path.stem for path in (ROOT / "tests" / "faults").glob("*.txt"))
    parser.add_argument("--list", action="append", choices=lists, help="of these lists; else of all")
    parser.add_argument("--only", nargs="+", type=int, help="these faults")
    parser.add_argument("--quick", action="store_true", help="without the test that takes longest")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="at once")
    asked = parser.parse_args()
    if asked.quick:
        RUNS["library"].pop()
    # Numbers are the same whatever is asked for.
    faults = read_lists(lists)
    copy_tree(faults)
    build(asked.jobs, asked.list or lists)
    chosen = [fault for fault in faults
              if (not asked.list or fault.list in asked.list) and (not asked.only or fault.number in asked.only)]
    for test in sorted({test for fault in chosen for test in RUNS[fault.list]}):
        if failed := run(test, 0):
            fail(f"{failed} fails without a fault, expected every test to pass")
    found, survivors, equivalent = 0, [], []
    with (WORK / "results.txt").open("w") as log, concurrent.futures.ThreadPoolExecutor(asked.jobs) as crew:
        for fault, killer, seconds in crew.map(judge, chosen):
            if killer and fault.equivalent:
                verdict = f"{killer} finds it, though it is listed as one that makes no difference"
                survivors.append(fault)
            elif killer:
                verdict = f"found by {killer}"
                found += 1
            elif fault.equivalent:
                verdict = f"makes no difference: {fault.equivalent}"
                equivalent.append(fault)
            else:
                verdict = "LIVES"
                survivors.append(fault)
            line = f"{fault}\n    {verdict}, {seconds:.1f} s"
            print(line, flush=True)
            print(line, file=log, flush=True)
        real = len(chosen) - len(equivalent)
        summary = (f"{len(chosen)} faults: {found} found of {real} ({100 * found / max(1, real):.1f} %), "
                   f"{len(equivalent)} make no difference")
        print(summary)
        print(summary, file=log)
    for fault in survivors:
        print(f"lives: {fault}")
    sys.exit(1 if survivors else 0)


main()
