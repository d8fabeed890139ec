"""fourtap as a process: what it writes, what it refuses, and what it leaves alone."""

import os
import pathlib
import random
import re
import resource
import stat
import struct
import subprocess
import tempfile
import unittest

FOURTAP = os.environ["FOURTAP"]
SANITIZED = os.environ["SANITIZED"] == "1"
BAD_USAGE, BAD_INPUT, BAD_OUTPUT = 1, 2, 3

# Files then bind root too.
AS_ORDINARY_USER = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []


def noise(cx, cy, bits):
    """Pixels without padding, many of them at the ends of the range."""
    rng = random.Random(f"{cx} {cy} {bits}")
    return bytes(rng.choice((0, 255, rng.randrange(256), rng.randrange(256))) for _ in range(cx * cy * bits // 8))


def bitmap(cx, cy, bits, pixels=None, padding=b"\0", info_size=40, planes=1, compression=0, offset=None, cy_field=None):
    """A bitmap file; the arguments after the pixels make it an unusual one."""
    pixels = noise(cx, cy, bits) if pixels is None else pixels
    line = cx * bits // 8
    lines = [pixels[y * line:(y + 1) * line] + padding * (-line % 4) for y in reversed(range(cy))]
    image = b"".join(lines)
    offset = 14 + info_size if offset is None else offset
    header = struct.pack("<2sIHHI", b"BM", offset + len(image), 0, 0, offset)
    info = struct.pack("<IiiHHIIiiII", info_size, cx, cy if cy_field is None else cy_field, planes, bits, compression,
                       len(image), 0, 0, 0, 0)
    return (header + info).ljust(offset, b"\x55") + image


def scaled_by_model(cx_in, cy_in, bits, cx_out, cy_out):
    sizes = [str(n) for n in (bits, cx_in, cy_in, cx_out, cy_out)]
    model = subprocess.run([os.environ["MODEL_FRAME"], *sizes], input=noise(cx_in, cy_in, bits), capture_output=True,
                           check=True, timeout=60)
    return model.stdout


class ToolTest(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)

    def write(self, name, content):
        (self.folder / name).write_bytes(content)
        return name

    def read(self, name):
        return (self.folder / name).read_bytes()

    def run_tool(self, *arguments, tool=FOURTAP, prefix=(), **options):
        return subprocess.run([*prefix, tool, *arguments], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=60, **options)

    def scale(self, *arguments, **options):
        done = self.run_tool(*arguments, **options)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))

    def state(self):
        """All that lies in the folder, with modes and contents."""
        def content(path):
            return path.read_bytes() if path.is_file() and os.access(path, os.R_OK) else None
        return sorted((str(path), path.lstat().st_mode, content(path)) for path in self.folder.rglob("*"))

    def refuse(self, status, words, *arguments, **options):
        """The tool must say all the words in one line, end with the status, and change nothing."""
        before = self.state()
        done = self.run_tool(*arguments, **options)
        with self.subTest(arguments=arguments, stderr=done.stderr):
            self.assertEqual(done.returncode, status)
            self.assertEqual(done.stdout, "")
            self.assertRegex(done.stderr, r"\Afourtap: [^\n]+\n\Z")
            for word in words:
                self.assertIn(word, done.stderr)
            self.assertEqual(self.state(), before)

    def test_bytes_are_those_of_the_model_in_any_slices(self):
        cases = [(37, 23, 20, 11), (20, 11, 37, 23), (16, 9, 16, 9), (16, 9, 16, 30), (5, 40, 50, 40), (1, 1, 7, 5),
                 (7, 5, 1, 1), (120, 3, 3, 120), (9, 100, 31, 7)]
        for bits in 24, 32:
            for cx_in, cy_in, cx_out, cy_out in cases:
                size = f"{cx_out}x{cy_out}"
                source = self.write("in.bmp", bitmap(cx_in, cy_in, bits, padding=b"\xEE"))
                expected = bitmap(cx_out, cy_out, bits, scaled_by_model(cx_in, cy_in, bits, cx_out, cy_out))
                for slices in [], ["--progressive", "1"], ["--progressive", "7"], ["--progressive", "2147483647"]:
                    with self.subTest(bits=bits, source=(cx_in, cy_in), size=size, slices=slices):
                        self.scale(source, "out.bmp", "--size", size, *slices)
                        self.assertEqual(self.read("out.bmp"), expected)

    def test_long_headers_and_trailing_bytes_are_skipped(self):
        self.scale(self.write("plain.bmp", bitmap(9, 7, 24)), "expected.bmp", "--size", "5x12")
        for unusual in bitmap(9, 7, 24, info_size=124), bitmap(9, 7, 24, offset=1000), bitmap(9, 7, 24) + b"more":
            self.scale(self.write("in.bmp", unusual), "out.bmp", "--size", "5x12")
            self.assertEqual(self.read("out.bmp"), self.read("expected.bmp"))

    def test_without_acceleration_the_bytes_are_the_same(self):
        for bits in 24, 32:
            self.write("in.bmp", bitmap(40, 30, bits))
            self.scale("in.bmp", "expected.bmp", "--size", "25x50")
            for slices in [], ["--progressive", "3"]:
                done = self.run_tool("in.bmp", "out.bmp", "--size", "25x50", *slices,
                                     env={**os.environ, "LD_PRELOAD": os.environ["NO_ACCELERATION"]})
                self.assertEqual((done.returncode, done.stderr), (0, "no acceleration\n"))
                self.assertEqual(self.read("out.bmp"), self.read("expected.bmp"))

    def test_bad_pictures_are_refused(self):
        whole = bitmap(9, 7, 24)
        pictures = {
            "empty.bmp": (b"", "no bitmap file", "BM"),
            "short type.bmp": (b"B", "no bitmap file"),
            "other.bmp": (b"\x89PNG\r\n\x1a\n" + bytes(100), "no bitmap file", "BM"),
            "cut in headers.bmp": (whole[:53], "headers", "54"),
            "cut before pixels.bmp": (whole[:54], "54 bytes", str(len(whole))),
            "cut by one byte.bmp": (whole[:-1], str(len(whole) - 1), str(len(whole)), "9x7"),
            "old header.bmp": (bitmap(9, 7, 24, info_size=12, offset=54), "12 bytes", "40"),
            "planes.bmp": (bitmap(9, 7, 24, planes=3), "3 planes", "1"),
            "palette.bmp": (bitmap(8, 7, 8), "8 bits per pixel", "24 or 32"),
            "16 bits.bmp": (bitmap(8, 7, 16), "16 bits per pixel", "24 or 32"),
            "masks.bmp": (bitmap(9, 7, 32, compression=3, offset=66), "compression 3", "0"),
            "top-down.bmp": (bitmap(9, 7, 24, cy_field=-7), "height -7", "bottom line first"),
            "lowest.bmp": (bitmap(9, 7, 24, cy_field=-2**31), "height -2147483648"),
            "no lines.bmp": (bitmap(9, 0, 24), "9x0", "1x1"),
            "no columns.bmp": (bitmap(0, 7, 24), "0x7", "1x1"),
            "too high.bmp": (bitmap(9, 7, 24, cy_field=2**31 - 1), "9x2147483647", "more than a bitmap file can hold"),
            "higher.bmp": (bitmap(9, 7, 24, cy_field=70000), str(len(whole)), str(54 + 28 * 70000)),
            "early pixels.bmp": (bitmap(9, 7, 24, offset=53), "byte 53"),
        }
        self.write("out.bmp", b"a good result")
        for name, (content, *words) in pictures.items():
            self.refuse(BAD_INPUT, [name, *words], self.write(name, content), "out.bmp", "--size", "5x5")

    def test_unreadable_input_is_refused(self):
        self.write("out.bmp", b"a good result")
        (self.folder / "locked").mkdir()
        self.write("locked/in.bmp", bitmap(2, 2, 24))
        self.write("locked.bmp", bitmap(2, 2, 24))
        os.chmod(self.folder / "locked.bmp", 0)
        os.mkfifo(self.folder / "pipe.bmp")
        (self.folder / "locked").chmod(0)
        self.addCleanup((self.folder / "locked").chmod, 0o700)
        for name, word in (("missing.bmp", "No such file"), ("missing/in.bmp", "No such file"), ("", "bitmap file"),
                           (".", "no regular file"), ("pipe.bmp", "no regular file"),
                           ("locked.bmp", "Permission denied"), ("locked/in.bmp", "Permission denied"),
                           ("two\nlines\x1b.bmp", "two?lines?.bmp")):
            self.refuse(BAD_INPUT, [word, "expected"], name, "out.bmp", "--size", "5x5", prefix=AS_ORDINARY_USER)

    def test_output_that_cannot_be_written_is_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        self.write("locked.bmp", b"a good result")
        os.chmod(self.folder / "locked.bmp", 0o444)
        for folder in "folder", "locked":
            (self.folder / folder).mkdir()
        os.mkfifo(self.folder / "pipe.bmp")
        (self.folder / "locked").chmod(0o500)
        for name, word in (("missing/out.bmp", "No such file"), ("in.bmp/out.bmp", "Not a directory"),
                           ("folder", "no regular file"), ("folder/", "no regular file"),
                           ("pipe.bmp", "no regular file"), ("locked.bmp", "Permission denied"),
                           ("locked/out.bmp", "Permission denied"), ("n" * 300, "File name too long")):
            self.refuse(BAD_OUTPUT, [name, word], "in.bmp", name, "--size", "5x5", prefix=AS_ORDINARY_USER)

    def test_full_disk_leaves_what_was_there(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        self.write("out.bmp", b"a good result")
        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
        for name in "out.bmp", "new.bmp":
            self.refuse(BAD_OUTPUT, [name, "20000 of 30054 bytes"], "in.bmp", name, "--size", "100x100",
                        preexec_fn=limit_files)

    def test_sizes_beyond_file_or_memory_are_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        for size in "100000x100000", "2147483647x1", "1x2147483647", "2147483647x2147483647":
            self.refuse(BAD_OUTPUT, ["out.bmp", size, "4 GiB"], "in.bmp", "out.bmp", "--size", size)
        if SANITIZED:
            return  # a sanitizer needs more memory than any limit leaves
        def limit_memory():
            resource.setrlimit(resource.RLIMIT_AS, (2**28, 2**28))
        for size in "10000x10000", "40000000x1":  # too much for the result, and for the lines on the way there
            self.refuse(BAD_OUTPUT, ["not enough memory", "in.bmp", size], "in.bmp", "out.bmp", "--size", size,
                        preexec_fn=limit_memory)

    def test_bad_usage_is_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        files = ["in.bmp", "out.bmp"]
        for size in ("5", "5x", "x5", "0x5", "5x0", "-5x5", "5x-5", "+5x5", "5x5x5", "5X5", " 5x5", "5x5 ", "5.0x5",
                     "0x5x5", "99999999999x5", "50%"):
            self.refuse(BAD_USAGE, [f'"{size}"', "expected WxH"], *files, f"--size={size}")
        for lines in "0", "-1", "1k", "2147483648":
            self.refuse(BAD_USAGE, [f'"{lines}"', "expected"], *files, "--size=5x5", f"--progressive={lines}")
        for arguments in ([], files, files[:1] + ["--size=5x5"], files + ["more", "--size=5x5"], files + ["--size"],
                          files + ["--size="], files + ["--size=5x5", "--size=6x6"],
                          files + ["--size=5x5", "--unknown"], files + ["--size=5x5", "--selftest"],
                          ["--selftest", "in.bmp"]):
            self.refuse(BAD_USAGE, [], *arguments)

    def test_result_takes_its_place_politely(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        self.scale("in.bmp", "expected.bmp", "--size", "5x5")
        expected = self.read("expected.bmp")

        self.scale("in.bmp", "new.bmp", "--size", "5x5", umask=0o027)
        self.assertEqual(stat.S_IMODE((self.folder / "new.bmp").stat().st_mode), 0o640)

        self.write("old.bmp", b"longer than the result" * 1000)
        (self.folder / "old.bmp").chmod(0o604)
        (self.folder / "link.bmp").symlink_to("old.bmp")
        self.scale("in.bmp", "link.bmp", "--size", "5x5")
        self.assertTrue((self.folder / "link.bmp").is_symlink())
        self.assertEqual(self.read("old.bmp"), expected)
        self.assertEqual(stat.S_IMODE((self.folder / "old.bmp").stat().st_mode), 0o604)

        self.scale("in.bmp", "in.bmp", "--size", "5x5")
        self.assertEqual(self.read("in.bmp"), expected)
        self.assertEqual(len(self.state()), 5)

    def test_self_test_gives_the_stated_digest_and_finds_a_fault(self):
        done = self.run_tool("--selftest")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        digest = done.stdout.splitlines()[-1]
        stated = re.findall(r"digest [0-9a-f]{16}", pathlib.Path(os.environ["README"]).read_text(encoding="utf-8"))
        self.assertEqual(stated, [digest])

        done = self.run_tool("--selftest", env={**os.environ, "LD_PRELOAD": os.environ["FAULTY_SCALER"]})
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout, r"(?m)^Plane +sse2 .*case 0")
        self.assertRegex(done.stdout, r"(?m)^Plane +mmx .*cases agree$")
        self.assertNotIn("digest", done.stdout)

    def test_help_version_and_chart(self):
        for option, answer in ("--help", "--size"), ("--version", f"fourtap {os.environ['VERSION']}\n"):
            done = self.run_tool(option)
            self.assertEqual((done.returncode, done.stderr), (0, ""))
            self.assertIn(answer, done.stdout)
        self.scale("chart.bmp", tool=os.environ["CHART"])
        self.scale("chart.bmp", "same.bmp", "--size", "640x480")
        self.assertEqual(len(self.read("same.bmp")), len(self.read("chart.bmp")))


if __name__ == "__main__":
    unittest.main()
