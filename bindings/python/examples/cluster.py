"""Scales a picture that is larger than the memory of those who scale it: two worker processes on this machine, first
from a file that they map into memory, then from zarr. Says what was read, what memory each worker took at most, and
whether the bytes are those of the whole picture. Ends with status 1 where they are not, or where more was read or taken
than meant.

    cluster.py [--size 20000] [--to 13000] [--chunk 1250] [--memory 250] [--folder FOLDER]
"""

import argparse
import os
import pathlib
import shutil
import sys
import tempfile
import threading
import time

import dask.array
import distributed
import numpy
import zarr

import fourtapscale
import fourtapscale.dask

MIB = 1 << 20


class Tally:
    """Bytes that all processes have read, in a file of each."""

    def __init__(self, folder):
        self.folder = str(folder)

    def add(self, count):
        with open(f"{self.folder}/read-{os.getpid()}-{threading.get_ident()}", "a") as file:
            file.write(f"{count}\n")

    def total(self):
        return sum(int(line) for path in pathlib.Path(self.folder).glob("read-*") for line in path.open())


class Mapped:
    """Pixels in a file, mapped into memory for each chunk that is read; what is sent to workers is its name."""

    def __init__(self, path, shape, tally):
        self.path, self.shape, self.tally = str(path), shape, tally
        self.dtype, self.ndim = numpy.dtype(numpy.uint8), len(shape)

    def __getitem__(self, index):
        chunk = numpy.array(numpy.memmap(self.path, self.dtype, "r", 0, self.shape)[index])
        self.tally.add(chunk.nbytes)
        return chunk


class Written:
    """Takes chunks into a file that is there already."""

    def __init__(self, path, shape):
        self.path, self.shape = str(path), shape
        with open(path, "wb") as file:
            file.truncate(int(numpy.prod(shape)))

    def __setitem__(self, index, chunk):
        numpy.memmap(self.path, numpy.uint8, "r+", 0, self.shape)[index] = chunk


class CountingStore(zarr.DirectoryStore):
    """Counts the bytes of chunks as they lie in their files, compressed."""

    def __init__(self, path, tally):
        super().__init__(path)
        self.tally = tally

    def __getitem__(self, key):
        value = super().__getitem__(key)
        if not key.startswith("."):
            self.tally.add(len(value))
        return value

    def __getstate__(self):
        return self.path, self.tally

    def __setstate__(self, state):
        self.__init__(*state)


class Watch(distributed.WorkerPlugin):
    """The most anonymous memory of a worker: what is its own, without the files that it has mapped."""

    name = "watch"

    def setup(self, worker):
        self.peak, self.first, self.ended = 0, anonymous_memory(), threading.Event()
        threading.Thread(target=self.look, daemon=True).start()

    def look(self):
        while not self.ended.wait(0.005):
            self.peak = max(self.peak, anonymous_memory())

    def teardown(self, worker):
        self.ended.set()


def anonymous_memory():
    with open("/proc/self/status") as status:
        return next(int(line.split()[1]) << 10 for line in status if line.startswith("RssAnon"))


def peaks(dask_worker):
    watch = dask_worker.plugins["watch"]
    return watch.first, watch.peak


def draw(path, size):
    """A picture of noise on waves, in a file."""
    rng = numpy.random.default_rng(1)
    across = numpy.arange(size, dtype=numpy.uint32)[:, None] * numpy.array([3, 5, 7], numpy.uint32)
    with open(path, "wb") as file:
        for first in range(0, size, 200):
            lines = numpy.arange(first, min(first + 200, size), dtype=numpy.uint32)[:, None, None]
            noise = rng.integers(0, 64, (len(lines), size, 3), numpy.uint8)
            ((((lines * across) >> 9) & 191).astype(numpy.uint8) + noise).tofile(file)


def is_whole_pictures(source, scaled):
    """Compares with the whole picture's bytes, made in this process some lines at a time."""
    height, width = scaled.shape[:2]
    return all(numpy.array_equal(scaled[top:top + 500],
                                 fourtapscale.resize(source, (width, height),
                                                     rect=(0, top, width, min(500, height - top))))
               for top in range(0, height, 500))


def scale(name, client, picture, size, store, tally, source_bytes, source, most_memory):
    started = time.monotonic()
    small = fourtapscale.dask.resize(picture, size)
    stored = client.persist(small.store(store, lock=False, compute=False))
    distributed.progress(stored, notebook=False)
    distributed.wait(stored)
    client.gather(stored)
    seconds = time.monotonic() - started
    memory = client.run(peaks)
    equal = is_whole_pictures(source, numpy.memmap(store.path, numpy.uint8, "r", 0, store.shape))
    print(f"\n{name}: {len(small.__dask_graph__())} tasks in {seconds:.1f} s; bytes read / source "
          f"{tally.total() / source_bytes:.4f}; anonymous memory per worker, MiB: "
          + ", ".join(f"{peak / MIB:.0f} ({first / MIB:.0f} before)" for first, peak in memory.values())
          + f"; the whole picture's bytes: {'yes' if equal else 'NO'}")
    return equal and tally.total() <= 1.02 * source_bytes and all(peak <= most_memory for _, peak in memory.values())


def main():
    parser = argparse.ArgumentParser(description="Scales a picture on two worker processes.")
    parser.add_argument("--size", type=int, default=20000, help="of the source, in both directions")
    parser.add_argument("--to", type=int, default=13000, help="of the output")
    parser.add_argument("--chunk", type=int, default=1250, help="of the source's chunks")
    parser.add_argument("--memory", type=int, default=250, help="MiB that a worker may take")
    parser.add_argument("--folder", help="where the files go, about three times the source; removed at the end")
    arguments = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="fourtapscale-", dir=arguments.folder))
    size, shape = (arguments.to, arguments.to), (arguments.size, arguments.size, 3)
    chunks = (arguments.chunk, arguments.chunk, 3)
    good = True
    try:
        draw(folder / "source", arguments.size)
        source = numpy.memmap(folder / "source", numpy.uint8, "r", 0, shape)
        print(f"{source.nbytes / MIB:.0f} MiB in chunks of {numpy.prod(chunks) / MIB:.1f} MiB, to "
              f"{3 * size[0] * size[1] / MIB:.0f} MiB; {arguments.memory} MiB for each of two workers")
        for name in ("memory map", "zarr"):
            tally = Tally(tempfile.mkdtemp(dir=folder))
            if name == "memory map":
                picture = dask.array.from_array(Mapped(folder / "source", shape, tally), chunks=chunks)
                source_bytes = source.nbytes
            else:
                kept = zarr.open(str(folder / "zarr"), "w", shape=shape, chunks=chunks, dtype="u1")
                for top in range(0, arguments.size, arguments.chunk):
                    kept[top:top + arguments.chunk] = source[top:top + arguments.chunk]
                source_bytes = sum(path.stat().st_size for path in (folder / "zarr").iterdir() if path.name[0] != ".")
                picture = dask.array.from_zarr(zarr.open(CountingStore(str(folder / "zarr"), tally), "r"))
            store = Written(folder / "scaled", (*size[::-1], 3))
            workers = {"n_workers": 2, "threads_per_worker": 1, "memory_limit": f"{arguments.memory}MiB"}
            with distributed.LocalCluster(**workers, dashboard_address=None, local_directory=str(folder)) as cluster:
                with distributed.Client(cluster) as client:
                    client.register_worker_plugin(Watch())
                    good &= scale(name, client, picture, size, store, tally, source_bytes, source,
                                  arguments.memory * MIB)
    finally:
        shutil.rmtree(folder)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
