"""What does not fit is refused in one line that names it, and nothing is written."""

import array
import os
import re
import subprocess
import sys

import numpy
import pytest

import fourtapscale
from conftest import SANITIZED, picture, run

RGB = picture("rgb24", (40, 30))
GRAY = picture("gray", (40, 30))
SIZE = (20, 10)
READ_ONLY = numpy.zeros((10, 20, 3), numpy.uint8)
READ_ONLY.flags.writeable = False
LUMA, CHROMA = numpy.zeros((8, 12), numpy.uint8), numpy.zeros((4, 6, 2), numpy.uint8)

resize, resize_part, resize_frame = fourtapscale.resize, fourtapscale.resize_part, fourtapscale.resize_frame


def scaler(layout="rgb24", **options):
    return fourtapscale.Scaler((40, 30), SIZE, layout, **options)


REFUSALS = [
    # Images that are none.
    (TypeError, "image: list given, expected an array", lambda: resize([[1, 2]], SIZE)),
    (TypeError, "image: NoneType given", lambda: resize(None, SIZE)),
    (TypeError, r"image: float64 of shape \(30, 40, 3\) given, expected uint8 of", lambda: resize(RGB / 255, SIZE)),
    (TypeError, "image: uint16 of", lambda: resize(RGB.astype(numpy.uint16), SIZE)),
    (TypeError, "image: int8 of", lambda: resize(RGB.view(numpy.int8), SIZE)),
    (TypeError, "image: bool of", lambda: resize(RGB > 9, SIZE)),
    (TypeError, r"image: items 'i' of shape \(4,\)", lambda: resize(array.array("i", [1, 2, 3, 4]), SIZE)),
    (ValueError, r"image: bytes of shape \(3,\) given", lambda: resize(b"abc", SIZE)),
    (ValueError, r"image: uint8 of shape \(30, 40, 5\) given", lambda: resize(numpy.zeros((30, 40, 5), "u1"), SIZE)),
    (ValueError, r"shape \(30, 40, 0\) given", lambda: resize(numpy.zeros((30, 40, 0), "u1"), SIZE)),
    (ValueError, r"shape \(2, 30, 40, 3\) given", lambda: resize(numpy.zeros((2, 30, 40, 3), "u1"), SIZE)),
    (ValueError, "sizes: 5x0 to 20x10 given", lambda: resize(numpy.zeros((0, 5), "u1"), SIZE)),
    # Sizes and rectangles.
    (ValueError, "sizes: 40x30 to 0x9 given, expected at least 1x1", lambda: resize(RGB, (0, 9))),
    (ValueError, "sizes: 40x30 to 9x-1 given", lambda: resize(RGB, (9, -1))),
    (TypeError, r"size: \(9.5, 9\) given, expected \(width, height\)", lambda: resize(RGB, (9.5, 9))),
    (TypeError, r"size: \(9, 9, 3\) given", lambda: resize(RGB, (9, 9, 3))),
    (TypeError, "size: 9 given", lambda: resize(RGB, 9)),
    (TypeError, "size: {.*} given", lambda: resize(RGB, {9, 8})),
    (TypeError, "size: 'ab' given", lambda: resize(RGB, "ab")),
    (TypeError, r"size: array\(\[\[0, 0\], +\[0, 0\]\]\) given", lambda: resize(RGB, numpy.zeros((2, 2), int))),
    (TypeError, "size: .{200} given", lambda: resize(RGB, list(range(1000)))),
    (ValueError, "given, expected lines below 2 GiB", lambda: resize(RGB, (1 << 31, 1))),
    (ValueError, "given, expected lines below 2 GiB", lambda: resize(RGB, (1 << 30, 1 << 100))),
    (ValueError, "rect: 20x10 pixels at 1,0 given", lambda: resize(RGB, SIZE, rect=(1, 0, 20, 10))),
    (ValueError, "rect: 0x1 pixels at 0,0 given", lambda: resize(RGB, SIZE, rect=(0, 0, 0, 1))),
    (ValueError, "rect: 1x1 pixels at -1,0 given", lambda: resize(RGB, SIZE, rect=(-1, 0, 1, 1))),
    (TypeError, "rect: 'all' given, expected", lambda: resize(RGB, SIZE, rect="all")),
    # Packed pictures come in pairs.
    (ValueError, "expected even widths", lambda: resize(GRAY.view().reshape(30, 20, 2), (9, 10), layout="uyvy")),
    (ValueError, "rect: columns 1 and 2 more given, expected even",
     lambda: resize(GRAY.reshape(30, 20, 2), (10, 10), layout="yuy2", rect=(1, 0, 2, 2))),
    # Layouts, alpha, threads.
    (ValueError, "layout: 'nv12' given, expected", lambda: resize(GRAY, SIZE, layout="nv12")),
    (ValueError, "layout: '' given", lambda: resize(GRAY, SIZE, layout="")),
    (ValueError, "layout: 'rgb24.x00", lambda: resize(RGB, SIZE, layout="rgb24\0")),
    (TypeError, "layout: 3 given", lambda: resize(RGB, SIZE, layout=3)),
    (ValueError, r"image: uint8 of shape \(30, 40, 3\) given, expected 4 channels for the layout 'rgba'",
     lambda: resize(RGB, SIZE, layout="rgba")),
    (ValueError, "alpha: 'premultiplied' given, expected 'multiply'", lambda: resize(RGB, SIZE, alpha="premultiplied")),
    (ValueError, r"alpha: \(0, 0, 256\) given, expected .* 0 to 255", lambda: resize(RGB, SIZE, alpha=(0, 0, 256))),
    (ValueError, r"alpha: \(0, -1, 0\) given, expected .* 0 to 255", lambda: resize(RGB, SIZE, alpha=(0, -1, 0))),
    (TypeError, "alpha: 7 given", lambda: resize(RGB, SIZE, alpha=7)),
    (ValueError, "threads: -1 given, expected 0 or more", lambda: resize(RGB, SIZE, threads=-1)),
    (ValueError, "threads: int given, expected 0 or more", lambda: resize(RGB, SIZE, threads=-10**4500)),
    (TypeError, "threads: 'two' given", lambda: resize(RGB, SIZE, threads="two")),
    # Targets.
    (ValueError, r"out: uint8 of shape \(10, 20\) given, expected uint8 of shape \(10, 20, 3\)",
     lambda: resize(RGB, SIZE, out=numpy.zeros((10, 20), "u1"))),
    (TypeError, "out: float32 of", lambda: resize(RGB, SIZE, out=numpy.zeros((10, 20, 3), "f4"))),
    (ValueError, "out: a buffer that can't be written to", lambda: resize(RGB, SIZE, out=READ_ONLY)),
    (ValueError, "out: a buffer that can't be written to",
     lambda: resize(RGB, SIZE, out=memoryview(bytes(600)).cast("B", (10, 20, 3)))),
    (ValueError, "out: .* with strides of its own given",
     lambda: resize(RGB, SIZE, out=numpy.zeros((10, 20, 4), "u1")[..., 1:])),
    (ValueError, "out: .* with strides of its own given",
     lambda: resize(GRAY, SIZE, out=numpy.zeros((10, 40), "u1")[:, ::2])),
    (ValueError, "out: .* whose extent overlaps the image's", lambda: resize(RGB, (40, 30), out=RGB)),
    (ValueError, "whose extent overlaps", lambda: resize(RGB[28::-2, ::-1], (40, 1), out=RGB[1:2])),
    (ValueError, "whose extent overlaps", lambda: resize(RGB[:, :20], (20, 30), out=RGB[:, 20:])),
    # Parts.
    (ValueError, "part: 9x9 pixels at 0,0 given, expected at least what is needed, 40x30 at 0,0",
     lambda: resize_part(RGB[:9, :9], (0, 0), (40, 30), SIZE, (0, 0, 20, 10))),
    (ValueError, "part: 40x30 pixels at 1,0 given, expected all of them inside 40x30",
     lambda: resize_part(RGB, (1, 0), (40, 30), SIZE, (0, 0, 20, 10))),
    (TypeError, "origin: None given", lambda: resize_part(RGB, None, (40, 30), SIZE, (0, 0, 20, 10))),
    # Scalers.
    (ValueError, "image: .* given, expected 30 lines of 40 pixels", lambda: scaler().resize(RGB[:29])),
    (ValueError, "image: .* given, expected 1 channel for", lambda: scaler("gray").resize(RGB)),
    (ValueError, "lines: .* given, expected at most 30 lines, which are left, of 40 pixels",
     lambda: scaler().push(RGB[:, :39])),
    (ValueError, "lines: .* at most 0 lines", lambda: [s.push(RGB[:1]) for s in [scaler()] for _ in range(31)]),
    (ValueError, "lines: 29 given, expected 30", lambda: list(scaler().slices([RGB[:29]]))),
    (ValueError, "line: 10 given, expected 0 to 9", lambda: scaler().lines_needed(10)),
    (TypeError, "layout: None given", lambda: scaler(None)),
    # Frames.
    (ValueError, "planes: 1 given, expected the 2 of nv12", lambda: resize_frame([LUMA], (6, 4), "nv12")),
    (ValueError, "planes: 3 given, expected the 2 of nv12", lambda: resize_frame([LUMA, CHROMA, CHROMA], (6, 4), "nv12")),
    (ValueError, r"expected \(height, width\) to be \[\(8, 12\), \(4, 6\), \(4, 6\)\] for i420 of 12x8",
     lambda: resize_frame([LUMA, LUMA, LUMA], (6, 4), "i420")),
    (ValueError, "plane: .* given, expected 2 channels", lambda: resize_frame([LUMA, LUMA[:4, :6]], (6, 4), "nv12")),
    (ValueError, "format: 'nv13' given", lambda: resize_frame([LUMA, CHROMA], (6, 4), "nv13")),
    (TypeError, "planes: str given", lambda: resize_frame(["a", "b"], (6, 4), "nv12")),
    (ValueError, "out: .* whose extent overlaps",
     lambda: resize_frame([LUMA, CHROMA], (12, 8), "nv12",
                          out=[numpy.zeros((8, 12), "u1"), LUMA[:4].reshape(4, 6, 2)])),
    (TypeError, "planes: NoneType given, expected the 2 of nv12", lambda: resize_frame(None, (6, 4), "nv12")),
    (TypeError, "out: int given, expected the 2 of nv12, or None",
     lambda: resize_frame([LUMA, CHROMA], (6, 4), "nv12", out=3)),
    *((exception, f"frame: {words} given, expected",
       lambda frame=frame: fourtapscale.frame_planes(frame, (12, 8), "nv12"))
      for exception, words, frame in (
          (ValueError, "items 'B' of shape .7,.", bytes(7)), (TypeError, "float64 of shape .18,.", numpy.zeros(18)),
          (TypeError, "items 'f' of shape .36,.", array.array("f", [0] * 36)), (TypeError, "NoneType", None),
          (ValueError, "items 'B' of shape .144,.", memoryview(bytes(288))[::2]))),
    # More than there is.
    (MemoryError, "", lambda: resize(GRAY, (1 << 20, 1 << 30))),
]


