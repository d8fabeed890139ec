"""Threads: many at one scaler, bands on helpers, forks while helpers are there, and the interpreter's lock."""

import concurrent.futures
import multiprocessing
import os
import sys
import threading

import numpy

import fourtapscale
from conftest import picture

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
    assert all("another thread is pushing" in words or "which are left" in words for words in said)
    numpy.testing.assert_array_equal(numpy.concatenate(list(scaler.slices([LARGE[:500], LARGE[500:]]))), LARGE_SCALED)


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


def child(connection):
    scaled = fourtapscale.resize(LARGE, (800, 600), threads=3)
    connection.send(numpy.array_equal(scaled, LARGE_SCALED))


def test_forked_children_make_helpers_of_their_own():
    fourtapscale.resize(LARGE, (800, 600), threads=3)
    context = multiprocessing.get_context("fork")
    stop = threading.Event()

    def keep_busy():
        while not stop.is_set():
            fourtapscale.resize(LARGE, (800, 600), threads=3)
    busy = [threading.Thread(target=keep_busy) for _ in range(2)]
    for thread in busy:
        thread.start()
    try:
        for _ in range(8):
            here, there = context.Pipe()
            process = context.Process(target=child, args=(there,))
            process.start()
            assert here.poll(60), "the child does not answer"
            assert here.recv()
            process.join(60)
            assert process.exitcode == 0
    finally:
        stop.set()
        for thread in busy:
            thread.join()


def test_helpers_stay():
    """Threads are made once, not for each call."""
    def threads():
        return len(os.listdir("/proc/self/task"))
    fourtapscale.resize(LARGE, (800, 600), threads=4)
    count = threads()
    for _ in range(20):
        fourtapscale.resize(LARGE, (800, 600), threads=4)
    assert threads() == count
