"""The package: its self-test, what its module shows, pickling, its documentation."""

import gc
import importlib.util
import pickle
import re
import sys
import typing
import weakref

import numpy
import pytest

import fourtapscale
import page
from conftest import ROOT, picture, run


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


class Named(fourtapscale.Scaler):
    def __init__(self, name):
        super().__init__((40, 30), (20, 10), "gray")
        self.name = name


def test_kinds_of_scalers_are_pickled_and_collected():
    again = pickle.loads(pickle.dumps(Named("small")))
    assert type(again) is Named and again.name == "small" and again.size == (20, 10)

    class Text(str):
        pass

    class Truth:
        def __bool__(self):
            return True
    for kind, words in (Text, "layout"), (Truth, "steps"):
        holder = kind("gray") if kind is Text else kind()
        holder.scaler = fourtapscale.Scaler((40, 30), (20, 10), **{"layout": "gray", words: holder})
        gone = weakref.ref(holder)
        del holder
        gc.collect()
        assert gone() is None


def test_all_that_is_public_says_what_it_does():
    for name in fourtapscale.__all__:
        thing = getattr(fourtapscale, name)
        assert getattr(thing, "__doc__"), name
        assert name == "__version__" or typing.get_type_hints(thing) or isinstance(thing, type), name
        for member, value in vars(thing).items() if isinstance(thing, type) else ():
            assert member.startswith("_") or value.__doc__, member


def test_the_table_is_that_of_the_benchmark():
    module = importlib.util.spec_from_file_location("bench", ROOT / "bindings/python/bench/bench.py")
    bench = importlib.util.module_from_spec(module)
    module.loader.exec_module(bench)
    rows = re.findall(r"^\| (.*? to .*?) \|", page.PAGE, re.MULTILINE)
    assert rows == [case[0] for case in bench.CASES]
