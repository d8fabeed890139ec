"""The bytes: those of the model, of the tool, and of the library's functions, whatever way they are asked for."""

import ctypes
import os
import subprocess

import numpy
import pytest
from numpy.lib.stride_tricks import as_strided

import fourtapscale
import model
from conftest import CHANNELS, cropped, picture, random_case, random_rect

ROUNDS = 60


def expected(case, source):
    return model.scaled(source, case.size, case.layout, case.steps, case.alpha)


def words(case):
    return {"layout": case.layout, "steps": case.steps, "alpha": case.alpha}


@pytest.mark.parametrize("layout", CHANNELS)
def test_whole_pictures_and_rectangles(layout, rng):
    for seed in range(ROUNDS):
        case = random_case(rng, layout)
        source = picture(layout, case.source_size, seed)
        whole = expected(case, source)
        numpy.testing.assert_array_equal(fourtapscale.resize(source, case.size, **words(case)), whole, str(case))
        rect = random_rect(rng, case)
        out = numpy.full(cropped(whole, rect).shape, 77, numpy.uint8)
        assert fourtapscale.resize(source, case.size, rect=rect, out=out, **words(case)) is out
        numpy.testing.assert_array_equal(out, cropped(whole, rect), f"{case} {rect}")


@pytest.mark.parametrize("layout", CHANNELS)
def test_slices_and_parts(layout, rng):
    for seed in range(ROUNDS):
        case = random_case(rng, layout)
        source = picture(layout, case.source_size, seed)
        whole = expected(case, source)
        scaler = fourtapscale.Scaler(case.source_size, case.size, layout, steps=case.steps, alpha=case.alpha)
        ends = [0, *sorted(rng.integers(0, len(source) + 1, 3)), len(source)]
        slices = [source[first:end] for first, end in zip(ends, ends[1:])]
        if seed % 3 == 0:
            slices = [numpy.asfortranarray(some) for some in slices]
        written = 0
        for some, end in zip(slices, ends[1:]):
            lines = scaler.push(some)
            numpy.testing.assert_array_equal(lines, whole[written:written + len(lines)], str(case))
            written += len(lines)
            # An output of a pixel or two may come earlier than is said.
            tiny = case.size[0] <= 2 and case.size[1] == 1
            assert tiny or all(scaler.lines_needed(line) <= end for line in range(written)), case
        assert written == len(whole), case
        yielded = list(scaler.slices(slices))
        assert all(map(len, yielded)), case
        numpy.testing.assert_array_equal(numpy.concatenate(yielded), whole)

        rect = random_rect(rng, case)
        x, y, cx, cy = scaler.needed(rect)
        assert fourtapscale.needed(case.source_size, case.size, rect, **words(case)) == (x, y, cx, cy)
        part = source[y:y + cy, x:x + cx].copy()
        numpy.testing.assert_array_equal(scaler.resize_part(part, (x, y), rect), cropped(whole, rect), f"{case} {rect}")
        wider = source[:y + cy, :x + cx][:, ::-1].copy()[:, ::-1]
        # In pairs that begin in an odd column too.
        left = max(x - 1, 0)
        for lying in (source[y:y + cy, left:], numpy.asfortranarray(source[y:y + cy, left:])):
            numpy.testing.assert_array_equal(scaler.resize_part(lying, (left, y), rect), cropped(whole, rect))
        by_function = fourtapscale.resize_part(wider, (0, 0), case.source_size, case.size, rect, **words(case))
        numpy.testing.assert_array_equal(by_function, cropped(whole, rect))


def strided(source):
    """The same picture, lying otherwise."""
    height, width = source.shape[:2]
    gap = numpy.full((height + 2, width + 3, *source.shape[2:]), 99, numpy.uint8)
    gap[1:-1, 2:-1] = source
    yield "within another", gap[1:-1, 2:-1]
    yield "lines upwards", source[::-1].copy()[::-1]
    yield "columns backwards", source[:, ::-1].copy()[:, ::-1]
    yield "every second line", numpy.repeat(source, 2, 0)[::2]
    yield "every second column", numpy.repeat(source, 2, 1)[:, ::2]
    yield "by columns", numpy.asfortranarray(source)
    if source.ndim == 3:
        yield "channels backwards", source[..., ::-1].copy()[..., ::-1]
        yield "channels first", numpy.ascontiguousarray(source.transpose(2, 0, 1)).transpose(1, 2, 0)
    read_only = source.copy()
    read_only.flags.writeable = False
    yield "read-only", read_only
    yield "bytes", memoryview(source.tobytes()).cast("B", source.shape)
    odd = bytearray(source.size + 1)
    odd[1:] = source.tobytes()
    yield "at an odd address", memoryview(odd)[1:].cast("B", source.shape)


