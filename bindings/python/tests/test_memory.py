"""Memory: held while it is in use, let go after, and none of it lost."""

import array
import collections
import ctypes
import gc
import mmap
import sys
import threading
import tracemalloc

import numpy
import pytest

import fourtapscale
from conftest import SANITIZED, picture


def resident():
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * mmap.PAGESIZE


def one_of_all(source, out, scaler):
    """A call of each kind, refusals among them."""
    fourtapscale.resize(source, (9, 7))
    fourtapscale.resize(source[:, ::-1], (9, 7), rect=(1, 1, 5, 5), out=out)
    scaler.resize(source)
    scaler.resize_part(source, (0, 0), (0, 0, 4, 4))
    scaler.needed((0, 0, 2, 2))
    scaler.reset()
    scaler.push(source[:5])
    scaler.push(source[5:, ::-1])
    fourtapscale.resize_frame([source[..., 0], source[::2, ::2, :2]], (6, 5), "nv12")
    for call in (lambda: fourtapscale.resize(source, (0, 7)), lambda: fourtapscale.resize(source, (9, 7), out=source),
                 lambda: fourtapscale.resize(source.astype(float), (9, 7)), lambda: scaler.push(source),
                 lambda: fourtapscale.resize(source, (9, 7), layout="none"), lambda: scaler.resize(out),
                 lambda: fourtapscale.Scaler((0, 1), (1, 1), "gray")):
        with pytest.raises((TypeError, ValueError)):
            call()
    fourtapscale.Scaler((12, 10), (7, 7), "rgb24").push(source[:4])


def test_nothing_is_lost():
    source, out = picture("rgb24", (12, 10)), numpy.zeros((5, 5, 3), numpy.uint8)
    scaler = fourtapscale.Scaler((12, 10), (7, 5), "rgb24")
    things = (source, out, None, numpy.empty, fourtapscale.resize)
    tracemalloc.start()
    # What Python keeps for use again, tuples for instance, is there after these.
    for _ in range(500):
        one_of_all(source, out, scaler)
    gc.collect()
    references = [sys.getrefcount(thing) for thing in things]
    kept = scaler.nbytes
    before = tracemalloc.get_traced_memory()[0]
    for _ in range(2000):
        one_of_all(source, out, scaler)
    gc.collect()
    grown = tracemalloc.get_traced_memory()[0] - before
    tracemalloc.stop()
    # An object that is lost in each round has 32 bytes at least.
    assert grown < 60_000
    after = [sys.getrefcount(thing) for thing in things]
    assert all(abs(now - then) < 50 for now, then in zip(after, references))
    assert scaler.nbytes == kept


@pytest.mark.skipif(SANITIZED, reason="a sanitizer keeps what was freed")
def test_the_process_does_not_grow():
    source, out = picture("rgb24", (12, 10)), numpy.zeros((5, 5, 3), numpy.uint8)
    scaler = fourtapscale.Scaler((12, 10), (7, 5), "rgb24")

    def calls(count):
        for n in range(count):
            fourtapscale.resize(source, (9, 7))
            # Sizes that come and go: their scalers do too.
            fourtapscale.resize(source[:, ::-1], (5 + n % 50, 5), rect=(0, 0, 5, 5), out=out)
            scaler.resize(source)
            try:
                fourtapscale.resize(source, (9, 0))
            except ValueError:
                pass
    calls(2_000)
    before = resident()
    calls(25_000)
    assert resident() - before < 1 << 20


def test_large_scalers_are_not_kept():
    if SANITIZED:
        pytest.skip("a sanitizer keeps what was freed")
    source = numpy.zeros((4, 4), numpy.uint8)
    fourtapscale.resize(source, (4_000_000, 4), rect=(0, 0, 4, 4))
    before = resident()
    # Nor are many that are not that large.
    for width in 4_000_000, 1_000_000:
        for n in range(30):
            fourtapscale.resize(source, (width + n, 4), rect=(0, 0, 4, 4))
    assert resident() - before < 200 << 20


def test_owners_keep_their_memory_while_it_is_in_use():
    source, out = bytearray(3000 * 3000), bytearray(2000 * 2000)
    refused = collections.Counter()
    interval = sys.getswitchinterval()
    # This thread comes back when the other one lets go of the interpreter's lock: in the call.
    sys.setswitchinterval(60)
    try:
        for _ in range(20):
            views = {"image": memoryview(source).cast("B", (3000, 3000)),
                     "out": memoryview(out).cast("B", (2000, 2000))}
            thread = threading.Thread(target=fourtapscale.resize, args=(views["image"], (2000, 2000)),
                                      kwargs={"out": views["out"]})
            thread.start()
            for name, view in views.items():
                try:
                    view.release()
                except BufferError:
                    refused[name] += 1
            thread.join()
    finally:
        sys.setswitchinterval(interval)
    assert refused["image"] and refused["out"], refused
    # And get it back.
    for view in views.values():
        view.release()
    source.extend(b"more")
    out.extend(b"more")


def test_objects_with_a_buffer():
    plain = picture("gray", (20, 10))
    scaled = fourtapscale.resize(plain, (7, 5))
    target = array.array("B", bytes(35))
    out = memoryview(target).cast("B", (5, 7))
    assert fourtapscale.resize(memoryview(plain.tobytes()).cast("B", (10, 20)), (7, 5), out=out) is out
    assert target.tobytes() == scaled.tobytes()
    # How far it would be to the next line does not matter where there is none.
    line = out[::1 << 40]
    assert fourtapscale.resize(plain, (7, 1), out=line) is line
    assert line.tobytes() == fourtapscale.resize(plain, (7, 1)).tobytes()
    # Of ctypes arrays nobody tells the strides.
    rows, target = (ctypes.c_ubyte * 20 * 10).from_buffer_copy(plain), (ctypes.c_ubyte * 7 * 5)()
    assert fourtapscale.resize(rows, (7, 5), out=target) is target
    assert bytes(target) == scaled.tobytes()
    with pytest.raises(ValueError, match="whose extent overlaps"):
        fourtapscale.resize(rows, (20, 10), out=rows)
    read_only_map = numpy.frombuffer(plain.tobytes(), numpy.uint8).reshape(10, 20)
    numpy.testing.assert_array_equal(fourtapscale.resize(read_only_map, (7, 5)), scaled)


class Lying:
    """Raises whatever is asked of it."""

    def __index__(self):
        raise KeyError("no number")

    def __len__(self):
        return 2

    def __getitem__(self, index):
        raise KeyError("no item")

    def __bool__(self):
        raise KeyError("no truth")


def test_exceptions_of_others_pass():
    source = picture("gray", (20, 10))
    for call in (lambda: fourtapscale.resize(source, (Lying(), 5)), lambda: fourtapscale.resize(source, Lying()),
                 lambda: fourtapscale.resize(source, (5, 5), steps=Lying())):
        with pytest.raises(KeyError):
            call()
