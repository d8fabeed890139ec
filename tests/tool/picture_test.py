"""What fourtap makes of pictures: every format in and out, steps, rectangles, alpha, and the memory of a few lines."""

import contextlib
import io
import itertools
import os
import pathlib
import random
import re
import struct
import subprocess
import threading
import time
import unittest
import zlib

from PIL import Image, ImageChops, ImageCms, PngImagePlugin

from hostile_test import chunk
from toolcase import FORMATS, FOURTAP, MIB, ToolCase, await_empty, bitmap, by_model, noise, pnm, unless_sanitized

FILES = pathlib.Path(__file__).resolve().parents[2] / "fuzz/files"
WHOLE = "--rect=0,0,{},{}"  # though it be the whole, a rectangle is never just copied
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


def marker(number, content):
    return struct.pack(">BBH", 0xff, number, len(content) + 2) + content


def exif_block(orientation, thumbnail=b"", order=">"):
    """EXIF as cameras write it, and the thumbnail in it; of a picture of 40x30 that it takes for 4000x3000."""
    def directory(*fields, following=0):
        entries = b"".join(struct.pack(order + "HHI", tag, 3 if value < 65536 else 4, 1) +
                           struct.pack(order + ("HH" if value < 65536 else "I"), *((value, 0) if value < 65536 else (value,)))
                           for tag, value in fields)
        return struct.pack(order + "H", len(fields)) + entries + struct.pack(order + "I", following)
    first = 8
    details = first + 2 + 12 * 4 + 4
    second = details + 2 + 12 * 2 + 4
    pixels = second + 2 + 12 * 2 + 4
    block = (b"MM" if order == ">" else b"II") + struct.pack(order + "HI", 42, first)
    block += directory((0x100, 4000), (0x101, 3000), (0x112, orientation), (0x8769, details),
                       following=second if thumbnail else 0)
    block += directory((0xa002, 4000), (0xa003, 3000))
    if thumbnail:
        block += directory((0x201, pixels), (0x202, len(thumbnail))) + thumbnail
    return block, thumbnail


