"""Pictures in chunks: dask arrays in, dask arrays out, to the bytes of the whole picture.

    small = fourtapscale.dask.resize(picture, (13000, 13000))

Every chunk of the output is made of just the source chunks that it needs, on threads, on processes, or on a cluster of
dask.distributed; workers need this package too. It pays where a picture does not fit the memory of one process, or
where its chunks lie on several machines: a picture that fits is scaled faster by fourtapscale.resize.
"""

from __future__ import annotations

import functools
import itertools
import math
import numbers
import operator
import os
from typing import Any, Sequence

import dask.array
import numpy
from dask.base import tokenize
from dask.highlevelgraph import HighLevelGraph

from . import Alpha, Rect, Size, _core

__all__ = ["from_file", "resize"]

# By the channels in a shape.
_USUAL = {(): "gray", (1,): "gray", (2,): "uv16", (3,): "rgb24", (4,): "rgba32"}
Chunks = int | tuple[int | Sequence[int], int | Sequence[int]] | None


def resize(array: Any, size: Size, *, chunks: Chunks = None, layout: str | None = None, steps: bool = True,
           alpha: Alpha = "multiply") -> Any:
    """Returns a dask array of the picture in another size; nothing is scaled before it is computed.

    array   a dask array, (height, width) or (height, width, channels), uint8. Chunks of some megabytes are best;
            channels are joined where they lie in several chunks
    size    (width, height) of the output
    chunks  of the output: an extent for both directions, or (height, width), each an extent or the extents of all
            chunks. None: where those of the source come to lie
    layout, steps, alpha  as for fourtapscale.resize. Chunks of packed layouts begin in even columns
    """
    if not isinstance(array, dask.array.Array):
        raise TypeError(f"array: {type(array).__name__} given, expected a dask array")
    if array.dtype != numpy.uint8:
        raise TypeError(f"array: {array.dtype} of shape {array.shape} given, expected uint8")
    if array.ndim not in (2, 3) or any(map(math.isnan, array.shape)) or array.shape[2:] not in _USUAL:
        raise ValueError(f"array: shape {array.shape} given, expected (height, width), or (height, width, channels) "
                         f"with 1 to 4 channels, all of them known")
    if array.ndim == 3 and array.numblocks[2] > 1:
        array = array.rechunk({2: -1})
    if layout is None:
        layout = _USUAL[array.shape[2:]]
    source_size = (array.shape[1], array.shape[0])
    # Refuses what can't be scaled, and tells what comes out.
    pixels = numpy.zeros((1, 2, *array.shape[2:]), numpy.uint8)
    try:
        one = _core.resize(pixels, (2, 1), layout, None, None, 1, steps, alpha)
    except (TypeError, ValueError) as refusal:
        words = str(refusal).replace(f"image: uint8 of shape {pixels.shape}", f"array: uint8 of shape {array.shape}")
        raise type(refusal)(words) from None
    _core.needed(source_size, size, None, layout, steps, alpha)
    size = (int(size[0]), int(size[1]))
    pairs = _core.plane_sizes(layout, (2, 1))[0][0] in ("uyvy", "yuy2")
    heights, widths = _chunks(array, size, chunks, 2 if pairs else 1)

    name = "fourtapscale-" + tokenize(array, size, heights, widths, layout, steps, alpha)
    columns, lines = _places(array.chunks[1]), _places(array.chunks[0])
    graph: dict[Any, Any] = {}
    for (row, (top, height)), (column, (left, width)) in itertools.product(
            enumerate(_places(heights)), enumerate(_places(widths))):
        rect = (left, top, width, height)
        need = _core.needed(source_size, size, rect, layout, steps, alpha)
        across, down = _pieces(columns, need[0], need[2]), _pieces(lines, need[1], need[3])
        pieces: list[list[Any]] = []
        for block_row, first_line, line_count in down:
            pieces.append([])
            for block_column, first_column, column_count in across:
                block = (array.name, block_row, block_column, *([0] * (array.ndim - 2)))
                whole = (line_count, column_count) == (array.chunks[0][block_row], array.chunks[1][block_column])
                if not whole:
                    # A task of its own, which many output chunks may share: the rest of the block can go.
                    piece = ("fourtapscale-piece-" + name, block_row, first_line, line_count, block_column,
                             first_column, column_count)
                    cut = functools.partial(_piece, first_line, line_count, first_column, column_count)
                    graph[piece] = (cut, block)
                    block = piece
                pieces[-1].append(block)
        key = (name, row, column, *([0] * (one.ndim - 2)))
        graph[key] = (functools.partial(_tile, need[:2], source_size, size, rect, layout, steps, alpha), pieces)
    made = HighLevelGraph.from_collections(name, graph, dependencies=[array])
    return dask.array.Array(made, name, (heights, widths, *((extent,) for extent in one.shape[2:])), numpy.uint8)


