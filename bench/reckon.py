"""Reckons what the loops of NEON take on processors that are not at hand, beside those of AVX2: compiles the kernels, cuts
their loops out of the assembly, and asks llvm-mca for cycles. Ends of lines, tables and memory are not in it.

reckon.py RESULTS.csv"""

import csv
import pathlib
import re
import subprocess
import sys
import tempfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
FLAGS = ["-std=gnu++20", "-O3", "-DNDEBUG", "-fPIC", "-S", "-fno-exceptions", "-fno-rtti", "-fno-asynchronous-unwind-tables",
         f"-I{SOURCE}/src", f"-I{SOURCE}", f"-I{SOURCE}/include"]
COMPILERS = {
    "aarch64": (["aarch64-linux-gnu-g++", *FLAGS, f"-I{SOURCE}/processors/aarch64"], "aarch64-linux-gnu"),
    "x86-64": (["g++", *FLAGS, f"-I{SOURCE}/processors/x86_64"], "x86_64-linux-gnu"),
}
DOT_PRODUCTS = ["-march=armv8.2-a+dotprod"]
# What the loop does, kind of processor, file, flags, what its function's name matches, output bytes of an iteration, or of a look-up.
LOOPS = (
    ("vertically", "aarch64", "filters/VertFilter_neon.cpp", [], r"FilterLine<", 16),
    ("vertically", "x86-64", "filters/VertFilter_avx2.cpp", ["-mavx2"], r"FilterLine<", 32),
    ("horizontally, dot products", "aarch64", "gathered/Gather_dotprod.cpp", DOT_PRODUCTS,
     r"FilterLines<.*Kernel16<.*, 4, false, false>", 4),
    ("horizontally, products of halves", "aarch64", "gathered/Gather_neon.cpp", [],
     r"FilterLines<.*Kernel16<.*Order\)0>, 4, false, false>", 4),
    ("horizontally, products of fours", "aarch64", "gathered/Gather_neon.cpp", [],
     r"FilterLines<.*Kernel16<.*Order\)1>, 4, false, false>", 4),
    ("horizontally, even and odd outputs of a window", "x86-64", "gathered/Gather_avx2.cpp", ["-mavx2"],
     r"FilterLines<.*Lanes\)2, 1\}>, 4, false, false>", 8),
    ("horizontally, a window for each block", "x86-64", "gathered/Gather_avx2.cpp", ["-mavx2"],
     r"FilterLines<.*Lanes\)1, 1\}>, 4, false, false>", 8),
)
PROCESSORS = {"aarch64": ("neoverse-n1", "neoverse-v1"), "x86-64": ("znver3",)}


def functions(assembly):
    """Lines of each function, by its name as people write it."""
    found = {}
    name, lines = None, []
    for line in assembly.splitlines():
        label = re.match(r"(_Z\w+)(\.\w+)*:", line)
        if label:
            name, lines = label[1], []
        elif name and re.match(r"\s+\.size\s", line):
            found[name], name = lines, None
        elif name:
            lines.append(line)
    readable = subprocess.run(["c++filt"], input="\n".join(found), text=True, capture_output=True, check=True)
    return dict(zip(readable.stdout.splitlines(), found.values()))


def loops(lines):
    """What lies between a label and a jump back to it, with no such thing inside."""
    labels = {line[:-1]: at for at, line in enumerate(lines) if re.fullmatch(r"\.L\w+:", line)}
    spans = []
    for at, line in enumerate(lines):
        jump = re.match(r"\s+(?:j\w+|b\.?\w*|cbnz|cbz|tbnz|tbz)\s.*?(\.L\w+)$", line)
        if jump and labels.get(jump[1], at) < at:
            spans.append((labels[jump[1]], at + 1))
    innermost = [span for span in spans if not any(span != other and span[0] <= other[0] and other[1] <= span[1]
                                                   for other in spans)]
    return [[line for line in lines[first:end] if not re.match(r"\s*[.#/]|\.L", line)] for first, end in innermost]


def cycles(loop, triple, processor):
    """Of one iteration among many."""
    iterations = 100
    said = subprocess.run(["llvm-mca-19", f"-mtriple={triple}", f"-mcpu={processor}", f"-iterations={iterations}"],
                          input="\n".join(loop) + "\n", text=True, capture_output=True, check=True).stdout
    return int(re.search(r"Total Cycles: +(\d+)", said)[1]) / iterations


def main():
    with open(sys.argv[1], "w", newline="", encoding="utf-8") as results, tempfile.TemporaryDirectory() as folder:
        table = csv.writer(results, lineterminator="\n")
        table.writerow(("loop", "processor", "instructions", "bytes", "cycles", "cycles per byte"))
        for what, kind, file, flags, pattern, size in LOOPS:
            compiler, triple = COMPILERS[kind]
            output = pathlib.Path(folder, "kernel.s")
            subprocess.run([*compiler, *flags, SOURCE / "src" / file, "-o", output], check=True)
            matching = [lines for name, lines in functions(output.read_text(encoding="utf-8")).items()
                        if re.search(pattern, name)]
            if len(matching) != 1:
                raise SystemExit(f"reckon.py: {file}: {len(matching)} functions match {pattern}, expected one")
            # In the vertical filter's function is a longer one too, for other taps; in the horizontal one's shorter ones.
            inside = [loop for loop in loops(matching[0]) if len(loop) > 9]
            loop = min(inside, key=len) if what == "vertically" else max(inside, key=len)
            if what != "vertically":
                size *= sum(bool(re.match(r"\s*(tbl|vpshufb)\s", line)) for line in loop)
            for processor in PROCESSORS[kind]:
                taken = cycles(loop, triple, processor)
                table.writerow((what, processor, len(loop), size, f"{taken:.2f}", f"{taken / size:.4f}"))


main()
