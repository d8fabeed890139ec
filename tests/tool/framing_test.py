"""Boxes that results fit into, fill or are padded to: pictures of every kind, upright and on their side, and frames."""

import itertools
import unittest

from PIL import Image

from picture_test import coloured, decoded, encoded, exif_block
from toolcase import BAD_INPUT, BAD_USAGE, MIB, ToolCase, noise, pnm, unless_sanitized
from video_test import Clip, plane_sizes

PLACES = {"northwest": (0, 0), "north": (1, 0), "northeast": (2, 0), "west": (0, 1), "center": (1, 1), "east": (2, 1),
          "southwest": (0, 2), "south": (1, 2), "southeast": (2, 2)}


def placed(place, part, whole, unit=(1, 1)):
    """Where a part lies in a whole."""
    return tuple((all_of_it - count) * half // 2 // step * step
                 for half, count, all_of_it, step in zip(PLACES[place], part, whole, unit))


def by_formula(colour, letter, lines, full):
    """A colour's luma or chroma, from the textbook."""
    r, g, b = colour
    kr, kb = (0.2126, 0.0722) if lines >= 720 else (0.299, 0.114)
    luma = kr * r + (1 - kr - kb) * g + kb * b
    value = {"Y": luma, "U": (b - luma) / (1 - kb) / 2, "V": (r - luma) / (1 - kr) / 2}[letter]
    start, span = (0 if letter == "Y" else 128, 1) if full else (16, 219 / 255) if letter == "Y" else (128, 224 / 255)
    return min(255, int(start + value * span + 0.5))


