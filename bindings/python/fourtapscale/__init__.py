"""Resizes 8-bit pictures and video frames in NumPy arrays, to the same bytes on every machine.

    scaled = fourtapscale.resize(picture, (1280, 720))

Arrays hold bytes (uint8) by lines: shape (height, width), or (height, width, channels). Sizes, rectangles and places
are in pixels, width and x first: (width, height), (x, y, width, height), (x, y). Whatever has the buffer protocol will
do for an array. The bytes of output pixel (x, y) depend on the picture, the sizes, and the keywords `layout`, `steps`
and `alpha` alone: not on the processor, nor on rectangles, slices, parts, strides or threads.

layout  What the channels are, by name in any case. Where none is given, their number says it:

        | channels | names                                        | without a name |
        |----------|----------------------------------------------|----------------|
        | none, 1  | gray                                         | gray           |
        | 2        | uv16 (chroma of NV12), ya8 (gray with alpha) | uv16           |
        | 2        | uyvy, vyuy, yuy2, yvyu: packed 4:2:2         |                |
        | 3        | rgb24, bgr24                                 | rgb24          |
        | 4        | rgba32, bgra, argb, abgr; rgb32 (no alpha,   | rgba32         |
        |          | its fourth byte comes out as 0)              |                |

steps   True: a direction that shrinks to less than half is filtered as widely as it needs, and a picture of equal size
        is passed on. False: one pass of the four-tap filter, whatever the sizes.
alpha   What becomes of alpha, in layouts that have it: 'multiply' (colours are multiplied by it before they are
        filtered, and divided after), 'straight' (filtered like a colour), 'drop' (left away: a channel less comes out),
        or a colour that the picture is laid onto, three numbers from 0 to 255 in the order of the channels (a channel
        less comes out). None: no channel is alpha.

Errors: TypeError for what is no number, no picture or not of bytes, ValueError for sizes, shapes, layouts and memory
that don't fit, MemoryError. They name the argument, what it was and what was expected; nothing is written then.

Threads: every function and every Scaler may be called by any threads at once; the interpreter's lock is released while
pixels are made. An array must not be written to meanwhile.
"""

from __future__ import annotations

from collections.abc import Iterable, Iterator, Sequence
from typing import Any, Literal

import numpy

from . import _core

Array = numpy.ndarray[Any, numpy.dtype[numpy.uint8]]
# What the buffer protocol has no type for before Python 3.12.
Image = Any
Size = tuple[int, int]
Point = tuple[int, int]
Rect = tuple[int, int, int, int]
Alpha = Literal["multiply", "straight", "drop"] | tuple[int, int, int] | None

__all__ = ["Scaler", "formats", "frame_bytes", "frame_planes", "needed", "plane_shapes", "resize", "resize_frame",
           "resize_part", "__version__"]
__version__: str = _core.version()


def resize(image: Image, size: Size, *, layout: str | None = None, rect: Rect | None = None,
           out: Image | None = None, threads: int = 1, steps: bool = True, alpha: Alpha = "multiply") -> Array:
    """Returns a picture in another size, or a rectangle of it.

    image    (height, width) or (height, width, channels), uint8, of any strides. What has gaps between pixels, or its
             channels in another order, is copied first, as far as it is needed; lines in any distance and order are not
    size     (width, height) of the whole output
    layout   see the package
    rect     (x, y, width, height): the part of the output that is made. None: all of it
    out      where it goes: an array of the shape that would be returned, its pixels without gaps, its lines in any
             distance and order, and from its first byte to its last apart from the image. None: new memory
    threads  at most so many, where they pay; 0: as many as this process has processors. Never more than these, or than
             8 where they are fewer
    steps    see the package
    alpha    see the package

    Returns `out`, or a new array of shape (height, width), or with channels as the image has them.
    Scalers are kept for the sizes that were used last, so that calls with sizes of before are cheap.
    """
    return _core.resize(image, size, layout, rect, out, threads, steps, alpha)


def resize_part(part: Image, origin: Point, source_size: Size, size: Size, rect: Rect, *, layout: str | None = None,
                out: Image | None = None, steps: bool = True, alpha: Alpha = "multiply") -> Array:
    """Returns a rectangle of the output, from a part of a picture that holds what is needed for it.

    part         a rectangle of the source; shape and strides as for resize
    origin       (x, y) of it in the source
    source_size  (width, height) of the whole source
    size         (width, height) of the whole output
    rect         (x, y, width, height): the part of the output that is made

    The others as for resize.
    """
    return _core.resize_part(part, origin, source_size, size, rect, layout, out, steps, alpha)