@pytest.mark.parametrize("number", range(len(REFUSALS)))
def test_refusal(number):
    exception, words, call = REFUSALS[number]
    before = [memory.copy() for memory in (RGB, GRAY, READ_ONLY, LUMA, CHROMA)]
    with pytest.raises(exception) as refused:
        call()
    assert type(refused.value) in (TypeError, ValueError) or exception is MemoryError
    assert "\n" not in str(refused.value) and len(str(refused.value)) < 500
    assert re.search(words, str(refused.value)), refused.value
    for memory, content in zip((RGB, GRAY, READ_ONLY, LUMA, CHROMA), before):
        numpy.testing.assert_array_equal(memory, content)


def test_nothing_is_written_where_a_later_plane_is_refused():
    out = [numpy.full((4, 6), 7, numpy.uint8), numpy.full((2, 3, 3), 7, numpy.uint8)]
    with pytest.raises(ValueError, match="out: "):
        resize_frame([LUMA, CHROMA], (6, 4), "nv12", out=out)
    assert all((plane == 7).all() for plane in out)


def test_a_refused_slice_is_not_taken():
    whole, pushing = scaler().resize(RGB), scaler()
    written = [pushing.push(RGB[:13])]
    for wrong in (RGB[:, :39], RGB[13:].astype(float), RGB):
        with pytest.raises((TypeError, ValueError)):
            pushing.push(wrong)
    written.append(pushing.push(RGB[13:]))
    numpy.testing.assert_array_equal(numpy.concatenate(written), whole)


