"""What the library means, in closed form over whole arrays: docs/arithmetic.md in NumPy. Shares no code with the
library."""

import numpy

TAPS = numpy.array([
    [14, 36, 14, 0], [13, 35, 16, 0], [11, 35, 18, 0], [9, 35, 20, 0], [8, 34, 21, 1], [6, 33, 24, 1], [5, 32, 25, 2],
    [4, 30, 28, 2], [3, 29, 29, 3], [2, 28, 30, 4], [2, 25, 32, 5], [1, 24, 33, 6], [1, 21, 34, 8], [0, 20, 35, 9],
    [0, 18, 35, 11], [0, 16, 35, 13]])

# Of each layout, by columns of a line: the samples that are filtered together, first and distance, and pixels for each.
PACKED = {"uyvy": [(0, 4, 2), (1, 2, 1), (2, 4, 2)], "yuy2": [(0, 2, 1), (1, 4, 2), (3, 4, 2)]}


def nearest(dividend, divisor):
    return (2 * dividend + divisor) // (2 * divisor)


def four_taps(samples, n_out, axis):
    n_in = samples.shape[axis]
    numerators = numpy.arange(n_out, dtype=numpy.int64) * n_in + max(0, n_in - n_out) // 2
    taps = TAPS[16 * numerators // n_out % 16]
    total = 0
    for t in range(4):
        place = numpy.clip(numerators // n_out - 1 + t, 0, n_in - 1)
        weights = taps[:, t].reshape([-1 if a == axis else 1 for a in range(samples.ndim)])
        total = total + weights * numpy.take(samples, place, axis)
    return total >> 6


def is_far(n_in, n_out):
    return n_in > 2 * n_out


def halvings(n_in, n_out):
    count = 0
    while is_far(n_in, n_out) and n_in >= 4 * n_out << count:
        count += 1
    return count


def halved(samples, axes, up):
    for axis in axes:
        if samples.shape[axis] % 2:
            last = numpy.take(samples, [-1], axis)
            samples = numpy.concatenate([samples, last], axis)
    total = samples
    for axis in axes:
        even = numpy.take(total, range(0, total.shape[axis], 2), axis)
        total = even + numpy.take(total, range(1, total.shape[axis], 2), axis)
    count = 2 ** len(axes)
    return nearest(total, count) if up else -nearest(-total, count)


def cubic(t, gentle):
    one = 1 << 16
    if gentle:
        return (2 * t**3 - 3 * t**2 * one + one**3) // one**2
    if t < one:
        return (3 * t**3 - 5 * t**2 * one + 2 * one**3) // (2 * one**2)
    return (-t**3 + 5 * t**2 * one - 8 * t * one**2 + 4 * one**3) // (2 * one**2)


def wide_taps(n_in, n_out, levels, gentle, blocks):
    """A row of weights over all blocks for each output sample; those outside stand for the edge."""
    matrix = numpy.zeros((n_out, blocks), numpy.int64)
    for i in range(n_out):
        middle = (2 * i + 1) * n_in
        between = 2 * n_out << levels
        weights = []
        for block in range((middle - 4 * n_in) // between - 2, (middle + 4 * n_in) // between + 2):
            distance = abs(block * between + between // 2 - middle)
            if distance < (2 if gentle else 4) * n_in:
                weights.append((block, cubic(distance * 32768 // n_in, gentle)))
        everything = sum(weight for _, weight in weights)
        total = before = 0
        for block, weight in weights:
            total += weight
            up_to_here = nearest(128 * total, everything)
            matrix[i, min(max(block, 0), blocks - 1)] += up_to_here - before
            before = up_to_here
    return matrix


def reduced(samples, cx_out, cy_out, gentle):
    """Samples by lines and columns; only the directions that shrink to less than half."""
    cy_in, cx_in = samples.shape[:2]
    down, along = halvings(cy_in, cy_out), halvings(cx_in, cx_out)
    for level in range(max(down, along)):
        axes = [axis for axis, count in ((0, down), (1, along)) if level < count]
        samples = halved(samples, axes, up=len(axes) == 2 or level % 2 == 0)
    for axis, n_in, n_out, levels in ((0, cy_in, cy_out, down), (1, cx_in, cx_out, along)):
        if is_far(n_in, n_out):
            taps = wide_taps(n_in, n_out, levels, gentle, samples.shape[axis])
            samples = numpy.moveaxis(numpy.tensordot(taps, samples, (1, axis)), 0, axis)
            samples = numpy.clip(nearest(samples, 128), 0, 255)
    return samples


def scaled_samples(samples, cx_out, cy_out, steps, gentle, sizes):
    """One kind of samples. `sizes` are those of the picture, by which passes are chosen."""
    cx_in, cy_in, cx, cy = sizes
    if steps:
        if (cx_in, cy_in) == (cx, cy):
            return samples
        far_x, far_y = is_far(cx_in, cx), is_far(cy_in, cy)
        if far_x or far_y:
            samples = reduced(samples, cx_out if far_x else samples.shape[1], cy if far_y else samples.shape[0], gentle)
        cx_in, cy_in = cx if far_x else cx_in, cy if far_y else cy_in
        if (cx_in, cy_in) == (cx, cy):
            return samples
    if cy_in != cy:
        samples = four_taps(samples, cy, 0)
    if cx_in != cx or cy_in == cy:
        samples = four_taps(samples, cx_out, 1)
    return samples


def scaled(picture, size, layout, steps=True, alpha="multiply"):
    """The whole output. `layout` by the first of its names."""
    shape = picture.shape
    picture = picture.reshape(shape[0], shape[1], -1).astype(numpy.int64)
    sizes = (shape[1], shape[0], *size)
    if layout in PACKED:
        lines = picture.reshape(shape[0], -1)
        if shape[1] == size[0] and shape[0] != size[1]:
            # Lines as they are, whatever their bytes mean.
            bytes_out = scaled_samples(lines[:, :, None], lines.shape[1], size[1], steps, False, sizes)
            return bytes_out.reshape(size[1], size[0], 2).astype(numpy.uint8)
        result = numpy.zeros((size[1], 2 * size[0]), numpy.int64)
        for first, distance, pixels in PACKED[layout]:
            samples = lines[:, first::distance, None]
            made = scaled_samples(samples, size[0] // pixels, size[1], steps, False, sizes)
            result[:, first::distance] = made[..., 0]
        return result.reshape(size[1], size[0], 2).astype(numpy.uint8)

    at = {"ya8": 1, "rgba32": 3, "argb": 0}.get(layout) if alpha is not None else None
    keeps = at is not None and alpha in ("multiply", "straight")
    filters = not steps or (shape[1], shape[0]) != tuple(size)
    multiplies = at is not None and alpha == "multiply" and filters
    if at is not None:
        opacity = picture[:, :, at:at + 1]
        colours = [channel for channel in range(picture.shape[2]) if channel != at]
        if multiplies:
            picture[:, :, colours] = nearest(picture[:, :, colours] * opacity, 255)
        elif alpha == "drop":
            picture = picture[:, :, colours]
        elif not keeps:
            background = numpy.array(alpha)[:len(colours)]
            picture = nearest(picture[:, :, colours] * opacity + background * (255 - opacity), 255)
    picture = scaled_samples(picture, *size, steps, keeps, sizes)
    if layout == "rgb32" and scales_along(sizes, steps):
        picture[:, :, 3] = 0
    if multiplies:
        opacity = picture[:, :, at:at + 1]
        divided = numpy.minimum(nearest(picture[:, :, colours] * 255, numpy.maximum(opacity, 1)), 255)
        picture[:, :, colours] = numpy.where(opacity == 0, 0, divided)
    planes = picture.shape[2] == 1 and len(shape) == 2 or layout == "ya8" and not keeps and at is not None
    return picture.astype(numpy.uint8).reshape(size[1], size[0], *([] if planes else [picture.shape[2]]))


def scales_along(sizes, steps):
    cx_in, cy_in, cx, cy = sizes
    if not steps:
        return cx_in != cx or cy_in == cy
    return cx_in != cx
