"""fourtap in hostile surroundings: files that claim more than they hold, and a system that gives less than it is asked."""

import json
import os
import re
import resource
import signal
import stat
import struct
import subprocess
import threading
import time
import unittest
import zlib

from toolcase import (BAD_INPUT, BAD_OUTPUT, BAD_USAGE, FOURTAP, MIB, SANITIZED, ToolCase, bitmap, pnm, unless_sanitized,
                      unless_thread_sanitized)


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png(*chunks, size=(4, 4)):
    cx, cy = size
    pixels = zlib.compress((b"\0" + bytes(3 * cx)) * cy)
    header = chunk(b"IHDR", struct.pack(">IIBBBBB", cx, cy, 8, 2, 0, 0, 0))
    return b"\x89PNG\r\n\x1a\n" + header + b"".join(chunks) + chunk(b"IDAT", pixels) + chunk(b"IEND", b"")


def jpeg(*markers):
    """The smallest of the corpus, with more markers in it."""
    with open(os.path.join(os.path.dirname(__file__), "../../fuzz/files/JPEG/good-l"), "rb") as file:
        content = file.read()
    return content[:2] + b"".join(markers) + content[2:]


def y4m(header, frames=b""):
    return b"YUV4MPEG2 " + header + b"\n" + frames


class HostileTest(ToolCase):
    def test_no_input_takes_memory_or_time_out_of_proportion(self):
        bomb = zlib.compress(bytes(8 * MIB - 500), 9)
        texts = {b"zTXt": b"k\0\0", b"iTXt": b"k\0\1\0\0\0", b"iCCP": b"k\0\0"}
        marker = struct.pack(">BBH", 0xff, 0xe1, 65535) + b"Exif\0\0".ljust(65533, b"x")
        comment = struct.pack(">BBH", 0xff, 0xfe, 2)
        far = y4m(b"W32768 H32768 C444", b"FRAME\n")
        cases = {
            "wide frames.y4m": (far, BAD_INPUT, "frame 1 is cut short"),
            "large frames.y4m": (y4m(b"W16384 H16384 C420"), BAD_INPUT, "no frame"),
            "wide.pgm": (b"P5 30000000 1 255\n", BAD_INPUT, "cut short"),
            "wide.ppm": (b"P6 30000000 1 65535\n", BAD_INPUT, "cut short"),
            "high.bmp": (bitmap(1, 1, 24, cy_field=-2**31), BAD_INPUT, "1x2147483648"),
            "markers.jpg": (jpeg(*[marker] * 1500), 0, ""),
            "small markers.jpg": (jpeg(*[comment] * 3000000), 0, ""),
            **{f"{name.decode()}.png": (png(*[chunk(name, start + bomb)] * 100), 0, "")
               for name, start in texts.items()},
            "palettes.png": (png(*[chunk(b"sPLT", b"%03d\0\x08" % n + bytes(100002)) for n in range(900)]), 0, ""),
            "unknown.png": (png(*[chunk(b"anYt", bytes(1000000))] * 90), 0, ""),
        }
        for name, (content, status, word) in cases.items():
            self.write(name, content)
            suffix = name.split(".")[1]
            done = self.measure(name, "out." + suffix, "--size=1x!", "--max-pixels=3G", "--force")
            with self.subTest(name=name, stderr=done.stderr):
                self.assertEqual(done.returncode, status)
                self.assertIn(word, done.stderr)
                self.assertLess(done.peak, 64 * MIB)

    def test_a_header_without_end_is_refused(self):
        for start in b"P5 #", b"P5 ", b"P5 0", b"P5 1 1#":
            self.refuse(BAD_INPUT, ["header without end", "65536"], "-", "out.pgm", "--size=1x1",
                        stdin=start + start[-1:] * 500000)
        for start in b"P2 2 1 9 3 ", b"P2 2 1 9 3 #", b"P1 2 1 1 ":
            self.refuse(BAD_INPUT, ["gap before a sample without end", "65536"], "-", "out.pgm", "--size=1x1",
                        stdin=start + start[-1:] * 500000)

    @unless_sanitized
    def test_sizes_that_cannot_be_had_are_the_fault_of_who_asks_for_them(self):
        def limit_memory():
            resource.setrlimit(resource.RLIMIT_AS, (2**28, 2**28))
        self.write("small.pgm", pnm(9, 7, 8))
        self.write("small.y4m", y4m(b"W9 H7 Cmono", b"FRAME\n" + bytes(63)))
        self.write("wide.pgm", b"P5 400000000 1 255\n" + bytes(1000))
        self.write("large.y4m", y4m(b"W32000 H32000 Cmono", b"FRAME\n"))
        for name, out, size, status in (("wide.pgm", "out.pgm", "50%", BAD_INPUT),
                                        ("large.y4m", "out.y4m", "50%", BAD_INPUT),
                                        ("small.pgm", "out.pgm", "400000000x1!", BAD_OUTPUT),
                                        ("small.y4m", "out.y4m", "32000x32000!", BAD_OUTPUT)):
            self.refuse(status, ["not enough memory", "expected", name if status == BAD_INPUT else out], name, out,
                        "--size", size, preexec_fn=limit_memory)

    @unless_sanitized
    def test_every_shortage_ends_with_a_line_and_a_status(self):
        self.write("in.png", png(size=(300, 200)))
        self.write("in.y4m", y4m(b"W640 H480 C420", b"FRAME\n" + bytes(460800)))
        for name, out, *more in ("in.png", "out.png"), ("in.y4m", "out.y4m", "--threads=2"), ("in.y4m", "-"):
            ended = set()
            for limit in range(2, 200, 3):
                def limit_memory(limit=limit):
                    resource.setrlimit(resource.RLIMIT_AS, (limit * MIB, limit * MIB))
                try:
                    done = self.run_tool(name, out, "--size=200%", "--force", *more, preexec_fn=limit_memory)
                except subprocess.SubprocessError:
                    continue
                # Before it runs the loader may fail, with status 127, and the kernel end it.
                if done.returncode == 127 or (done.returncode < 0 and not done.stderr):
                    continue
                ended.add(done.returncode)
                with self.subTest(name=name, limit=limit, stderr=done.stderr):
                    self.assertIn(done.returncode, (0, 1, 2, 3))
                    self.assertEqual(done.stderr.count("\n"), done.returncode != 0)
                    self.assertEqual([path for path in os.listdir(self.folder) if path.startswith(".")], [])
            self.assertIn(0, ended)
            self.assertGreater(len(ended), 1)

    @unless_sanitized
    def test_a_system_that_starts_no_thread(self):
        self.write("in.ppm", pnm(300, 200, 24))
        self.write("in.y4m", y4m(b"W640 H480 C420", b"FRAME\n" + bytes(460800)))
        self.folder.chmod(0o777)
        # The limit does not bind root.
        nobody = ["setpriv", "--reuid=65534", "--clear-groups"] if os.geteuid() == 0 else []

        def limit_threads():
            resource.setrlimit(resource.RLIMIT_NPROC, (1, 1))
        self.refuse(BAD_USAGE, ["can't be started, expected"], "in.y4m", "out.y4m", "--size=50%", "--threads=2", prefix=nobody,
                    preexec_fn=limit_threads)
        self.scale("in.y4m", "out.y4m", "--size=50%", "--threads=1", prefix=nobody, preexec_fn=limit_threads)
        self.scale("in.ppm", "out.ppm", "--size=50%", prefix=nobody, preexec_fn=limit_threads)

    def closed(self, descriptors, *arguments):
        """Runs the tool with those descriptors closed."""
        closing = " ".join(f"{descriptor}>&-" for descriptor in descriptors)
        return self.run_tool("-c", f'exec "$@" {closing}', "sh", FOURTAP, *arguments, tool="/bin/sh")

    def test_closed_descriptors_are_nobody_elses(self):
        self.write("in.ppm", pnm(300, 200, 24))
        expected = self.scale("in.ppm", "-", "--size", "50%")
        for descriptors in (2,), (1, 2), (0, 1, 2), (0,):
            done = self.closed(descriptors, "in.ppm", "out.ppm", "--size=50%", "--progress=json", "--verbose", "--force")
            self.assertEqual(done.returncode, 0)
            self.assertEqual(self.read("out.ppm"), expected)
        for descriptors in (1,), (1, 2), (0, 1):
            self.assertEqual(self.closed(descriptors, "in.ppm", "-", "--size=50%").returncode, BAD_OUTPUT)
        for descriptors in (0,), (0, 1), (0, 2):
            done = self.closed(descriptors, "-", "out.ppm", "--size=50%", "--force")
            self.assertEqual(done.returncode, BAD_INPUT)
            if 2 not in descriptors:
                self.assertIn("stdin: can't be read: Bad file descriptor", done.stderr)

    def test_what_is_printed_is_written_or_refused(self):
        for option in ("--info", "--help", "--version", *([] if SANITIZED else ["--selftest"])):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([FOURTAP, option], stdout=full, stderr=subprocess.PIPE, timeout=60)
            self.assertEqual(done.returncode, BAD_OUTPUT, option)
            self.assertRegex(done.stderr, rb"\Afourtap: stdout: can't be written: No space left[^\n]*\n\Z")
            self.assertEqual(self.closed((1,), option).returncode, BAD_OUTPUT, option)

    def half_way(self, prepare=None, **options):
        """A tool that waits for the rest of its input, its temporary file made."""
        tool = subprocess.Popen([FOURTAP, "-", "out.ppm", "--size", "50%"], stdin=subprocess.PIPE, cwd=self.folder,
                                preexec_fn=prepare, **options)
        self.addCleanup(tool.kill)
        tool.stdin.write(pnm(100, 100, 24)[:20000])
        tool.stdin.flush()
        while not list(self.folder.iterdir()):
            time.sleep(0.01)
        return tool

    @unless_thread_sanitized
    def test_no_signal_leaves_anything_behind(self):
        ending = {signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGPIPE, signal.SIGALRM,
                  signal.SIGXCPU, signal.SIGUSR1, signal.SIGUSR2, signal.SIGVTALRM, signal.SIGPROF, signal.SIGIO,
                  signal.SIGPWR, signal.SIGSYS, signal.SIGTRAP, signal.SIGRTMIN, signal.SIGRTMAX}
        faults = set() if SANITIZED else {signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE, signal.SIGILL}
        for number in ending | faults:
            with self.half_way(lambda: resource.setrlimit(resource.RLIMIT_CORE, (0, 0))) as tool:
                tool.send_signal(number)
                self.assertEqual(tool.wait(), -number)
                tool.stdin.close()
            self.assertEqual(list(self.folder.iterdir()), [], number)

    def test_an_ignored_signal_stays_ignored(self):
        with self.half_way(lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)) as tool:
            tool.send_signal(signal.SIGHUP)
            tool.stdin.write(pnm(100, 100, 24)[20000:])
            tool.stdin.close()
            self.assertEqual(tool.wait(), 0)
        self.assertEqual(self.read("out.ppm"), self.scale("-", "-", "--size", "50%", stdin=pnm(100, 100, 24)))

    def test_a_reader_of_the_progress_that_goes_away(self):
        self.write("in.ppm", pnm(100, 100, 24))
        read, write = os.pipe()
        os.close(read)
        tool = subprocess.run([FOURTAP, "in.ppm", "out.ppm", "--size=50%", "--progress=json"], cwd=self.folder,
                              stderr=write, timeout=60, preexec_fn=lambda: signal.signal(signal.SIGPIPE, signal.SIG_DFL),
                              restore_signals=False)
        os.close(write)
        self.assertIn(tool.returncode, (0, -signal.SIGPIPE))
        self.assertEqual([name for name in os.listdir(self.folder) if name.startswith(".")], [])

    def test_a_file_that_appears_meanwhile_stays(self):
        for appears in "file", "folder", "link":
            with self.half_way(stderr=subprocess.PIPE) as tool:
                if appears == "folder":
                    (self.folder / "out.ppm").mkdir()
                elif appears == "link":
                    (self.folder / "out.ppm").symlink_to("nowhere")
                else:
                    self.write("out.ppm", b"somebody else's")
                before = {path: state for path, state in self.state().items() if path.endswith("out.ppm")}
                tool.stdin.write(pnm(100, 100, 24)[20000:])
                tool.stdin.close()
                self.assertIn(b"out.ppm: can't be written: it is there; expected a new name", tool.stderr.read())
                self.assertEqual(tool.wait(), BAD_OUTPUT)
            self.assertEqual(self.state(), before)
            (self.folder / "out.ppm").rmdir() if appears == "folder" else (self.folder / "out.ppm").unlink()

    def test_a_result_whose_folder_goes_away(self):
        (self.folder / "sub").mkdir()
        with subprocess.Popen([FOURTAP, "-", "sub/out.ppm", "--size=50%", "--force"], stdin=subprocess.PIPE,
                              stderr=subprocess.PIPE, cwd=self.folder) as tool:
            while not list((self.folder / "sub").iterdir()):
                tool.stdin.write(pnm(100, 100, 24)[:20000] if not tool.stdin.closed else b"")
                tool.stdin.flush()
                time.sleep(0.05)
            for path in (self.folder / "sub").iterdir():
                path.unlink()
            (self.folder / "sub").rmdir()
            tool.stdin.write(pnm(100, 100, 24)[20000:])
            tool.stdin.close()
            self.assertIn(b"sub/out.ppm: can't be written: No such file", tool.stderr.read())
            self.assertEqual(tool.wait(), BAD_OUTPUT)

    def test_links_and_permissions(self):
        self.write("in.ppm", pnm(9, 7, 24))
        (self.folder / "link.ppm").symlink_to("nowhere.ppm")
        for force in [], ["--force"]:
            self.refuse(BAD_OUTPUT, ["link.ppm", "leads nowhere", "expected"], "in.ppm", "link.ppm", "--size=5x", *force)
        self.write("old.ppm", b"old")
        (self.folder / "old.ppm").chmod(0o6755)
        self.scale("in.ppm", "old.ppm", "--size=5x", "--force")
        self.assertEqual(stat.S_IMODE((self.folder / "old.ppm").stat().st_mode), 0o755)

    def test_names_that_are_no_text(self):
        name = b"a\xff\x9b\xc2\x9b\"\\\n\x01\x7f\xed\xa0\x80\xc3\xa9.ppm"
        with open(os.path.join(os.fsencode(self.folder), name), "wb") as file:
            file.write(pnm(9, 7, 24))
        done = self.run_tool(name, "out.ppm", "--size=5x", "--progress=json")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(json.loads(done.stderr)["file"],
                         "a\ufffd\ufffd\x9b\"\\\n\x01\x7f\ufffd\ufffd\ufffd\xe9.ppm")
        done = self.run_tool(name, "out.ppm", "--size=5x", "--verbose", "--progress=text", "--force")
        self.assertEqual(set(re.findall(r"(?:\A|[\r\n])(?:fourtap: )?([^\r]*?\.ppm): ", done.stderr)),
                         {"a???\"\\??????\xe9.ppm"})


if __name__ == "__main__":
    unittest.main()