def needed(source_size: Size, size: Size, rect: Rect | None = None, *, layout: str = "gray", steps: bool = True,
           alpha: Alpha = "multiply") -> Rect:
    """Returns (x, y, width, height) of the part of a source that a rectangle of the output is made of.

    The arguments as for resize_part. Layout and alpha have a say in it: pairs need pairs, some filters are wider.
    """
    return _core.needed(source_size, size, rect, layout, steps, alpha)


class Scaler:
    """Scales pictures of one size and layout to another size, and keeps what it needs for it.

    source_size  (width, height) of what comes
    size         (width, height) of what is made
    layout, steps, alpha  see the package

    Any threads may call it at once, each with its own memory of the scaler's; but only one at a time may push lines.
    A scaler that was pickled comes back without the lines that were pushed.
    """

    __slots__ = ("_core", "_arguments")

    def __init__(self, source_size: Size, size: Size, layout: str, *, steps: bool = True,
                 alpha: Alpha = "multiply") -> None:
        self._core = _core.Scaler(source_size, size, layout, steps, alpha)
        colour = alpha if alpha is None or isinstance(alpha, str) else (int(alpha[0]), int(alpha[1]), int(alpha[2]))
        self._arguments = ((int(source_size[0]), int(source_size[1])), (int(size[0]), int(size[1])), str(layout),
                           bool(steps), colour)

    @property
    def source_size(self) -> Size:
        """(width, height) of what comes."""
        return self._arguments[0]

    @property
    def size(self) -> Size:
        """(width, height) of what is made."""
        return self._arguments[1]

    @property
    def layout(self) -> str:
        """The layout's name."""
        return self._arguments[2]

    @property
    def nbytes(self) -> int:
        """Bytes of memory that it takes at the moment, for each thread that has used it."""
        return self._core.nbytes

    def needed(self, rect: Rect | None = None) -> Rect:
        """Returns (x, y, width, height) of the part of the source that a rectangle of the output is made of."""
        return self._core.needed(rect)

    def resize(self, image: Image, *, rect: Rect | None = None, out: Image | None = None,
               threads: int = 1) -> Array:
        """Returns the picture in the other size, or a rectangle of it; see fourtapscale.resize."""
        return self._core.resize(image, rect, out, threads)

    def resize_part(self, part: Image, origin: Point, rect: Rect, *, out: Image | None = None) -> Array:
        """Returns a rectangle of the output, from a part of the source; see fourtapscale.resize_part."""
        return self._core.resize_part(part, origin, rect, out)

    def push(self, lines: Image) -> Array:
        """Takes the picture's next lines, and returns the output lines that they allow, which may be none.

        lines  (n, width) or (n, width, channels)

        Once a picture has all its lines, all of the output has been returned, and no more are taken until reset().
        Some lines may come later than lines_needed tells. RuntimeError while another push is under way; and until
        reset() where the output of a push is lost, for want of memory, or since the process was forked meanwhile.
        """
        return self._core.push(lines)

    def slices(self, lines: Iterable[Image]) -> Iterator[Array]:
        """Begins a picture, pushes all its lines, slice by slice, and yields the output lines that come, never none."""
        self._core.reset()
        for some in lines:
            scaled = self._core.push(some)
            if len(scaled):
                yield scaled
        if self._core.lines_left:
            raise ValueError(f"lines: {self.source_size[1] - self._core.lines_left} given, expected "
                             f"{self.source_size[1]}")

    def lines_needed(self, line: int) -> int:
        """Returns how many lines must have been pushed before a line of the output can come; all of them for an output
        of one pixel or two."""
        return self._core.lines_needed(line)

    def reset(self) -> None:
        """Begins the next picture, whatever became of the one before."""
        self._core.reset()

    def __reduce__(self) -> tuple[Any, ...]:
        return _scaler, (type(self), *self._arguments), getattr(self, "__dict__", None)

    def __repr__(self) -> str:
        source_size, size, layout, steps, alpha = self._arguments
        return f"Scaler({source_size}, {size}, {layout!r}, steps={steps}, alpha={alpha!r})"


def _scaler(kind: type[Scaler], source_size: Size, size: Size, layout: str, steps: bool, alpha: Alpha) -> Scaler:
    # Kinds of others' may be made otherwise.
    scaler = kind.__new__(kind)
    Scaler.__init__(scaler, source_size, size, layout, steps=steps, alpha=alpha)
    return scaler


def formats() -> tuple[tuple[str, ...], ...]:
    """Returns the formats of whole frames that are known: of each all its names, the usual one first."""
    return tuple(tuple(names.split(" ")) for names in _core.formats())


