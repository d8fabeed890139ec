"""Times the package beside the library's own functions and beside other scalers, and prints the page's table: bench.py
[--calls LIBRARY]

Microseconds of processor time of one thread, the least of several rounds in which all take turns in any order, on the
same arrays. LIBRARY is the target fourtapscale_calls of the build, which calls the functions for C. What is not
installed has no figures.
"""

import argparse
import ctypes
import functools
import importlib
import random
import time

import numpy

import fourtapscale

# Name, pixels' number in fourtap.h, channels, source, output, calls in a round.
CASES = [("RGB 16x16 to 12x12", 1, (3,), (16, 16), (12, 12), 10000),
         ("gray 320x240 to 160x120", 0, (), (320, 240), (160, 120), 1000),
         ("RGB 1920x1080 to 1280x720", 1, (3,), (1920, 1080), (1280, 720), 20),
         ("RGB 1280x720 to 1920x1080", 1, (3,), (1280, 720), (1920, 1080), 20),
         ("RGB 4000x3000 to 224x224", 1, (3,), (4000, 3000), (224, 224), 5),
         ("RGBA 1024x768 to 640x480", 101, (4,), (1024, 768), (640, 480), 20)]
ROUNDS = 21


def time_of(call, count):
    call()
    start = time.thread_time_ns()
    for _ in range(count):
        call()
    return (time.thread_time_ns() - start) / count


class Lines(ctypes.Structure):
    _fields_ = [("data", ctypes.c_void_p), ("bytes", ctypes.c_size_t), ("stride", ctypes.c_ssize_t)]


def functions_for_c(library):
    function = ctypes.CDLL(library).TimeCalls
    function.restype = ctypes.c_longlong
    function.argtypes = [ctypes.c_int, Lines, ctypes.c_int, ctypes.c_int, Lines, *3 * [ctypes.c_int]]
    return function


def have(module):
    try:
        return importlib.import_module(module)
    except ImportError:
        return None


def main():
    parser = argparse.ArgumentParser(description="Times the package beside others.")
    parser.add_argument("--calls", help="the library that calls the functions for C")
    arguments = parser.parse_args()
    time_calls = functions_for_c(arguments.calls) if arguments.calls else None
    cv2, pillow = have("cv2"), have("PIL.Image")
    if cv2:
        cv2.setNumThreads(1)
    names = ["C", "resize()", "into `out`", "OpenCV cubic", "OpenCV linear", "Pillow bicubic"]
    print("| us | " + " | ".join(names) + " |\n|---|" + "---:|" * len(names))
    for name, pixels, channels, source_size, size, count in CASES:
        source = numpy.random.default_rng(1).integers(0, 256, (*source_size[::-1], *channels), numpy.uint8)
        out = fourtapscale.resize(source, size)
        calls = {"resize()": lambda: fourtapscale.resize(source, size),
                 "into `out`": lambda: fourtapscale.resize(source, size, out=out)}
        if cv2:
            calls["OpenCV cubic"] = lambda: cv2.resize(source, size, interpolation=cv2.INTER_CUBIC)
            calls["OpenCV linear"] = lambda: cv2.resize(source, size, interpolation=cv2.INTER_LINEAR)
        if pillow:
            image = pillow.fromarray(source)
            calls["Pillow bicubic"] = lambda: image.resize(size, pillow.BICUBIC)
        timers = {other: functools.partial(time_of, call, count) for other, call in calls.items()}
        if time_calls:
            lines = [Lines(array.ctypes.data, array.nbytes, 0) for array in (source, out)]
            timers["C"] = functools.partial(time_calls, pixels, lines[0], *source_size, lines[1], *size, count)
        figures = {other: [] for other in timers}
        for _ in range(ROUNDS):
            # What comes before leaves the caches as it likes.
            for other in random.sample(list(timers), len(timers)):
                figures[other].append(timers[other]() / 1000)
        least = [min(figures[other]) if other in figures else None for other in names]
        cells = ["" if f is None else f"{f:.2f}" if f < 10 else f"{f:.0f}" for f in least]
        print(f"| {name} | " + " | ".join(cells) + " |")


if __name__ == "__main__":
    main()
