"""fourtap with video: Y4M and raw frames through pipes and files."""

import itertools
import json
import os
import pathlib
import random
import re
import select
import signal
import subprocess
import threading
import unittest

from toolcase import BAD_INPUT, BAD_OUTPUT, BAD_USAGE, FOURTAP, ToolCase, await_empty, by_model, unless_sanitized

# Y4M's names: pixels to each chroma sample, across and down.
CHROMA = {"420": (2, 2), "420jpeg": (2, 2), "420mpeg2": (2, 2), "420paldv": (2, 2), "411": (4, 1), "422": (2, 1),
          "444": (1, 1), "mono": None}
# The same of raw frames whose chroma is one plane of two channels.
PAIRED_CHROMA = {"nv12": (2, 2), "nv21": (2, 2), "nv16": (2, 1), "nv61": (2, 1), "nv24": (1, 1), "nv42": (1, 1)}
BYTES_PER_PIXEL = {"Plane": 1, "RGB24": 3, "RGB32": 4, "XYXY": 2, "YXYX": 2, "UV16": 2, "RGBA32": 4}


def noise(count, seed):
    return random.Random(f"{count} {seed}").randbytes(count)


def plane_sizes(chroma, size):
    if chroma == "mono":
        return [size]
    (across, down), (cx, cy) = {**CHROMA, **PAIRED_CHROMA}[chroma], size
    return [size] + (1 if chroma in PAIRED_CHROMA else 2) * [(-(-cx // across), -(-cy // down))]


def plane_layouts(chroma):
    return ["Plane", "UV16"] if chroma in PAIRED_CHROMA else ["Plane"] * len(plane_sizes(chroma, (1, 1)))


def crop(pixels, bytes_per_pixel, cx, rect):
    x, y, cx_part, cy_part = rect
    lines = (pixels[(line * cx + x) * bytes_per_pixel:][:cx_part * bytes_per_pixel] for line in range(y, y + cy_part))
    return b"".join(lines)


class Clip:
    """Video with noise in its planes: raw frames where chroma is paired, else Y4M."""

    def __init__(self, chroma, size, frames=3, parameters="F30000:1001 Ip", frame_parameters=("", " Ixyz", "")):
        self.chroma, self.size, self.parameters = chroma, size, parameters
        self.layouts = plane_layouts(chroma)
        self.planes = [[noise(cx * cy * BYTES_PER_PIXEL[layout], (frame, plane))
                        for plane, (layout, (cx, cy)) in enumerate(zip(self.layouts, plane_sizes(chroma, size)))]
                       for frame in range(frames)]
        self.frame_parameters = frame_parameters

    def raw(self, planes=None):
        return b"".join(b"".join(frame) for frame in planes or self.planes)

    def bytes(self, size=None, planes=None):
        if self.chroma in PAIRED_CHROMA:
            return self.raw(planes)
        cx, cy = size or self.size
        header = f"YUV4MPEG2 W{cx} H{cy} {self.parameters} C{self.chroma} XYSCSS=1 XCOLORRANGE=LIMITED\n"
        frames = (f"FRAME{parameters}\n".encode() + b"".join(frame)
                  for parameters, frame in zip(itertools.cycle(self.frame_parameters), planes or self.planes))
        return header.encode() + b"".join(frames)

    def scaled_planes(self, size_out, rect=None, one_step=False):
        """What the planes of each frame become."""
        sizes_in, sizes_out = plane_sizes(self.chroma, self.size), plane_sizes(self.chroma, size_out)
        planes = [[by_model(layout, plane, *sizes, one_step)
                   for layout, plane, *sizes in zip(self.layouts, frame, sizes_in, sizes_out)] for frame in self.planes]
        if rect is None:
            return planes
        corners, extents = plane_sizes(self.chroma, rect[:2]), plane_sizes(self.chroma, rect[2:])
        return [[crop(plane, BYTES_PER_PIXEL[layout], size[0], corner + extent)
                 for layout, plane, size, corner, extent in zip(self.layouts, frame, sizes_out, corners, extents)]
                for frame in planes]

    def scaled(self, size_out, rect=None, one_step=False):
        return self.bytes(rect[2:] if rect else size_out, self.scaled_planes(size_out, rect, one_step))


class VideoTest(ToolCase):
    def scale_video(self, video, *arguments, **options):
        return self.scale("-", "-", *arguments, stdin=video, **options)

    def refuse_video(self, status, words, video, *arguments, written=b""):
        """The tool must refuse, and write no more than that."""
        self.assertEqual(self.refuse(status, words, "-", "-", *arguments, stdin=video), written)

    def test_each_plane_of_y4m_is_scaled_by_itself_on_any_number_of_threads(self):
        for chroma in CHROMA:
            for size_in, size_out in ((31, 43), (24, 30)), ((16, 8), (19, 40)), ((9, 50), (9, 27)), ((1, 1), (5, 3)):
                clip = Clip(chroma, size_in)
                expected = clip.scaled(size_out)
                for threads in "1", "2", "7":
                    with self.subTest(chroma=chroma, sizes=(size_in, size_out), threads=threads):
                        size = "{}x{}!".format(*size_out)
                        self.assertEqual(self.scale_video(clip.bytes(), "--size", size, "--threads", threads), expected)
        unnamed = b"YUV4MPEG2 H4 W6\nFRAME\n" + noise(36, "unnamed")
        self.assertEqual(len(self.scale_video(unnamed, "--size", "12x8")), len(b"YUV4MPEG2 H8 W12\nFRAME\n") + 144)

    def test_raw_frames_by_all_names(self):
        names = {
            "Plane": "plane gray GRAY8 GREY Y800 mono",
            "RGB24": "rgb24 bgr24 RGB BGR RGB3 BGR3",
            "RGB32": "rgb32 RGBx BGRx rgb0 bgr0 XR24 XB24 BGR4",
            "RGBA32": "rgba32 RGBA BGRA argb ABGR RA24 BA24 ar24 AB24",
            "UV16": "uv16 ya8 GRAY8A",
            "XYXY": "xyxy UYVY uyvy422 VYUY 2vuy HDYC uyvy",
            "YXYX": "yxyx YUY2 YUYV yuyv422 YVYU yvyu422 YUNV V422",
        }
        for layout, aliases in names.items():
            frames = [noise(22 * 17 * BYTES_PER_PIXEL[layout], frame) for frame in range(2)]
            expected = b"".join(by_model(layout, frame, (22, 17), (14, 20)) for frame in frames)
            for name, threads in itertools.product(aliases.split(), "13"):
                with self.subTest(name=name, threads=threads):
                    video = self.scale_video(b"".join(frames), "--raw", f"{name}:22x17", "--size", "14x20!", "--threads", threads)
                    self.assertEqual(video, expected)

    def test_raw_frames_whose_channels_come_last(self):
        frame = noise(22 * 17 * 4, "channels")
        channels_first = by_model("RGB32", frame[1:] + frame[:1], (22, 17), (14, 20))
        for name in "xRGB", "xBGR", "0rgb", "0bgr", "RX24", "bx24", "RGB4":
            video = self.scale_video(frame * 2, "--raw", f"{name}:22x17", "--size", "14x20!", "--threads", "2",
                                     env={**os.environ, "MALLOC_PERTURB_": "85"})
            self.assertEqual(video, 2 * (b"\0" + channels_first[:-1]))

    def test_raw_planar_frames(self):
        names = {"420": "yuv420p yuvj420p I420 YU12 yv12", "411": "i411 yuv411p Y41B 411p",
                 "422": "i422 yuv422p yuvj422p Y42B 422p", "444": "i444 yuv444p yuvj444p Y444 gbrp GBR"}
        for chroma, aliases in names.items():
            clip = Clip(chroma, (13, 10))
            expected = clip.raw(clip.scaled_planes((20, 7)))
            for name in aliases.split():
                self.assertEqual(self.scale_video(clip.raw(), "--raw", f"{name}:13x10", "--size", "20x7!"), expected, name)
        clip = Clip("444", (13, 10), frames=4)  # and as many planes in three frames of four
        expected = clip.raw(clip.scaled_planes((20, 7)))
        for name in "yuva444p", "GBRAP":
            self.assertEqual(self.scale_video(clip.raw(), "--raw", f"{name}:13x10", "--size", "20x7!"), expected, name)

    def test_raw_frames_with_paired_chroma(self):
        for name in PAIRED_CHROMA:
            for sizes, rects in (([(31, 43), (24, 30)], [(2, 4, 6, 2), (22, 28, 2, 2)]),
                                 ([(33, 27), (51, 45)], [(48, 40, 3, 5), (0, 44, 2, 1)]),
                                 ([(9, 50), (9, 27)], [(8, 0, 1, 27)]), ([(16, 9), (19, 9)], [(4, 2, 4, 4)]),
                                 ([(160, 150), (31, 25)], [(30, 24, 1, 1), (10, 6, 8, 4)]),
                                 ([(10, 6), (9, 5)], []), ([(1, 1), (5, 3)], [(4, 2, 1, 1)]), ([(5, 3), (1, 1)], [])):
                clip = Clip(name, sizes[0], frames=2)
                cx, cy = sizes[-1]
                for rect, threads in itertools.product([None, *rects], "13"):
                    with self.subTest(name=name, sizes=sizes, rect=rect, threads=threads):
                        part = ["--rect", ",".join(map(str, rect))] if rect else []
                        raw = "{}:{}x{}".format(name.upper() if threads == "1" else name, *sizes[0])
                        video = self.scale_video(clip.bytes(), "--raw", raw, "--size", f"{cx}x{cy}!", "--threads",
                                                 threads, *part)
                        self.assertEqual(video, clip.scaled(sizes[1], rect))

    def test_large_reductions(self):
        clip = Clip("420", (80, 21))
        for more in ["--threads", "1"], ["--threads", "3"], ["--one-step"]:
            video = self.scale_video(clip.bytes(), "--size", "14x7!", *more)
            self.assertEqual(video, clip.scaled((14, 7), one_step="--one-step" in more))

        frame = noise(2 * 90 * 8, "packed")
        for layout in "XYXY", "YXYX":
            expected = by_model(layout, frame, (90, 8), (10, 6))
            self.assertEqual(self.scale_video(frame, "--raw", f"{layout.lower()}:90x8", "--size", "10x6!"), expected)

    def test_planes_that_keep_their_size_are_not_filtered(self):
        clip = Clip("422", (10, 6))
        for arguments in ["--size", "10x6"], ["--size", "100%"], ["--rect", "0,0,10,6"]:
            for threads in "1", "2":
                self.assertEqual(self.scale_video(clip.bytes(), "--threads", threads, *arguments), clip.bytes())
        self.assertEqual(self.scale_video(clip.bytes(), "--size", "9x6!"), clip.scaled((9, 6)))
        softened = self.scale_video(Clip("mono", (10, 6)).bytes(), "--size", "10x6", "--one-step")
        self.assertNotEqual(softened, Clip("mono", (10, 6)).bytes())

    def test_rectangle_of_planes_is_the_crop_of_the_whole(self):
        for chroma, size, size_out, rects in (
                ("420", (33, 27), (51, 45), [(0, 0, 51, 45), (2, 4, 6, 2), (48, 40, 3, 5), (0, 44, 2, 1)]),
                ("420", (160, 150), (31, 25), [(30, 24, 1, 1), (10, 6, 8, 4), (0, 2, 31, 2)]),
                ("422", (70, 20), (18, 33), [(4, 5, 2, 3), (16, 32, 2, 1)]),
                ("444", (9, 9), (9, 9), [(1, 2, 3, 5)]),
                ("mono", (200, 3), (13, 3), [(3, 1, 5, 1), (12, 0, 1, 3)])):
            clip = Clip(chroma, size, frames=1)
            for rect, threads in itertools.product(rects, "12"):
                with self.subTest(chroma=chroma, rect=rect, threads=threads):
                    video = self.scale_video(clip.bytes(), "--size", "{}x{}!".format(*size_out), "--threads", threads,
                                       "--rect", ",".join(map(str, rect)))
                    self.assertEqual(video, clip.scaled(size_out, rect))

    def test_rectangle_of_packed_pixels_is_the_crop_of_the_whole(self):
        for layout, count in BYTES_PER_PIXEL.items():
            for sizes, rects in (
                    ([(180, 40), (26, 20)],
                     [(2, 3, 4, 5), (24, 19, 2, 1), (0, 0, 2, 20), (12, 7, 10, 2)]),
                    # Chroma of pairs, enlarged, comes from farther off than their luma.
                    ([(20, 160), (90, 30)], [(x, 7, 2, 2) for x in range(0, 90, 2)])):
                (cx_in, cy_in), (cx, cy) = sizes[0], sizes[-1]
                frame = noise(count * cx_in * cy_in, layout)
                whole = by_model(layout, frame, *sizes)
                for rect in rects:
                    video = self.scale_video(frame, "--raw", f"{layout.lower()}:{cx_in}x{cy_in}", "--size",
                                             f"{cx}x{cy}!", "--rect", ",".join(map(str, rect)))
                    self.assertEqual(video, crop(whole, count, cx, rect), (layout, rect))

    def test_names_promise_what_is_written(self):
        clip = Clip("420", (8, 6))
        self.write("in.y4m", clip.bytes())
        self.write("in.i420", clip.raw())
        self.write("picture.png", (pathlib.Path(__file__).resolve().parents[2] / "fuzz/files/PNG/good-rgb").read_bytes())
        raw = "--raw=i420:8x6"
        for source, name, *more in (("in.y4m", "v.mp4"), ("in.y4m", "v.png"), ("in.y4m", "v.yuv"), ("in.y4m", "v"),
                                    ("in.i420", "v.mp4", raw), ("in.i420", "v.png", raw), ("in.i420", "raw", raw)):
            self.refuse(BAD_USAGE, [name, "expected", ".y4m", "--format raw"], source, name, "--size=50%", *more)
        self.refuse(BAD_USAGE, ["--format", '"png"', "y4m or raw"], "in.y4m", "v.png", "--size=50%", "--format=png")
        self.refuse(BAD_USAGE, ["Y4M", "uyvy"], "in.i420", "v.y4m", "--size=50%", "--raw=uyvy:8x6")
        for name in "yv12:8x6", "nv12:8x6", "gbr:4x4":
            self.refuse(BAD_USAGE, ["Y4M", name.split(":", maxsplit=1)[0]], "-", "-", "--size=50%", "--format=y4m", "--raw",
                        name, stdin=bytes(144))
        self.refuse(BAD_USAGE, ["in.png", "no name for Y4M video"], "in.y4m", "--out={name}.png", "--size=2x2")
        done = self.run_tool("picture.png", "in.y4m", "--out={name}-2.png", "--size=2x2!")
        self.assertEqual((done.returncode, sorted(p.name for p in self.folder.glob("*-2.png"))),
                         (BAD_USAGE, ["picture-2.png"]))

    def test_raw_frames_and_y4m_become_each_other(self):
        for chroma, name in (("420jpeg", "I420"), ("420jpeg", "yuv420p"), ("411", "yuv411p"), ("422", "i422"),
                             ("444", "Y444"), ("mono", "gray")):
            clip = Clip(chroma, (16, 12))
            pixels = clip.raw(clip.scaled_planes((8, 6)))
            self.assertEqual(self.scale_video(clip.bytes(), "--size=8x6", "--format=raw"), pixels)
            expected = f"YUV4MPEG2 W8 H6 F25:1 Ip A0:0 C{chroma}\n".encode()
            size = len(pixels) // 3
            expected += b"".join(b"FRAME\n" + pixels[i * size:][:size] for i in range(3))
            video = self.scale_video(clip.raw(), "--raw", f"{name}:16x12", "--size=8x6", "--format=Y4M")
            self.assertEqual(video, expected)
            for out, content in ("out.y4m", expected), ("out.yuv", pixels), ("out.i420", pixels):
                self.scale("-", out, "--raw", f"{name}:16x12", "--size=8x6", "--force", stdin=clip.raw())
                self.assertEqual(self.read(out), content)

    def test_raw_frames_have_the_size_asked_for_or_it_is_said(self):
        frame = bytes(2 * 320 * 240)
        for size, cx, cy, said in (("176x144", 176, 144, False), ("176x144!", 176, 144, False), ("176x", 176, 132, True),
                                   ("55%", 176, 132, True), ("400x400>", 320, 240, False), ("400x300>", 320, 240, False),
                                   ("100x200>", 100, 200, False), ("100%", 320, 240, False), ("x33", 44, 33, True),
                                   ("x31", 40, 31, True)):
            done = self.run_tool("-", "-", "--raw=uyvy:320x240", "--size", size, stdin=frame)
            self.assertEqual((done.returncode, len(done.stdout)), (0, 2 * cx * cy), size)
            self.assertEqual(done.stderr, f"fourtap: stdin: becomes raw uyvy frames of {cx}x{cy}\n" if said else "", size)
        self.assertEqual(self.run_tool("-", "-", "--raw=uyvy:320x240", "--size=176x", "--quiet", stdin=frame).stderr, "")

    def test_sizes_are_rounded_where_pixels_share_their_chroma(self):
        for chroma, size, more, expected in (
                ("420", "33%", [], "32x24"), ("420", "33x25!", [], "33x25"), ("420", "33x25!", ["--even"], "32x24"),
                ("422", "33%", [], "32x25"), ("411", "35%", [], "32x27"), ("444", "33%", [], "33x25"),
                ("444", "33%", ["--even"], "32x24"), ("mono", "1x1", [], "1x1"), ("mono", "1x1", ["--even"], "2x2"),
                ("420", "1x1", [], "2x2"), ("420", "150x150>", [], "99x77")):
            done = self.run_tool("-", "-", "--verbose", "--size", size, *more, stdin=Clip(chroma, (99, 77), frames=1).bytes())
            self.assertEqual(done.returncode, 0)
            header = done.stdout.split(b" ")
            self.assertEqual(f"{header[1].decode()[1:]}x{header[2].decode()[1:]}", expected, (chroma, size, more))
            self.assertEqual(f" is rounded to {expected}, " in done.stderr,
                             expected not in (size.rstrip("!"), "33x25", "99x77"), (chroma, size, more))
        self.write("in.pgm", b"P5 99 77 255\n" + bytes(99 * 77))
        self.assertEqual(self.scale("in.pgm", "-", "--size=33%", "--even")[:8], b"P5\n32 24")

    def test_pixels_proportions_follow_the_pictures(self):
        for size_in, aspect, size, expected in (
                ((720, 576), "64:45", "360x", "64:45"), ((720, 576), "64:45", "1024x576!", "1:1"),
                ((720, 576), "64:45", "720x288!", "32:45"), ((192, 108), "1:1", "85x48!", "1:1"),
                ((192, 108), "1:1", "33%", "1:1"), ((192, 108), "1:1", "108x192!", "256:81"),
                ((192, 108), "0:0", "100x100!", "0:0"), ((192, 108), "1", "100x100!", "1"),
                ((192, 108), "2147483647:2147483646", "108x192!", "0:0"), ((192, 108), "4:3", "100%", "4:3"),
                ((108, 1920), "1:1", "x990", "1:1")):
            video = Clip("mono", size_in, frames=1, parameters=f"A{aspect} F25:1 I?").bytes()
            header = self.scale_video(video, "--size", size).split(b"\n")[0].decode()
            self.assertIn(f" A{expected} F25:1", header, (size_in, aspect, size))
            header = self.scale_video(video, "--size", size, "--rect=0,0,20,5").split(b"\n")[0].decode()
            self.assertIn(f" W20 H5 A{expected} F25:1", header, (size_in, aspect, size))

    def test_threads_by_default_are_those_that_have_enough_to_do(self):
        processors = len(os.sched_getaffinity(0))
        for size, threads in ("640x480", 1), ("1920x1080", 1), ("3840x2160", min(2, processors)), (
                "20000x20000", processors):
            header = "YUV4MPEG2 W{} H{} C420\n".format(*size.split("x")).encode()
            info = self.scale("--info", "-", "--size", "50%", stdin=header).decode()
            self.assertIn(f"\nthreads: {threads}\n", info, size)
        infos = [self.scale("--info", "-", "--size", "50%", f"--threads={n}", stdin=header).decode() for n in (1, 3)]
        one, three = (int(re.search(r"\nmemory: (\d+) bytes\n", info)[1]) for info in infos)
        self.assertEqual(three, 3 * one)
        # Nothing of it is taken before a frame comes; several threads have three frames on either side.
        said = [self.run_tool("-", "-", "--size", "50%", f"--threads={n}", "--verbose", stdin=header).stderr for n in (1, 3)]
        one, three = (int(re.search(r"memory: (\d+) MiB", remarks)[1]) for remarks in said)
        self.assertAlmostEqual(three, 3 * one, delta=3)

    def test_what_is_not_handled_is_refused_by_name(self):
        def y4m(header):
            return b"YUV4MPEG2 " + header + b"\nFRAME\n" + bytes(1000)
        size = "--size", "5x5"
        for flag in b"t", b"b", b"m":
            self.refuse_video(BAD_INPUT, ["stdin", "interlaced", "I" + flag.decode()], y4m(b"W8 H6 I" + flag), *size)
        for chroma in b"420p10", b"422p12", b"444p9", b"mono16", b"mono10":
            self.refuse_video(BAD_INPUT, [chroma.decode(), "more than 8 bits"], y4m(b"W8 H6 C" + chroma), *size)
        for chroma in b"444alpha", b"410", b"420pal", b"422p", b"", b"42":
            self.refuse_video(BAD_INPUT, [f'"{chroma.decode()}"; expected mono, 420'], y4m(b"W8 H6 C" + chroma), *size)
        for header in b"W8", b"H6 F25:1", b"W0 H6", b"W8 H-6", b"W8x H6", b"W H", b"W8 H99999999999":
            self.refuse_video(BAD_INPUT, ["size", "W and H"], y4m(header), *size)
        self.refuse_video(BAD_INPUT, ["2147483647x2147483647", "--max-pixels"], y4m(b"W2147483647 H2147483647"), *size)
        self.refuse_video(BAD_INPUT, ["8x6", "--max-pixels"], y4m(b"W8 H6"), *size, "--max-pixels", "47")
        self.refuse_video(BAD_INPUT, ["header line", "4096"], y4m(b"W8 H6 X" + bytes(5000)), *size)
        self.refuse_video(BAD_INPUT, ["cut short"], b"YUV4MPEG2 W8 H6", *size)
        self.refuse_video(BAD_INPUT, ["no Y4M"], b"YUV4MPEG22 W8 H6\n", *size)

        for raw in "uyvy", "uyvy:", "uyvy:8", "p010:8x6", "nv1:8x6", "nv12 nv21:8x6", ":8x6", "uyvy:0x6", "uyvy:8x6x2":
            self.refuse_video(BAD_USAGE, [f'"{raw}"', "expected"], bytes(96), "--raw", raw, *size)
        self.refuse_video(BAD_USAGE, ["one of the layouts gray, rgb24, ", " i420, ", " nv12, ", " or xrgb"], bytes(96),
                          "--raw", "none:8x6", *size)
        for layout in "uyvy", "yuy2":
            self.refuse_video(BAD_USAGE, [f"{layout}:7x6", "even"], bytes(84), "--raw", f"{layout}:7x6", *size)
            self.refuse_video(BAD_USAGE, ["5x5", "even"], bytes(96), "--raw", f"{layout}:8x6", "--size", "5x5!")

        for chroma, rect, word in (("420", "1,0,4,4", "multiples of 2"), ("420", "0,0,3,4", "multiples of 2"),
                                   ("420", "0,1,4,4", "lines"), ("420", "0,0,4,3", "lines"), ("422", "3,1,2,1", "columns"),
                                   ("411", "2,1,4,1", "multiples of 4"), ("444", "0,0,13,12", "12x12"),
                                   ("444", "1,0,12,12", "12x12"), ("444", "2147483647,0,1,1", "12x12"),
                                   ("mono", "0,12,1,1", "12x12")):
            self.refuse_video(BAD_USAGE, ["--rect: ", word], Clip(chroma, (8, 8)).bytes(), "--size", "12x12", "--rect", rect)
        for layout, rect, word in (("uyvy", "1,0,2,2", "columns in multiples of 2"), ("nv12", "1,0,2,2", "columns"),
                                   ("nv12", "0,1,2,2", "lines in multiples of 2"), ("nv12", "0,0,2,3", "lines"),
                                   ("nv16", "0,0,3,2", "columns"), ("nv24", "0,0,9,1", "8x6")):
            self.refuse_video(BAD_USAGE, ["--rect: ", word], bytes(144), "--raw", f"{layout}:8x6", "--rect", rect)

    def test_sizes_beyond_counting_are_refused(self):
        self.refuse_video(BAD_USAGE, ["2147483647x2147483647"], Clip("mono", (8, 6)).bytes(), "--size",
                          "2147483647x2147483647!")

    @unless_sanitized
    def test_sizes_beyond_memory_are_refused(self):
        self.refuse_video(BAD_OUTPUT, ["1000000x1000000"], Clip("mono", (8, 6)).bytes(), "--size", "1000000x1000000!")

    def test_broken_streams_end_after_their_last_whole_frame(self):
        size = "--size", "100%"
        for chroma, size_in in ("420", (8, 6)), ("444", (400, 300)):
            clip = Clip(chroma, size_in, frame_parameters=[""])
            whole, frame = clip.bytes(), sum(cx * cy for cx, cy in plane_sizes(chroma, size_in))
            two_frames = clip.bytes(planes=clip.planes[:2])
            for threads in "1", "2":
                for missing in 1, frame - 1, frame:
                    self.refuse_video(BAD_INPUT, ["stdin", "frame 3 ", f": {missing} of its {frame} bytes"], whole[:-missing],
                                *size, "--threads", threads, written=two_frames)
                self.refuse_video(BAD_INPUT, ["frame 3 ", "header"], whole[:-frame - 1], *size, "--threads", threads, written=two_frames)
                for wrong in "FRAMS", "FRAMEx":
                    self.refuse_video(BAD_INPUT, ["frame 4 ", f'"{wrong}"', "FRAME"], whole + wrong.encode() + b"\n", *size,
                                      "--threads", threads, written=whole)
                self.refuse_video(BAD_INPUT, ["frame 3 ", "1 of its"], bytes(3 * 48 - 1), *size, "--threads", threads, "--raw", "gray:8x6",
                            written=bytes(96))
        self.refuse_video(BAD_INPUT, ["stdin", "no frame"], b"", *size, "--raw", "gray:8x6")
        self.refuse_video(BAD_INPUT, ["stdin", "no frame"], b"YUV4MPEG2 W8 H6 C420\n", *size)

    def test_files_take_their_place_only_when_whole(self):
        clip = Clip("420", (8, 6))
        self.write("in.y4m", clip.bytes())
        self.assertEqual(self.scale("in.y4m", "out.y4m", "--size", "4x3!"), b"")
        self.assertEqual(self.read("out.y4m"), clip.scaled((4, 3)))
        self.write("in.y4m", clip.bytes()[:-1])
        self.refuse(BAD_INPUT, ["in.y4m: frame 3 is cut short: 1 of its 72 bytes"], "in.y4m", "new.y4m", "--size", "4x3")
        self.assertEqual(self.scale("--info", "in.y4m", "--size", "1x1!").count(b"8x6 -> 1x1, by the wide filter"), 1)

    def test_output_that_is_not_taken(self):
        clip = Clip("420", (640, 480), frames=9)  # more than wait between reading and writing
        for threads in "1", "2":
            with open("/dev/full", "wb") as full:
                done = subprocess.run([FOURTAP, "-", "-", "--size", "50%", "--threads", threads], input=clip.bytes(),
                                      stdout=full, stderr=subprocess.PIPE, timeout=60)
            self.assertEqual(done.returncode, BAD_OUTPUT)
            self.assertRegex(done.stderr, rb"\Afourtap: stdout: [^\n]*No space left[^\n]*\n\Z")
            for ignored in False, True:  # the signal that tells of a reader's end
                def prepare(ignored=ignored):
                    signal.signal(signal.SIGPIPE, signal.SIG_IGN if ignored else signal.SIG_DFL)
                tool = subprocess.Popen([FOURTAP, "-", "-", "--size", "50%", "--threads", threads],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        preexec_fn=prepare, restore_signals=False)
                tool.stdout.close()
                self.assertEqual(tool.communicate(clip.bytes(), timeout=60)[1], b"")
                self.assertEqual(tool.returncode, -signal.SIGPIPE)

    def test_of_two_faults_the_earlier_one_is_told(self):
        video = Clip("420", (640, 480), frames=2).bytes()[:-1 << 17]
        with open("/dev/full", "wb") as full:
            tool = subprocess.Popen([FOURTAP, "-", "-", "--size", "100%", "--threads", "2"], stdin=subprocess.PIPE,
                                    stdout=full, stderr=subprocess.PIPE)
        tool.stdin.write(video)
        tool.stdin.flush()
        await_empty(tool.stdin)  # the tool is at its second frame, and can't get rid of its first
        stderr = tool.communicate(timeout=60)[1]
        self.assertEqual((tool.returncode, stderr.count(b"\n")), (BAD_INPUT, 1))
        self.assertIn(b"stdin: frame 2 is cut short", stderr)

    def test_frames_to_come_are_counted(self):
        """From where stdin stands, and without the header, be it as long as many frames."""
        before, count = b"something else" * 100, 9000
        header = b"YUV4MPEG2 W16 H16 Cmono X" + b"x" * 3000 + b"\n"
        self.write("in", before + header + (b"FRAME\n" + bytes(256)) * count)
        with open(self.folder / "in", "rb", buffering=0) as file:
            file.seek(len(before))
            with subprocess.Popen([FOURTAP, "-", "-", "--size=100%", "--progress=json"], stdin=file, stdout=subprocess.PIPE,
                                  stderr=subprocess.PIPE, bufsize=0) as tool:
                while not select.select([tool.stderr], [], [], 0.1)[0]:
                    tool.stdout.read(1 << 16)
                report = json.loads(tool.stderr.readline())
                self.assertEqual(len(tool.communicate()[0]) > 0, report["frames"] < count)
        self.assertEqual(report["total"], count)

    def test_frames_leave_before_the_next_ones_come(self):
        clip = Clip("420", (8, 6), frame_parameters=[""])
        frame_in, frame_out = len(b"FRAME\n") + 72, len(b"FRAME\n") + 24
        for threads in "1", "2":
            video, expected = clip.bytes(), clip.scaled((4, 4))
            with subprocess.Popen([FOURTAP, "-", "-", "--size", "4x4!", "--threads", threads], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE) as tool:
                watchdog = threading.Timer(60, tool.kill)
                watchdog.start()
                self.addCleanup(watchdog.cancel)
                for frames_to_come in 2, 1, 0:
                    count, scaled = len(video) - frames_to_come * frame_in, len(expected) - frames_to_come * frame_out
                    tool.stdin.write(video[:count])
                    tool.stdin.flush()
                    self.assertEqual(tool.stdout.read(scaled), expected[:scaled])
                    video, expected = video[count:], expected[scaled:]


if __name__ == "__main__":
    unittest.main()
