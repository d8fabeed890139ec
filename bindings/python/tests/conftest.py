"""What the tests share: layouts, pictures, the tool and the library beside them."""

import collections
import os
import pathlib
import subprocess
import tempfile

import numpy
import pytest

# Of each layout its channels; () is a plane.
CHANNELS = {"gray": (), "uv16": (2,), "ya8": (2,), "uyvy": (2,), "yuy2": (2,), "rgb24": (3,), "rgb32": (4,),
            "rgba32": (4,), "argb": (4,)}
ROOT = pathlib.Path(__file__).resolve().parents[3]
# What hypothesis writes; otherwise it would lie beside the sources.
SCRATCH = tempfile.TemporaryDirectory(prefix="fourtapscale-")
os.environ["HYPOTHESIS_STORAGE_DIRECTORY"] = SCRATCH.name
SANITIZED = os.environ.get("SANITIZED") == "1"

Case = collections.namedtuple("Case", "layout source_size size steps alpha")


def picture(layout, size, seed=0):
    """Many of its bytes are at the ends of the range."""
    rng = numpy.random.default_rng([seed, *size])
    shape = (size[1], size[0], *CHANNELS[layout])
    noise = rng.integers(0, 256, shape, numpy.uint8)
    return numpy.where(rng.random(shape) < 0.3, rng.choice(numpy.array([0, 255], numpy.uint8), shape), noise)


def random_case(rng, layout, most=60):
    source_size, size = ([int(n) for n in rng.integers(1, most, 2)] for _ in range(2))
    if rng.random() < 0.15:
        size[0] = source_size[0]
    if rng.random() < 0.15:
        size[1] = source_size[1]
    if layout in ("uyvy", "yuy2"):
        source_size[0], size[0] = source_size[0] + source_size[0] % 2, size[0] + size[0] % 2
    alphas = ("multiply", "straight", "drop", (9, 100, 200), None) if layout in ("ya8", "rgba32", "argb") else (None,)
    return Case(layout, tuple(source_size), tuple(size), bool(rng.integers(2)), alphas[rng.integers(len(alphas))])


def random_rect(rng, case):
    """Of the output; of packed layouts in pairs."""
    step = 2 if case.layout in ("uyvy", "yuy2") else 1
    ends = []
    for extent, unit in zip(case.size, (step, 1)):
        first = int(rng.integers(0, extent // unit)) * unit
        ends.append((first, int(rng.integers(1, (extent - first) // unit + 1)) * unit))
    (x, cx), (y, cy) = ends
    return x, y, cx, cy


def cropped(output, rect):
    x, y, cx, cy = rect
    return output[y:y + cy, x:x + cx]


def run(*arguments, **options):
    return subprocess.run(arguments, capture_output=True, text=True, timeout=300, **options)


@pytest.fixture
def rng(request):
    return numpy.random.default_rng(sum(map(ord, request.node.name)))


@pytest.fixture
def beside():
    """A file that the build has made, by the name of the variable that says where it is."""
    def path(name):
        if not os.environ.get(name):
            pytest.skip(f"{name} does not say where it is")
        return os.environ[name]
    return path


def pytest_terminal_summary(terminalreporter):
    """Where all was left out, says why, as the build's other tests do."""
    reports = terminalreporter.stats
    if reports.get("skipped") and not any(reports.get(outcome) for outcome in ("passed", "failed", "error")):
        why = reports["skipped"][0].longrepr[2].removeprefix("Skipped: ")
        terminalreporter.write_line(f"Skipped\n{why}")
