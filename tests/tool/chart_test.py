"""chart as a process: the pictures to measure with, which must not change."""

import hashlib
import math
import os
import unittest

from toolcase import BAD_USAGE, ToolCase, pnm

CHART = os.environ["CHART"]


class ChartTest(ToolCase):
    def draw(self, *arguments):
        self.scale(*arguments, tool=CHART)
        return self.read(arguments[-1])

    def test_kinds(self):
        for arguments, expected in ((["chart.jpg"], "640x480, RGB"),
                                    (["--cut-out", "cut.png"], "640x480, RGB with alpha"),
                                    (["--gray", "gray.jpg"], "640x480, gray"),
                                    (["--gray", "--cut-out", "gray.png"], "640x480, gray with alpha"),
                                    (["--picture=photo", "--size=1x70", "photo.bmp"], "1x70, RGB"),
                                    (["--picture=zone", "--size=70x1", "zone.png"], "70x1, gray")):
            self.draw(*arguments)
            self.assertIn(f", {expected}\n", self.scale("--info", arguments[-1]).decode())

    def test_bytes_are_the_same_on_every_machine(self):
        for size, digest in ("150x110", "d4ca1aa0c0932ab3"), ("61x97", "d90eec27edc0bef4"):
            photo = self.draw("--picture=photo", f"--size={size}", "photo.ppm")
            self.assertEqual(hashlib.sha256(photo).hexdigest()[:16], digest, size)
        for cx, cy in (150, 110), (61, 97):
            zone = self.draw("--picture=zone", f"--size={cx}x{cy}", "zone.pgm")
            squares = (((x - cx / 2 + 0.5)**2 + (y - cy / 2 + 0.5)**2) for y in range(cy) for x in range(cx))
            levels = bytes(round(127.5 + 127.5 * math.cos(math.pi * square / max(cx, cy))) for square in squares)
            self.assertEqual(zone, pnm(cx, cy, 8, levels))

    def test_bad_usage_is_refused(self):
        for arguments, words in (([], ["name"]), (["a.png", "b.png"], ["b.png"]), (["a.gif"], ["suffix"]),
                                 (["--cut-out", "a.jpg"], ["alpha"]), (["--picture=face", "a.png"], ['"face"', "zone"]),
                                 (["--size=9x9", "a.png"], ["--picture"]),
                                 (["--picture=photo", "--cut-out", "a.png"], ["--cut-out"]),
                                 *((["--picture=zone", f"--size={size}", "a.png"], [f'"{size}"', "1600x1200"])
                                   for size in ("9", "9x", "0x9", "9x-9", "9x9x9", "65536x9", "50%"))):
            self.refuse(BAD_USAGE, ["expected", *words], *arguments, tool=CHART)


if __name__ == "__main__":
    unittest.main()
