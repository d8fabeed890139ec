"""WebP in and out: lossy and lossless, alpha, notes, animations, and files that are not whole."""

import itertools
import resource
import struct
import subprocess
import threading
import unittest

from PIL import Image, ImageChops, ImageCms

from picture_test import FILES, WHOLE, coloured, decoded, encoded, exif_block
from toolcase import BAD_INPUT, BAD_OUTPUT, FORMATS, FOURTAP, MIB, ToolCase, noise, pnm, unless_sanitized


def difference(first, second):
    """The mean one of each channel."""
    return [band.resize((1, 1), Image.BOX).getpixel((0, 0)) for band in ImageChops.difference(first, second).split()]


def riff_chunk(name, data):
    return name + struct.pack("<I", len(data)) + data + bytes(len(data) % 2)


def riff(*chunks):
    return b"RIFF" + struct.pack("<I", 4 + sum(map(len, chunks))) + b"WEBP" + b"".join(chunks)


@unittest.skipIf("WebP" not in FORMATS, "built without libwebp")
class WebpTest(ToolCase):
    def test_pixels_are_read_as_others_read_them(self):
        for mode, size, options in itertools.product(
                ("RGB", "RGBA"), ((31, 22), (1, 1), (700, 300), (3, 500)),
                ({"quality": 30}, {"quality": 95}, {"lossless": True}, {"lossless": True, "exact": True})):
            content = encoded(coloured(mode, *size), format="WEBP", **options)
            expected = decoded(content)
            for name in "-", self.write("in.webp", content):
                result = decoded(self.scale(name, "-", "--format=png", "--size=100%", stdin=content))
                self.assertEqual((result.mode, result.tobytes()), (expected.mode, expected.tobytes()), (mode, size, options))
            part = decoded(self.scale("-", "-", "--format=png", f"--rect=0,0,{size[0]},1", stdin=content))
            self.assertEqual(part.tobytes(), expected.crop((0, 0, size[0], 1)).tobytes())

    def test_lossless_results_are_exact_and_lossy_ones_near(self):
        for mode, size in itertools.product(("L", "LA", "RGB", "RGBA"), ((31, 22), (1, 1), (400, 300))):
            picture = coloured(mode, *size)
            content = encoded(picture, format="PNG")
            seen = decoded(content).convert("RGBA" if "A" in mode else "RGB")
            results = [self.scale("-", "-", "--format=webp", "--lossless", "--size=100%", *more, stdin=content)
                       for more in ([], [], ["--progressive=1"])]
            self.assertEqual(results[0], results[1], "not the same on every run")
            self.assertEqual(results[0], results[2])
            # Opaque alpha may go.
            self.assertEqual(decoded(results[0]).convert(seen.mode).tobytes(), seen.tobytes(), (mode, size))
            if size != (400, 300):
                continue
            smooth = seen.resize((40, 30)).resize(size, Image.BILINEAR)
            content = encoded(smooth, format="PNG")
            lossy = [self.scale("-", "-", "--format=webp", *more, "--size=100%", stdin=content)
                     for more in ([], ["--quality=90"], ["--quality=40"])]
            self.assertEqual(lossy[0], lossy[1])
            self.assertLess(len(lossy[2]), len(lossy[0]))
            result = decoded(lossy[0]).convert(smooth.mode)
            self.assertLess(max(difference(result, smooth)), 8, mode)

    def test_scaled_pixels_are_those_of_any_other_format(self):
        content = encoded(coloured("RGBA", 90, 70), format="PNG")
        webp = self.scale("-", "-", "--format=webp", "--lossless", "--size=100%", stdin=content)
        for more in ["--size=50%"], ["--size=200x33!"], ["--fill=20x20"], ["--pad=100x100>", "--background=#102030"]:
            expected = decoded(self.scale("-", "-", *more, stdin=content))
            self.assertEqual(decoded(self.scale("-", "-", "--format=png", *more, stdin=webp)).tobytes(), expected.tobytes())
            result = decoded(self.scale("-", "-", "--format=webp", "--lossless", *more, stdin=content))
            self.assertEqual(result.tobytes(), expected.tobytes(), more)

    def test_gray_and_unused_bytes_become_colours(self):
        self.write("in.bmp", encoded(coloured("RGB"), format="BMP"))
        self.scale("in.bmp", "out.webp", "--lossless", WHOLE.format(31, 22))
        self.assertEqual(decoded(self.read("out.webp")).tobytes(), coloured("RGB").tobytes())
        gray = self.scale("-", "-", "--format=webp", "--lossless", "--size=100%", stdin=pnm(9, 7, 8))
        self.assertEqual(decoded(gray).tobytes(), bytes(v for v in noise(9, 7, 8) for _ in range(3)))

    def test_what_describes_a_picture_goes_along(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        xmp = b'<x:xmpmeta tiff:Orientation="6"></x:xmpmeta>'
        exif = exif_block(6)[0]
        webp = encoded(coloured("RGB", 40, 30), format="WEBP", exif=exif, icc_profile=profile, xmp=xmp)
        prefixed = webp[12:].replace(riff_chunk(b"EXIF", exif), riff_chunk(b"EXIF", b"Exif\0\0" + exif))
        sources = {"WEBP": webp, "prefixed": riff(prefixed),
                   "JPEG": encoded(coloured("RGB", 40, 30), format="JPEG", exif=b"Exif\0\0" + exif, icc_profile=profile,
                                   dpi=(300, 300))}
        for source, to in (("WEBP", "webp"), ("WEBP", "png"), ("prefixed", "jpg"), ("prefixed", "webp"), ("JPEG", "webp")):
            done = self.run_tool("-", "-", "--size=20x", "--format", to, "--verbose", stdin=sources[source])
            result = decoded(done.stdout)
            self.assertEqual((done.returncode, result.size, result.info["icc_profile"]), (0, (20, 27), profile))
            tags = result.getexif()
            self.assertEqual((tags[0x112], tags[0x100], tags[0x101]), (1, 20, 27), (source, to))
            self.assertEqual("WebP takes over no density" in done.stderr, source == "JPEG")
            if source != "JPEG":
                self.assertIn(xmp.replace(b"6", b"1"), done.stdout)
        stripped = self.scale("-", "-", "--size=20x", "--strip", "--keep=xmp", stdin=sources["WEBP"])
        self.assertIn(xmp.replace(b"6", b"1"), stripped)
        self.assertFalse({"exif", "icc_profile"} & set(decoded(stripped).info))
        plain = self.scale("-", "-", "--size=20x", "--strip", "--keep=none", stdin=sources["WEBP"])
        self.assertEqual(plain[12:16], b"VP8 ")  # nothing around it

    def test_of_an_animation_the_first_picture_is_taken(self):
        first, second = coloured("RGBA"), coloured("RGBA").rotate(180)
        animated = encoded(first, format="WEBP", save_all=True, append_images=[second], lossless=True, exact=True)
        part = (FILES / "WebP/good-animated-part").read_bytes()
        placed = Image.new("RGBA", (20, 30))
        at = part.index(b"VP8L")
        length, = struct.unpack("<I", part[at + 4:at + 8])
        image = part[at:at + 8 + length + length % 2]
        placed.paste(decoded(b"RIFF" + struct.pack("<I", 4 + len(image)) + b"WEBP" + image), (4, 6))
        for content, expected in (animated, decoded(encoded(first, format="PNG"))), (part, placed):
            done = self.run_tool("-", "-", "--format=png", "--size=100%", stdin=content)
            self.assertEqual(decoded(done.stdout).convert("RGBA").tobytes(), expected.tobytes())
            self.assertEqual(done.stderr, "fourtap: warning: stdin: it is animated: nothing is made of the pictures that "
                                          "follow the first one\n")

    def test_nothing_to_do_is_a_copy(self):
        for name in "good-lossy", "good-animated", "good-more-behind", "good-notes":
            content = (FILES / "WebP" / name).read_bytes()
            keep = ["--orientation=keep", "--quiet"]
            for source in "-", self.write("in", content):
                self.assertEqual(self.scale(source, "-", "--size=100%", *keep, stdin=content), content, name)
            for more in ["--lossless"], ["--quality=50"], ["--strip"]:
                self.assertNotEqual(self.scale("-", "-", "--size=100%", *keep, *more, stdin=content), content, (name, more))

    def test_memory_is_told(self):
        content = encoded(coloured("RGB", 1500, 1000), format="WEBP", quality=20)
        done = self.run_tool("-", "-", "--verbose", "--size=2000x", stdin=content)
        told = f"{(len(content) + 3 * 1500 * 1000 + MIB - 1) >> 20} MiB"
        self.assertIn(f"stdin: WebP is decoded as a whole, and held in memory: {told}\n", done.stderr)
        self.assertIn("stdout: WebP is encoded as a whole, and held in memory: 11 MiB\n", done.stderr)
        self.assertIn(f"remark: WebP is decoded as a whole, and held in memory: {told}\n",
                      self.scale("--info", "-", stdin=content).decode())

    def test_files_cut_anywhere_are_refused(self):
        self.write("out.png", b"a good result")
        for name, step in ("good-lossy", 1), ("good-1x1", 1), ("good-lossy-alpha", 7), ("good-notes", 7):
            whole = (FILES / "WebP" / name).read_bytes()
            for end in range(1, len(whole), step):
                self.refuse(BAD_INPUT, ["stdin", "expected"], "-", "out.png", "--size=50%", "--force", stdin=whole[:end])
            # Whole to the eye, but the picture in it is not.
            for end in range(30, len(whole) - 1, 9):
                chunk = whole[12:16] + struct.pack("<I", end - 20) + whole[20:end] + b"\0" * (end % 2)
                content = b"RIFF" + struct.pack("<I", 4 + len(chunk)) + b"WEBP" + chunk
                self.refuse(BAD_INPUT, ["stdin", "expected"], "-", "out.png", "--size=50%", "--force", stdin=content)

    def test_damaged_files_end_with_a_status(self):
        for name in "good-lossless-alpha", "good-lossy-alpha", "good-animated-part":
            whole = (FILES / "WebP" / name).read_bytes()
            for at in range(0, len(whole), 13):
                content = whole[:at] + bytes([whole[at] ^ (1 << at % 8)]) + whole[at + 1:]
                done = self.run_tool("-", "-", "--format=png", "--size=50%", "--quiet", "--max-pixels=1M", stdin=content)
                self.assertIn(done.returncode, (0, BAD_INPUT), (name, at))
                self.assertEqual(done.stderr.count("\n"), done.returncode != 0)

    def test_a_size_that_is_too_large_is_refused_before_the_picture_comes(self):
        for name in "good-lossy", "good-lossless", "good-lossy-alpha", "good-notes", "good-animated-part":
            content = (FILES / "WebP" / name).read_bytes()
            with subprocess.Popen([FOURTAP, "-", "-", "--size=50%", "--max-pixels=9"], stdin=subprocess.PIPE,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE) as tool:
                watchdog = threading.Timer(60, tool.kill)
                watchdog.start()
                self.addCleanup(watchdog.cancel)
                tool.stdin.write(content[:64])
                tool.stdin.flush()  # and more might come
                self.assertEqual(tool.wait(), BAD_INPUT)
                self.assertRegex(tool.stderr.read(), rb"\Afourtap: stdin: claims \d+x\d+ pixels, [^\n]*--max-pixels[^\n]*\n\Z")

    @unless_sanitized
    def test_what_a_picture_does_not_need_takes_no_memory(self):
        plain = encoded(coloured("RGB", 40, 30), format="WEBP")
        expected = self.scale("-", "-", "--format=ppm", "--size=50%", stdin=plain)
        header, image = riff_chunk(b"VP8X", struct.pack("<I", 0x2c) + b"\x27\0\0\x1d\0\0"), plain[12:]
        long = bytes(9 * MIB + 1)
        for chunks, warnings in (([header, *[riff_chunk(b"what", long)] * 10, image, *[riff_chunk(b"ever", long)] * 5], []),
                                 ([header, riff_chunk(b"ICCP", long), image, riff_chunk(b"EXIF", long), riff_chunk(b"XMP ", long)],
                                  ["ICCP", "EXIF", "XMP"])):
            done = self.measure(self.write("in.webp", riff(*chunks)), "out.ppm", "--size=50%", "--force")
            self.assertEqual((done.returncode, self.read("out.ppm")), (0, expected))
            self.assertEqual(done.stderr, "".join(f"fourtap: warning: in.webp: {name} of {len(long)} bytes is left out, "
                                                  f"expected at most {8 * MIB}\n" for name in warnings))
            self.assertLess(done.peak, 32 * MIB)
        notes = bytes(7 * MIB)
        content = riff(header, riff_chunk(b"ICCP", notes), image, riff_chunk(b"EXIF", notes), riff_chunk(b"EXIF", b"later"))
        info = decoded(self.scale("-", "-", "--size=50%", stdin=content)).info
        self.assertEqual((info["icc_profile"], info["exif"]), (notes, notes))

    @unless_sanitized
    def test_what_a_file_claims_takes_no_memory(self):
        part = bytearray((FILES / "WebP/good-animated-part").read_bytes())
        part[24:30] = struct.pack("<I", 5999)[:3] + struct.pack("<I", 5999)[:3]
        claims = b"RIFF\xfe\xff\xff\xffWEBP" + bytes(1000)
        for content, status in (bytes(part), 0), (claims, BAD_INPUT):
            done = self.measure(self.write("in.webp", content), "out.ppm", "--size=1x1!", "--force", "--quiet",
                                "--background=white")
            self.assertEqual(done.returncode, status)
            self.assertLess(done.peak, 32 * MIB)

    def test_what_can_not_be_written_is_refused(self):
        self.write("in.ppm", pnm(200, 100, 24))
        self.refuse(BAD_OUTPUT, ["out.webp", "16384x1", "16383x16383"], "in.ppm", "out.webp", "--size=16384x1!")
        self.write("out.webp", b"a good result")

        def limit_files():
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))
        for name in "out.webp", "new.webp":
            self.refuse(BAD_OUTPUT, [name, "File too large"], "in.ppm", name, "--size=100%", "--lossless", "--force",
                        preexec_fn=limit_files)
        self.write("cut.ppm", pnm(200, 100, 24)[:-1])
        self.refuse(BAD_INPUT, ["cut.ppm", "cut short"], "cut.ppm", "new.webp", "--size=50%")


if __name__ == "__main__":
    unittest.main()
