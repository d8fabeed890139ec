"""Plants single faults, and says which test finds each: faults.py [--list LIST]... [--only NUMBER...] [--jobs N]

Every line of a list is one fault. A copy of the tree is built once with all of them, each behind its number in the
environment; then the tests run for one after the other, those first that are likely to find it, to the first that
fails. Run by hand: it takes hours. Works in build/faults; the tree itself stays as it is. Verdicts are kept there: a
fault that has one is not judged again, but with --again.
"""

import argparse
import concurrent.futures
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
WORK = ROOT / "build" / "faults"
TREE = WORK / "tree"
BUILD = WORK / "build"
VERDICTS = WORK / "verdicts.txt"
PASSED = WORK / "passed.txt"

HEADER = """// Which fault is planted, in every file of C++.
#pragma once
#include <stdlib.h>
static int fourTapFault;
__attribute__((constructor(101), unused)) static void ReadFourTapFault(void) {
  char const* const text = getenv("FOURTAP_FAULT");
  fourTapFault = text ? atoi(text) : 0;
}
"""

PYTHON_HEADER = """import os
fourTapFault = int(os.environ.get("FOURTAP_FAULT", "0"))
"""

# Faults have numbers of their list's own, whatever the others have.
FIRST_NUMBER = {"library": 1, "tool": 1001, "bindings": 2001}

# What runs for faults of a list, by their files' names: programs of tests, to their first failing case, or what ctest
# knows under that label, by an expression of label/name. The first that are named for a file go before all others.
RUNS = [
    # Every small size of every variant takes the longest, and comes last.
    ("src/", ["UnitTest", "CheckedTest", "DispatchTest", "AllocationFailureTest", "NoAllocationTest",
              "PairAssertionsTest", "CppWrapperTest", "DocsTest", "PlugInTest", "ThreadsTest",
              "ScalerTest --gtest_filter=-Variants*", "ScalerTest --gtest_filter=Variants*"]),
    ("tools/", ["tool/"]),
    ("bindings/python/", ["python/"]),
    ("bindings/gstreamer/", ["gstreamer/"]),
]
FIRST = [
    ("src/(filters|util|entry/Queries|entry/ScaleContext|core)", ["UnitTest"]),
    ("src/(checked|picture)", ["CheckedTest"]),
    ("src/(picture|reduced)", ["ScalerTest --gtest_filter=ReducingTaps*:Alpha*:*Picture*"]),
    ("src/scheme/ScaleSlice", ["ScalerTest --gtest_filter=Slices.*"]),
    ("src/(gathered|turned|layouts|scheme)", ["ScalerTest --gtest_filter=-Variants*"]),
    ("src/entry/Dispatch", ["DispatchTest"]),
    ("tools/.*/video/VideoStream", ["tool/ToolVideo.(WhatIsNot|Pixels|Broken|Sizes)", "tool/ToolFraming.FullRange"]),
    ("tools/.*/video/FrameFormat", ["tool/ToolVideo.(RawFrames|WhatIsNot|Names)", "tool/ToolFraming.Padding"]),
    ("tools/.*/video/",
     ["tool/ToolVideo.(Rectangle|Threads|SizesAre|FramesLeave|FramesToCome|RawFramesWhose)", "tool/ToolFraming.Frames"]),
    ("tools/.*/(SizeGrammar|Scaling|InputFile)",
     ["tool/ToolCommand.(Sizes|BadUsage|Progress)", "tool/ToolFraming.(Sizes|What)",
      "tool/ToolPicture.(Rect|Unusual|OneStep)", "tool/ToolVideo.FramesToCome"]),
    ("tools/.*/OutputFile",
     ["tool/ToolHostile.(AnIgnored|AFile|AResult|Links)", "tool/ToolCommand.(Output|Result|ASignal|FullDisk)",
      "tool/ToolBatch.(Folders|AFolder|ASignalLeaves)", "tool/ToolVideo.Output"]),
    ("tools/.*/(Composition|Padding)", ["tool/ToolFraming.(Sizes|Frames|WhatFills|Boxes|Pictures|Padding)"]),
    ("tools/.*/(Deflate|PngFilter)", ["tool/ToolBatch.Png"]),
    ("tools/.*/(Batch|Turns)", ["tool/ToolBatch.(Messages|Two|AResult|WhatOne|Folders)"]),
    ("tools/.*/Webp", ["tool/ToolWebp"]),
    ("tools/.*/(Exif|Notes)", ["tool/ToolPicture.(WhatDescribes|Notes|Exif)"]),
    ("tools/.*/Orientation", ["tool/ToolPicture.PicturesComeUpright"]),
    ("tools/.*/Background", ["tool/ToolPicture.Alpha"]),
    ("tools/.*/Pnm", ["tool/ToolPicture.(AllKinds|Pnm|GrayAndColour)", "tool/ToolCommand.BadPictures", "tool/ToolHostile.AHeader"]),
    ("tools/.*/Bitmap", ["tool/ToolPicture.(Unusual|EveryFormat|WhatDescribes|OneStep)", "tool/ToolCommand.BadPictures"]),
    ("tools/.*/(Png|Jpeg)Format",
     ["tool/ToolPicture.(WhatDescribes|Texts|Densities|Notes|Exif|OddJpeg)",
      "tool/ToolPicture.(EveryFormat|Unusual|Inks|APictureOf|GoodInputs)"]),
    ("tools/.*/Jpeg", ["tool/ToolHostile.NoInput"]),
    ("tools/.*/(Channel|ScalePicture)",
     ["tool/ToolPicture.(Rectangle|NothingTo|FileThat|GrayAnd|WhatDescribes|GoodInputs)", "tool/ToolHostile.Sizes"]),
    ("tools/.*/Channel", ["tool/ToolVideo.(Broken|Output|OfTwo)"]),
    ("bindings/python/.*dask", ["python/Python.Dask"]),
    ("bindings/python/core/(Scaler|Helpers)", ["python/Python.Threads"]),
    ("bindings/python/core/(Arrays|Objects|Pictures)", ["python/Python.Memory"]),
    ("bindings/python/", ["python/Python.(Bytes|Refusals)"]),
    ("bindings/gstreamer/(Borders|Placement|Element)", ["gstreamer/Borders"]),
    ("bindings/gstreamer/(Caps|Placement|Element)", ["gstreamer/Negotiation"]),
    ("bindings/gstreamer/(Borders|Element)", ["gstreamer/Stream"]),
    ("bindings/gstreamer/FrameScaler", ["gstreamer/GStreamer/Formats.HaveTheLibrarysBytes"]),
]
TARGETS = {
    "tool": ["fourtap", "chart", "model_frame", "FaultyScaler", "FewThreads", "LittleMemory", "NoAcceleration"],
    "bindings": ["fourtapscale", "fourtap", "fourtapscale_python", "fourtapscale_python_allocations", "gstfourtapscale",
                 "GStreamerTest", "GStreamerNoAllocationTest", "GStreamerBandsTest"],
}
SECONDS = 600
CTEST_SECONDS = 120


