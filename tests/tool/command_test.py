"""fourtap as a process: what it accepts, what it refuses, and what it leaves alone."""

import json
import os
import pathlib
import re
import resource
import signal
import stat
import struct
import subprocess
import time
import unittest

from toolcase import BAD_INPUT, BAD_OUTPUT, BAD_USAGE, FORMATS, FOURTAP, ToolCase, bitmap, pnm, unless_sanitized

SOURCE = pathlib.Path(__file__).resolve().parents[2]
MANUAL = (SOURCE / "docs/fourtap.1.scd").read_text(encoding="utf-8")

MASKS_888 = struct.pack("<3I", 0xFF0000, 0xFF00, 0xFF)

# Files then bind root too.
AS_ORDINARY_USER = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"] if os.geteuid() == 0 else []


class CommandTest(ToolCase):
    def test_sizes(self):
        source = self.write("in.pgm", pnm(100, 40, 8))
        for size, expected in (("50x20", "50x20"), ("50x50", "50x20"), ("200x8", "20x8"), ("50x", "50x20"), ("x10",
                                                                                                             "25x10"),
                               ("33x", "33x13"), ("50%", "50x20"), ("12.5%", "13x5"), ("0.001%", "1x1"), ("250%",
                                                                                                          "250x100"),
                               ("50x50!", "50x50"), ("50x!", "50x40"), ("x20!", "100x20"), ("50x50>", "50x20"),
                               ("500x500>", "100x40"), ("500x>", "100x40"), ("500x500<", "500x200"), ("50x50<",
                                                                                                      "100x40"),
                               ("500x20<", "100x40"), ("50%<", "100x40"), ("150%>", "100x40"), ("150x20!>", "100x40"),
                               ("50x20!>", "50x20"), ("1x1000", "1x1")):
            result = self.scale(source, "-", "--size", size)
            self.assertEqual(result.split(b"\n")[1].decode().replace(" ", "x"), expected, size)
        self.write("two to one.pgm", pnm(8, 4, 8))
        self.write("line.pgm", pnm(100, 1, 8))
        for source_too, size, expected in (("two to one.pgm", "4x4!>", "4x4"), ("two to one.pgm", "8x2!>", "8x2"),
                                           ("two to one.pgm", "4x5!>", "8x4"), ("two to one.pgm", "8x8!<", "8x8"),
                                           ("line.pgm", "50x>", "50x1"), ("line.pgm", "200x<", "200x2")):
            result = self.scale(source_too, "-", "--size", size)
            self.assertEqual(result.split(b"\n")[1].decode().replace(" ", "x"), expected, (source_too, size))
        for size in ("5", "x", "0x5", "5x0", "-5x5", "5x-5", "+5x5", "5x5x5", "5X5", " 5x5", "5x5 ", "5.0x5", "%",
                     "0%", "-5%",
                     "5%%", "5.%", "1.2345%", "5x5><", "5x5!!", "99999999999x5", "1000000%"):
            self.refuse(BAD_USAGE, [f'"{size}"', "expected a size such as"], source, "out.pgm", f"--size={size}",
                        "--rect=0,0,1,1")
        self.refuse(BAD_USAGE, ["beyond"], source, "out.pgm", "--size", "x2147483647")
        for rect in "1,2,3", "1,2,3,0", "-1,2,3,4", "1,2,3,4,5", "1, 2,3,4":
            self.refuse(BAD_USAGE, ["--rect", f'"{rect}"'], source, "out.pgm", f"--rect={rect}")
        for rect in "90,0,11,1", "0,39,1,2", "2147483647,0,1,1":
            self.refuse(BAD_USAGE, ["--rect", "100x40"], source, "out.pgm", "--rect", rect)

    def test_bad_usage_is_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        files = ["in.bmp", "out.bmp"]
        for option, values in (("--progressive", ("0", "-1", "1x", "2147483648")), ("--quality", ("0", "101")),
                               ("--max-pixels", ("0", "9999999999999G")), ("--alpha", ("none",)), ("--progress",
                                                                                                   ("yes",)),
                               ("--threads", ("0",)), ("--level", ("0", "10", "1.5")), ("--jobs", ("0", "257")), ("--set", ("mmx2",)), ("--format", ("gif",))):
            for value in values:
                self.refuse(BAD_USAGE, [f'"{value}"', "expected"], *files, "--size=5x5", f"{option}={value}")
        for arguments in ([], files, files[:1] + ["--size=5x5"], files + ["more", "--size=5x5"], files + ["--size"],
                          files + ["--size="], files + ["--size=5x5", "--size=6x6"], files + ["--size=5x5",
                                                                                              "--unknown"],
                          files + ["--size=5x5", "--selftest"], ["--selftest", "in.bmp"], ["--size=5x5", "--out=o.bmp"],
                          files + ["--size=5x5", "--out=o.bmp"], ["--info"] + files):
            self.refuse(BAD_USAGE, ["expected"], *arguments)
        for empty, *arguments in ["OUT", "in.bmp", ""], ["--out", "in.bmp", "--out", ""], ["--out", "in.bmp", "in.bmp", "--out", ""]:
            self.refuse(BAD_USAGE, [empty + ': "" given, expected'], *arguments, "--size=5x5")
        for name in "out", "out.gif", "out.":
            self.refuse(BAD_USAGE, ["suffix", "JPEG"], "in.bmp", name, "--size=5x5")

    def test_what_a_format_does_not_have_is_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        self.write("in.y4m", b"YUV4MPEG2 W8 H8 Cmono\nFRAME\n" + bytes(64))
        for option, without, expected in (("--quality=80", ("png", "bmp", "ppm"), "JPEG"),
                                          ("--lossless", ("png", "jpg", "ppm"), "WebP"),
                                          ("--progressive-jpeg", ("png", "bmp", "ppm"), "JPEG")):
            name = option.split("=", maxsplit=1)[0]
            for suffix in without:
                self.refuse(BAD_USAGE, [name, "out." + suffix, "expected", *([expected] if expected in FORMATS else [])],
                            "in.bmp", "out." + suffix, "--size=5x", option)
            self.refuse(BAD_USAGE, [name, "stdout becomes BMP"], "in.bmp", "-", "--size=5x", option)
            self.refuse(BAD_USAGE, [name, "in.y4m", "video"], "in.y4m", "-", "--size=4x", option)
        self.refuse(BAD_USAGE, ["--quality: --lossless"], "in.bmp", "o.webp", "--size=5x", "--quality=80", "--lossless")

    def test_bad_pictures_are_refused(self):
        whole = bitmap(9, 7, 24)
        gray = pnm(9, 7, 8)
        pictures = {
            "empty": (b"", "empty"),
            "other": (b"no picture" + bytes(100), "no known format", "PNG"),
            **{name: (start + bytes(100), f"is {name}, which this build does not read", "PNG") for name, start in (
                ("GIF", b"GIF89a"), ("TIFF", b"II*\0"), ("TIFF", b"MM\0*"), ("AVIF", b"\0\0\0\x1cftypavif"),
                ("HEIC", b"\0\0\0\x18ftypheic"), ("JPEG XL", b"\xff\x0a"), ("JPEG 2000", b"\0\0\0\x0cjP  \r\n"))},
            "cut in headers.bmp": (whole[:53], "headers", "54"),
            "cut before pixels.bmp": (whole[:54], "54 bytes", str(len(whole))),
            "cut by one byte.bmp": (whole[:-1], str(len(whole) - 1), str(len(whole)), "9x7"),
            "old header.bmp": (bitmap(9, 7, 24, info_size=12, offset=54), "12 bytes", "40"),
            "long header.bmp": (bitmap(9, 7, 24, info_size=1001), "1001 bytes", "1000"),
            "planes.bmp": (bitmap(9, 7, 24, planes=3), "3 planes", "1"),
            "4 bits.bmp": (bitmap(8, 7, 4), "4 bits per pixel", "8, 16, 24 or 32"),
            "packed.bmp": (bitmap(8, 7, 8, compression=1), "compression 1"),
            "pixels in masks.bmp": (bitmap(9, 7, 32, compression=3, offset=60, extra=MASKS_888), "byte 60", "behind its headers"),
            "masks.bmp": (bitmap(9, 7, 32, compression=3, extra=bytes(12)), "masks"),
            "lowest.bmp": (bitmap(9, 7, 24, cy_field=-2**31), "9x2147483648", "sides below 2147483648"),
            "no lines.bmp": (bitmap(9, 0, 24), "9x0", "1x1"),
            "no columns.bmp": (bitmap(0, 7, 24), "0x7", "1x1"),
            "higher.bmp": (bitmap(9, 7, 24, cy_field=70000), str(len(whole)), str(54 + 28 * 70000)),
            "early pixels.bmp": (bitmap(9, 7, 24, offset=53), "byte 53"),
            "large palette.bmp": (bitmap(8, 7, 8, colours=2**31, extra=bytes(1024)), "2147483648 colours"),
            "small palette.bmp": (bitmap(8, 7, 8, colours=5, extra=bytes(20)), "colour 255", "5"),
            "no palette.bmp": (bitmap(8, 7, 8), "palette"),
            "floats.pfm": (b"PF 1 1 -1.0\n" + bytes(12), "PFM", "PBM, PGM, PPM or PAM"),
            "cut.pbm": (b"P4 9 2\n\0\0\0", "line 1", "9 pixels"),
            "two.pbm": (b"P1 2 1\n1 2", "no bit in line 0", "2 pixels"),
            "beyond.ppm": (b"P3 2 2 255 " + b"1 2 3 " * 3 + b"1 256 3", "no sample up to 255 in line 1"),
            "text.ppm": (b"P3 1 1 255 1 1x1", "no sample"),
            "cut.pgm": (b"P2 2 2 9 1 2 3", "no sample up to 9 in line 1"),
            "cut.pam": (b"P7\nWIDTH 1\n", "cut short in its header", "ENDHDR"),
            "number.pam": (b"P7\nWIDTH x\nENDHDR\n", "WIDTH", "2147483647"),
            "depth.pam": (b"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 5\nMAXVAL 255\nENDHDR\n" + bytes(5), "5 samples", "gray or RGB"),
            "type.pam": (b"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 3\nMAXVAL 255\nTUPLTYPE LAB\nENDHDR\n" + bytes(3), "LAB", "gray or RGB"),
            "no maximum.pam": (b"P7\nWIDTH 1\nHEIGHT 1\nDEPTH 1\nENDHDR\n" + bytes(1), "maximum 0", "65535"),
            "no numbers.ppm": (b"P6 # 3 4 5", "width"),
            "cut in header.ppm": (b"P6 3 4", "height"),
            "wide.ppm": (b"P6 99999999999 4 255\n", "width", "2147483647"),
            "very wide.ppm": (b"P6 4294967300 4 255\n" + bytes(100), "width", "2147483647"),
            "no maximum.ppm": (b"P6 3 4 0\n", "maximum 0", "65535"),
            "nothing.ppm": (b"P6 0 4 255\n", "0x4", "1x1"),
            "large.ppm": (b"P6 40000 40000 255\n", "40000x40000", "1073741824", "--max-pixels"),
            "cut by one byte.pgm": (gray[:-1], "cut short", "line", "9 pixels"),
            "signature.png": (b"\x89PNG\r\n\x1a\n", "damaged", "PNG"),
            "signature.jpg": (b"\xff\xd8\xff", "damaged", "JPEG"),
        }
        self.write("out.ppm", b"a good result")
        for name, (content, *words) in pictures.items():
            name = self.write(name, content)
            self.refuse(BAD_INPUT, [name, *words], name, "out.ppm", "--size", "5x5", "--force")
        self.refuse(BAD_INPUT, ["10x10", "99"], "-", "out.png", "--size=5x5", "--max-pixels=99", stdin=pnm(10, 10, 8))
        self.scale("-", "out.png", "--size=5x5", "--max-pixels=100", stdin=pnm(10, 10, 8))

    def test_files_cut_anywhere_are_refused(self):
        self.write("in.pgm", pnm(40, 30, 8))
        for suffix in "png", "jpg", "bmp", "pgm":
            self.scale("in.pgm", "whole." + suffix, "--size", "100%", *(["--quality=100"] if suffix == "jpg" else []))
            whole = self.read("whole." + suffix)
            self.scale("-", "out.png", "--size", "50%", "--force", stdin=whole)
            ends = [1, 2, 12, 40, len(whole) // 3, len(whole) // 2, len(whole) - 50, len(whole) - 2, len(whole) - 1]
            for end in ends:
                self.refuse(BAD_INPUT, ["expected"], "-", "out.png", "--size", "50%", "--force", stdin=whole[:end])
                self.refuse(BAD_INPUT, ["expected"], self.write("cut", whole[:end]), "out.png", "--size", "50%",
                            "--force")

    def test_corpus(self):
        """Small files of every kind, good and bad ones, as their names say."""
        for file in sorted((SOURCE / "fuzz/files").glob("*/*")):
            if file.parent.name not in [*FORMATS, "Video"]:
                continue
            formats = ["--format", "png"] if file.parent.name != "Video" else []
            for name, stdin in (str(file), b""), ("-", file.read_bytes()):
                done = self.run_tool(name, "-", "--size", "50%", *formats, stdin=stdin)
                with self.subTest(file=file.name, stderr=done.stderr):
                    self.assertEqual(done.returncode, 0 if file.name.startswith("good") else BAD_INPUT)
                    self.assertRegex(done.stderr, r"\A(fourtap: warning: [^\n]+\n)*(fourtap: [^\n]+\n)?\Z")

    def test_unreadable_input_is_refused(self):
        self.write("out.bmp", b"a good result")
        (self.folder / "locked").mkdir()
        self.write("locked/in.bmp", bitmap(2, 2, 24))
        self.write("locked.bmp", bitmap(2, 2, 24))
        os.chmod(self.folder / "locked.bmp", 0)
        (self.folder / "locked").chmod(0)
        self.addCleanup((self.folder / "locked").chmod, 0o700)
        for name, word in (("missing.bmp", "No such file"), ("missing/in.bmp", "No such file"), ("", "No such file"),
                           (".", "directory"), ("locked.bmp", "Permission denied"), ("locked/in.bmp",
                                                                                     "Permission denied"),
                           ("two\nlines\x1b.bmp", "two?lines?.bmp")):
            self.refuse(BAD_INPUT, [word, "expected"], name, "out.bmp", "--size", "5x5", prefix=AS_ORDINARY_USER)

    def test_output_that_cannot_be_written_is_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        self.write("locked.bmp", b"a good result")
        self.write("there.bmp", b"a good result")
        os.chmod(self.folder / "locked.bmp", 0o444)
        for folder in "folder.bmp", "locked":
            (self.folder / folder).mkdir()
        os.mkfifo(self.folder / "pipe.bmp")
        (self.folder / "locked").chmod(0o500)
        self.write("cut.ppm", pnm(9, 7, 24)[:-1])
        for name in "in.bmp", "cut.ppm":  # before the pixels are read
            self.refuse(BAD_OUTPUT, ["there.bmp", "--force"], name, "there.bmp", "--size", "5x5")
        self.refuse(BAD_OUTPUT, ["new/in.bmp: ", "Permission denied", "; expected a folder that can be made"], "in.bmp",
                    "--out=locked/new/", "--size=5x5", prefix=AS_ORDINARY_USER)
        for name, word in (("missing/out.bmp", "No such file"), ("in.bmp/out.bmp", "Not a directory"),
                           ("folder.bmp", "no regular file"), ("pipe.bmp", "no regular file"),
                           ("locked.bmp", "Permission denied"), ("locked/out.bmp", "Permission denied"),
                           ("n" * 300 + ".bmp", "File name too long")):
            self.refuse(BAD_OUTPUT, [name, word], "in.bmp", name, "--size", "5x5", "--force", prefix=AS_ORDINARY_USER)

    def test_full_disk_leaves_what_was_there(self):
        self.write("in.bmp", bitmap(9, 7, 24))

        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
        for suffix in "bmp", "ppm", "png", "jpg":
            quality = ["--quality=100"] if suffix == "jpg" else []
            self.write("out." + suffix, b"a good result")
            for name in "out." + suffix, "new." + suffix:
                self.refuse(BAD_OUTPUT, [name, "File too large"], "in.bmp", name, "--size", "500x500", "--force", *quality,
                            preexec_fn=limit_files)
            with open("/dev/full", "wb") as full:
                done = subprocess.run([FOURTAP, "in.bmp", "-", "--size", "500x", "--format", suffix], stdout=full,
                                      stderr=subprocess.PIPE, cwd=self.folder, timeout=60)
            self.assertEqual(done.returncode, BAD_OUTPUT)
            self.assertRegex(done.stderr, rb"\Afourtap: stdout: [^\n]*No space left[^\n]*\n\Z")

    def test_sizes_beyond_the_format_are_refused(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        for size in "100000x100000!", "1x2147483647!":
            self.refuse(BAD_OUTPUT, ["out.bmp", size[:-1], "4 GiB"], "in.bmp", "out.bmp", "--size", size)
        self.refuse(BAD_OUTPUT, ["out.jpg", "65500x65500"], "in.bmp", "out.jpg", "--size", "65501x1!")
        self.refuse(BAD_USAGE, ["2 GiB"], "in.bmp", "out.ppm", "--size", "2147483647x1!")
        self.refuse(BAD_USAGE, ["--pad", "2 GiB"], "in.bmp", "out.png", "--pad", "2000000000x20")
        self.refuse(BAD_USAGE, ["--level", "out.jpg", "expected PNG"], "in.bmp", "out.jpg", "--size=50%", "--level=9")

    @unless_sanitized
    def test_sizes_beyond_memory_are_refused(self):
        def limit_memory():
            resource.setrlimit(resource.RLIMIT_AS, (2**28, 2**28))
        self.write("in.bmp", bitmap(9, 7, 24))
        self.refuse(BAD_OUTPUT, ["not enough memory", "out.ppm", "in.bmp"], "in.bmp", "out.ppm", "--size",
                    "40000000x1!", preexec_fn=limit_memory)

    def test_threads_that_cannot_be_started_are_refused(self):
        self.write("in.y4m", b"YUV4MPEG2 W64 H64 Cmono\n" + 9 * (b"FRAME\n" + bytes(4096)))
        for needed, threads in (4, "3"), (0, "1"):
            arguments = "in.y4m", "out.y4m", "--size=50%", "--threads", threads
            for count in range(needed):
                self.refuse(BAD_USAGE, [f"--threads: {threads} can't be started, expected", "Resource temporarily unavailable"],
                            *arguments, env=self.preloading("FEW_THREADS", THREADS_TO_START=str(count)))
            self.scale(*arguments, "--force", env=self.preloading("FEW_THREADS", THREADS_TO_START=str(needed)))

    def test_result_takes_its_place_politely(self):
        self.write("in.bmp", bitmap(9, 7, 24))
        self.scale("in.bmp", "expected.bmp", "--size", "5x5")
        expected = self.read("expected.bmp")

        self.scale("in.bmp", "new.bmp", "--size", "5x5", umask=0o027)
        self.assertEqual(stat.S_IMODE((self.folder / "new.bmp").stat().st_mode), 0o640)

        self.write("old.bmp", b"longer than the result" * 1000)
        (self.folder / "old.bmp").chmod(0o604)
        (self.folder / "link.bmp").symlink_to("old.bmp")
        self.scale("in.bmp", "link.bmp", "--size", "5x5", "--force")
        self.assertTrue((self.folder / "link.bmp").is_symlink())
        self.assertEqual(self.read("old.bmp"), expected)
        self.assertEqual(stat.S_IMODE((self.folder / "old.bmp").stat().st_mode), 0o604)

        self.scale("in.bmp", "in.bmp", "--size", "5x5", "--force")
        self.assertEqual(self.read("in.bmp"), expected)
        self.assertEqual(len(self.state()), 5)

    def test_a_signal_leaves_nothing_behind(self):
        with subprocess.Popen([FOURTAP, "-", "out.ppm", "--size", "50%"], stdin=subprocess.PIPE,
                              cwd=self.folder) as tool:
            tool.stdin.write(pnm(100, 100, 24)[:20000])
            tool.stdin.flush()
            while not list(self.folder.iterdir()):
                time.sleep(0.01)
            tool.terminate()
            self.assertEqual(tool.wait(), -signal.SIGTERM)
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_several_inputs(self):
        for name in "a", "b":
            self.write(name + ".ppm", pnm(8, 6, 24))
        self.write("bad.ppm", b"P6 8 6 255\nshort")
        (self.folder / "small").mkdir()
        done = self.run_tool("a.ppm", "bad.ppm", "missing.ppm", "b.ppm", "--size", "4x", "--out", "small/{name}-4.png")
        self.assertEqual(done.returncode, BAD_INPUT)
        self.assertRegex(done.stderr, r"\Afourtap: bad.ppm: [^\n]*\nfourtap: missing.ppm: [^\n]*\n\Z")
        self.assertEqual(sorted(os.listdir(self.folder / "small")), ["a-4.png", "b-4.png"])
        self.write("small/b-4.png", b"there")
        for first, second in ("bad", "b"), ("b", "bad"):  # the highest status, whichever comes first
            done = self.run_tool(first + ".ppm", second + ".ppm", "--size", "4x", "--out", "small/{name}-4.png")
            self.assertEqual((done.returncode, done.stderr.count("\n")), (BAD_OUTPUT, 2))
        self.scale("a.ppm", "expected.png", "--size", "4x")
        self.assertEqual(self.read("small/a-4.png"), self.read("expected.png"))

    def test_progress_info_and_remarks(self):
        source = self.write("in.ppm", b"P6 300 200 100\n" + bytes(180000))
        done = self.run_tool(source, "out.ppm", "--size", "50x", "--progress", "json", "--verbose")
        remarks, reports = ([line for line in done.stderr.splitlines() if line.startswith("{") is json_line]
                            for json_line in (False, True))
        last = json.loads(reports[-1])
        self.assertEqual((last["file"], last["lines"], last["total"], last["percent"]), ("in.ppm", 200, 200, 100))
        self.assertEqual(remarks, ["fourtap: in.ppm: samples from 0 to 100 are brought to 0 to 255",
                                   "fourtap: in.ppm: 300x200 -> 50x33, by the wide filter"])
        done = self.run_tool(source, "out.ppm", "--size", "50x", "--progress", "text", "--force")
        self.assertRegex(done.stderr, r"\A(\rin.ppm: +\d+ %, \d+ lines/s )*\rin.ppm: 100 %, \d+ lines/s \n\Z")

        info = self.scale("--info").decode()
        self.assertRegex(info, r"\Aprocessor: .+\nsets: c.*\nin use: .*\n\Z")
        widest = info.split("\n")[1].split()[-1]
        self.assertIn(f"in use: {widest}\n", info)
        self.assertIn("in use: c\n", self.scale("--info", "--set", "c").decode())
        for size, way in ("150x100", "four taps"), ("150x99!", "the wide filter"), ("149x100!", "the wide filter"):
            self.assertIn(f", by {way}\n", self.scale("--info", source, "--size", size).decode())
        info = self.scale("--info", source, "--size", "50x").decode()
        self.assertIn("\npicture: PNM, 300x200, RGB\n", info)
        self.assertRegex(info, r"\nscaling: 300x200 -> 50x33, by the wide filter\nmemory: \d{5,6} bytes\n\Z")

    def test_where_detection_finds_nothing_nothing_is_scaled(self):
        self.write("in.bmp", bitmap(40, 30, 32))
        done = self.run_tool("in.bmp", "-", "--size", "25x50!", env=self.preloading("NO_ACCELERATION"))
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertIn("none of the sets of instructions, expected c", done.stderr)

    def test_self_test_gives_the_stated_digests(self):
        done = self.run_tool("--selftest")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        digest = re.compile(r"digest (?:of (?:all|pictures) )?[0-9a-f]{16}")
        stated = digest.findall((SOURCE / "README.md").read_text(encoding="utf-8"))
        self.assertEqual(digest.findall(done.stdout.decode()), stated)
        self.assertEqual(done.stdout.decode().splitlines()[-1], stated[-1])

    def test_self_test_finds_a_fault(self):
        done = self.run_tool("--selftest", env=self.preloading("FAULTY_SCALER"))
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stdout.decode(), r"(?m)^Plane +c .*case 0")
        self.assertRegex(done.stdout.decode(), r"(?m)^RGB24 +c .*cases agree$")
        self.assertNotIn("digest", done.stdout.decode())

    def complete(self, *words):
        """What the shell offers for the last word."""
        script = '. "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _fourtap; echo "${COMPREPLY[@]}"'
        command = ["bash", "-c", script, "bash", SOURCE / "tools/fourtap/completion.bash", FOURTAP, *words]
        return subprocess.run(command, capture_output=True, text=True, check=True, timeout=60).stdout.split()

    def test_manual_and_completion_know_every_option(self):
        options = set(re.findall(r"--[a-z-]+", self.scale("--help").decode()))
        self.assertGreater(len(options), 15)
        self.assertEqual(set(re.findall(r"\*(--[a-z-]+)\*", MANUAL)), options)
        self.assertCountEqual(self.complete("--"), options)
        self.assertEqual(self.complete("in.png", "--alpha", "=", "p"), ["premultiplied"])
        self.assertEqual(self.complete("in.png", "--progress", "json", "--qu"), ["--quality", "--quiet"])
        for words in ["--size", "-"], ["-s", "-"], ["--threads", ""], ["in"], ["--force", ""]:
            self.assertEqual(self.complete(*words), [], words)

    def test_manual_completion_and_corpus_know_every_format(self):
        *formats, y4m, raw = FORMATS
        self.assertIn("PNG", formats)
        self.assertEqual((y4m, raw), ("Y4M", "raw"))
        described = re.search(r"Pictures are (.*?\n)\n", MANUAL, re.DOTALL)[1]
        for name in formats:
            self.assertIn(name, described)
            for kind in "good", "bad":
                self.assertTrue(list((SOURCE / "fuzz/files" / name).glob(kind + "-*")), (name, kind))
        choices = [name.lower() for name in FORMATS]
        in_manual = re.search(r"Format of the result: (.*?)\.", MANUAL)[1].replace(" or ", ", ").split(", ")
        self.assertCountEqual([name for name in in_manual if name != "webp" or "WebP" in FORMATS], choices)
        self.assertEqual(self.complete("--format", ""), choices)

    def test_manual_and_completion_know_every_set(self):
        refusal = self.run_tool("in", "out", "--size", "1x1", "--set", "none").stderr
        sets = re.search(r"expected (.*)", refusal)[1]
        self.assertEqual(re.search(r"Instruction set to use: (.*?)\.", self.scale("--help").decode())[1], sets)
        sets = set(sets.replace(" or ", ", ").split(", "))
        in_manual = re.search(r"Instruction set to use: (.*?)\.", MANUAL)[1]
        self.assertLessEqual(sets, set(in_manual.replace(" or ", ", ").split(", ")))
        available = re.search(r"\nsets: (.*)", self.scale("--info").decode())[1].split()
        self.assertLessEqual(set(available), sets)
        self.assertEqual(self.complete("--set", ""), available)

    def test_help_and_version(self):
        for option, answer in ("--help", "--size"), ("--version", f"fourtap {os.environ['VERSION']}\n"):
            self.assertIn(answer, self.scale(option).decode())


if __name__ == "__main__":
    unittest.main()