def test_memory_that_a_scaler_lacks():
    if SANITIZED:
        pytest.skip("a sanitizer takes address space of its own")
    code = """
import numpy, resource, fourtapscale
image = numpy.zeros((8, 8), numpy.uint8)
resource.setrlimit(resource.RLIMIT_AS, (1 << 30, resource.RLIM_INFINITY))
wide = (2_000_000_000, 8)
for call in (lambda: fourtapscale.resize(image, wide, rect=(0, 0, 8, 8)),
             lambda: fourtapscale.Scaler((8, 8), wide, "gray"),
             lambda: fourtapscale.resize(numpy.broadcast_to(numpy.uint8(1), (40000, 40000)), (8, 8))):
    try:
        call()
    except MemoryError:
        print("refused")
print(fourtapscale.resize(image, (3, 3)).shape)
"""
    done = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stdout) == (0, "refused\n" * 3 + "(3, 3)\n"), done.stderr


def test_any_allocation_may_fail(beside):
    """Either the call is refused, or it does without; the next ones are right."""
    if SANITIZED:
        pytest.skip("a sanitizer has allocations of its own")
    code = """
import ctypes, os, sys, threading, numpy, fourtapscale
left = ctypes.c_int.in_dll(ctypes.CDLL(os.environ["LD_PRELOAD"]), "allocations_left")
picture = numpy.random.default_rng(1).integers(0, 256, (1500, 1500, 3), numpy.uint8)
scaled = fourtapscale.resize(picture, (1000, 1000))
def call():
    assert numpy.array_equal(fourtapscale.resize(picture, (1000, 1000), threads=4), scaled)
def failing():
    left.value = int(sys.argv[1])
    try:
        call()
    except MemoryError:
        pass
    if left.value > 0:
        print("all")
    left.value = 0
# On a stack of its own, which is gone then.
thread = threading.Thread(target=failing)
thread.start()
thread.join()
for _ in range(3):
    call()
"""
    environment = {**os.environ, "LD_PRELOAD": beside("ALLOCATIONS")}
    for number in range(1, 100):
        done = run(sys.executable, "-c", code, str(number), env=environment)
        assert (done.returncode, done.stderr) == (0, ""), number
        if done.stdout == "all\n":
            break
    assert 5 < number < 99
