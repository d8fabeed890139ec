"""Any picture, any frames, to any size, asked in any way: what comes out is the model's. The environment says how many
cases: FOURTAP_CASES of FOURTAP_SEED, from FOURTAP_FIRST on."""

import math
import os
import random
import unittest

from PIL import Image

from picture_test import decoded, encoded
from toolcase import ToolCase, bitmap, by_model, pnm
from video_test import BYTES_PER_PIXEL, CHROMA, Clip, crop

SEED = int(os.environ.get("FOURTAP_SEED", 1))
FIRST = int(os.environ.get("FOURTAP_FIRST", 0))
CASES = int(os.environ.get("FOURTAP_CASES", 20))
RAW_NAMES = {"Plane": "gray", "RGB24": "rgb24", "RGB32": "rgbx", "RGBA32": "rgba", "UV16": "ya8", "XYXY": "uyvy",
             "YXYX": "yuy2"}


def any_side(rng):
    """From 1 to 150, as many below 12 as above."""
    return int(math.exp(rng.uniform(0, math.log(150))))


def any_rect(rng, size, unit=1):
    """Of these sizes, in units of so many columns."""
    (x, end), (y, bottom) = (sorted(rng.sample(range(n + 1), 2)) for n in (size[0] // unit, size[1]))
    return x * unit, y, (end - x) * unit, bottom - y


class RandomTest(ToolCase):
    def test_any_case(self):
        for number in range(FIRST, FIRST + CASES):
            rng = random.Random(f"{SEED} {number}")
            with self.subTest(again=f"FOURTAP_SEED={SEED} FOURTAP_FIRST={number} FOURTAP_CASES=1"):
                by_model.cache_clear()
                size_in, size_out = ((any_side(rng), any_side(rng)) for _ in range(2))
                rng.choice([self.try_picture, self.try_alpha, self.try_raw, self.try_video])(rng, size_in, size_out)

    def ask(self, rng, size_out, content, *more, steps=1, unit=1):
        """What the tool makes of it, asked in one of many ways, and the rectangle asked for."""
        rect = any_rect(rng, size_out, unit) if rng.random() < 0.4 else None
        more += ("--size", "{}x{}!".format(*size_out)) + ("--one-step",) * (not steps)
        more += ("--rect", ",".join(map(str, rect))) if rect else ()
        more += ("--set", "c") if rng.random() < 0.3 else ()
        more += ("--threads", str(rng.randint(1, 4))) if rng.random() < 0.3 else ()
        return self.scale("-", "-", *more, stdin=content), rect or (0, 0, *size_out)

    def try_picture(self, rng, size_in, size_out):
        bits, steps = rng.choice([8, 24, 32]), rng.randint(0, 1)
        make = bitmap if bits == 32 else pnm
        pixels = rng.randbytes(size_in[0] * size_in[1] * bits // 8)
        slices = ("--progressive", str(rng.randint(1, 40))) if rng.random() < 0.5 else ()
        result, rect = self.ask(rng, size_out, make(*size_in, bits, pixels), *slices, steps=steps)
        expected = crop(by_model(bits, pixels, size_in, size_out, not steps), bits // 8, size_out[0], rect)
        # Lines go to a pipe as they come.
        upright = {"cy_field": -rect[3]} if bits == 32 and result[25] else {}
        self.assertEqual(result, make(*rect[2:], bits, expected, **upright))

    def try_alpha(self, rng, size_in, size_out):
        mode, rule = rng.choice(["LA", "RGBA"]), rng.randrange(3)
        picture = Image.frombytes(mode, size_in, rng.randbytes(size_in[0] * size_in[1] * len(mode)))
        name = ("multiply", "straight", "drop")[rule]
        result, rect = self.ask(rng, size_out, encoded(picture, format="PNG"), "--alpha", name)
        number = 100 if mode == "LA" else 101
        pixels = by_model(number, picture.tobytes(), size_in, size_out, False, rule)
        if size_in == size_out:
            pixels = (picture.convert(mode[:-1]) if name == "drop" else picture).tobytes()
        channels = len(mode) - (name == "drop")
        self.assertEqual(decoded(result).tobytes(), crop(pixels, channels, size_out[0], rect))

    def try_raw(self, rng, size_in, size_out):
        layout, steps = rng.choice(list(RAW_NAMES)), rng.randint(0, 1)
        unit = 2 if layout in ("XYXY", "YXYX") else 1
        size_in, size_out = ((-(-cx // unit) * unit, cy) for cx, cy in (size_in, size_out))
        frames = [rng.randbytes(size_in[0] * size_in[1] * BYTES_PER_PIXEL[layout]) for _ in range(rng.randint(1, 3))]
        result, rect = self.ask(rng, size_out, b"".join(frames), "--raw", "{}:{}x{}".format(RAW_NAMES[layout], *size_in),
                                steps=steps, unit=unit)
        scaled = frames
        if size_in != size_out or not steps:
            scaled = [by_model(layout, frame, size_in, size_out, not steps) for frame in frames]
        self.assertEqual(result, b"".join(crop(frame, BYTES_PER_PIXEL[layout], size_out[0], rect) for frame in scaled))

    def try_video(self, rng, size_in, size_out):
        clip = Clip(rng.choice(list(CHROMA)), size_in, rng.randint(1, 3))
        threads = str(rng.randint(1, 4))
        result = self.scale("-", "-", "--size", "{}x{}!".format(*size_out), "--threads", threads, stdin=clip.bytes())
        self.assertEqual(result, clip.bytes() if size_in == size_out else clip.scaled(size_out))


if __name__ == "__main__":
    unittest.main()
