"""Threads: many at one scaler, bands on helpers, forks while helpers are there, and the interpreter's lock."""

import concurrent.futures
import multiprocessing
import sys
import threading

import numpy
import pytest

import fourtapscale
from conftest import picture, run

LARGE = picture("rgb24", (1200, 900))
LARGE_SCALED = fourtapscale.resize(LARGE, (800, 600))


def in_threads(count, call):
    with concurrent.futures.ThreadPoolExecutor(count) as pool:
        return list(pool.map(call, range(count)))


def test_one_scaler_from_many_threads():
    scaler = fourtapscale.Scaler((1200, 900), (800, 600), "rgb24")

    def call(number):
        for round in range(4):
            rect = (number, round, 300 + number, 200)
            part = scaler.resize(LARGE, rect=rect, threads=1 + round % 3)
            x, y, cx, cy = rect
            if not numpy.array_equal(part, LARGE_SCALED[y:y + cy, x:x + cx]):
                return False
        return numpy.array_equal(scaler.resize(LARGE, threads=3), LARGE_SCALED)
    assert all(in_threads(6, call))


def test_the_function_from_many_threads():
    sources = [picture("gray", (50 + n, 40)) for n in range(60)]
    scaled = [fourtapscale.resize(source, (30, 20)) for source in sources]

    def call(number):
        # More sizes than are kept.
        order = numpy.random.default_rng(number).permutation(len(sources))
        return all(numpy.array_equal(fourtapscale.resize(sources[n], (30, 20)), scaled[n]) for n in order)
    assert all(in_threads(6, call))


def test_pushing_from_two_threads():
    """Whoever comes second is refused, or comes when the other is done; the scaler stays of use."""
    scaler = fourtapscale.Scaler((1200, 900), (800, 600), "rgb24")

    def call(number):
        said = []
        for _ in range(20):
            try:
                scaler.reset()
                scaler.push(LARGE)
            except (RuntimeError, ValueError) as error:
                said.append(str(error))
        return said
    said = sum(in_threads(4, call), [])
    assert all("another push is under way" in words or "which are left" in words for words in said)
    numpy.testing.assert_array_equal(numpy.concatenate(list(scaler.slices([LARGE[:500], LARGE[500:]]))), LARGE_SCALED)


def test_a_push_is_alone_while_it_runs_code_of_python():
    scaler = fourtapscale.Scaler((1200, 900), (800, 600), "rgb24")
    asked, answer = threading.Event(), threading.Event()

    class Waiting(numpy.ndarray):
        @property
        def dtype(self):
            asked.set()
            assert answer.wait(60)
            return numpy.dtype("uint8")

    def refused(exception, words, call):
        with pytest.raises(exception, match=words):
            call()
    too_narrow = LARGE[:, :9].view(Waiting)
    first = threading.Thread(target=refused, args=(ValueError, "at most 900 lines", lambda: scaler.push(too_narrow)))
    first.start()
    assert asked.wait(60)
    for call in (lambda: scaler.push(LARGE), scaler.reset, lambda: next(scaler.slices([LARGE]))):
        refused(RuntimeError, "another push is under way", call)
    answer.set()
    first.join()
    numpy.testing.assert_array_equal(scaler.push(LARGE), LARGE_SCALED)


def test_others_run_meanwhile():
    """A thread that may only run where this one lets go of the interpreter's lock does."""
    source = numpy.zeros((2000, 2000, 3), numpy.uint8)
    gate = threading.Lock()
    ran = []

    def wait():
        with gate:
            ran.append(None)
    interval = sys.getswitchinterval()
    gate.acquire()
    waiting = threading.Thread(target=wait)
    waiting.start()
    sys.setswitchinterval(60)
    try:
        gate.release()
        assert not ran
        for _ in range(50):
            fourtapscale.resize(source, (3000, 3000))
            if ran:
                break
        assert ran
    finally:
        sys.setswitchinterval(interval)
        waiting.join()


def child(connection, pushed_to):
    said = ""
    try:
        pushed_to.push(LARGE)
    except (RuntimeError, ValueError) as error:
        said = str(error)
    scaled = fourtapscale.resize(LARGE, (800, 600), threads=3)
    pushed = numpy.concatenate(list(pushed_to.slices([LARGE])))
    connection.send((said, numpy.array_equal(scaled, LARGE_SCALED) and numpy.array_equal(pushed, LARGE_SCALED)))


def test_forked_children_begin_anew():
    """With helpers of their own, and with scalers that a thread of their parent's was pushing to."""
    pushed_to = fourtapscale.Scaler((1200, 900), (800, 600), "rgb24")
    fourtapscale.resize(LARGE, (800, 600), threads=3)
    context = multiprocessing.get_context("fork")
    stop = threading.Event()

    def keep_busy():
        while not stop.is_set():
            fourtapscale.resize(LARGE, (800, 600), threads=3)

    def keep_pushing():
        while not stop.is_set():
            pushed_to.reset()
            pushed_to.push(LARGE)
    busy = [threading.Thread(target=keep) for keep in (keep_busy, keep_pushing)]
    for thread in busy:
        thread.start()
    try:
        told = []
        for _ in range(8):
            here, there = context.Pipe()
            process = context.Process(target=child, args=(there, pushed_to))
            process.start()
            assert here.poll(60), "the child does not answer"
            said, as_expected = here.recv()
            told.append(said)
            assert as_expected
            process.join(60)
            assert process.exitcode == 0
        # Of a push that the fork met half way.
        assert any("is lost" in said for said in told), told
    finally:
        stop.set()
        for thread in busy:
            thread.join()


def test_helpers_are_made_where_they_pay_and_stay():
    done = run(sys.executable, "-c", """
import os, threading, time, numpy, fourtapscale
# ThreadSanitizer's own thread comes with the first.
threading.Thread(target=int).start()
time.sleep(0.3)
at_first = len(os.listdir("/proc/self/task"))
def made():
    return len(os.listdir("/proc/self/task")) - at_first
luma, chroma, large = (numpy.zeros(shape, numpy.uint8) for shape in ((64, 64), (32, 32), (2000, 2000, 3)))
fourtapscale.resize_frame([luma, chroma, chroma], (32, 32), "i420", threads=4)
print(made())
fourtapscale.resize(large, (2000, 1900), threads=4)
print(made())
for _ in range(9):
    fourtapscale.resize(large, (2000, 1900), threads=4)
print(made())
scaler = fourtapscale.Scaler((2000, 2000), (2000, 1900), "rgb24")
of_one = scaler.nbytes
scaler.resize(large, threads=10**9)
print(made() < max(8, os.cpu_count()) and scaler.nbytes <= 16 * of_one)
""")
    assert done.stdout.split() == ["0", "3", "3", "True"], done.stderr


@pytest.mark.parametrize("threads", [1, 3])
def test_the_interpreter_ends_while_a_daemon_thread_scales(threads):
    code = f"""
import threading, time, numpy, fourtapscale
picture, out = (numpy.zeros((size, size, 3), numpy.uint8) for size in (1000, 1300))
def work():
    while True:
        fourtapscale.resize(picture, (1300, 1300), out=out, threads={threads})
threading.Thread(target=work, daemon=True).start()
time.sleep(.1)
"""
    for _ in range(5):
        done = run(sys.executable, "-c", code)
        assert (done.returncode, done.stderr) == (0, "")