def plane_shapes(format: str, size: Size) -> tuple[tuple[int, ...], ...]:
    """Returns the shape of each plane of a frame: (height, width), or (height, width, channels).

    format  a name of formats(), such as 'nv12' or 'i420'
    size    (width, height) of the frame
    """
    channels = {"gray": (), "rgb24": (3,), "rgb32": (4,), "rgba32": (4,), "uv16": (2,), "uyvy": (2,), "yuy2": (2,)}
    return tuple((height, width, *channels[layout]) for layout, width, height in _core.plane_sizes(format, size))


def frame_bytes(format: str, size: Size) -> int:
    """Returns how many bytes a frame has whose planes lie one after the other."""
    total = 0
    for shape in plane_shapes(format, size):
        count = 1
        for extent in shape:
            count *= extent
        total += count
    return total


def frame_planes(frame: Image, size: Size, format: str) -> tuple[Array, ...]:
    """Returns the planes of a frame that lie one after the other, as arrays over its memory; nothing is copied.

    frame   frame_bytes(format, size) bytes, in an array of any shape without gaps, or another object with a buffer
    size    (width, height) of the frame
    format  a name of formats()
    """
    expected = frame_bytes(format, size)
    view = _view(frame, "frame")
    is_bytes = view.format.lstrip("@=<>!") == "B"
    if not is_bytes or view.nbytes != expected or not view.c_contiguous:
        raise (ValueError if is_bytes else TypeError)(
            f"frame: {getattr(frame, 'dtype', f'items {view.format!r}')} of shape {view.shape} given, expected "
            f"{expected} bytes (uint8) without gaps for {format} of {size[0]}x{size[1]} pixels")
    flat = numpy.frombuffer(view, numpy.uint8)
    planes = []
    first = 0
    for shape in plane_shapes(format, size):
        count = int(numpy.prod(shape))
        planes.append(flat[first:first + count].reshape(shape))
        first += count
    return tuple(planes)


def resize_frame(planes: Sequence[Image], size: Size, format: str, *, out: Sequence[Image] | None = None,
                 threads: int = 1, steps: bool = True) -> tuple[Array, ...]:
    """Returns a frame in another size: its planes, in the order of the format, each scaled as it is.

    planes   of the shapes that plane_shapes tells for the frame's size, which is that of the first of them
    size     (width, height) of the output
    format   a name of formats(), such as 'nv12' or 'i420'
    out      where the planes go, as for resize; frame_planes makes them of one block. None: new memory
    threads, steps  as for resize; alpha is a plane, or a channel, like others
    """
    return tuple(_core.resize_planes(_planes_to_scale(planes, size, format, out), threads, steps))


def _view(given: Image, name: str) -> memoryview:
    try:
        return memoryview(given)
    except (TypeError, ValueError, BufferError):
        raise TypeError(f"{name}: {type(given).__name__} given, expected uint8 in an array, or in another object with "
                        f"a buffer") from None


def _listed(given: Iterable[Image], name: str, expected: str) -> list[Image]:
    try:
        return list(given)
    except TypeError:
        raise TypeError(f"{name}: {type(given).__name__} given, expected {expected}") from None


def _planes_to_scale(planes: Sequence[Image], size: Size, format: str,
                     out: Sequence[Image] | None) -> list[tuple[Image, Size, str, Image | None]]:
    """The planes with their sizes, layouts and targets, if they are those of a frame."""
    targets = _core.plane_sizes(format, size)
    planes = _listed(planes, "planes", f"the {len(targets)} of {format}")
    outs = [None] * len(targets) if out is None else _listed(out, "out", f"the {len(targets)} of {format}, or None")
    for name, given in (("planes", planes), ("out", outs)):
        if len(given) != len(targets):
            raise ValueError(f"{name}: {len(given)} given, expected the {len(targets)} of {format}")
    shapes = [_view(plane, "planes").shape or () for plane in planes]
    if any(len(shape) < 2 for shape in shapes):
        raise ValueError(f"planes: of shapes {shapes} given, expected {len(targets)} of (height, width) and more")
    frame = (shapes[0][1], shapes[0][0])
    expected = [shape[:2] for shape in plane_shapes(format, frame)]
    if [tuple(shape[:2]) for shape in shapes] != expected:
        raise ValueError(f"planes: of shapes {shapes} given, expected (height, width) to be {expected} for {format} of "
                         f"{frame[0]}x{frame[1]} pixels")
    return [(plane, (width, height), layout, target)
            for plane, target, (layout, width, height) in zip(planes, outs, targets)]