def _places(extents: Sequence[int]) -> list[tuple[int, int]]:
    """Where each chunk begins, and how long it is."""
    ends = list(itertools.accumulate(extents))
    return [(end - extent, extent) for end, extent in zip(ends, extents)]


def _pieces(places: Sequence[tuple[int, int]], first: int, count: int) -> list[tuple[int, int, int]]:
    """The blocks of one direction that hold some of these samples: number, first sample in it, samples of it."""
    found = []
    for number, (begin, extent) in enumerate(places):
        start, end = max(first, begin), min(first + count, begin + extent)
        if start < end:
            found.append((number, start - begin, end - start))
    return found


def _chunks(array: Any, size: Size, chunks: Chunks, unit: int) -> tuple[tuple[int, ...], tuple[int, ...]]:
    """Extents of the output's chunks, downwards and across."""
    if chunks is None:
        return (_scaled(array.chunks[0], size[1], 1), _scaled(array.chunks[1], size[0], unit))
    words = " ".join(repr(chunks).split())
    refusal = (f"chunks: {words:.100} given, expected an extent, or (height, width), each an extent or extents that "
               f"make up {size[1]} lines and {size[0]} columns")
    try:
        both = (chunks, chunks) if isinstance(chunks, (int, numbers.Integral)) else tuple(chunks)
        heights, widths = (_extents(given, total) for given, total in zip(both, (size[1], size[0]), strict=True))
    except (TypeError, ValueError):
        raise TypeError(refusal) from None
    if min(heights + widths, default=0) < 1 or (sum(widths), sum(heights)) != size:
        raise ValueError(refusal)
    if any(extent % unit for extent in widths):
        raise ValueError(f"chunks: {str(widths):.100} across given, expected even widths: two pixels share chroma")
    return heights, widths


def _extents(given: Any, total: int) -> tuple[int, ...]:
    """Of all chunks in one direction."""
    if not isinstance(given, numbers.Integral):
        return tuple(operator.index(extent) for extent in given)
    extent = max(int(given), 0)
    whole, rest = divmod(total, extent) if extent else (0, 0)
    return (extent,) * whole + (rest,) * (rest > 0)


def _scaled(extents: Sequence[int], total: int, unit: int) -> tuple[int, ...]:
    """The source's chunks as they come to lie in the output; those of no extent are joined to others."""
    source = sum(extents)
    ends = [end * total // source // unit * unit for end in itertools.accumulate(extents)]
    ends[-1] = total
    return tuple(end - begin for begin, end in zip([0, *ends], ends) if end > begin)


# Tasks are these functions, all arguments but the last one bound: others might be taken for keys of the graph.
def _piece(first_line: int, lines: int, first_column: int, columns: int, block: Any) -> Any:
    piece = numpy.asarray(block)[first_line:first_line + lines, first_column:first_column + columns]
    # Nearly all of a block costs less than a copy of it; of others the rest must be free to go.
    return piece if 2 * piece.nbytes > block.nbytes else piece.copy()


def _tile(origin: tuple[int, int], source_size: Size, size: Size, rect: Rect, layout: str, steps: bool, alpha: Alpha,
          pieces: list[list[Any]]) -> Any:
    if len(pieces) == len(pieces[0]) == 1:
        part = numpy.asarray(pieces[0][0])
    else:
        rows = [row[0] if len(row) == 1 else numpy.concatenate(row, axis=1) for row in pieces]
        part = numpy.concatenate(rows, axis=0)
    return _core.resize_part(part, origin, source_size, size, rect, layout, None, steps, alpha)


class _File:
    """Pixels in a file, opened for each chunk: what is sent to workers is its name."""

    def __init__(self, path: str, shape: tuple[int, ...], offset: int) -> None:
        self.path, self.shape, self.offset = path, shape, offset
        self.dtype, self.ndim = numpy.dtype("uint8"), len(shape)

    def __getitem__(self, index: Any) -> Any:
        return numpy.array(numpy.memmap(self.path, self.dtype, "r", self.offset, self.shape)[index])


def from_file(path: str | os.PathLike[str], shape: tuple[int, ...], *, chunks: Any = "auto",
              offset: int = 0) -> Any:
    """Returns a dask array over the pixels in a file, of which each chunk is mapped into memory when it is read.

    path    as workers see it
    shape   (height, width) or (height, width, channels)
    chunks  as for dask.array.from_array
    offset  bytes before the first pixel
    """
    path = os.fspath(path)
    expected = offset + math.prod(shape)
    there = os.stat(path)
    if there.st_size < expected:
        raise ValueError(f"{path}: {there.st_size} bytes given, expected at least {expected} for the shape {shape}")
    name = "fourtapscale-file-" + tokenize(path, there.st_mtime_ns, there.st_size, shape, chunks, offset)
    return dask.array.from_array(_File(path, tuple(shape), offset), chunks=chunks, name=name)
