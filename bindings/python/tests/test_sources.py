"""The source distribution."""

import pathlib
import sys
import tarfile

import pytest

from conftest import ROOT, run

pytest.importorskip("setuptools", reason="package python3-setuptools is not there")
pytest.importorskip("wheel", reason="package python3-wheel is not there")


def files_of(folder):
    return {path: path.stat().st_mtime_ns for path in folder.rglob("*") if "__pycache__" not in path.parts}


def test_a_source_distribution_brings_the_library(tmp_path):
    source = ROOT / "bindings/python"
    before = files_of(source)
    done = run(sys.executable, "setup.py", "-q", "sdist", "-d", str(tmp_path), cwd=source)
    assert done.returncode == 0, done.stderr
    assert files_of(source) == before
    archive, = tmp_path.glob("*.tar.gz")
    with tarfile.open(archive) as made:
        licence, = [entry for entry in made if pathlib.PurePath(entry.name).parts[1:] == ("LICENSE",)]
        assert licence.isreg() and made.extractfile(licence).read() == (ROOT / "LICENSE").read_bytes()
        names = {pathlib.PurePath(*pathlib.PurePath(name).parts[1:]) for name in made.getnames()}
    brought = [path.relative_to(ROOT) for folder in ("src", "include", "variants", "processors", "conformance", "cmake",
                                                     "bindings/python/core")
               for path in (ROOT / folder).rglob("*") if path.is_file()]
    assert len(brought) > 80
    assert not {path for path in brought if pathlib.PurePath("library", path) not in names}