class Fault:
    def __init__(self, number, where, file, original, faulty, statement, equivalent):
        self.number, self.where, self.file = number, where, file
        self.original, self.faulty, self.statement, self.equivalent = original, faulty, statement, equivalent

        self.key = f"{file}: {original} ==> {faulty or 'nothing'}"

    def __str__(self):
        return f"{self.number} {self.key}"


def fail(what):
    sys.exit(f"faults.py: {what}")


def read_lists(names):
    """A list has the file's name in brackets, then for each fault of it

        ORIGINAL ==> FAULTY          an expression; or with "; " before it, statements, which may become nothing
        ~ REASON                     the fault above makes no difference that anybody could see, since ...

    The original text stands in the file once. Files of C++ have either, of Python expressions alone. Blank lines and
    those that begin with # are skipped."""
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
                number = FIRST_NUMBER[name] + sum(fault.list == name for fault in faults)
                fault = Fault(number, where, file, original.strip(), faulty.strip(), statement, None)
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
            if fault.file.endswith(".py"):
                original = f"({fault.faulty} if {planted} else {original})"
            elif fault.statement:
                original = f"if ({planted}) {{ {fault.faulty} }} else {{ {original} }}"
            else:
                original = f"({planted} ? ({fault.faulty}) : ({original}))"
        text = text[:first] + original + text[last:]
    if faults[0].file.endswith(".py"):
        future = "from __future__ import annotations\n"
        text = text.replace(future, future + PYTHON_HEADER)
    return text


