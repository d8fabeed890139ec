"""What the tests of the tool share: a scratch folder, the tool as a process, plain pictures."""

import fcntl
import functools
import os
import pathlib
import random
import re
import struct
import subprocess
import sys
import tempfile
import termios
import time
import unittest

FOURTAP = os.environ["FOURTAP"]
SANITIZED = os.environ["SANITIZED"] == "1"
EMULATED = os.environ["EMULATED"] == "1"
BAD_USAGE, BAD_INPUT, BAD_OUTPUT = 1, 2, 3

FORMATS = re.search(r"--format (\S+)", subprocess.run([FOURTAP, "--help"], capture_output=True, text=True, check=True,
                                                      timeout=60).stdout)[1].split("|")

# What a sanitizer's own needs would hide.
unless_sanitized = unittest.skipIf(SANITIZED or EMULATED, "a sanitizer, and an emulator, takes memory and descriptors of its own")
unless_thread_sanitized = unittest.skipIf(os.environ["THREAD_SANITIZED"] == "1",
                                          "ThreadSanitizer loses signals, or fails itself, where threads begin or wait")


MIB = 1 << 20

# Runs a program and prints the most memory that it had, in bytes. A process begins with its parent's: this one is small.
MEASURE = """
import os, sys
pid = os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ)
_, status, usage = os.wait4(pid, 0)
print(usage.ru_maxrss * 1024)
sys.exit(os.waitstatus_to_exitcode(status))
"""


@functools.lru_cache(maxsize=None)
def noise(cx, cy, bits):
    """Pixels without padding, many of them at the ends of the range."""
    rng = random.Random(f"{cx} {cy} {bits}")
    return bytes(rng.choice((0, 255, rng.randrange(256), rng.randrange(256))) for _ in range(cx * cy * bits // 8))


def pnm(cx, cy, bits, pixels=None):
    pixels = noise(cx, cy, bits) if pixels is None else pixels
    return b"%s\n%d %d\n255\n" % ({8: b"P5", 24: b"P6"}[bits], cx, cy) + pixels


def bitmap(cx, cy, bits, pixels=None, padding=b"\0", info_size=40, planes=1, compression=0, offset=None, cy_field=None,
           extra=b"", colours=0):
    """A bitmap file, its pixels as the file has them; the arguments after the pixels make it an unusual one."""
    pixels = noise(cx, cy, bits) if pixels is None else pixels
    line = cx * bits // 8
    lines = [pixels[y * line:(y + 1) * line] + padding * (-line % 4) for y in range(cy)]
    image = b"".join(lines if cy_field is not None and cy_field < 0 else reversed(lines))
    offset = 14 + info_size + len(extra) if offset is None else offset
    header = struct.pack("<2sIHHI", b"BM", offset + len(image), 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", info_size, cx, cy if cy_field is None else cy_field, planes, bits, compression,
                       len(image), 0, 0, colours, 0)
    return (header + info + extra).ljust(offset, b"\x55") + image


@functools.lru_cache(maxsize=None)
def by_model(layout, pixels, size_in, size_out, one_step=False, alpha=0):
    """As the model of pictures scales. The layout is a name, bits per pixel, or a number of pixels with alpha."""
    arguments = [str(n) for n in (layout, *size_in, *size_out, int(one_step), alpha)]
    return subprocess.run([os.environ["MODEL_FRAME"], *arguments], input=pixels, capture_output=True, check=True,
                          timeout=60).stdout


def await_empty(pipe):
    """Returns when all that was written to the pipe has been read."""
    while struct.unpack("i", fcntl.ioctl(pipe, termios.FIONREAD, bytes(4)))[0] > 0:
        time.sleep(0.01)


class ToolCase(unittest.TestCase):
    def setUp(self):
        self.addTypeEqualityFunc(bytes, self.compare_bytes)
        self.folder = self.scratch_folder()

    def scratch_folder(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        return pathlib.Path(scratch.name)

    def compare_bytes(self, first, second, msg=None):
        """Says where two byte strings part, instead of showing all of both."""
        if first == second:
            return
        at = len(os.path.commonprefix([first, second]))

        def around(content):
            return f"{content[max(0, at - 8):at].hex(' ')} | {content[at:at + 8].hex(' ')}"
        self.fail(self._formatMessage(msg, f"{len(first)} and {len(second)} bytes, which part at byte {at}:\n"
                                           f"{around(first)}\n{around(second)}"))

    def write(self, name, content):
        (self.folder / name).write_bytes(content)
        return name

    def read(self, name):
        return (self.folder / name).read_bytes()

    def run_tool(self, *arguments, tool=FOURTAP, prefix=(), stdin=b"", **options):
        done = subprocess.run([*prefix, tool, *arguments], cwd=self.folder, input=stdin, capture_output=True,
                              timeout=60, **options)
        done.stderr = done.stderr.decode()
        return done

    def measure(self, *arguments, **options):
        """Runs the tool, without stdout; says also what its peak of memory was in bytes, 0 under a sanitizer."""
        done = self.run_tool("-S", "-c", MEASURE, FOURTAP, *arguments, tool=sys.executable, **options)
        done.peak = 0 if SANITIZED else int(done.stdout.splitlines()[-1])
        return done

    def preloading(self, library, **variables):
        """The environment of a tool before which a library is loaded."""
        if EMULATED:
            self.skipTest("an emulator would have to load the library")
        # Blanks in its path would part two libraries.
        link = self.scratch_folder() / "preloaded.so"
        link.symlink_to(os.environ[library])
        return {**os.environ, "LD_PRELOAD": str(link), **variables}

    def scale(self, *arguments, **options):
        """The tool must succeed and say nothing; returns what it writes to stdout."""
        done = self.run_tool(*arguments, **options)
        self.assertEqual((done.returncode, done.stderr), (0, ""), arguments)
        return done.stdout

    def state(self):
        """Modes and contents of all that lies in the folder."""
        def content(path):
            return path.read_bytes() if path.is_file() and os.access(path, os.R_OK) else None
        return {str(path): (path.lstat().st_mode, content(path)) for path in self.folder.rglob("*")}

    def refuse(self, status, words, *arguments, **options):
        """The tool must say all the words in one line, end with the status, and change nothing."""
        before = self.state()
        done = self.run_tool(*arguments, **options)
        with self.subTest(arguments=arguments, stderr=done.stderr):
            self.assertEqual(done.returncode, status)
            name = pathlib.Path(options.get("tool", FOURTAP)).stem
            self.assertRegex(done.stderr, rf"\A{name}: [^\n]+\n\Z")
            for word in words:
                self.assertIn(word, done.stderr)
            after = self.state()
            self.assertEqual(sorted(after), sorted(before))
            for name, (mode, content) in before.items():
                self.assertEqual(after[name][0], mode, name)
                self.assertEqual(after[name][1], content, name)
        return done.stdout
