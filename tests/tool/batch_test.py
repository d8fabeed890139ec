"""fourtap with many inputs, with many threads, and to folders: what comes of it is what comes of one after the other."""

import io
import json
import os
import pty
import random
import re
import resource
import signal
import subprocess
import threading
import time
import unittest

from PIL import Image

from toolcase import (BAD_INPUT, BAD_OUTPUT, BAD_USAGE, FORMATS, FOURTAP, MIB, SANITIZED, ToolCase, bitmap, pnm,
                      unless_sanitized, unless_thread_sanitized)


class BatchTest(ToolCase):
    def contents(self, folder):
        return {path.name: path.read_bytes() for path in sorted((self.folder / folder).iterdir())}

    def test_neither_jobs_nor_threads_show(self):
        names = []
        for n, (cx, cy, bits) in enumerate([(900, 700, 24), (3, 2, 8), (700, 900, 8), (40, 3000, 24), (1, 1, 24)] * 2):
            names.append(self.write(f"{n}.ppm", pnm(cx, cy, bits)))
        names.append(self.write("x.dib", bitmap(500, 400, 32)))
        for form in "png", "jpeg", "bmp":
            expected = {}
            for name in names:
                result = name.rsplit(".", 1)[0] + "." + form
                self.scale(name, result, "--size=80%", "--threads=1")
                expected[result] = self.read(result)
                (self.folder / result).unlink()
            for jobs, threads in ("1", "1"), ("1", "3"), ("2", "8"), ("8", "2"), ("3", None), (None, None):
                folder = f"{form}-{jobs}-{threads}/"
                more = [f"--jobs={jobs}"] * (jobs is not None) + [f"--threads={threads}"] * (threads is not None)
                self.scale(*names, "--out", folder, "--format", form, "--size=80%", *more)
                self.assertEqual(self.contents(folder), expected, folder)

    def test_png_holds_the_pixels(self):
        """Whoever made it: read by a decoder that is not ours."""
        modes = {8: "L", 24: "RGB", 32: "RGB"}
        rng = random.Random(1)
        flat = bytes(rng.choice((0, 17)) for _ in range(300)) * 700
        ramp = bytes((x + 3 * y) // 4 % 256 for y in range(300) for x in range(900))
        for cx, cy, bits, pixels in ((1, 1, 8, None), (2, 3, 24, None), (300, 700, 8, flat), (300, 300, 24, ramp),
                                     (700, 300, 24, None), (60000, 2, 24, None), (3, 60000, 8, None)):
            self.write("in.ppm", pnm(cx, cy, bits, pixels))
            self.write("in.bmp", bitmap(cx, cy, 32, noise32(cx, cy)))
            for name, mode in ("in.ppm", modes[bits]), ("in.bmp", "RGB"):
                expected = Image.open(self.folder / name).convert(mode).tobytes()
                sizes = []
                for level in range(1, 10):
                    result = self.scale(name, "-", "--size=100%", "--format=png", f"--level={level}", "--threads=2")
                    sizes.append(len(result))
                    with Image.open(io.BytesIO(result)) as image:
                        self.assertEqual(image.mode, mode)
                        self.assertEqual(image.tobytes(), expected, (name, cx, cy, level))
                self.assertLessEqual(sizes[-1], sizes[0] + 8)
            self.assertEqual(self.scale("in.ppm", "-", "--size=100%", "--format=png"),
                             self.scale("in.ppm", "-", "--size=100%", "--format=png", "--level=6"))

    def test_png_is_about_as_small_as_others_make_it(self):
        """Content whose differences repeat, whose bytes do, and that looks like one and is the other."""
        ramp = Image.linear_gradient("L").resize((400, 300)).rotate(30, fillcolor=128)
        shades = Image.merge("RGB", [ramp, ramp.transpose(Image.FLIP_LEFT_RIGHT), ramp.transpose(Image.FLIP_TOP_BOTTOM)])
        sources = {"dithered": ramp.convert("1").convert("L"), "dithered colours": ramp.convert("1").convert("RGB"),
                   "16 colours": shades.quantize(16, dither=Image.NONE).convert("RGB"), "shades": shades,
                   "4 grays": ramp.point(lambda value: value // 64 * 85)}
        for name, picture in sources.items():
            self.write("in.ppm", pnm(400, 300, 8 * len(picture.getbands()), picture.tobytes()))
            for size in "60%", "150%", "200%", "300%":
                scaled = self.scale("in.ppm", "-", "--format=png", "--level=1", "--size", size)
                others = io.BytesIO()
                Image.open(io.BytesIO(scaled)).save(others, format="PNG", compress_level=6)
                best = self.scale("in.ppm", "-", "--format=png", "--level=9", "--size", size)
                usual = self.scale("in.ppm", "-", "--format=png", "--size", size)
                self.assertLess(len(usual), 1.25 * len(others.getvalue()), (name, size))
                self.assertLessEqual(len(best), len(usual), (name, size))

    def fifo(self, name):
        os.mkfifo(self.folder / name)
        return name

    def feed(self, name, content):
        """Writes to a pipe; returns it open."""
        pipe = open(self.folder / name, "wb", buffering=0)
        self.addCleanup(pipe.close)
        pipe.write(content)
        return pipe

    def test_messages_keep_their_order(self):
        self.fifo("a.ppm")
        names = ["a.ppm", "b.ppm", "missing.ppm", "cut.ppm", "sub/b.ppm", "d.ppm"]
        picture = b"P6 300 200 100\n" + bytes(180000)
        for name in "b.ppm", "d.ppm":
            self.write(name, picture)
        self.write("cut.ppm", picture[:-1])
        (self.folder / "sub").mkdir()
        self.write("sub/b.ppm", picture)
        seen = {}
        for jobs in "1", "4", "8":
            command = [FOURTAP, *names, "--out", f"{jobs}/", "--size=50x", "--verbose", "--progress=json", "--jobs", jobs]
            with subprocess.Popen(command, stderr=subprocess.PIPE, cwd=self.folder) as tool:
                pipe = self.feed("a.ppm", picture[:100000])
                if jobs != "1":
                    while not (self.folder / jobs / "d.ppm").exists():
                        time.sleep(0.01)
                pipe.write(picture[100000:])
                pipe.close()
                said = tool.stderr.read().decode()
                self.assertEqual(tool.wait(), BAD_INPUT)
            self.assertEqual(sorted(os.listdir(self.folder / jobs)), ["a.ppm", "b.ppm", "d.ppm"])
            lines = [line if line.startswith("fourtap") else json.loads(line) for line in said.splitlines()]
            # How often the one that is heard reports depends on the time.
            seen[jobs] = [line if isinstance(line, str) else line["file"] for line in lines
                          if isinstance(line, str) or line["lines"] == line["total"]]
        self.assertEqual(seen["4"], seen["1"])
        self.assertEqual(seen["8"], seen["1"])
        about = [re.match(r"(?:fourtap: )?(?:--out: the result of )?([\w./]+)", line)[1] for line in seen["1"]]
        self.assertEqual(list(dict.fromkeys(about)), names)
        self.assertEqual(sum("expected inputs of different names" in line for line in seen["1"]), 1)

    def test_two_results_of_one_name(self):
        (self.folder / "sub").mkdir()
        (self.folder / "link").symlink_to("small")
        (self.folder / "small").mkdir()
        for name in "a.ppm", "sub/a.ppm", "b.ppm":
            self.write(name, pnm(8, 6, 24))
        for jobs in "1", "3":
            done = self.run_tool("a.ppm", "sub/a.ppm", "b.ppm", "--out=small/{name}.png", "--size=4x", "--jobs", jobs)
            self.assertEqual(done.returncode, BAD_USAGE)
            self.assertRegex(done.stderr, r"\Afourtap: --out: [^\n]*sub/a.ppm[^\n]*expected[^\n]*\n\Z")
            self.assertEqual(sorted(self.contents("small")), ["a.png", "b.png"])
            for path in (self.folder / "small").iterdir():
                path.unlink()

    def test_a_result_that_a_pattern_calls_as_stdout_is_a_file(self):
        for folder in "a", "b":
            (self.folder / folder).mkdir()
            self.write(f"{folder}/-.ppm", pnm(40, 30, 24))
        done = self.run_tool("a/-.ppm", "b/-.ppm", "--out={name}", "--format=png", "--size=50%", "--jobs=2")
        self.assertEqual((done.returncode, done.stdout), (BAD_USAGE, b""))
        self.assertTrue(self.read("-").startswith(b"\x89PNG"))

    @unless_sanitized
    def test_no_shortage_of_memory_aborts(self):
        names = [self.write(f"{n}.ppm", pnm(400, 300, 24)) for n in range(8)]
        for limit in range(12 * 1024, 62 * 1024, 500):
            def limit_memory(most=limit * 1024):
                resource.setrlimit(resource.RLIMIT_AS, (most, most))
            done = self.run_tool(*names, f"--out={limit}/", "--format=png", "--size=50%", "--jobs=8", "--verbose",
                                 preexec_fn=limit_memory)
            # Below a limit that not even the libraries fit, the loader says so.
            self.assertIn(done.returncode, (0, BAD_USAGE, BAD_INPUT, BAD_OUTPUT, 127), (limit, done.stderr))

    @unless_sanitized
    def test_wherever_memory_ends_a_line_says_so(self):
        self.write("a.ppm", pnm(400, 300, 24))
        environment = self.preloading("LITTLE_MEMORY")

        def run(pieces, *arguments):
            return self.run_tool(*arguments, env={**environment, "PIECES_TO_GIVE": str(pieces)})
        # Before its main function nobody can catch anything.
        started = next(pieces for pieces in range(1000) if run(pieces, "--version").returncode >= 0)
        for first, form in enumerate(["png", "jpeg"] + ["webp"] * ("WebP" in FORMATS)):
            for pieces in range(started + first, 100000, 5):
                done = run(pieces, "a.ppm", f"--out={form}/", "--format", form, "--size=50%")
                if done.returncode == 0:
                    break
                self.assertIn(done.returncode, (BAD_USAGE, BAD_INPUT, BAD_OUTPUT), (form, pieces, done.stderr))
                self.assertRegex(done.stderr, r"\Afourtap: [^\n]*expected [^\n]*\n\Z")
                self.assertFalse((self.folder / form).exists(), (form, pieces))

    def test_what_one_writes_another_reads(self):
        for jobs in "1", "4":
            # Large enough for a second job to be done before it.
            self.write("a.ppm", b"P6 3200 2400 255\n" + bytes(3200 * 2400 * 3))
            self.write("xa.ppm", pnm(10, 10, 24))
            self.scale("a.ppm", "xa.ppm", "--out=x{name}.ppm", "--size=50%", "--force", "--jobs", jobs)
            self.assertEqual([self.read(name).split()[1:3] for name in ("xa.ppm", "xxa.ppm")],
                             [[b"1600", b"1200"], [b"800", b"600"]])

    def test_folders(self):
        for name in "a.ppm", "b.PNM", "c.d.pgm":
            self.write(name, pnm(8, 6, 8))
        (self.folder / "there").mkdir()
        names = ["a.ppm", "b.PNM", "c.d.pgm"]
        for out in "there", "there/", "new/", "new/deep/er/", "{name}/":
            self.scale(*names, "-o", out, "-s", "4x", "--force")
        for folder in "there", "new", "new/deep/er":
            self.assertEqual([name for name in sorted(os.listdir(self.folder / folder)) if name != "deep"], names)
        self.assertEqual([os.listdir(self.folder / name) for name in ("a", "b", "c.d")], [[name] for name in names])
        self.scale("-", *names, "-o", "there", "-s4x", "--format=PNG", stdin=pnm(8, 6, 8))
        self.assertEqual(sorted(set(os.listdir(self.folder / "there")) - set(names)),
                         ["a.png", "b.png", "c.d.png", "stdin.png"])
        self.write("plain.pbm", b"P1 8 6 " + b"1" * 48)
        self.write("packed.PBM", b"P4 8 6\n" + bytes(6))
        self.write("any.pam", b"P7\nWIDTH 8\nHEIGHT 6\nDEPTH 3\nMAXVAL 255\nENDHDR\n" + bytes(144))
        for folder, size in ("half", "50%"), ("whole", "100%"):
            self.scale("plain.pbm", "packed.PBM", "any.pam", f"--out={folder}/", "-s", size)
            self.assertEqual({name: content[:2] for name, content in self.contents(folder).items()},
                             {"any.pnm": b"P6", "packed.pgm": b"P5", "plain.pgm": b"P5"})

        self.refuse(BAD_OUTPUT, ["No such file", "missing", "--out FOLDER/"], "a.ppm", "--out=missing/{name}.ppm", "-s4x")
        self.refuse(BAD_OUTPUT, ["Not a directory"], "a.ppm", "--out=a.ppm/", "-s4x")
        self.refuse(BAD_OUTPUT, ["it is there"], "a.ppm", "--out=there", "-s4x")
        self.refuse(BAD_USAGE, ["suffix"], "-", "--out=made/", "-s4x", stdin=pnm(8, 6, 8))

    @unless_sanitized
    def test_a_folder_is_not_left_when_its_file_cannot_be_made(self):
        self.write("a.ppm", pnm(40, 30, 24))

        def limit_descriptors():
            resource.setrlimit(resource.RLIMIT_NOFILE, (4, 4))  # the standard ones and the input
        self.refuse(BAD_OUTPUT, ["Too many open files"], "a.ppm", "--out=new/er/", "-s50%", preexec_fn=limit_descriptors)
        self.assertEqual(os.listdir(self.folder), ["a.ppm"])

    def test_a_folder_is_made_for_results_only(self):
        self.write("cut.ppm", b"P6 800 600 255\n" + bytes(100000))
        self.write("a.ppm", pnm(400, 300, 24))

        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
        for jobs in "1", "3":
            self.refuse(BAD_INPUT, ["cut short"], "cut.ppm", "--out=new/er/", "-s50%", "--jobs", jobs)
            self.refuse(BAD_OUTPUT, ["File too large"], "a.ppm", "--out=new/er/", "-s200%", "--jobs", jobs,
                        preexec_fn=limit_files)
            done = self.run_tool("cut.ppm", "a.ppm", "cut.ppm", "--out=new/er/", "-s50%", "--jobs", jobs)
            self.assertEqual(done.returncode, BAD_INPUT)
            self.assertEqual(os.listdir(self.folder / "new/er"), ["a.ppm"])
            (self.folder / "new/er/a.ppm").unlink()
            (self.folder / "new/er").rmdir()
            (self.folder / "new").rmdir()

    @unless_thread_sanitized
    def test_a_signal_leaves_nothing_of_any_job(self):
        names = [self.fifo(f"{n}.ppm") for n in range(4)]
        for out in "new/er/", "{name}-new/", "{name}.png":
            for number in signal.SIGINT, signal.SIGTERM, signal.SIGHUP:
                with subprocess.Popen([FOURTAP, *names, "--out", out, "--size=50%", "--jobs=4"], cwd=self.folder) as tool:
                    pipes = [self.feed(name, pnm(100, 100, 24)[:20000]) for name in names]
                    while len(list(self.folder.rglob(".fourtap-*"))) < 4:
                        time.sleep(0.01)
                    # As timeout does it, and who is impatient: more come while the first one is handled.
                    tool.send_signal(number)
                    tool.send_signal(signal.SIGTERM)
                    self.assertIn(tool.wait(), (-number, -signal.SIGTERM))
                for pipe in pipes:
                    pipe.close()
                self.assertEqual(sorted(os.listdir(self.folder)), names)

    @unless_thread_sanitized
    def test_a_signal_at_any_time_leaves_whole_results(self):
        names = [self.write(f"{n}.ppm", pnm(60, 50, 24)) for n in range(150)]
        self.scale(names[0], "expected.png", "--size=50%")
        expected = self.read("expected.png")
        rng = random.Random(1)
        begun = time.monotonic()
        self.scale(*names, "--out=all/", "--format=png", "--size=50%", "--jobs=8")
        seconds = time.monotonic() - begun
        interrupted = 0
        for attempt in range(30):
            with subprocess.Popen([FOURTAP, *names, "--out", f"{attempt}/", "--format=png", "--size=50%", "--jobs=8"],
                                  cwd=self.folder) as tool:
                time.sleep(rng.uniform(0, seconds))
                tool.send_signal(signal.SIGINT)
                interrupted += tool.wait() == -signal.SIGINT
            if not (self.folder / str(attempt)).exists():
                continue
            results = self.contents(str(attempt))
            self.assertNotEqual(results, {})
            for name, content in results.items():
                self.assertFalse(name.startswith("."), name)
                self.assertEqual(content, expected)
        self.assertGreater(interrupted, 0)

    @unless_sanitized
    def test_memory_does_not_grow_with_the_batch(self):
        picture = b"P6 2000 1500 255\n" + bytes(9000000)
        names = [self.write(f"{n}.ppm", picture) for n in range(24)]
        few, many = (self.measure(*names[:count], "--out", f"{count}/", "--format=png", "--size=50%", "--jobs=4")
                     for count in (4, 24))
        self.assertEqual((few.returncode, many.returncode), (0, 0))
        self.assertLess(many.peak, 48 * MIB)
        self.assertLess(many.peak, few.peak + 8 * MIB)
        self.write("noise.ppm", pnm(4000, 3000, 24, random.Random(1).randbytes(36000000)))
        one = self.measure("noise.ppm", "one.png", "--size=100%", "--threads=100000", "--level=9")
        self.assertLess(one.peak, 96 * MIB)

    def test_where_no_thread_can_be_started_one_does_all(self):
        names = [self.write(f"{n}.ppm", pnm(20, 10, 24)) for n in range(70)]
        for count in "0", "3":
            self.scale(*names, "--out", f"{count}/", "--size=50%", "--jobs=70",
                       env=self.preloading("FEW_THREADS", THREADS_TO_START=count))
            self.assertEqual(len(os.listdir(self.folder / count)), 70)
        self.write("large.ppm", pnm(900, 700, 24))
        self.scale("large.ppm", "expected.png", "--size=100%")
        own = int(SANITIZED)  # that a sanitizer may start
        for count in 0, 1, 1 + own, 2 + own, 4 + own:
            for name in "large.ppm", "-":
                self.scale(name, "few.png", "--size=100%", "--threads=8", "--force", stdin=self.read("large.ppm"),
                           env=self.preloading("FEW_THREADS", THREADS_TO_START=str(count)))
                self.assertEqual(self.read("few.png"), self.read("expected.png"), (name, count))

    def test_nothing_is_written_to_a_terminal(self):
        self.write("in.ppm", pnm(8, 6, 24))
        self.write("in.y4m", b"YUV4MPEG2 W8 H8 Cmono\nFRAME\n" + bytes(64))
        for name in "in.ppm", "in.y4m":
            for form in [], ["--format=png"] if name == "in.ppm" else ["--format=raw"]:
                leader, follower = pty.openpty()
                done = subprocess.run([FOURTAP, name, "-", "--size=4x4", *form], stdout=follower, stderr=subprocess.PIPE,
                                      cwd=self.folder, timeout=60)
                os.close(follower)
                self.assertEqual(done.returncode, BAD_USAGE)
                self.assertRegex(done.stderr, rb"\Afourtap: stdout: is a terminal, expected a file's name[^\n]+\n\Z")
                with self.assertRaises(OSError):  # nothing was written
                    os.read(leader, 1)
                os.close(leader)


def noise32(cx, cy):
    return random.Random(2).randbytes(4 * cx * cy)


if __name__ == "__main__":
    unittest.main()
