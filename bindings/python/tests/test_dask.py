"""Chunks of any extent give the whole picture's bytes, each from what it needs and nothing else."""

import collections

import numpy
import pytest

pytest.importorskip("dask.array", reason="package python3-dask is not there")
import dask.array  # noqa: E402

import fourtapscale  # noqa: E402
import fourtapscale.dask  # noqa: E402
from conftest import CHANNELS, picture  # noqa: E402
from page import run_example  # noqa: E402


def chunked(source, extent=(50, 64)):
    return dask.array.from_array(source, chunks=(*extent, *source.shape[2:]))


@pytest.mark.parametrize("layout", CHANNELS)
@pytest.mark.parametrize("steps", [True, False])
def test_chunks_of_any_extent(layout, steps):
    source = picture(layout, (230, 170))
    for size in ((150, 110), (400, 100), (46, 34), (230, 300), (230, 170), (2, 1)):
        whole = fourtapscale.resize(source, size, layout=layout, steps=steps)
        for chunks in (None, 32, (7, (size[0] - 2, 2)) if size[0] > 2 else (1, 2)):
            made = fourtapscale.dask.resize(chunked(source), size, chunks=chunks, layout=layout, steps=steps)
            assert made.shape == whole.shape and made.dtype == whole.dtype
            numpy.testing.assert_array_equal(made.compute(scheduler="threads"), whole, f"{size} {chunks}")


def test_channels_in_several_chunks_are_joined():
    source = picture("rgb24", (60, 40))
    array = dask.array.from_array(source, chunks=(20, 20, 1))
    made = fourtapscale.dask.resize(array, (30, 30), chunks=12)
    numpy.testing.assert_array_equal(made.compute(), fourtapscale.resize(source, (30, 30)))
    # What is the same has the same name, whatever numbers it was told with.
    same = fourtapscale.dask.resize(array, [numpy.int64(30), 30], chunks=(numpy.int64(12), [12, 12, 6]))
    assert same.name == made.name


def test_keys_that_look_like_arguments():
    source = picture("gray", (60, 40))
    whole = dask.array.from_delayed(dask.delayed(lambda: source)(dask_key_name="gray"), (40, 60), numpy.uint8)
    for array in (whole, whole.rechunk(13)):
        made = fourtapscale.dask.resize(array, (30, 20), chunks=16)
        numpy.testing.assert_array_equal(made.compute(), fourtapscale.resize(source, (30, 20)))


class Reads:
    """A source that remembers which of its pixels were read how often."""

    def __init__(self, source):
        self.source, self.shape, self.dtype, self.ndim = source, source.shape, source.dtype, source.ndim
        self.chunks = collections.Counter()

    def __getitem__(self, index):
        read = self.source[index]
        # dask looks at none of them too, to see what comes.
        if read.size:
            self.chunks[index[0].start, index[1].start] += 1
        return read


def test_every_chunk_is_read_once_and_only_where_it_is_needed():
    source = Reads(picture("gray", (400, 300)))
    whole = fourtapscale.resize(source.source, (200, 160))
    made = fourtapscale.dask.resize(dask.array.from_array(source, chunks=50, asarray=False), (200, 160), chunks=40)
    numpy.testing.assert_array_equal(made.compute(), whole)
    assert len(source.chunks) == 48 and set(source.chunks.values()) == {1}
    source.chunks.clear()
    numpy.testing.assert_array_equal(made[80:120, 40:80].compute(), whole[80:120, 40:80])
    x, y, width, height = fourtapscale.needed((400, 300), (200, 160), (40, 80, 40, 40))
    assert set(source.chunks) == {(line, column) for line in range(0, 300, 50) for column in range(0, 400, 50)
                                  if y - 50 < line < y + height and x - 50 < column < x + width}


def test_files(tmp_path):
    source = picture("rgb24", (300, 200))
    (tmp_path / "pixels").write_bytes(b"header" + source.tobytes())
    array = fourtapscale.dask.from_file(tmp_path / "pixels", (200, 300, 3), chunks=(64, 64, 3), offset=6)
    numpy.testing.assert_array_equal(fourtapscale.dask.resize(array, (99, 77)).compute(),
                                     fourtapscale.resize(source, (99, 77)))
    with pytest.raises(ValueError, match="180006 bytes given, expected at least 180007"):
        fourtapscale.dask.from_file(tmp_path / "pixels", (200, 300, 3), offset=7)


def test_worker_processes():
    distributed = pytest.importorskip("distributed", reason="package python3-distributed is not there")
    source = picture("rgb24", (500, 400))
    with distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None) as cluster:
        with distributed.Client(cluster):
            made = fourtapscale.dask.resize(chunked(source, (100, 100)), (333, 222))
            numpy.testing.assert_array_equal(made.compute(), fourtapscale.resize(source, (333, 222)))


def test_refusals():
    source = chunked(picture("rgb24", (60, 40)))
    packed = chunked(picture("uyvy", (60, 40)))
    for exception, words, call in (
            (TypeError, "array: ndarray given", lambda: fourtapscale.dask.resize(numpy.zeros((4, 4), "u1"), (2, 2))),
            (TypeError, "array: float64 of", lambda: fourtapscale.dask.resize(source / 2, (2, 2))),
            (ValueError, "array: shape .* given", lambda: fourtapscale.dask.resize(source[0, 0], (2, 2))),
            (ValueError, "all of them known", lambda: fourtapscale.dask.resize(source[source[:, 0, 0] > 3], (2, 2))),
            (ValueError, "sizes: 60x40 to 0x2 given", lambda: fourtapscale.dask.resize(source, (0, 2))),
            (TypeError, "size: 7 given", lambda: fourtapscale.dask.resize(source, 7)),
            (ValueError, r"array: uint8 of shape \(40, 60, 3\) given, expected 1 channel for",
             lambda: fourtapscale.dask.resize(source, (4, 4), layout="gray")),
            (ValueError, "expected even widths", lambda: fourtapscale.dask.resize(packed, (5, 4), layout="uyvy")),
            (ValueError, "chunks: .* expected even widths",
             lambda: fourtapscale.dask.resize(packed, (8, 4), layout="uyvy", chunks=3)),
            (ValueError, r"array: shape \(40, 60, 5\) given",
             lambda: fourtapscale.dask.resize(dask.array.zeros((40, 60, 5), dtype="u1"), (2, 2))),
            *((exception, "chunks: .* given, expected an extent, or .height, width.*make up 4 lines and 8 columns",
               lambda chunks=chunks: fourtapscale.dask.resize(source, (8, 4), chunks=chunks))
              for exception, chunks in (
                  (TypeError, (1, 2, 3)), (TypeError, 2.5), (TypeError, (2, "ab")),
                  (TypeError, numpy.zeros((40, 2, 2))), (ValueError, 0), (ValueError, (-1, 8)),
                  (ValueError, ((4, 0), 8)), (ValueError, (4, (4, 5)))))):
        with pytest.raises(exception, match=words):
            call()


def test_page(tmp_path):
    names = run_example("dask", tmp_path)
    assert names["small"].shape == (1000, 1500, 3)
    assert names["corner"].shape == (100, 100, 3)
