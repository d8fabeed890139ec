"""The front's types, as strictly as they can be looked at; dask has none."""

import sys

import pytest

from conftest import ROOT, run


def test_types():
    if run(sys.executable, "-m", "mypy", "--version").returncode != 0:
        pytest.skip("package mypy is not there")
    done = run(sys.executable, "-m", "mypy", "--strict", "--cache-dir=/dev/null", "--config-file",
               str(ROOT / "bindings/python/pyproject.toml"), str(ROOT / "bindings/python/fourtapscale"))
    assert done.returncode == 0, done.stdout
