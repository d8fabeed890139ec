"""The package: its self-test, what its module shows, pickling, its page and its sources."""

import importlib.util
import pathlib
import pickle
import re
import subprocess
import sys
import tarfile

import numpy
import pytest

import fourtapscale
import page
from conftest import picture

ROOT = page.HERE.parents[2]


def run(*arguments, **options):
    return subprocess.run(arguments, capture_output=True, text=True, timeout=300, **options)


def test_self_test_gives_the_digests_of_the_library():
    done = run(sys.executable, "-m", "fourtapscale", "--selftest")
    assert done.returncode == 0, done.stderr
    expected = re.findall(r"^ {4}(digest .*)", (ROOT / "README.md").read_text(), re.MULTILINE)
    assert len(expected) == 3
    assert done.stdout.splitlines()[-3:] == expected
    done = run(sys.executable, "-m", "fourtapscale")
    assert done.returncode == 2 and "--selftest" in done.stderr


def test_an_interrupt_ends_the_self_test():
    lines = []

    def say(line):
        lines.append(line)
        raise KeyboardInterrupt
    with pytest.raises(KeyboardInterrupt):
        fourtapscale._core.selftest(say)
    assert len(lines) == 1


def test_version_is_the_librarys():
    header = (ROOT / "include/fourtapscale/FourTapVersion.h").read_text()
    assert fourtapscale.__version__ == ".".join(re.findall(r"VERSION_(?:MAJOR|MINOR|PATCH) (\d+)", header))


def test_the_module_shows_its_entry_alone(beside):
    nm = beside("NM")
    symbols = run(nm, "-D", "--defined-only", fourtapscale._core.__file__).stdout.split("\n")
    assert [line.split()[-1] for line in symbols if line] == ["PyInit__core"]


def test_scalers_are_pickled():
    scaler = fourtapscale.Scaler((40, 30), (20, 10), "rgba32", steps=False, alpha="drop")
    scaler.push(picture("rgba32", (40, 30))[:7])
    again = pickle.loads(pickle.dumps(scaler))
    assert (again.source_size, again.size, again.layout) == ((40, 30), (20, 10), "rgba32")
    assert repr(again) == repr(scaler)
    source = picture("rgba32", (40, 30))
    numpy.testing.assert_array_equal(again.resize(source), scaler.resize(source))
    numpy.testing.assert_array_equal(again.push(source), scaler.resize(source))
    assert 1000 < again.nbytes < 1 << 20


def test_all_that_is_public_says_what_it_does():
    for name in fourtapscale.__all__:
        thing = getattr(fourtapscale, name)
        assert getattr(thing, "__doc__"), name
        for member, value in vars(thing).items() if isinstance(thing, type) else ():
            assert member.startswith("_") or value.__doc__, member


def test_types():
    mypy = run(sys.executable, "-m", "mypy", "--version")
    if mypy.returncode != 0:
        pytest.skip("package mypy is not there")
    done = run(sys.executable, "-m", "mypy", "--strict", "--cache-dir=/dev/null", "--config-file",
               str(ROOT / "bindings/python/pyproject.toml"), str(ROOT / "bindings/python/fourtapscale"))
    assert done.returncode == 0, done.stdout


def test_the_table_is_that_of_the_benchmark():
    spec = importlib.util.spec_from_file_location("bench", ROOT / "bindings/python/bench/bench.py")
    bench = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(bench)
    rows = re.findall(r"^\| (.*? to .*?) \|", page.PAGE, re.MULTILINE)
    assert rows == [case[0] for case in bench.CASES]


def files_of(folder):
    return {path: path.stat().st_mtime_ns for path in folder.rglob("*") if "__pycache__" not in path.parts}


def test_a_source_distribution_brings_the_library(tmp_path):
    if run(sys.executable, "-c", "import setuptools, wheel").returncode != 0:
        pytest.skip("packages python3-setuptools and python3-wheel are not there")
    source = ROOT / "bindings/python"
    before = files_of(source)
    done = run(sys.executable, "setup.py", "-q", "sdist", "-d", str(tmp_path), cwd=source)
    assert done.returncode == 0, done.stderr
    assert files_of(source) == before
    archive, = tmp_path.glob("*.tar.gz")
    with tarfile.open(archive) as made:
        names = {pathlib.PurePath(*pathlib.PurePath(name).parts[1:]) for name in made.getnames()}
    brought = [path.relative_to(ROOT) for folder in ("src", "include", "variants", "processors", "conformance", "cmake",
                                                     "bindings/python/core")
               for path in (ROOT / folder).rglob("*") if path.is_file()]
    assert len(brought) > 80
    assert not {path for path in brought if pathlib.PurePath("library", path) not in names}