def write_if_other(path, data):
    if not path.exists() or path.read_bytes() != data:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)


def copy_tree(faults):
    """Returns what tells the copy from any other."""
    digest = hashlib.sha256()
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, check=True, capture_output=True).stdout
    names = [name for name in names.decode().split("\0") if (ROOT / name).is_file() and not name.startswith("tests/faults/")]
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
        digest.update(name.encode() + b"\0" + data)
        shutil.copymode(ROOT / name, TREE / name)
    if by_file:
        fail(f"{', '.join(by_file)}: no file of the project, expected the name of one")
    write_if_other(WORK / "fault.h", HEADER.encode())
    kept = set(names)
    for path in list(TREE.rglob("*")):
        if path.is_file() and str(path.relative_to(TREE)) not in kept:
            path.unlink()
    return digest.hexdigest()


def build(jobs, lists):
    subprocess.run(["cmake", "-G", "Ninja", "-S", TREE, "-B", BUILD, "-DCMAKE_BUILD_TYPE=Release",
                    "-DFOURTAP_BUILD_BENCH=OFF", "-DFOURTAP_BUILD_BINDINGS=ON", "-DFOURTAP_BUILD_PYTHON=ON",
                    f"-DCMAKE_CXX_FLAGS=-w -include {WORK}/fault.h"], check=True, stdout=subprocess.DEVNULL)
    targets = {target for name in lists for target in TARGETS.get(name, [])}
    if "library" in lists:
        targets.update(test.split()[0] for test in RUNS[0][1])
    subprocess.run(["cmake", "--build", BUILD, "-j", str(jobs), "--target", *sorted(targets)], check=True,
                   stdout=subprocess.DEVNULL)


class Test:
    """A program of tests, or one of ctest's; what they fail with names the case."""

    def __init__(self, name, command, seconds=SECONDS, environment=(), folder=None):
        self.name, self.command, self.seconds = name, command, seconds
        self.environment, self.folder = dict(environment), folder

    def run(self, number):
        """The name of the case that fails; None if all pass."""
        environment = {**os.environ, **self.environment, "PYTEST_ADDOPTS": "-x", "FOURTAP_FAULT": str(number)}
        try:
            done = subprocess.run(self.command, env=environment, cwd=self.folder, capture_output=True,
                                  timeout=self.seconds)
        except subprocess.TimeoutExpired:
            return f"{self.name} (no end)"
        if done.returncode == 0:
            return None
        found = re.search(r"\[  FAILED  \] (\S+)|^FAILED \S+::(\S+)", done.stdout.decode(errors="replace"), re.M)
        if found and not self.name.endswith(found[1] or "?"):
            return f"{self.name}: {found[2]}" if found[2] else found[1].rstrip(",")
        return f"{self.name} (signal {-done.returncode})" if done.returncode < 0 else self.name


def ctest_tests():
    """All that ctest knows, under label/name."""
    shown = subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], check=True, capture_output=True)
    tests = []
    for told in json.loads(shown.stdout)["tests"]:
        values = {value["name"]: value["value"] for value in told.get("properties", [])}
        if "command" not in told or "Skipped" in " ".join(told["command"]):
            continue
        environment = [variable.split("=", 1) for variable in values.get("ENVIRONMENT", [])]
        for label in values.get("LABELS", []):
            tests.append(Test(f"{label}/{told['name']}", told["command"], CTEST_SECONDS, environment,
                              values.get("WORKING_DIRECTORY")))
    return tests


def tests_for(fault, known):
    """Those that are likely to find it, and the others."""
    chosen, seen = [], set()
    for choice in (FIRST, RUNS):
        tests = []
        for name in (name for pattern, names in choice if re.match(pattern, fault.file) for name in names):
            if "/" in name:
                found = [test for test in known if re.match(name, test.name)]
            else:
                program, *filters = name.split()
                found = [Test(name, [BUILD / "tests" / program, "--gtest_fail_fast", "--gtest_brief=1", *filters])]
            if not found:
                fail(f"{name}: no test of that name is built, expected what {fault.file} takes to be installed")
            tests += [test for test in found if test.name not in seen]
            seen.update(test.name for test in tests)
        chosen.append(tests)
    return chosen


