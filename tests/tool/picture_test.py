"""What fourtap makes of pictures: every format in and out, steps, rectangles, alpha, and the memory of a few lines."""

import contextlib
import io
import os
import struct
import subprocess
import threading
import time
import unittest

from PIL import Image, ImageChops, ImageCms

from toolcase import FOURTAP, ToolCase, await_empty, bitmap, by_model, noise, pnm, unless_sanitized

SUFFIXES = {"L": "png jpg pgm bmp", "LA": "png bmp", "RGB": "png jpg ppm bmp", "RGBA": "png bmp"}


def encoded(picture, **options):
    file = io.BytesIO()
    picture.save(file, **options)
    return file.getvalue()


def decoded(content):
    picture = Image.open(io.BytesIO(content))
    picture.load()
    return picture


def coloured(mode, cx=31, cy=22):
    ramp = Image.linear_gradient("L").rotate(90).resize((cx, cy))
    bands = [ramp, Image.radial_gradient("L").resize((cx, cy)), Image.frombytes("L", (cx, cy), noise(cx, cy, 8)),
             ImageChops.invert(ramp)]
    return Image.merge(mode, [bands[i] for i in {"L": [1], "LA": [1, 2], "RGB": [0, 1, 2], "RGBA": range(4)}[mode]])


def crop(pixels, bytes_per_pixel, cx, x, y, cx_part, cy_part):
    lines = (pixels[(line * cx + x) * bytes_per_pixel:][:cx_part * bytes_per_pixel] for line in range(y, y + cy_part))
    return b"".join(lines)