@pytest.mark.parametrize("layout", CHANNELS)
def test_memory_of_any_shape(layout, rng):
    for seed in range(ROUNDS // 6):
        case = random_case(rng, layout)
        source = picture(layout, case.source_size, seed)
        whole = expected(case, source)
        rect = random_rect(rng, case)
        for name, lying in strided(source):
            for asked in (None, rect):
                numpy.testing.assert_array_equal(
                    fourtapscale.resize(lying, case.size, rect=asked, **words(case)),
                    whole if asked is None else cropped(whole, asked), f"{name} {case} {asked}")
        # Targets within others, and upside down: not a byte beside them changes.
        around = numpy.full((whole.shape[0] + 2, whole.shape[1] + 2, *whole.shape[2:]), 77, numpy.uint8)
        before = around.copy()
        for out in (around[1:-1, 1:-1], around[1:-1, 1:-1][::-1]):
            around[:] = before
            fourtapscale.resize(source, case.size, out=out, **words(case))
            numpy.testing.assert_array_equal(out, whole)
            out[:] = 77
            numpy.testing.assert_array_equal(around, before)


def test_lines_that_share_memory():
    line = picture("gray", (40, 1))
    windows = as_strided(line, (9, 30), (1, 1))
    repeated = numpy.broadcast_to(line, (7, 40))
    for source in (windows, repeated):
        numpy.testing.assert_array_equal(fourtapscale.resize(source, (20, 12)),
                                         model.scaled(source.copy(), (20, 12), "gray"))


@pytest.mark.parametrize("threads", [0, 2, 3, 5])
@pytest.mark.parametrize("size", [(1280, 720), (200, 150)])
def test_bands_of_threads(threads, size):
    source = picture("rgb24", (1600, 1100))
    scaler = fourtapscale.Scaler((1600, 1100), size, "rgb24")
    whole = scaler.resize(source)
    out = numpy.zeros_like(whole)[::-1]
    numpy.testing.assert_array_equal(scaler.resize(source, threads=threads, out=out), whole)
    backwards = source[..., ::-1].copy()[..., ::-1]
    rect = (3, 20, size[0] - 9, size[1] - 40)
    numpy.testing.assert_array_equal(fourtapscale.resize(backwards, size, rect=rect, threads=threads),
                                     cropped(whole, rect))
    # Where no thread pays for itself.
    numpy.testing.assert_array_equal(fourtapscale.resize(source[:9, :30], (13, 7), threads=threads),
                                     model.scaled(source[:9, :30], (13, 7), "rgb24"))


@pytest.mark.parametrize("format", [names[0] for names in fourtapscale.formats()])
def test_frames(format):
    size, scaled_size = (66, 49), (34, 71)
    frame = picture("gray", (fourtapscale.frame_bytes(format, size), 1))
    planes = fourtapscale.frame_planes(frame, size, format)
    block = numpy.zeros(fourtapscale.frame_bytes(format, scaled_size), numpy.uint8)
    out = fourtapscale.frame_planes(block, scaled_size, format)
    scaled = fourtapscale.resize_frame(planes, scaled_size, format, out=out)
    assert [plane.shape for plane in scaled] == list(fourtapscale.plane_shapes(format, scaled_size))
    layouts = {"uyvy": "uyvy", "yuyv": "yuy2", "rgb32": "rgb32"}
    for plane, source, shape in zip(out, planes, fourtapscale.plane_shapes(format, scaled_size)):
        layout = layouts.get(format, {2: "gray", 3: {2: "uv16", 3: "rgb24", 4: "rgba32"}.get(shape[-1])}[len(shape)])
        numpy.testing.assert_array_equal(plane, model.scaled(source, shape[1::-1], layout, alpha=None))
    numpy.testing.assert_array_equal(numpy.concatenate([plane.ravel() for plane in scaled]), block)


def run(*command, stdin):
    # What a sanitizer has loaded before Python would meet the one that the tool has in it.
    return subprocess.run(command, input=stdin, capture_output=True, check=True, timeout=60,
                          env={**os.environ, "LD_PRELOAD": ""}).stdout


@pytest.mark.parametrize("size", [(31, 20), (90, 77), (6, 5), (44, 33)])
def test_as_the_tool(size, beside):
    tool = beside("FOURTAP")
    for layout, header in (("gray", b"P5"), ("rgb24", b"P6")):
        source = picture(layout, (44, 33))
        said = run(tool, "-", "-", "--size", f"{size[0]}x{size[1]}!", "--format", "pnm",
                   stdin=header + b"\n44 33\n255\n" + source.tobytes())
        scaled = fourtapscale.resize(source, size)
        assert said.endswith(b"\n255\n" + scaled.tobytes())
    for format in ("nv12", "uyvy", "i420", "rgba32"):
        even = size[0] + size[0] % 2, size[1]
        frame = picture("gray", (fourtapscale.frame_bytes(format, (44, 33)), 1))
        said = run(tool, "-", "-", "--raw", f"{format}:44x33", "--size", f"{even[0]}x{even[1]}!", stdin=frame.tobytes())
        planes = fourtapscale.resize_frame(fourtapscale.frame_planes(frame, (44, 33), format), even, format)
        assert said == b"".join(plane.tobytes() for plane in planes), format


class Rules(ctypes.Structure):
    _fields_ = [("pixels", ctypes.c_int), ("reduction", ctypes.c_int), ("alpha", ctypes.c_int),
                ("background", ctypes.c_ubyte * 3)]


class Lines(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("bytes", ctypes.c_size_t), ("stride", ctypes.c_ssize_t)]


def test_as_the_functions_for_c(beside, rng):
    library = ctypes.CDLL(beside("FOURTAP_LIBRARY"))
    library.fourtap_picture_scale.argtypes = [ctypes.c_void_p, Lines, ctypes.c_void_p, Lines, ctypes.c_void_p]
    # Numbers of the layouts: their own, and where there is alpha, with it.
    numbers = {"gray": (0, 0), "uv16": (5, 5), "ya8": (5, 100), "uyvy": (3, 3), "yuy2": (4, 4), "rgb24": (1, 1),
               "rgb32": (2, 2), "rgba32": (6, 101), "argb": (6, 102)}
    for number in range(200):
        layout = list(numbers)[number % len(numbers)]
        case = random_case(rng, layout)
        source = picture(layout, case.source_size)
        scaled = fourtapscale.resize(source, case.size, **words(case))
        alphas = {"multiply": 0, "straight": 1, "drop": 2, None: 0}
        rules = Rules(numbers[layout][case.alpha is not None], 0 if case.steps else 1, alphas.get(case.alpha, 3))
        rules.background[:] = (9, 100, 200)
        handle = ctypes.c_void_p()
        assert library.fourtap_picture_open(ctypes.byref(handle), ctypes.byref(rules), *case.source_size,
                                            *case.size) == 0
        by_library = numpy.zeros_like(scaled)
        assert library.fourtap_picture_scale(handle, Lines(source.ctypes.data, source.nbytes, 0), None,
                                             Lines(by_library.ctypes.data, by_library.nbytes, 0), None) == 0
        library.fourtap_picture_close(handle)
        numpy.testing.assert_array_equal(scaled, by_library, str(case))


def test_channels_without_a_name():
    for layout, channels in (("gray", (1,)), ("uv16", (2,)), ("rgb24", (3,)), ("rgba32", (4,))):
        source = picture(layout, (20, 10)).reshape(10, 20, *channels)
        scaled = fourtapscale.resize(source, (13, 7))
        assert scaled.shape == (7, 13, *channels)
        numpy.testing.assert_array_equal(scaled, model.scaled(source, (13, 7), layout))


def test_colours_behind():
    source = picture("rgba32", (20, 10))
    for colour in ((9, 100, 200), (9, 100, 201), (255, 0, 7)):
        numpy.testing.assert_array_equal(fourtapscale.resize(source, (13, 7), alpha=colour),
                                         model.scaled(source, (13, 7), "rgba32", alpha=colour))


def test_other_names():
    for names, layout in (("vyuy", "uyvy"), ("yvyu YUYV", "yuy2"), ("bgr24", "rgb24"), ("bgr0", "rgb32"),
                          ("bgra BGRA ar24 ab24", "rgba32"), ("abgr ABGR ra24 ba24", "argb"), ("gray8a", "ya8")):
        source = picture(layout, (20, 10))
        for name in names.split():
            for alpha in ("multiply", "drop"):
                numpy.testing.assert_array_equal(fourtapscale.resize(source, (14, 7), layout=name, alpha=alpha),
                                                 model.scaled(source, (14, 7), layout, alpha=alpha), name)