def passes(test, digest):
    """That it does without a fault; looked at once for a tree."""
    line = f"{digest} {test.name}\n"
    if not PASSED.exists() or line not in PASSED.read_text():
        if test.run(0) and test.run(0):
            fail(f"{test.name}: fails without a fault, expected every test to pass")
        with PASSED.open("a") as log:
            log.write(line)
    return True


def finds(test, number, digest):
    """As run does. A failure that does not come again is the busy machine's, and so is an end that never comes where it
    does not come without the fault either."""
    failed = test.run(number)
    if failed and failed.endswith("(no end)"):
        return None if test.run(0) else failed
    return failed and passes(test, digest) and test.run(number)


def judge(fault, tests, digest):
    return fault, next(filter(None, (finds(test, fault.number, digest) for test in tests)), None)


def kept_verdicts():
    """By fault, the name of the case that found it, or None."""
    verdicts = {}
    if VERDICTS.exists():
        for line in VERDICTS.read_text().splitlines():
            key, killer = json.loads(line)
            verdicts[key] = killer
    return verdicts


def verdict_on(fault, killer):
    if killer and fault.equivalent:
        return f"{killer} finds it, though it is listed as one that makes no difference"
    if killer:
        return f"found by {killer}"
    return f"makes no difference: {fault.equivalent}" if fault.equivalent else "LIVES"


def print_table(lists, faults, verdicts):
    """Says whether every fault that was judged is as it is expected to be."""
    print("| List | Faults | Equivalent | Died | Survived | Not judged |\n|---|---|---|---|---|---|")
    good = True
    for name in lists:
        every = [fault for fault in faults if fault.list == name]
        judged = [fault for fault in every if fault.key in verdicts]
        equivalent = [fault for fault in judged if fault.equivalent and not verdicts[fault.key]]
        died = [fault for fault in judged if not fault.equivalent and verdicts[fault.key]]
        others = [str(fault.number) for fault in judged if fault not in equivalent and fault not in died]
        good = good and not others
        print(f"| {name} | {len(every)} | {len(equivalent)} | {len(died)} | {', '.join(others) or 0} | "
              f"{len(every) - len(judged)} |")
    return good


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--list", action="append", choices=FIRST_NUMBER, help="of these lists; else of all")
    parser.add_argument("--only", nargs="+", type=int, help="these faults")
    parser.add_argument("--again", action="store_true", help="also those that have a verdict")
    parser.add_argument("--build", action="store_true", help="and judge nothing")
    parser.add_argument("--quick", action="store_true", help="without the test of the library that takes longest")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="at once")
    asked = parser.parse_args()
    if asked.quick:
        RUNS[0][1].pop()
    faults = read_lists(FIRST_NUMBER)
    lists = asked.list or list(FIRST_NUMBER)
    verdicts = kept_verdicts()
    chosen = [fault for fault in faults
              if fault.list in lists and (not asked.only or fault.number in asked.only) and
              (asked.again or fault.key not in verdicts)]
    if chosen or asked.build:
        digest = copy_tree(faults)
        build(asked.jobs, lists)
    if chosen and not asked.build:
        known = ctest_tests()
        with VERDICTS.open("a") as log, concurrent.futures.ThreadPoolExecutor(asked.jobs) as crew:
            tests = {fault: tests_for(fault, known) for fault in chosen}
            try:
                # Those that the first tests find have their verdicts early.
                for part in (0, 1):
                    judged = [crew.submit(judge, fault, tests[fault][part], digest) for fault in chosen]
                    for fault, killer in (one.result() for one in concurrent.futures.as_completed(judged)):
                        if not killer and part == 0:
                            continue
                        chosen.remove(fault)
                        verdicts[fault.key] = killer
                        print(json.dumps([fault.key, killer]), file=log, flush=True)
                        print(f"{fault}\n    {verdict_on(fault, killer)}", flush=True)
            finally:
                crew.shutdown(cancel_futures=True)
    for fault in faults:
        if fault.list in lists and fault.key in verdicts and bool(verdicts[fault.key]) == bool(fault.equivalent):
            print(f"{fault}\n    {verdict_on(fault, verdicts[fault.key])}")
    sys.exit(0 if print_table(lists, faults, verdicts) else 1)


main()