class PictureTest(ToolCase):
    def test_one_step_gives_the_bytes_of_the_model_in_any_slices(self):
        cases = [(37, 23, 20, 11), (20, 11, 37, 23), (16, 9, 16, 9), (16, 9, 16, 30), (5, 40, 50, 40), (1, 1, 7, 5),
                 (7, 5, 1, 1), (120, 3, 3, 120), (9, 100, 31, 7), (2, 900, 3, 2000), (19, 300, 40, 700)]
        for cx_in, cy_in, cx_out, cy_out in cases:
            for bits, suffix in (8, "pgm"), (24, "ppm"), (32, "bmp"):
                make = bitmap if bits == 32 else pnm
                source = self.write("in." + suffix, make(cx_in, cy_in, bits))
                pixels = by_model(bits, noise(cx_in, cy_in, bits), (cx_in, cy_in), (cx_out, cy_out))
                expected = make(cx_out, cy_out, bits, pixels)
                for more in [], ["--set", "c"], ["--set", "c", "--progressive", "1"], ["--progressive", "7"]:
                    with self.subTest(bits=bits, size=(cx_in, cy_in, cx_out, cy_out), more=more):
                        self.scale(source, "out." + suffix, "--size", f"{cx_out}x{cy_out}!", "--one-step", "--force",
                                   *more)
                        self.assertEqual(self.read("out." + suffix), expected)

    def test_every_format_to_every_other(self):
        ramps = coloured("RGB")
        palette = ramps.quantize(40)
        gray16 = Image.frombytes("I;16", (31, 22), noise(31, 22, 16))
        sources = [encoded(coloured(mode), format="PNG") for mode in SUFFIXES]
        sources += [encoded(coloured("RGB"), format=name) for name in ("JPEG", "PPM", "BMP")]
        sources += [encoded(coloured("L"), format=name) for name in ("JPEG", "PPM", "BMP")]
        sources += [encoded(coloured("RGBA"), format="BMP"), encoded(ramps, format="JPEG", progressive=True),
                    encoded(palette, format="PNG"), encoded(palette, format="PNG", transparency=3),
                    encoded(palette, format="BMP"), encoded(coloured("L").convert("1"), format="PNG"),
                    encoded(gray16, format="PNG")]
        for content in sources:
            picture = decoded(content)
            if picture.mode == "P":
                picture = picture.convert("RGBA" if "transparency" in picture.info else "RGB")
            elif picture.mode == "1":
                picture = picture.convert("L")
            elif picture.mode.startswith("I"):
                samples = struct.unpack("<682H", noise(31, 22, 16))
                picture = Image.frombytes("L", (31, 22), bytes((2 * v * 255 + 65535) // 131070 for v in samples))
            for suffix in SUFFIXES[picture.mode].split():
                with self.subTest(mode=picture.mode, start=content[:20], to=suffix):
                    out = "out." + suffix
                    self.write("in", content)
                    self.scale("in", out, "--size", "100%", "--force")
                    result = decoded(self.read(out))
                    expected = picture
                    if picture.mode == "LA" and suffix == "bmp":
                        expected = picture.convert("RGBA")
                    self.assertEqual((result.size, result.mode), (expected.size, expected.mode))
                    if suffix == "jpg":
                        difference = ImageChops.difference(result, expected)
                        means = [band.resize((1, 1), Image.BOX).getpixel((0, 0)) for band in difference.split()]
                        self.assertLess(max(means), 12)
                    else:
                        self.assertEqual(result.tobytes(), expected.tobytes())
                    streamed = decoded(self.scale("-", "-", "--size", "100%", "--format", suffix, stdin=content))
                    self.assertEqual(streamed.tobytes(), result.tobytes())

    def test_unusual_files_are_read(self):
        expected = self.scale(self.write("in.bmp", bitmap(9, 7, 24)), "-", "--size", "5x12!")
        swapped = bitmap(9, 7, 24, cy_field=-7)
        masks888 = struct.pack("<4I", 0xFF0000, 0xFF00, 0xFF, 0)
        for unusual in (bitmap(9, 7, 24, info_size=124, extra=bytes(84), offset=138), bitmap(9, 7, 24, offset=1000),
                        bitmap(9, 7, 24, padding=b"\xEE"), bitmap(9, 7, 24) + b"more", swapped):
            self.assertEqual(self.scale("-", "-", "--size", "5x12!", stdin=unusual), expected)
            self.assertEqual(self.scale(self.write("in.bmp", unusual), "-", "--size", "5x12!"), expected)

        pixels = struct.pack("<8H", 0xF800, 0x07E0, 0x001F, 0xFFFF, 0x8410, 0x0821, 0, 0x7BEF)
        for masks, compression, shifts in ((struct.pack("<3I", 0xF800, 0x7E0, 0x1F), 3, ((11, 5), (5, 6), (0, 5))),
                                           (b"", 0, ((10, 5), (5, 5), (0, 5)))):
            content = bitmap(4, 2, 16, pixels, extra=masks, compression=compression)
            samples = [(v >> shift & (1 << bits) - 1, bits) for v in struct.unpack("<8H", pixels) for shift,
                       bits in shifts]
            expected = bytes(sample << 8 - bits | sample >> 2 * bits - 8 for sample, bits in samples)
            result = self.scale("-", "-", "--size", "100%", "--format", "ppm", stdin=content)
            self.assertEqual(result, pnm(4, 2, 24, expected))
        content = bitmap(4, 2, 32, noise(4, 2, 32), info_size=108, extra=masks888 + bytes(52), offset=122,
                         compression=3)
        self.assertEqual(self.scale("-", "-", "--size", "100%", "--format", "ppm", stdin=content)[-24:],
                         decoded(content).convert("RGB").tobytes())

        for header, pixels, expected in ((b"P5 2 1 100\n", b"\x00\x32", b"\x00\x80"), (b"P5#c\n2# 1\n1\t65535 ",
                                                                                       b"\x80\x00\x7f\x7f",
                                                                                       b"\x80\x7f"),
                                         (b"P5 2\r\n1 1\n", b"\x01\x00", b"\xff\x00"), (b"P5 2 1 255\n", b"\x0a#more",
                                                                                        b"\x0a#")):
            self.assertEqual(self.scale("-", "-", "--size", "100%", stdin=header + pixels), pnm(2, 1, 8, expected))

    def test_gray_and_colour_are_told_apart_by_the_name(self):
        self.write("gray.pgm", pnm(2, 1, 8, b"\1\2"))
        self.write("colour.ppm", pnm(2, 1, 24))
        self.scale("gray.pgm", "out.ppm", "--size", "100%")
        self.assertEqual(self.read("out.ppm"), pnm(2, 1, 24, b"\1\1\1\2\2\2"))
        self.refuse(3, ["colours", ".ppm"], "colour.ppm", "out.pgm", "--size", "100%")

    def test_notes_are_carried_over(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        exif = Image.Exif()
        exif[0x0112] = 6
        for source in "PNG", "JPEG":
            content = encoded(coloured("RGB"), format=source, icc_profile=profile, exif=exif)
            for suffix in "png", "jpg":
                result = decoded(self.scale("-", "-", "--size", "20x", "--format", suffix, stdin=content))
                self.assertEqual(result.info["icc_profile"], profile)
                self.assertEqual(result.getexif()[0x0112], 6)
                self.assertEqual(result.size, (20, 14))
            done = self.run_tool("-", "-", "--size", "20x", "--format", "bmp", "--verbose", stdin=content)
            self.assertIn("no ICC profile and no EXIF", done.stderr)

    def test_steps_are_those_made_by_hand(self):
        for size_in, *steps in (((37, 23), (19, 12), (10, 6), (9, 5)), ((64, 64), (32, 32), (16, 16)),
                                ((90, 8), (45, 8), (23, 8), (12, 8), (10, 20)), ((7, 5), (4, 3), (2, 2), (1, 1)),
                                ((16, 9), (20, 9)), ((8, 4), (8, 4))):
            for bits in 8, 24:
                pixels = by_model(bits, noise(*size_in, bits), size_in, *(steps if size_in != steps[-1] else []))
                size = "{}x{}!".format(*steps[-1])
                for more in [], ["--progressive", "3"], ["--set", "c"]:
                    result = self.scale("-", "-", "--size", size, *more, stdin=pnm(*size_in, bits))
                    self.assertEqual(result, pnm(*steps[-1], bits, pixels), (size_in, size, more))

    def test_rectangle_is_the_crop_of_the_whole(self):
        for cx_in, cy_in, cx, cy in ((90, 70, 45, 35), (90, 70, 13, 9), (31, 20, 75, 190), (40, 30, 40, 30), (40, 30,
                                                                                                              40, 71),
                                     (99, 50, 20, 50), (3, 3, 64, 64)):
            for kind, bytes_per_pixel in ("RGB", 3), ("LA", 2):
                source = self.write("in.png", encoded(coloured(kind, cx_in, cy_in), format="PNG"))
                # Line by line, the plain filter may not need the next line at all.
                for more in [], ["--one-step", "--progressive", "1"]:
                    whole = decoded(self.scale(source, "-", "--size", f"{cx}x{cy}!", *more))
                    rects = [(0, 0, cx, cy), (cx - 1, cy - 1, 1, 1), (0, 0, 1, 1), (cx // 3, cy // 3, cx // 2, cy // 2),
                             (0, cy // 2, cx, 1), (cx // 2, 0, 1, cy), (5, 7, 2, 2)]
                    for rect in rects:
                        part = decoded(self.scale(source, "-", "--size", f"{cx}x{cy}!", "--rect",
                                                  "{},{},{},{}".format(*rect), *more))
                        self.assertEqual(part.tobytes(), crop(whole.tobytes(), bytes_per_pixel, cx, *rect), (cx_in,
                                                                                                             cy_in, cx,
                                                                                                             cy, rect,
                                                                                                             more))

    def test_rectangle_reads_no_further_than_it_needs(self):
        cut = pnm(50, 100, 24)[:-30 * 150]
        result = self.scale("-", "-", "--size", "50%", "--rect", "0,10,25,20", stdin=cut)
        self.assertEqual(result, self.scale("-", "-", "--size", "50%", "--rect", "0,10,25,20", stdin=pnm(50, 100, 24)))

    def test_file_that_grows_while_it_is_read(self):
        def grow(name, done):
            with open(self.folder / name, "ab", buffering=0) as file:
                while not done.is_set():
                    file.write(b"more" * 256)

        for name, content in (("in.ppm", pnm(900, 600, 24)), ("in.bmp", bitmap(900, 600, 24))):
            command = self.write(name, content), "-", "--format", "ppm", "--size", "50%"
            whole = self.scale(*command)
            done = threading.Event()
            growing = threading.Thread(target=grow, args=(name, done))
            growing.start()
            try:
                for _ in range(5):
                    self.assertEqual(self.scale(*command), whole, name)
            finally:
                done.set()
                growing.join()

    def test_alpha(self):
        red, green = (255, 0, 0, 255), (0, 255, 0, 0)
        island = Image.new("RGBA", (24, 24), green)
        island.paste(red, (7, 7, 16, 16))
        source = self.write("island.png", encoded(island, format="PNG"))

        def pixels(*more):
            return set(decoded(self.scale(source, "-", "--size", "10x10", *more)).getdata())
        self.assertTrue(all(pixel[:3] == (255, 0, 0) for pixel in pixels() if pixel[3] > 1), "a fringe")
        self.assertIn((0, 0, 0, 0), pixels())
        self.assertTrue(any(pixel[1] > 50 and pixel[3] > 50 for pixel in pixels("--alpha", "straight")))
        self.assertEqual({len(pixel) for pixel in pixels("--alpha", "drop")}, {3})
        self.refuse(3, ["alpha", "--alpha drop"], source, "out.jpg", "--size", "10x10")

    def test_alpha_and_each_colour_are_scaled_as_the_model_does(self):
        for mode in "LA", "RGBA":
            picture = coloured(mode, 40, 30)
            *colours, alpha = picture.split()
            content = encoded(picture, format="PNG")
            unscaled = decoded(self.scale("-", "-", "--size", "100%", stdin=content))
            self.assertEqual(unscaled.tobytes(), picture.tobytes())
            for sizes in ((40, 30), (20, 15), (13, 11)), ((40, 30), (55, 77)), ((40, 30), (40, 17)), ((40, 30), (91, 30)):
                def scaled_plane(plane, sizes=sizes):
                    return by_model(8, plane, *sizes)
                alpha_out = scaled_plane(alpha.tobytes())
                for rule in "multiply", "premultiplied", "straight", "drop":
                    expected = []
                    for plane in (colour.tobytes() for colour in colours):
                        if rule == "multiply":
                            plane = bytes((2 * c * a + 255) // 510 for c, a in zip(plane, alpha.tobytes()))
                        plane = scaled_plane(plane)
                        if rule == "multiply":
                            plane = bytes(min(255, (c * 255 + a // 2) // a) if a else 0
                                          for c, a in zip(plane, alpha_out))
                        expected.append(plane)
                    expected += [alpha_out] if rule != "drop" else []
                    for more in [], ["--set", "c"], ["--progressive", "1"]:
                        result = decoded(self.scale("-", "-", "--size", "{}x{}!".format(*sizes[-1]), "--alpha", rule,
                                                    *more, stdin=content))
                        self.assertEqual([plane.tobytes() for plane in result.split()], expected, (mode, sizes, rule))

    @unless_sanitized
    def test_memory_is_that_of_a_few_lines(self):
        lines = noise(20000, 1, 24) * 16
        header = b"P6 20000 10000 255\n"
        self.check_peak(header, (lines for _ in range(10000 // 16)), "out.ppm", 18 + 3 * 10000 * 5000)

        small = self.write("small.ppm", encoded(coloured("RGB", 500, 500), format="PPM"))
        arguments = ["--size", "10000x10000", "--format", "jpg", "--quality", "80"]
        generator = subprocess.Popen([FOURTAP, small, "-", *arguments], stdout=subprocess.PIPE, cwd=self.folder)
        with generator, contextlib.ExitStack() as first:
            first.callback(generator.kill)
            self.check_peak(b"", iter(lambda: generator.stdout.read(1 << 16), b""), "out.jpg", 100000)

    def check_peak(self, header, blocks, output, least):
        """All but the last bytes through a pipe; then the tool waits, and shows what it has taken."""
        with subprocess.Popen([FOURTAP, "-", output, "--size", "50%"], stdin=subprocess.PIPE, cwd=self.folder) as tool:
            def peak():
                await_empty(tool.stdin)
                with open(f"/proc/{tool.pid}/status", encoding="ascii") as status:
                    return next(int(line.split()[1]) for line in status if line.startswith("VmHWM"))
            time.sleep(0.2)  # until it waits for its input
            start = peak()
            tool.stdin.write(header)
            last = b""
            for block in blocks:
                tool.stdin.write(last)
                last = block
            tool.stdin.write(last[:-2])
            tool.stdin.flush()
            taken = peak() - start
            tool.stdin.write(last[-2:])
            tool.stdin.close()
            self.assertEqual(tool.wait(), 0)
        self.assertLess(taken, 16 * 1024)
        self.assertGreaterEqual(os.path.getsize(self.folder / output), least)


if __name__ == "__main__":
    unittest.main()