class FramingTest(ToolCase):
    def test_sizes(self):
        for size_in, option, box, expected, scaled in (
                ((100, 40), "fit", "50x50", "50x20", None), ((100, 40), "fit", "200x200>", "100x40", None),
                ((100, 40), "fill", "20x20", "20x20", "50x20"), ((40, 100), "fill", "20x30", "20x30", "20x50"),
                ((100, 40), "fill", "200x200", "200x200", "500x200"), ((100, 40), "fill", "200x30>", "100x30", "100x40"),
                ((100, 40), "fill", "30x30<", "30x30", "100x40"), ((3, 2), "fill", "100x67", "100x67", "101x67"),
                ((100, 40), "fill", "33x33", "33x33", "83x33"), ((1000, 1), "fill", "7x7", "7x7", "7000x7"),
                ((100, 40), "pad", "50x50", "50x50", "50x20"), ((100, 40), "pad", "300x200>", "300x200", "100x40"),
                ((1, 1000), "pad", "9x9", "9x9", "1x9"), ((100, 40), "pad", "10x4", "10x4", "10x4")):
            done = self.run_tool("-", "-", "--verbose", f"--{option}", box, stdin=pnm(*size_in, 8))
            self.assertEqual(done.stdout.split(b"\n")[1].decode().replace(" ", "x"), expected, (size_in, option, box))
            if scaled:
                way = scaled if scaled == "{}x{}".format(*size_in) else f"-> {scaled}"
                self.assertIn(way, done.stderr)
        for option, even in (("fit", "32x12"), ("fill", "32x20"), ("pad", "32x20")):
            result = self.scale("-", "-", f"--{option}=33x21", "--even", stdin=pnm(101, 39, 8))
            self.assertEqual(result.split(b"\n")[1].decode().replace(" ", "x"), even)
        for size_in, box, scaled, even in (((101, 39), "200x200>", "101x39, passed", "100x38"), ((101, 39), "101x39", "-> 100x39,", "100x38"),
                                           ((101, 39), "33x200>", "101x39, passed", "32x38"), ((101, 39), "31x31<", "101x39, passed", "30x30"),
                                           ((1001, 3), "990x2>", "-> 990x3,", "990x2"), ((1, 1), "5x5>", "-> 2x2,", "2x2")):
            done = self.run_tool("-", "-", f"--fill={box}", "--even", "--verbose", stdin=pnm(*size_in, 8))
            self.assertEqual(done.stdout.split(b"\n")[1].decode().replace(" ", "x"), even, (size_in, box))
            self.assertIn(scaled, done.stderr)

    def test_what_makes_no_sense_is_refused(self):
        self.write("in.pgm", pnm(100, 40, 8))
        box = "expected a box such as"
        for words, *arguments in (
                (["--fill: ", "--size"], "--size=5x5", "--fill=5x5"), (["--pad: ", "--fill"], "--fill=5x5", "--pad=5x5"),
                (["--pad: ", "--fit"], "--pad=5x5", "--fit=5x5"), (["--rect: ", "--fill"], "--fill=5x5", "--rect=0,0,1,1"),
                (["--rect: ", "--pad"], "--pad=5x5", "--rect=0,0,1,1"), (["--pad: <"], "--pad=5x5<"),
                (["--gravity: "], "--size=5x5", "--gravity=north"), (["--gravity: "], "--fit=5x5", "--gravity=north"),
                (["--gravity: ", '"up"', "northwest"], "--fill=5x5", "--gravity=up"),
                (["--fill: ", "beyond"], "--fill=1x2147483647"),
                *(([f"--{option}: ", f'"{wrong}"', box, f", with {signs} behind it"], f"--{option}={wrong}")
                  for option, signs in (("fit", "> or <"), ("fill", "> or <"), ("pad", ">")) for wrong in ("50%", "5x", "x5", "5x5!", "5", "0x5", "5x5><"))):
            self.refuse(BAD_USAGE, words, "in.pgm", "out.pgm", *arguments)

    def test_what_fills_is_a_rectangle_of_the_whole(self):
        for mode, size_in, box in (("RGB", (90, 61), (20, 20)), ("LA", (31, 70), (40, 40)), ("RGBA", (33, 27), (33, 9)),
                                   ("L", (200, 41), (9, 11))):
            content = encoded(coloured(mode, *size_in), format="PNG")
            scaled = max(((box[0], round(box[0] * size_in[1] / size_in[0])),
                          (round(box[1] * size_in[0] / size_in[1]), box[1])))
            for place in PLACES:
                x, y = placed(place, box, scaled)
                expected = self.scale("-", "-", "--size={}x{}!".format(*scaled), "--rect={},{},{},{}".format(x, y, *box),
                                      stdin=content)
                for more in [], ["--progressive=1"]:
                    result = self.scale("-", "-", "--fill={}x{}".format(*box), f"--gravity={place}", *more, stdin=content)
                    self.assertEqual(result, expected, (mode, place))
            x, y = placed("center", box, scaled)
            self.assertEqual(self.scale("-", "-", "--fill={}x{}".format(*box), stdin=content),
                             self.scale("-", "-", "--fill={}x{}".format(*box), "--gravity=center", stdin=content))

    def test_nothing_behind_what_fills_is_read(self):
        cut = pnm(50, 400, 24)[:-30 * 1500]
        arguments = "-", "-", "--fill=25x20", "--gravity=north"
        self.assertEqual(self.scale(*arguments, stdin=cut), self.scale(*arguments, stdin=pnm(50, 400, 24)))
        self.refuse(BAD_INPUT, ["cut short"], "-", "-", "--fill=25x20", "--gravity=south", stdin=cut)

    def test_pictures_on_a_canvas(self):
        orange = (255, 128, 0)
        for mode, more, colour, mode_out in (("L", [], 0, "L"), ("L", ["--background=white"], 255, "L"),
                                             ("L", ["--background=#ff8000"], orange, "RGB"), ("RGB", [], (0, 0, 0), "RGB"),
                                             ("RGB", ["--background=#ff8000"], orange, "RGB"), ("LA", [], (0, 0), "LA"),
                                             ("RGBA", [], (0, 0, 0, 0), "RGBA"), ("RGBA", ["--alpha=drop"], (0, 0, 0), "RGB"),
                                             ("RGBA", ["--background=#ff8000"], orange, "RGB"),
                                             ("LA", ["--background=#ff8000"], orange, "RGB")):
            content = encoded(coloured(mode, 40, 30), format="PNG")
            for canvas, size in ((50, 80), (50, 38)), ((90, 15), (20, 15)), ((41, 30), (40, 30)), ((20, 15), (20, 15)):
                picture = decoded(self.scale("-", "-", "--size={}x{}!".format(*size), *more, stdin=content))
                for place in ("center", "northwest", "southeast") if canvas == (50, 80) else ("center",):
                    expected = Image.new(mode_out, canvas, colour)
                    if canvas == size:
                        expected = picture
                    else:
                        expected.paste(picture.convert(mode_out), placed(place, size, canvas))
                    result = decoded(self.scale("-", "-", "--pad={}x{}".format(*canvas), f"--gravity={place}", *more,
                                                stdin=content))
                    self.assertEqual((result.mode, result.size), (expected.mode, canvas), (mode, more))
                    self.assertEqual(result.tobytes(), expected.tobytes(), (mode, more, canvas, place))
        self.write("gray.pgm", pnm(9, 7, 8))
        self.refuse(3, ["colours"], "gray.pgm", "out.pgm", "--pad=20x20", "--background=#ff8000")
        for suffix in "jpg", "bmp", "ppm":
            self.scale("gray.pgm", "out." + suffix, "--pad=20x30", "--background=#ff8000")
            result = Image.open(self.folder / f"out.{suffix}")
            self.assertEqual(result.size, (20, 30))
            for channel, wanted in zip(result.getpixel((3, 1)), orange):
                self.assertLess(abs(channel - wanted), 4)

    def test_boxes_are_those_of_the_upright_picture(self):
        turns = [None, Image.FLIP_LEFT_RIGHT, Image.ROTATE_180, Image.FLIP_TOP_BOTTOM, Image.TRANSPOSE, Image.ROTATE_270,
                 Image.TRANSVERSE, Image.ROTATE_90]
        for orientation, turn in enumerate(turns, 1):
            content = encoded(coloured("RGB", 80, 50), format="PNG", exif=exif_block(orientation)[0])
            upright = decoded(self.scale("-", "-", "--size=200%", stdin=content))
            info = self.scale("--info", "-", stdin=content).decode()
            self.assertIn("\npicture: PNG, 80x50, {}RGB\n".format("upright 50x80, " if orientation > 4 else ""), info)
            for place in "west", "southeast", "north":
                box = 60, 70
                scaled = (112, 70) if orientation < 5 else (60, 96)
                whole = decoded(self.scale("-", "-", "--size={}x{}!".format(*scaled), stdin=content))
                x, y = placed(place, box, scaled)
                filled = decoded(self.scale("-", "-", "--fill=60x70", f"--gravity={place}", stdin=content))
                self.assertEqual(filled.tobytes(), whole.crop((x, y, x + 60, y + 70)).tobytes(), (orientation, place))
                canvas = Image.new("RGB", (300, 300), (255, 255, 255))
                canvas.paste(upright, placed(place, upright.size, (300, 300)))
                padded = decoded(self.scale("-", "-", "--pad=300x300>", "--format=png", f"--gravity={place}", "--background=white",
                                            stdin=encoded(upright, format="PNG")))
                self.assertEqual(padded.tobytes(), canvas.tobytes())
                done = self.run_tool("-", "-", "--pad=96x96", f"--gravity={place}", "--background=white", "--verbose",
                                     stdin=content)
                way = "80x50 -> 96x60" if orientation < 5 else "50x80 -> 60x96"
                self.assertIn(f"stdin: {way}, by four taps, padded to 96x96\n", done.stderr)
                padded = decoded(done.stdout)
                self.assertEqual((padded.size, padded.getexif()[0x112], padded.getexif()[0x100]), ((96, 96), 1, 96))
                size = (96, 60) if orientation < 5 else (60, 96)
                whole = decoded(self.scale("-", "-", "--size={}x{}!".format(*size), stdin=content))
                canvas = Image.new("RGB", (96, 96), (255, 255, 255))
                canvas.paste(whole, placed(place, size, (96, 96)))
                self.assertEqual(padded.tobytes(), canvas.tobytes(), (orientation, place))

    def test_a_picture_that_needs_nothing_is_copied(self):
        content = encoded(coloured("RGB", 40, 30), format="JPEG", quality=40)
        for option in "--fit=40x30", "--fill=40x30", "--pad=40x30", "--fill=400x300>", "--fit=50x50>":
            self.assertEqual(self.scale("-", "-", option, stdin=content), content, option)
        for option in "--fill=40x29<", "--pad=40x31>", "--pad=400x300>":
            self.assertNotEqual(self.scale("-", "-", option, stdin=content), content, option)

    @unless_sanitized
    def test_memory_stays_that_of_a_few_lines(self):
        self.write("in.ppm", pnm(6000, 4000, 24, noise(6000, 20, 24) * 200))
        for option in "--fill=2000x3000", "--pad=3000x6000":
            done = self.measure("in.ppm", "out.ppm", option, "--force")
            self.assertEqual(done.returncode, 0)
            self.assertLess(done.peak, 20 * MIB, option)

    def test_frames_that_fill_a_box(self):
        for chroma, size, box, scaled, unit in (("420", (99, 77), (20, 30), (40, 30), (2, 2)),
                                                ("422", (99, 77), (40, 20), (40, 31), (2, 1)),
                                                ("411", (99, 77), (40, 20), (40, 31), (4, 1)),
                                                ("444", (99, 77), (21, 33), (42, 33), (1, 1)),
                                                ("420", (33, 25), (20, 20), (26, 20), (2, 2)),
                                                ("nv12", (33, 25), (20, 20), (26, 20), (2, 2)),
                                                ("mono", (99, 77), (9, 9), (12, 9), (1, 1))):
            clip = Clip(chroma, size, frames=2)
            raw = ["--raw={}:{}x{}".format(chroma, *size)] if chroma == "nv12" else []
            for place, threads in itertools.product(("center", "north", "southeast", "west"), "12"):
                rect = (*placed(place, box, scaled, unit), *box)
                video = self.scale("-", "-", "--fill={}x{}".format(*box), f"--gravity={place}", "--threads", threads, *raw,
                                   stdin=clip.bytes())
                self.assertEqual(video, clip.scaled(scaled, rect), (chroma, box, place))
        clip = Clip("420", (33, 25), frames=1)
        self.assertEqual(self.scale("-", "-", "--fill=40x20>", stdin=clip.bytes()),
                         clip.bytes((33, 20), clip.scaled_planes((33, 25), (0, 2, 33, 20))))
        for option, box, chroma in ("fill", "33x20", "420"), ("pad", "40x25", "420"), ("fill", "38x20", "411"):
            self.refuse(BAD_USAGE, [f"--{option}: {box}", "multiples of", "chroma"], "-", "-", f"--{option}={box}",
                        stdin=Clip(chroma, (33, 25)).bytes())
        self.assertIn(b" W32 H24 ", self.scale("-", "-", "--fill=33x25", "--even", stdin=clip.bytes()))
        for chroma, even in ("420", (32, 24)), ("411", (32, 24)), ("444", (32, 24)), ("mono", (32, 24)):
            clip = Clip(chroma, (33, 25), frames=1)
            self.assertEqual(self.scale("-", "-", "--fill=40x40>", "--even", "--gravity=northwest", stdin=clip.bytes()),
                             clip.bytes(even, clip.scaled_planes((33, 25), (0, 0, *even))), chroma)

    def on_canvas(self, clip, size, canvas, corner, samples):
        """Frames whose planes lie on larger ones of that sample each."""
        scaled = clip.scaled_planes(size)
        sizes, canvases, corners = (plane_sizes(clip.chroma, what) for what in (size, canvas, corner))
        frames = []
        for frame in scaled:
            planes = []
            for plane, sample, plane_size, plane_canvas, (x, y) in zip(frame, samples, sizes, canvases, corners):
                mode = "L" if len(sample) == 1 else "LA"
                result = Image.new(mode, plane_canvas, sample if mode == "LA" else sample[0])
                result.paste(Image.frombytes(mode, plane_size, plane), (x, y))
                planes.append(result.tobytes())
            frames.append(planes)
        return clip.bytes(canvas, frames)

    def test_frames_on_a_canvas(self):
        orange = (255, 128, 0)
        for chroma, size, canvas, scaled, unit in (("420", (33, 25), (40, 40), (40, 30), (2, 2)),
                                                   ("420", (33, 25), (60, 24), (32, 24), (2, 2)),
                                                   ("422", (33, 25), (60, 25), (32, 25), (2, 1)),
                                                   ("411", (33, 25), (60, 25), (32, 25), (4, 1)),
                                                   ("444", (33, 25), (9, 11), (9, 7), (1, 1)),
                                                   ("nv12", (34, 26), (40, 40), (40, 30), (2, 2)),
                                                   ("mono", (33, 25), (60, 25), (33, 25), (1, 1)),
                                                   ("420", (90, 80), (100, 720), (100, 88), (2, 2))):
            raw = ["--raw={}:{}x{}".format(chroma, *size)] if chroma == "nv12" else []
            clip = Clip(chroma, size, frames=4)
            for colour, place, threads in (((0, 0, 0), "center", "1"), (orange, "southeast", "2"), (orange, "northwest", "1")):
                letters = {"nv12": ["Y", "UV"], "mono": ["Y"]}.get(chroma, ["Y", "U", "V"])
                samples = [tuple(by_formula(colour, letter, canvas[1], False) for letter in of_plane) for of_plane in letters]
                corner = placed(place, scaled, canvas, unit)
                background = ["--background=#ff8000"] if colour == orange else []
                video = self.scale("-", "-", "--pad={}x{}".format(*canvas), f"--gravity={place}", "--threads", threads,
                                   *background, *raw, stdin=clip.bytes())
                self.assertEqual(video, self.on_canvas(clip, scaled, canvas, corner, samples), (chroma, canvas, place))

    def test_padding_has_the_colour_in_every_raw_format(self):
        names = {"rgb24 RGB3": "RGB", "bgr24 BGR": "BGR", "rgb0 XB24": "RGB0", "bgr0 XR24 BGR4": "BGR0", "xrgb BX24": "0RGB",
                 "0bgr RX24": "0BGR", "rgba AB24": "RGBA", "bgra AR24": "BGRA", "argb BA24": "ARGB", "abgr RA24": "ABGR",
                 "uyvy 2vuy": "UYVY", "vyuy": "VYUY", "yuy2 V422": "YUYV", "yvyu422": "YVYU", "ya8": "yA", "gray8": "y",
                 "i444": "Y U V", "yuvj444p": "y u v", "gbrp": "G B R", "yuva444p": "Y U V A", "gbrap": "G B R A",
                 "nv24": "Y UV", "nv42": "Y VU", "i420": "Y U V", "yv12": "Y V U", "nv21": "Y VU"}
        colour = 200, 30, 90
        for aliases, planes in names.items():
            for name, opaque in itertools.product(aliases.split(), (True, False)):
                def sample(letter):
                    r, g, b = colour if opaque else (0, 0, 0)
                    plain = {"R": r, "G": g, "B": b, "A": 255 if opaque else 0, "0": 0}
                    return plain[letter] if letter in plain else by_formula((r, g, b), letter.upper(), 16, letter.islower())
                samples = [bytes(sample(letter) for letter in plane) for plane in planes.split()]
                # Pixels that have one of these together.
                sharing = 2 if planes in ("UYVY", "VYUY", "YUYV", "YVYU") else 1
                chroma = 4 if name in ("i420", "yv12", "nv21") else 1
                counts = [sharing] + [chroma] * (len(samples) - 1)
                frame = bytes(sum(8 * 4 * len(plane) // count for plane, count in zip(samples, counts)))
                video = self.scale("-", "-", f"--raw={name}:8x4", "--pad=16x16", "--gravity=south",
                                   *(["--background=#c81e5a"] if opaque else []), stdin=frame)
                for plane, count in zip(samples, counts):
                    self.assertEqual(video[:len(plane)], plane, (name, opaque, planes))
                    video = video[16 * 16 * len(plane) // count:]
                self.assertEqual(video, b"")

    def test_full_range_and_proportions_of_a_stream(self):
        header = b"YUV4MPEG2 W8 H6 F25:1 A4:3 C444 XCOLORRANGE=FULL\n"
        video = self.scale("-", "-", "--pad=8x8", "--background=white", stdin=header + b"FRAME\n" + bytes(144))
        self.assertTrue(video.startswith(b"YUV4MPEG2 W8 H8 F25:1 A4:3 C444 XCOLORRANGE=FULL\nFRAME\n" + b"\xff" * 8 + b"\0"))
        video = self.scale("-", "-", "--fill=4x4", stdin=header + b"FRAME\n" + bytes(144))
        self.assertIn(b" W4 H4 F25:1 A4:3 ", video)

    def test_raw_frames_that_differ_from_the_box_are_said(self):
        for option, out, said in (("--fit=176x144", 176 * 132, True), ("--fill=176x144", 176 * 144, False),
                                  ("--pad=176x144", 176 * 144, False), ("--fill=400x100>", 320 * 100, True)):
            done = self.run_tool("-", "-", "--raw=gray:320x240", option, stdin=bytes(320 * 240))
            self.assertEqual((done.returncode, len(done.stdout), "becomes raw" in done.stderr), (0, out, said), option)


if __name__ == "__main__":
    unittest.main()
