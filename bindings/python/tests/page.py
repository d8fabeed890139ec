"""The examples of the page beside this folder, as they stand there."""

import os
import pathlib
import re

HERE = pathlib.Path(__file__).resolve().parent
PAGE = (HERE.parent / "README.md").read_text()


def run_example(heading, folder):
    """Runs the code under a heading in a folder; returns its names."""
    code = re.search(rf"^### {heading}\n\n```python\n(.*?)^```", PAGE, re.DOTALL | re.MULTILINE)[1]
    names = {}
    before = os.getcwd()
    os.chdir(folder)
    try:
        exec(compile(code, f"README.md: {heading}", "exec"), names)
    finally:
        os.chdir(before)
    return names
