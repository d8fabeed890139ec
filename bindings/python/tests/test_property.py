"""Whatever is asked, the answer is the model's bytes, or a TypeError, a ValueError or a MemoryError; never a crash."""

import ctypes
import os

import numpy
import pytest

pytest.importorskip("hypothesis", reason="package python3-hypothesis is not there")
from hypothesis import HealthCheck, given, seed, settings, strategies as st  # noqa: E402

import fourtapscale  # noqa: E402
import model  # noqa: E402
from conftest import CHANNELS  # noqa: E402

settings.register_profile("here", max_examples=400, deadline=None, derandomize=True, database=None,
                          suppress_health_check=list(HealthCheck))
settings.load_profile("here")
REFUSALS = (TypeError, ValueError, MemoryError)

extents = st.integers(1, 40)
edgy = st.one_of(st.integers(-2, 45), st.sampled_from([0, -1, 2**31 - 1, 2**31, 2**63, -2**63, 2**200]))
junk = st.one_of(st.none(), st.booleans(), st.floats(), st.text(max_size=3), st.binary(max_size=9),
                 st.lists(edgy, max_size=5), edgy, st.just(object()), st.just(numpy.int64(5)),
                 st.just(numpy.zeros((2, 2), int)))
pairs = st.tuples(edgy, edgy)
rects = st.tuples(edgy, edgy, edgy, edgy)


@st.composite
def arrays(draw):
    """Of few dimensions and of all kinds of strides; mostly bytes."""
    shape = draw(st.lists(st.integers(0, 12), min_size=0, max_size=4))
    if draw(st.booleans()):
        shape = [draw(extents), draw(extents), *draw(st.sampled_from([(), (1,), (2,), (3,), (4,)]))]
    dtype = draw(st.sampled_from(["u1"] * 8 + ["i1", "u2", "f4", "?", "S1", "O", "V1"]))
    made = numpy.zeros(shape, dtype)
    if dtype == "u1":
        made = numpy.random.default_rng(draw(st.integers(0, 99))).integers(0, 256, shape, numpy.uint8)
    for axis in range(made.ndim):
        made = made[(slice(None),) * axis + (slice(None, None, draw(st.sampled_from([1, 1, 2, -1, -2]))),)]
    if made.ndim > 1 and draw(st.integers(0, 5)) == 0:
        made = made.swapaxes(0, 1)
    if made.ndim and draw(st.integers(0, 9)) == 0:
        made = numpy.broadcast_to(made[:1], made.shape)
    kind = draw(st.integers(0, 5)) if dtype == "u1" else 0
    if kind == 1:
        return memoryview(made)
    if kind == 2 and made.ndim and made.size:
        return numpy.ctypeslib.as_ctypes(made.copy())
    return made


layouts = st.one_of(st.none(), st.sampled_from([name for names in fourtapscale.formats() for name in names]), junk)
alphas = st.one_of(st.sampled_from(["multiply", "straight", "drop", None]), st.tuples(edgy, edgy, edgy), junk)


@given(source=st.one_of(arrays(), junk), size=st.one_of(pairs, junk), layout=layouts,
       rect=st.one_of(st.none(), rects, junk), out=st.one_of(st.none(), st.none(), arrays(), junk),
       threads=st.one_of(st.integers(0, 4), junk), alpha=alphas)
def test_resize_takes_anything(source, size, layout, rect, out, threads, alpha):
    before = numpy.array(out) if isinstance(out, (numpy.ndarray, memoryview, ctypes.Array)) else None
    try:
        scaled = fourtapscale.resize(source, size, layout=layout, rect=rect, out=out, threads=threads, alpha=alpha)
    except REFUSALS as refusal:
        assert str(refusal) and "\n" not in str(refusal)
        assert before is None or numpy.array_equal(numpy.asarray(out), before)
    else:
        scaled = numpy.asarray(scaled)
        width, height = size if rect is None else rect[2:]
        assert scaled.shape[:2] == (height, width) and scaled.dtype == numpy.uint8


@st.composite
def pictures(draw):
    layout = draw(st.sampled_from(list(CHANNELS)))
    unit = 2 if layout in ("uyvy", "yuy2") else 1
    cx_in, cx = (draw(st.integers(1, 40 // unit)) * unit for _ in range(2))
    cy_in, cy = draw(extents), draw(extents)
    value = numpy.random.default_rng(draw(st.integers(0, 9999)))
    source = value.integers(0, 256, (cy_in, cx_in, *CHANNELS[layout]), numpy.uint8)
    return layout, source, (cx, cy)


@seed(int(os.environ.get("FOURTAP_SEED", 1)) * 10**9 + int(os.environ.get("FOURTAP_FIRST", 0)))
@settings(max_examples=int(os.environ.get("FOURTAP_CASES", 400)), derandomize=False)
@given(case=pictures(), steps=st.booleans(), alpha=st.sampled_from(["multiply", "straight", "drop", (1, 2, 3), None]),
       ends=st.lists(st.integers(0, 40), max_size=5), data=st.data())
def test_all_ways_give_the_bytes_of_the_model(case, steps, alpha, ends, data):
    layout, source, size = case
    whole = model.scaled(source, size, layout, steps, alpha)
    scaler = fourtapscale.Scaler(source.shape[1::-1], size, layout, steps=steps, alpha=alpha)
    numpy.testing.assert_array_equal(scaler.resize(source), whole)
    ends = [0, *sorted(min(end, len(source)) for end in ends), len(source)]
    slices = scaler.slices(source[first:end] for first, end in zip(ends, ends[1:]))
    numpy.testing.assert_array_equal(numpy.concatenate(list(slices)), whole)
    unit = 2 if layout in ("uyvy", "yuy2") else 1
    x = data.draw(st.integers(0, (size[0] - unit) // unit)) * unit
    y = data.draw(st.integers(0, size[1] - 1))
    rect = (x, y, data.draw(st.integers(1, (size[0] - x) // unit)) * unit, data.draw(st.integers(1, size[1] - y)))
    column, line, width, height = scaler.needed(rect)
    part = source[line:line + height, column:column + width].copy()
    numpy.testing.assert_array_equal(scaler.resize_part(part, (column, line), rect),
                                     whole[y:y + rect[3], x:x + rect[2]])


@given(source=st.one_of(arrays(), junk), sizes=st.tuples(st.one_of(pairs, junk), st.one_of(pairs, junk)),
       layout=layouts, origin=st.one_of(pairs, junk), rect=st.one_of(rects, junk), line=junk)
def test_scalers_and_parts_take_anything(source, sizes, layout, origin, rect, line):
    for call in (lambda: fourtapscale.resize_part(source, origin, *sizes, rect, layout=layout),
                 lambda: fourtapscale.needed(*sizes, rect, layout=layout),
                 lambda: fourtapscale.resize_frame([source, source], sizes[0], layout),
                 lambda: fourtapscale.frame_planes(source, sizes[0], layout),
                 lambda: fourtapscale.Scaler((8, 9), (4, 3), "rgb24").resize_part(source, origin, rect),
                 lambda: fourtapscale.Scaler((8, 9), (4, 3), "gray").push(source),
                 lambda: fourtapscale.Scaler((8, 9), (4, 3), "gray").lines_needed(line)):
        try:
            call()
        except REFUSALS as refusal:
            assert str(refusal)