class PictureTest(ToolCase):
    def test_one_step_gives_the_bytes_of_the_model_in_any_slices(self):
        cases = [(37, 23, 20, 11), (20, 11, 37, 23), (16, 9, 16, 9), (16, 9, 16, 30), (5, 40, 50, 40), (1, 1, 7, 5),
                 (7, 5, 1, 1), (120, 3, 3, 120), (9, 100, 31, 7), (2, 900, 3, 2000), (19, 300, 40, 700)]
        for cx_in, cy_in, cx_out, cy_out in cases:
            for bits, suffix in (8, "pgm"), (24, "ppm"), (32, "bmp"):
                make = bitmap if bits == 32 else pnm
                source = self.write("in." + suffix, make(cx_in, cy_in, bits))
                pixels = by_model(bits, noise(cx_in, cy_in, bits), (cx_in, cy_in), (cx_out, cy_out), one_step=True)
                expected = make(cx_out, cy_out, bits, pixels)
                for more in [], ["--set", "c", "--progressive", "1"], ["--progressive", "7"]:
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
                    # A rectangle, though it be the whole, is never just copied.
                    whole = "--size", "100%", "--rect", "0,0,31,22", "--quiet"
                    self.scale("in", out, *whole, "--force")
                    expected = picture
                    if picture.mode == "LA" and suffix == "bmp":
                        expected = picture.convert("RGBA")

                    def shown(content):
                        # Palettes may stay.
                        made = decoded(content)
                        return made.convert(expected.mode) if made.mode == "P" else made
                    result = shown(self.read(out))
                    self.assertEqual((result.size, result.mode), (expected.size, expected.mode))
                    if suffix == "jpg":
                        difference = ImageChops.difference(result, expected)
                        means = [band.resize((1, 1), Image.BOX).getpixel((0, 0)) for band in difference.split()]
                        self.assertLess(max(means), 12)
                    else:
                        self.assertEqual(result.tobytes(), expected.tobytes())
                    streamed = shown(self.scale("-", "-", *whole, "--format", suffix, stdin=content))
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
        # Places are counted from where stdin stands.
        for content, size in (bitmap(9, 7, 24), "5x12!"), (bitmap(9, 7, 24), "100%"), (pnm(9, 7, 24), "100%"):
            with open(self.folder / self.write("behind", b"something else" + content), "rb", buffering=0) as file:
                file.seek(len(b"something else"))
                done = subprocess.run([FOURTAP, "-", "-", "--size", size], stdin=file, capture_output=True, timeout=60)
            self.assertEqual(done.stdout, self.scale(self.write("alone", content), "-", "--size", size))

        content = bitmap(4, 2, 32, noise(4, 2, 32), info_size=108, extra=masks888 + bytes(52), offset=122,
                         compression=3)
        self.assertEqual(self.scale("-", "-", "--size", "100%", "--format", "ppm", stdin=content)[-24:],
                         decoded(content).convert("RGB").tobytes())

        for header, pixels, expected in ((b"P5 2 1 100\n", b"\x00\x32", b"\x00\x80"), (b"P5#c\n2# 1\n1\t65535 ",
                                                                                       b"\x80\x00\x7f\x7f",
                                                                                       b"\x80\x7f"),
                                         (b"P5 2\r\n1 1\n", b"\x01\x00", b"\xff\x00"), (b"P5 2 1 255\n", b"\x0a#more",
                                                                                        b"\x0a#")):
            self.assertEqual(self.scale("-", "-", "--rect", "0,0,2,1", "--quiet", stdin=header + pixels),
                             pnm(2, 1, 8, expected))

    def test_all_kinds_of_pnm_are_read(self):
        cx, cy = 21, 9
        values = noise(cx, cy, 24)
        for maximum in 1, 7, 200, 255, 256, 1000, 65535:
            samples = [(v * 257 + i) % (maximum + 1) for i, v in enumerate(values)]
            levels = bytes((2 * v * 255 + maximum) // (2 * maximum) for v in samples)
            binary = b"".join(v.to_bytes(2 if maximum > 255 else 1, "big") for v in samples)
            plain = b"# first\n" + b"\n".join(b"%d" % v for v in samples)  # without a last line end
            header = b"%d %d\n%d\n" % (cx, cy, maximum)
            wide = b"%d %d %d " % (3 * cx, cy, maximum)
            pam = b"P7\nHEIGHT %d\n#\nWIDTH  %d\nMAXVAL %d\nDEPTH 3\nTUPLTYPE RGB\nENDHDR\n" % (cy, cx, maximum)
            for content in b"P6 " + header + binary, b"P3 " + header + plain, pam + binary:
                self.assertEqual(self.scale("-", "-", WHOLE.format(cx, cy), "--quiet", stdin=content), pnm(cx, cy, 24, levels))
            for content in b"P5 " + wide + binary, b"P2 " + wide + plain:
                self.assertEqual(self.scale("-", "-", WHOLE.format(3 * cx, cy), "--quiet", stdin=content),
                                 pnm(3 * cx, cy, 8, levels))
        for mode, depth, name in ("L", 1, b"GRAYSCALE"), ("LA", 2, b"GRAYSCALE_ALPHA"), ("RGBA", 4, b"RGB_ALPHA"):
            for line in b"", b"TUPLTYPE " + name + b"\n":
                header = b"P7\nWIDTH 31\nHEIGHT 22\nDEPTH %d\nMAXVAL 255\n%sENDHDR\n" % (depth, line)
                content = header + coloured(mode).tobytes()
                result = decoded(self.scale("-", "-", "--format=png", "--size=100%", stdin=content))
                self.assertEqual((result.mode, result.tobytes()), (mode, coloured(mode).tobytes()))
        bits = [v & 1 for v in noise(cx, cy, 8)]
        lines = [bits[cx * y:][:cx] + [1] * 3 for y in range(cy)]
        packed = b"".join(int("".join(map(str, line)), 2).to_bytes(3, "big") for line in lines)
        plain = "".join(map(str, bits)).encode()
        expected = pnm(cx, cy, 8, bytes(0 if bit else 255 for bit in bits))
        for content in b"P4 21 9\n" + packed, b"P1 21 9\n" + plain, b"P1 21 9 # bits\n" + b" ".join(plain[i:i + 1] for i in range(cx * cy)):
            self.assertEqual(self.scale("-", "-", WHOLE.format(cx, cy), stdin=content), expected)

    def test_inks_become_light(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        inks = Image.merge("CMYK", coloured("RGBA", 120, 90).split())
        adobe = encoded(inks, format="JPEG", quality=95)
        at = adobe.index(b"\xff\xee")
        plain = adobe[:at] + adobe[at + 2 + struct.unpack(">H", adobe[at + 2:at + 4])[0]:]
        profiled = encoded(inks, format="JPEG", quality=95, progressive=True, icc_profile=profile)
        for content, said in (adobe, ""), (plain, ""), (profiled, ", which its ICC profile does not describe"):
            # Pillow takes all files for Adobe's.
            taken = ImageChops.invert(decoded(content)) if content == plain else decoded(content)
            expected = bytes((2 * (255 - ink) * (255 - pixel[3]) + 255) // 510
                             for pixel in taken.getdata() for ink in pixel[:3])
            done = self.run_tool("-", "-", "--size=100%", "--format=png", stdin=content)
            result = decoded(done.stdout)
            self.assertEqual(result.tobytes(), expected)
            self.assertNotIn("icc_profile", result.info)
            self.assertEqual(done.stderr, f"fourtap: warning: stdin: its CMYK colours are brought to RGB{said}\n")

    def test_progressive_files_hold_the_same_picture(self):
        content = encoded(coloured("RGB", 900, 700), format="PNG")
        for more in [], ["--quality=50"], ["--quality=95"]:
            plain, *others = (self.scale("-", "-", "--size=50%", "--format=jpg", *more, *flags, stdin=content)
                              for flags in ([], ["--progressive-jpeg"], ["--progressive-jpeg", "--progressive=7"]))
            self.assertEqual(others[0], others[1])
            self.assertNotIn("progressive", decoded(plain).info)
            self.assertTrue(decoded(others[0]).info["progressive"])
            self.assertEqual(decoded(others[0]).tobytes(), decoded(plain).tobytes())
        done = self.run_tool("-", "-", "--size=100%", "--format=jpg", "--progressive-jpeg", "--verbose", stdin=content)
        self.assertIn("its coefficients are held in memory: 4 MiB", done.stderr)  # 3 x 2 bytes x 904 x 704
        self.assertIn("its coefficients are held in memory: 4 MiB",
                      self.run_tool("-", "-", "--size=5x", "--verbose", stdin=done.stdout).stderr)
        gray = self.scale("-", "-", "--size=100%", "--format=jpg", "--progressive-jpeg", stdin=pnm(9, 7, 8))
        self.assertNotEqual(self.scale("-", "-", "--size=100%", "--progressive-jpeg", "--quality=40", stdin=gray), gray)

    def test_gray_and_colour_are_told_apart_by_the_name(self):
        self.write("gray.pgm", pnm(2, 1, 8, b"\1\2"))
        self.write("colour.ppm", pnm(2, 1, 24))
        self.scale("gray.pgm", "out.ppm", "--size", "100%")
        self.assertEqual(self.read("out.ppm"), pnm(2, 1, 24, b"\1\1\1\2\2\2"))
        self.refuse(3, ["colours", ".ppm"], "colour.ppm", "out.pgm", "--size", "100%")

    def test_pnm_is_written_as_binary_gray_or_colours_even_if_nothing_is_scaled(self):
        gray, colour = noise(9, 7, 8), noise(9, 7, 24)
        bits = bytes(255 * (v >> 7) for v in gray)

        def plain(kind, samples):
            return b"P%d 9 7 %s\n" % (kind, b"255" * (kind > 1)) + b" ".join(b"%d" % v for v in samples)

        def pam(samples):
            return b"P7\nWIDTH 9\nHEIGHT 7\nDEPTH %d\nMAXVAL 255\nENDHDR\n" % (len(samples) // 63) + samples
        packed = b"".join(sum(1 << 15 - x for x in range(9) if not bits[9 * y + x]).to_bytes(2, "big") for y in range(7))
        for content, suffix, expected in (
                (plain(1, (v < 128 for v in gray)), "pgm", pnm(9, 7, 8, bits)), (plain(2, gray), "pgm", pnm(9, 7, 8)),
                (plain(3, colour), "ppm", pnm(9, 7, 24)), (b"P4 9 7\n" + packed, "pgm", pnm(9, 7, 8, bits)),
                (pam(gray), "pgm", pnm(9, 7, 8)), (pam(colour), "ppm", pnm(9, 7, 24)),
                (pam(gray), "ppm", pnm(9, 7, 24, bytes(v for v in gray for _ in range(3)))), (pam(colour), "pnm", pnm(9, 7, 24)),
                (b"P5\n#\n9 7 9\n" + gray, "pgm", None), (b"P6 9 7 65535\n" + noise(9, 7, 48), "ppm", None)):
            self.write("in", content)
            self.scale("in", "out." + suffix, "--size=100%", "--force")
            self.assertEqual(self.read("out." + suffix), expected or content, (content[:9], suffix))
            if suffix != "ppm" or content != pam(gray):
                self.assertEqual(self.scale("-", "-", "--size=100%", stdin=content), expected or content, content[:9])

    def test_what_describes_a_picture_goes_along(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        xmp = b'<x:xmpmeta tiff:Orientation="6"><tiff:Orientation>6</tiff:Orientation></x:xmpmeta>'
        thumbnail = b"\xff\xd8" + noise(40, 40, 8) + b"\xff\xd9"
        exif, little = (exif_block(6, thumbnail, order)[0] for order in "><")
        picture = coloured("RGB", 40, 30)
        texts = PngImagePlugin.PngInfo()
        texts.add_itxt("XML:com.adobe.xmp", xmp.decode())
        texts.add_text("Comment", "made by hand")
        texts.add_text("Author", "A. N. Other", zip=True)
        texts.add(b"gAMA", struct.pack(">I", 100000))
        jpeg = encoded(picture, format="JPEG", exif=b"Exif\0\0" + exif, icc_profile=profile, dpi=(300, 200))
        jpeg = jpeg[:2] + marker(0xe1, b"http://ns.adobe.com/xap/1.0/\0" + xmp) + marker(0xfe, b"made by hand") + jpeg[2:]
        sources = {"JPEG": jpeg, "PNG": encoded(picture, format="PNG", exif=little, icc_profile=profile, dpi=(300, 200),
                                                pnginfo=texts)}
        for source, suffix in itertools.product(sources, ("png", "jpg")):
            with self.subTest(source=source, to=suffix):
                content = self.scale("-", "-", "--size", "20x", "--format", suffix, stdin=sources[source])
                result = decoded(content)
                self.assertEqual(result.size, (20, 27))
                self.assertEqual(result.info["icc_profile"], profile)
                self.assertEqual([round(dpi) for dpi in result.info["dpi"]], [200, 300])
                self.assertEqual(result.info.get("comment", result.info.get("Comment")),
                                 b"made by hand" if suffix == "jpg" else "made by hand")
                self.assertIn(xmp.replace(b"6", b"1"), content)
                tags = result.getexif()
                self.assertEqual((tags[0x112], tags[0x100], tags[0x101]), (1, 20, 27))
                self.assertEqual([tags.get_ifd(0x8769)[tag] for tag in (0xa002, 0xa003)], [20, 27])
                self.assertNotIn(thumbnail, content)
                following = 8 + 2 + 12 * 4  # of the first directory
                self.assertEqual(result.info["exif"].removeprefix(b"Exif\0\0")[following:][:4], bytes(4))
                self.assertLess(len(result.info["exif"]), len(exif) - len(thumbnail) + 8)
                if (source, suffix) == ("PNG", "png"):
                    self.assertEqual((result.info["gamma"], result.info["Author"]), (1.0, "A. N. Other"))
        for format_name, lost in (("ppm", "ICC profile, density, EXIF, XMP, comment"),
                                  ("bmp", "ICC profile, EXIF, XMP, comment")):
            done = self.run_tool("-", "-", "--size", "20x", "--format", format_name, "--verbose", stdin=jpeg)
            self.assertIn(f"takes over no {lost}\n", done.stderr)
        wide = self.scale("-", "-", "--size=70000x1!", "--format=png", stdin=jpeg)
        self.assertEqual(decoded(wide).getexif()[0x100], 70000)
        self.assertIn("takes over no PNG's gamma and colour space, PNG's text\n", self.run_tool(
            "-", "-", "--size", "20x", "--format", "jpg", "--verbose", stdin=sources["PNG"]).stderr)
        bmp = self.scale("-", "-", "--size", "20x", "--format", "bmp", stdin=jpeg)
        self.assertEqual(self.info(bmp, "--size=10x")["dpi"], [200, 300])

        kept = {(): {"icc_profile"}, ("none",): set(), ("density",): {"dpi"}, ("exif,text",): {"exif", "Comment", "Author"},
                ("colour,xmp",): {"icc_profile", "gamma", "XML:com.adobe.xmp"}}
        for kinds, expected in kept.items():
            more = ["--strip"] + [f"--keep={kind}" for kind in kinds]
            info = self.info(sources["PNG"], "--size=20x", *more)
            self.assertEqual(set(info) - {"gamma"}, expected - {"gamma"}, kinds)
        self.refuse(1, ['"icc"', "colour, density"], "-", "-", "--size=5x", "--keep=icc")

    def test_densities_keep_their_unit(self):
        jpeg, png = (encoded(coloured("L"), format=form) for form in ("JPEG", "PNG"))

        def as_jpeg(*density):
            return jpeg[:13] + struct.pack(">BHH", *density) + jpeg[18:]

        def as_png(*density):
            return png[:33] + chunk(b"pHYs", struct.pack(">IIB", *density)) + png[33:]
        for content, in_png, in_jpeg in ((as_jpeg(0, 2, 3), (2, 3, 0), (0, 2, 3)),
                                         (as_jpeg(1, 300, 200), (11811, 7874, 1), (1, 300, 200)),
                                         (as_jpeg(2, 100, 50), (10000, 5000, 1), (1, 254, 127)),
                                         (as_png(2, 3, 0), (2, 3, 0), (0, 2, 3)),
                                         (as_png(11811, 7874, 1), (11811, 7874, 1), (1, 300, 200)),
                                         *((none, None, (0, 1, 1)) for none in (as_jpeg(1, 0, 5), as_png(0, 5, 1)))):
            results = [self.scale("-", "-", "--size=20x", f"--format={form}", stdin=content) for form in ("png", "jpg", "bmp")]
            at = results[0].find(b"pHYs")
            self.assertEqual(struct.unpack(">IIB", results[0][at + 4:][:9]) if at > 0 else None, in_png)
            self.assertEqual(struct.unpack(">BHH", results[1][13:18]), in_jpeg)
            self.assertEqual(struct.unpack("<II", results[2][38:46]), in_png[:2] if in_png and in_png[2] else (0, 0))

    def test_texts(self):
        jpeg = encoded(coloured("RGB"), format="JPEG")
        for comment, written in ((b"plain", b"tEXtComment\0plain"), (b"\xe9", b"tEXtComment\0\xe9"),
                                 (b"\xc3\xa9", b"iTXtComment\0\0\0\0\0\xc3\xa9")):
            commented = jpeg[:2] + marker(0xfe, comment) + jpeg[2:]
            self.assertIn(written, self.scale("-", "-", "--size=20x", "--format=png", stdin=commented))
        png = encoded(coloured("RGB"), format="PNG")
        packed, plain = chunk(b"iTXt", b"Comment\0\1\0\0\0" + zlib.compress(b"packed")), chunk(b"tEXt", b"Comment\0plain")
        both = png[:33] + packed + plain + png[33:]
        self.assertEqual(self.info(both, "--size=20x", "--format=jpg")["comment"], b"plain")
        behind = png[:-12] + plain + png[-12:]
        for content, texts in (both, [packed, plain]), (behind, [plain]):
            result = self.scale("-", "-", "--size=20x", stdin=content)
            for text in texts:
                self.assertIn(text, result)

    def info(self, content, *arguments):
        info = dict(decoded(self.scale("-", "-", *arguments, stdin=content)).info)
        if "dpi" in info:
            info["dpi"] = [round(dpi) for dpi in info["dpi"]]
        return {key: value for key, value in info.items() if key not in ("compression", "aspect")}

    def test_notes_that_do_not_fit_are_left_out_with_a_remark(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        left_out_of = []
        odd = [encoded(coloured("L"), format="JPEG", icc_profile=profile)]  # of RGB
        for spoilt in (profile[:68] + b"\0\0\xf6\xd7" + profile[72:], profile[:-1], profile[:3] + b"\xff" + profile[4:]):
            odd.append(encoded(coloured("RGB"), format="JPEG", icc_profile=spoilt))
        for content in odd:
            done = self.run_tool("-", "-", "--size=20x", "--format=png", "--verbose", stdin=content)
            self.assertEqual(done.returncode, 0, done.stderr)
            left_out = "fourtap: stdout: the ICC profile is left out" in done.stderr
            self.assertEqual("icc_profile" not in decoded(done.stdout).info, left_out)
            left_out_of.append(left_out)
            self.assertIn("icc_profile", self.info(content, "--size=20x"))
        self.assertEqual(left_out_of, [True, False, True, True])  # an illuminant that is off by a little is let pass
        for length, fits in (65527, True), (65528, False), (70000, False):
            long = encoded(coloured("RGB"), format="PNG", exif=exif_block(3)[0].ljust(length, b"\0"))
            done = self.run_tool("-", "-", "--size=20x", "--format=jpg", "--verbose", stdin=long)
            self.assertEqual(done.returncode, 0)
            self.assertEqual("EXIF is left out, since it is longer" in done.stderr, not fits)
            self.assertEqual("exif" in decoded(done.stdout).info, fits)
            self.assertIn("exif", self.info(long, "--size=20x"))

    def test_a_profile_of_gray_does_not_go_to_colours(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        profile = profile[:16] + b"GRAY" + profile[20:]
        gray, with_alpha = (encoded(coloured(mode, 40, 30), format=form, icc_profile=profile)
                            for mode, form in (("L", "JPEG"), ("LA", "PNG")))
        pad, orange = "--pad=50x50", "--background=#ff8000"
        for content, *arguments, said in (
                *((gray, f"--format={form}", pad, orange, True) for form in ("jpg", "png")),
                (with_alpha, "--size=20x", orange, True), (with_alpha, "--size=100%", orange, True),
                *((gray, f"--format={form}", pad, "--background=white", False) for form in ("jpg", "png")),
                (with_alpha, "--size=20x", "--background=white", False), (with_alpha, pad, False),
                *(((content, "--format=webp", "--size=50%", True) for content in (gray, with_alpha))
                  if "WebP" in FORMATS else ())):
            done = self.run_tool("-", "-", *arguments, stdin=content)
            warning = "fourtap: warning: stdout: the ICC profile is left out, since it is one of gray, and the result has colours\n"
            self.assertEqual((done.returncode, done.stderr), (0, warning * said), arguments)
            self.assertEqual(decoded(done.stdout).info.get("icc_profile"), None if said else profile, arguments)
            self.assertEqual(self.run_tool("-", "-", *arguments, "--strip", "--keep=none", stdin=content).stderr, "")
        done = self.run_tool("-", "-", "--format=ppm", pad, orange, "--verbose", stdin=gray)
        self.assertIn("PNM takes over no ICC profile", done.stderr)
        self.assertNotIn("warning", done.stderr)

    def test_pictures_come_upright(self):
        turns = [None, Image.FLIP_LEFT_RIGHT, Image.ROTATE_180, Image.FLIP_TOP_BOTTOM, Image.TRANSPOSE, Image.ROTATE_270,
                 Image.TRANSVERSE, Image.ROTATE_90]
        rect = 2, 3, 7, 4
        for orientation, turn in enumerate(turns, 1):
            for format_name, mode in ("PNG", "RGB"), ("PNG", "LA"), ("PNG", "RGBA"), ("JPEG", "RGB"), ("JPEG", "L"):
                content = encoded(coloured(mode, 81, 52), format=format_name, exif=exif_block(orientation)[0]
                                  if format_name == "PNG" else b"Exif\0\0" + exif_block(orientation)[0])
                for size, stored in (("20x30!", "30x20!" if orientation > 4 else "20x30!"), ("50%", "50%"),
                                     ("100%", "100%"), ("100x200!", "200x100!" if orientation > 4 else "100x200!")):
                    if "%" in size and (format_name, mode) != ("PNG", "RGB"):
                        continue
                    with self.subTest(orientation=orientation, format=format_name, mode=mode, size=size):
                        def scaled(*more):
                            return decoded(self.scale("-", "-", "--format=png", *more, stdin=content))
                        keep = "--size", stored, "--orientation=keep", "--strip"
                        expected = scaled(*keep)
                        expected = expected if turn is None else expected.transpose(turn)
                        result = scaled("--size", size)
                        self.assertEqual((result.size, result.getexif()[0x112]), (expected.size, 1))
                        self.assertEqual(result.tobytes(), expected.tobytes())
                        x, y, cx, cy = rect
                        part = scaled("--size", size, "--rect", ",".join(map(str, rect)))
                        self.assertEqual(part.tobytes(), expected.crop((x, y, x + cx, y + cy)).tobytes())
                        if mode not in ("LA", "RGBA"):
                            jpeg = decoded(self.scale("-", "-", "--format=jpg", "--size", size, stdin=content))
                            self.assertEqual((jpeg.size, jpeg.getexif()[0x112]), (expected.size, 1))
            kept = decoded(self.scale("-", "-", "--size=20x", "--orientation=keep", stdin=content))
            self.assertEqual((kept.size, kept.getexif()[0x112]), ((20, 13), orientation))
        # The last one, orientation 8, is 52x81 upright.
        self.write("in.jpg", content)
        self.assertEqual(decoded(self.scale("in.jpg", "-", "--size=40x40>")).size, (26, 40))
        self.refuse(1, ["--rect", "52x81"], "in.jpg", "-", "--rect=50,0,3,1")
        self.assertIn("remark: EXIF says orientation 8: the result is turned, and held in memory for that: 1 MiB\n",
                      self.scale("--info", "in.jpg", "--size=26x").decode())

    def test_a_picture_of_very_many_scans_is_refused(self):
        gray = encoded(Image.new("RGB", (8, 8), (128, 128, 128)), format="JPEG", subsampling=0)
        headers = gray[:gray.index(b"\xff\xda")]
        scans = [marker(0xda, bytes([1, component, 0, 0, 63, 0])) + b"\x2b" for component in (1, 2, 3)]
        picture = self.scale("-", "-", "--size=4x4", "--format=ppm", stdin=headers + b"".join(scans) + b"\xff\xd9")
        self.assertEqual(picture, pnm(4, 4, 24, bytes([128] * 48)))
        self.refuse(2, ["more than 500 scans"], "-", "-", "--size=4x4",
                    stdin=headers + b"".join(scans) * 170 + b"\xff\xd9")

    def test_exif_that_makes_no_sense_is_no_reason_to_refuse(self):
        for orientation in 0, 9:
            content = encoded(coloured("L", 3, 2), format="JPEG", exif=b"Exif\0\0" + exif_block(orientation)[0])
            self.assertEqual(decoded(self.scale("-", "-", "--size=6x", stdin=content)).size, (6, 4))
        jpeg = encoded(coloured("L"), format="JPEG")
        first, second = (marker(0xe1, b"Exif\0\0" + exif_block(orientation)[0]) for orientation in (6, 1))
        self.assertEqual(decoded(self.scale("-", "-", "--size=22x", stdin=jpeg[:2] + first + second + jpeg[2:])).size, (22, 31))
        block = exif_block(6, thumbnail=bytes(100))[0]
        for at, byte in itertools.product(range(len(block) - 90), (0, 1, 0xff)):
            broken = block[:at] + bytes([byte]) + block[at + 1:]
            if at % 7 == byte % 7 or at < 30:
                content = encoded(coloured("L", 3, 2), format="JPEG", exif=b"Exif\0\0" + broken)
                self.assertIn(decoded(self.scale("-", "-", "--size=3x3!", stdin=content)).size, [(3, 3)])

    def test_odd_jpeg_files_that_lack_nothing_are_read(self):
        jpeg = encoded(coloured("RGB"), format="JPEG")
        expected = self.scale("-", "-", "--size=50%", "--format=ppm", stdin=jpeg)
        tables = jpeg.index(b"\xff\xdb")
        for odd in (b"between markers", marker(0xee, b"Adobe\0\x64\0\0\0\0\7"), marker(0xe2, b"ICC_PROFILE\0\7\1profile")):
            self.assertEqual(self.scale("-", "-", "--size=50%", "--format=ppm", stdin=jpeg[:tables] + odd + jpeg[tables:]), expected)
        self.assertEqual(self.scale("-", "-", "--size=50%", "--format=ppm", stdin=jpeg[:11] + b"\2" + jpeg[12:]), expected)

    def test_alpha_on_a_background(self):
        for mode, colour in itertools.product(("LA", "RGBA"), ("#fff", "#ff8000", "black")):
            picture = coloured(mode, 40, 30)
            red, green, blue = {"#fff": (255,) * 3, "#ff8000": (255, 128, 0), "black": (0, 0, 0)}[colour]
            gray = mode == "LA" and colour != "#ff8000"
            flat = [bytes((c * a + behind * (255 - a) + 127) // 255
                          for c, a in zip(plane.tobytes(), picture.split()[-1].tobytes()))
                    for plane, behind in zip(picture.convert("RGBA").split(), (red, green, blue))]
            expected = by_model(8, flat[0], (40, 30), (31, 22)) if gray else by_model(
                24, b"".join(map(bytes, zip(*flat))), (40, 30), (31, 22))
            content = encoded(picture, format="PNG")
            for more in [], ["--alpha=straight"], ["--progressive=1"]:
                result = self.scale("-", "-", "--size=31x22!", "--background", colour, "--format=pnm", *more,
                                    stdin=content)
                self.assertEqual(result, pnm(31, 22, 8 if gray else 24, expected), (mode, colour, more))
        opaque = encoded(coloured("RGB"), format="PNG")
        self.assertEqual(self.scale("-", "-", "--size=20x", "--background=white", stdin=opaque),
                         self.scale("-", "-", "--size=20x", stdin=opaque))
        half = encoded(Image.new("RGBA", (2, 2), (50, 60, 200, 100)), format="PNG")
        result = self.scale("-", "-", "--size=100%", "--background=#646464", "--alpha=premultiplied", "--format=ppm",
                            stdin=half)
        self.assertEqual(result[-3:], bytes((50 + 61, 60 + 61, 255)))
        for wrong in "#ff", "#fffff", "#gggggg", "fff", "red ", "#+f+f+f":
            self.refuse(1, [f'"{wrong}"', "#rrggbb"], "-", "-", "--size=5x", f"--background={wrong}")
        self.refuse(1, ["--background", "--alpha drop"], "-", "-", "--size=5x", "--background=#fff", "--alpha=drop")

    def test_nothing_to_scale_is_copied(self):
        exif = b"Exif\0\0" + exif_block(1)[0]
        palette = coloured("RGB").quantize(40)
        contents = {
            "JPEG": encoded(coloured("RGB"), format="JPEG", quality=40, exif=exif) + b"more behind",
            "progressive": encoded(coloured("L"), format="JPEG", progressive=True),
            "palette": encoded(palette, format="PNG"),
            "interlaced": (FILES / "PNG/good-interlaced").read_bytes(),
            "16 bits": (FILES / "PNG/good-16-bits").read_bytes(),
            "BMP": encoded(palette, format="BMP"),
            "PNM": (FILES / "PNM/good-16-bits").read_bytes(),
        }
        for name, content in contents.items():
            picture = self.write("in", content)
            suffix = {"JPEG": "jpg", "progressive": "jpg", "BMP": "bmp", "PNM": "pnm"}.get(name, "png")
            for size in "100%", "5000x5000>", "1x1<":
                self.scale(picture, "out." + suffix, "--size", size, "--force")
                self.assertEqual(self.read("out." + suffix), content, (name, size))
                self.assertEqual(self.scale("-", "-", "--size", size, stdin=content), content, (name, size))
                self.assertEqual(self.scale("-", "-", "--size", size, "--orientation=keep", stdin=content), content)
            for more in ["--strip"], ["--quality=80"], ["--rect=0,0,1,1"], ["--one-step"], ["--format=bmp"]:
                if (name, more) != ("BMP", ["--format=bmp"]) and (more != ["--quality=80"] or name in ("JPEG", "progressive")):
                    self.assertNotEqual(self.scale("-", "-", "--size=100%", "--quiet", *more, stdin=content), content)
            for cut in content[:len(content) // 2], content[:-20]:
                if name != "JPEG" or len(cut) < len(content) - 20:
                    self.refuse(2, ["expected"], "-", "out." + suffix, "--size=100%", "--force", stdin=cut)
                    self.refuse(2, ["expected"], self.write("cut", cut), "out." + suffix, "--size=100%", "--force")

    def test_palettes_stay_where_no_other_colours_come(self):
        rng = random.Random(5)
        for count, transparency in itertools.product((1, 3, 16, 17, 256), (None, 0, "all")):
            picture = Image.new("P", (37, 23))
            picture.putpalette(rng.randbytes(3 * count))
            picture.putdata([rng.randrange(count) for _ in range(37 * 23)])
            # Of a picture with EXIF, as such alone others are turned.
            options = {"transparency": {None: None, 0: 0, "all": rng.randbytes(count)}[transparency]}
            content = encoded(picture, format="PNG", exif=exif_block(3)[0], **options)
            upright = decoded(content).convert("RGBA").rotate(180)
            for more, rect in ([], (0, 0, 37, 23)), (["--strip", "--level=9"], (0, 0, 37, 23)), ([], (5, 2, 20, 1)):
                result = self.scale("-", "-", "--size=100%", "--rect={},{},{},{}".format(*rect), *more, stdin=content)
                x, y, cx, cy = rect
                self.assertEqual(decoded(result).convert("RGBA").tobytes(), upright.crop((x, y, x + cx, y + cy)).tobytes())
                depth = next(bits for bits in (1, 2, 4, 8) if 2**bits >= count)
                self.assertEqual(result[24:26], bytes([depth, 3]), (count, transparency, more))
            for more in ["--size=50%"], ["--size=100%", "--one-step"], ["--pad=50x50"]:
                self.assertEqual(self.scale("-", "-", *more, stdin=content)[25], 2 if transparency is None else 6, more)
        few = encoded(picture.convert("RGB").quantize(9), format="BMP")
        self.assertEqual(decoded(self.scale("-", "-", "--size=100%", "--format=png", stdin=few)).tobytes(),
                         decoded(few).tobytes())

        # Numbers beyond the palette are black; what PNG says of colours stands before it.
        content = b"".join([b"\x89PNG\r\n\x1a\n", chunk(b"IHDR", struct.pack(">IIBBBBB", 4, 1, 2, 3, 0, 0, 0)),
                            chunk(b"gAMA", struct.pack(">I", 45455)), chunk(b"PLTE", bytes(range(10, 19))),
                            chunk(b"IDAT", zlib.compress(b"\0\x1b")), chunk(b"IEND", b"")])
        result = self.scale("-", "-", "--size=100%", "--rect=0,0,4,1", stdin=content)
        self.assertEqual(decoded(result).convert("RGB").tobytes(), bytes(range(10, 19)) + bytes(3))
        self.assertEqual(result[25], 3)
        self.assertLess(result.index(b"gAMA"), result.index(b"PLTE"))

    def test_good_inputs_give_bytes_a_status_and_what_there_is_to_say(self):
        late = encoded(coloured("RGB"), format="PNG", exif=exif_block(6)[0])
        exif = late[late.index(b"eXIf") - 4:late.index(b"IDAT") - 4]
        late = late.replace(exif, b"")[:-12] + exif + late[-12:]
        animated = encoded(coloured("RGB"), format="PNG", save_all=True, append_images=[coloured("RGB").rotate(90)])
        turned = encoded(coloured("RGB"), format="PNG", exif=exif_block(6)[0])
        text = PngImagePlugin.PngInfo()
        text.add_text("Author", "A. N. Other" * 100000)
        cases = (
            (pnm(9, 7, 24), [], []),
            ((FILES / "PNG/good-16-bits").read_bytes(), ["warning: in: samples of 16 bits are brought to 8"], []),
            ((FILES / "PNM/good-16-bits").read_bytes(), ["warning: in: samples from 0 to 65535 are brought to 0 to 255"], []),
            ((FILES / "PNM/good-maximum-5").read_bytes(), [], ["in: samples from 0 to 5 are brought to 0 to 255"]),
            (animated, ["warning: in: it is animated: nothing is made of the pictures that follow the first one"], []),
            (2 * pnm(9, 7, 24), ["warning: in: more pictures follow in it, of which nothing is made"], []),
            (late, ["warning: in: its EXIF comes behind the pixels, too late to be heeded"], []),
            (turned, [], ["in: EXIF says orientation 6: the result is turned, and held in memory for that: 1 MiB",
                          "stdout: BMP takes over no EXIF"]),
            (encoded(coloured("RGB").quantize(9), format="PNG"), [], ["in: the palette is brought to RGB"]),
            (encoded(coloured("L"), format="BMP"), [], ["in: the palette is gray"]),
            ((FILES / "PNG/good-interlaced").read_bytes(), [],
             ["in: the palette is brought to RGB", "in: it is interlaced: the picture is held in memory"]),
            (encoded(coloured("L"), format="JPEG", progressive=True), [],
             ["in: it comes in several scans, such as a progressive one: its coefficients are held in memory: 1 MiB"]),
            (encoded(coloured("RGB"), format="PNG", pnginfo=text), [], ["in: text beyond 1 MiB is left out"]),
            (encoded(Image.new("L", (3000000, 2)), format="PPM"), [], ["in: lines of this length take N MiB"]),
        )
        for content, warnings, remarks in cases:
            self.write("in", content)
            size = re.search(r"\npicture: \w+, (\d+)x(\d+), ", self.scale("--info", "in").decode()).groups()
            self.scale("in", "plain.png", "--rect=0,0,{},{}".format(*size), "--quiet", "--force", "--orientation=keep",
                       "--keep=exif,density")
            expected = self.scale("plain.png", "-", "--size=50%", "--format=bmp")
            for more, said in ([], warnings), (["--quiet"], []), (["--verbose"], warnings + remarks):
                done = self.run_tool("in", "-", "--size=50%", "--format=bmp", *more)
                self.assertEqual((done.returncode, done.stdout), (0, expected), (content[:20], more))
                lines = [re.sub(r"take \d+ MiB", "take N MiB", line) for line in done.stderr.splitlines()
                         if " -> " not in line]
                self.assertCountEqual(lines, ["fourtap: " + line for line in said], content[:20])
                self.assertEqual(done.stderr.count(" -> "), more == ["--verbose"])

    def test_pnm_pictures_of_every_binary_kind_from_a_pipe_are_frames(self):
        pam = b"P7\nWIDTH 9\nHEIGHT 7\nDEPTH 3\nMAXVAL 255\nENDHDR\n" + noise(9, 7, 24)
        pictures = [pnm(9, 7, 24), b"P4 9 2\n\1\2\3\4", pam, pnm(9, 7, 8)]
        expected = b"".join(self.scale("-", "-", "--size=5x", stdin=picture) for picture in pictures)
        self.assertEqual(self.scale("-", "-", "--size=5x", stdin=b"".join(pictures)), expected)

    def test_pnm_pictures_from_a_pipe_are_frames(self):
        pictures = [pnm(9, 7, 24), pnm(30, 20, 8), pnm(9, 7, 24, bytes(189))]
        expected = b"".join(self.scale("-", "-", "--size=5x", stdin=picture) for picture in pictures)
        self.assertEqual(self.scale("-", "-", "--size=5x", stdin=b"".join(pictures)), expected)
        self.scale("-", "out.pnm", "--size=5x", stdin=b"".join(pictures))
        self.assertEqual(self.read("out.pnm"), expected)
        self.assertEqual(self.scale("-", "-", "--size=20x20>", stdin=b"".join(pictures)),
                         pictures[0] + self.scale("-", "-", "--size=20x", stdin=pictures[1]) + pictures[2])
        self.refuse(2, ["cut short"], "-", "new.pnm", "--size=5x", stdin=b"".join(pictures)[:-100])
        done = self.run_tool("-", "out.png", "--size=5x", "--force", stdin=b"".join(pictures))
        self.assertIn("warning: stdin: more pictures follow", done.stderr)

    def test_reductions_are_those_of_the_model(self):
        for size_in, size_out in (((37, 23), (9, 5)), ((64, 64), (16, 16)), ((90, 8), (10, 20)), ((7, 5), (1, 1)),
                                  ((31, 900), (20, 4)), ((16, 9), (20, 9)), ((8, 4), (8, 4))):
            for bits in 8, 24:
                pixels = by_model(bits, noise(*size_in, bits), size_in, size_out)
                size = "{}x{}!".format(*size_out)
                for more in [], ["--progressive", "3"], ["--set", "c"]:
                    result = self.scale("-", "-", "--size", size, *more, stdin=pnm(*size_in, bits))
                    self.assertEqual(result, pnm(*size_out, bits, pixels), (size_in, size, more))

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
                # No faster than a slow tool reads.
                while not done.wait(0.001):
                    file.write(b"more" * 256)

        for name, content in (("in.ppm", pnm(900, 600, 24)), ("in.bmp", bitmap(900, 600, 24))):
            command = self.write(name, content), "-", "--format", "ppm", "--size", "50%"
            copied = name, "-", "--size", "100%"
            whole = self.scale(*command)
            done = threading.Event()
            growing = threading.Thread(target=grow, args=(name, done))
            growing.start()
            try:
                for _ in range(5):
                    self.assertEqual(self.scale(*command), whole, name)
                    self.assertTrue(self.scale(*copied).startswith(content), name)
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
            content = encoded(picture, format="PNG")
            unscaled = decoded(self.scale("-", "-", "--size", "100%", stdin=content))
            self.assertEqual(unscaled.tobytes(), picture.tobytes())
            for size_out in (13, 11), (55, 77), (40, 17), (91, 30):
                for number, rule in enumerate(("multiply", "straight", "drop")):
                    expected = by_model(100 if mode == "LA" else 101, picture.tobytes(), (40, 30), size_out, alpha=number)
                    for more in [], ["--set", "c"], ["--progressive", "1"]:
                        result = decoded(self.scale("-", "-", "--size", "{}x{}!".format(*size_out), "--alpha", rule,
                                                    *more, stdin=content))
                        self.assertEqual(result.tobytes(), expected, (mode, size_out, rule))
            premultiplied = self.scale("-", "-", "--size=13x11!", "--alpha=premultiplied", stdin=content)
            self.assertEqual(premultiplied, self.scale("-", "-", "--size=13x11!", "--alpha=straight", stdin=content))

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

    def test_turning_takes_no_more_than_the_result(self):
        self.write("in.ppm", pnm(3000, 2000, 24, noise(3000, 20, 24) * 100))
        self.scale("in.ppm", "in.jpg", "--size=100%", "--quality=80")
        content = self.read("in.jpg")
        result = 3 * 2400 * 1600
        for orientation, most in ((1, 0), (2, 0), (4, result), (6, result)):
            exif = b"Exif\0\0" + exif_block(orientation)[0]
            self.write("turned.jpg", content[:2] + marker(0xe1, exif) + content[2:])
            done = self.measure("turned.jpg", "out.jpg", "--size=80%", "--verbose", "--force")
            self.assertEqual(done.returncode, 0)
            self.assertLess(done.peak, 16 * MIB + most, orientation)
            self.assertEqual("held in memory for that: 11 MiB" in done.stderr, most > 0, orientation)

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
