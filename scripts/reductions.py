"""Reduces the pictures that tools/chart draws with several scalers: how near each comes to Pillow's Lanczos, in the
same light, and how much lighter or darker the picture becomes. Prints a table, draws the curves, and makes the pictures
of docs/reductions.md."""

import argparse
import math
import os
import pathlib
import subprocess
import sys
import tempfile
from xml.sax.saxutils import escape

import numpy
from PIL import Image

SIDE = 1600
CHARTS = {"photo": "Photo-like picture", "zone": "Zone plate"}
PERCENTS = (2, 2.5, 3, 3.5, 4, 4.5, 5, 6, 7, 8, 9, 10, 11, 12.5, 14, 16, 18, 20, 22.5, 25, 28, 31, 33.5, 36, 40, 45, 49,
            50, 51, 55, 60, 65, 70, 80, 90, 95, 100)
# What docs/reductions.md shows: what is drawn, to which part of its size it is reduced, and how.
PICTURES = {
    "reduction-one-step.png": ([], "25%", ["--one-step"]),
    "reduction-wide.png": ([], "25%", []),
    "reduction-photo-one-step.png": (["--picture=photo"], "10%", ["--one-step"]),
    "reduction-photo.png": (["--picture=photo"], "10%", []),
}
ENLARGED = 3  # times, each pixel a square
COLOURS = {"fourtap": "#08519c", "before": "#9ecae1", "vips": "#31a354", "ImageMagick": "#e6550d",
           "Pillow bicubic": "#d6409f", "Pillow Lanczos, gap 2": "#756bb1"}


def run(*command):
    try:
        subprocess.run([str(word) for word in command], capture_output=True, check=True)
    except OSError as error:
        sys.exit(f"reductions.py: can't run {command[0]}: {error.strerror}")
    except subprocess.CalledProcessError as error:
        lines = error.stderr.decode(errors="replace").splitlines() or ["no reason given"]
        sys.exit(f"reductions.py: {' '.join(error.cmd)}: status {error.returncode}: {lines[0]}")


def scalers_of(fourtap, before):
    """By name: what makes the file `target`, a picture of side n, from the square picture `source`."""
    def by_fourtap(binary):
        return lambda source, target, n: run(binary, source, target, "--size", f"{n}x{n}", "--force", "--quiet")

    def by_pillow(**how):
        return lambda source, target, n: Image.open(source).resize((n, n), **how).save(target)

    scalers = {"fourtap": by_fourtap(fourtap)}
    if before:
        scalers["before"] = by_fourtap(before)
    scalers["vips"] = lambda source, target, n: run("vipsthumbnail", source, "--size", f"{n}x{n}!", "-o", target)
    scalers["ImageMagick"] = lambda source, target, n: run("convert", source, "-resize", f"{n}x{n}!", target)
    scalers["Pillow bicubic"] = by_pillow(resample=Image.BICUBIC)
    scalers["Pillow Lanczos, gap 2"] = by_pillow(resample=Image.LANCZOS, reducing_gap=2)
    return scalers


def levels(file_name):
    with Image.open(file_name) as image:
        if image.mode != "L":
            sys.exit(f"reductions.py: {file_name}: mode {image.mode}, expected gray")
        return numpy.asarray(image).astype(float)


def measure(scalers, source, work):
    """For each ratio and scaler: dB against Pillow's Lanczos, and the mean's distance from the source's in levels."""
    original = levels(source)
    target = work / "reduced.pgm"
    rows = {}
    for percent in PERCENTS:
        n = round(SIDE * percent / 100)
        wanted = numpy.asarray(Image.open(source).resize((n, n), Image.LANCZOS)).astype(float)
        rows[percent] = {}
        for name, scale in scalers.items():
            target.unlink(missing_ok=True)
            scale(source, target, n)
            reduced = levels(target)
            if reduced.shape != wanted.shape:
                sys.exit(f"reductions.py: {name} made {reduced.shape[1]}x{reduced.shape[0]}, expected {n}x{n}")
            error = ((reduced - wanted)**2).mean()
            rows[percent][name] = (10 * math.log10(255**2 / error) if error else math.inf,
                                   reduced.mean() - original.mean())
    return rows


def decibel_text(decibel):
    return f"{decibel:.1f}" if math.isfinite(decibel) else "same"


def print_table(title, rows):
    names = list(rows[PERCENTS[0]])
    print(f"\n{title}, {SIDE}x{SIDE}: dB against Pillow's Lanczos, and levels that the mean moves by")
    print("      %" + "".join(f"{name:>23}" for name in names))
    for percent, row in rows.items():
        print(f"{percent:7g}" + "".join(f"{decibel_text(decibel):>15}{shift:+8.2f}" for decibel, shift in row.values()))
    print(f"fourtap: the mean moves by {max(abs(row['fourtap'][1]) for row in rows.values()):.2f} levels at most")
    if "before" in names:
        gains = [(row["fourtap"][0] - row["before"][0], percent) for percent, row in rows.items()
                 if 5 <= percent <= 50]
        least, most = min(gains), max(gains)
        print(f"fourtap against before, from 5 to 50 %: from {least[0]:+.2f} dB at {least[1]:g} % to "
              f"{most[0]:+.2f} dB at {most[1]:g} %")


class Panel:
    """A chart of dB over ratios on a logarithmic scale; what leaves it at the top runs along its edge."""

    def __init__(self, left, top, cx, cy, lowest, highest):
        self.left, self.top, self.cx, self.cy, self.lowest, self.highest = left, top, cx, cy, lowest, highest

    def x(self, percent):
        first, last = PERCENTS[0], PERCENTS[-1]
        return self.left + self.cx * math.log(percent / first) / math.log(last / first)

    def y(self, decibel):
        part = (min(decibel, self.highest) - self.lowest) / (self.highest - self.lowest)
        return self.top + self.cy * (1 - part)

    def axes(self, title):
        bottom = self.top + self.cy
        yield text(self.left, self.top - 12, title, 'class="head"')
        for percent in (2, 3, 5, 10, 20, 30, 50, 100):
            yield line(self.x(percent), self.top, self.x(percent), bottom)
            yield text(self.x(percent), bottom + 18, f"{percent} %", 'text-anchor="middle"')
        for decibel in range(self.lowest, self.highest + 1, 5):
            yield line(self.left, self.y(decibel), self.left + self.cx, self.y(decibel))
            yield text(self.left - 6, self.y(decibel) + 4, f"{decibel}", 'text-anchor="end"')

    def curve(self, points, style):
        places = " ".join(f"{self.x(percent):.1f},{self.y(decibel):.1f}" for percent, decibel in points)
        return f'  <polyline points="{places}" {style}/>'


def text(x, y, words, attributes=""):
    return f'  <text x="{x:.1f}" y="{y:.1f}" {attributes}>{escape(words)}</text>'


def line(x1, y1, x2, y2, style='class="grid"'):
    return f'  <line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" {style}/>'


def write_whole(file_name, write):
    """The file takes its name when it is whole."""
    part = file_name.with_name(file_name.name + ".part")
    try:
        write(part)
        os.replace(part, file_name)
    except OSError as error:
        sys.exit(f"reductions.py: can't write {file_name}: {error.strerror}")
    finally:
        part.unlink(missing_ok=True)


def draw(tables, file_name):
    names = list(tables["photo"][PERCENTS[0]])
    styles = {name: f'stroke="{COLOURS[name]}" class="{"own" if name == "fourtap" else "other"}"' for name in names}
    lowest = 5 * math.floor(min(row[name][0] for rows in tables.values() for row in rows.values() for name in row) / 5)
    cx, cy = 1010, 510
    drawn = [text(10, 22, f"dB against Pillow's Lanczos (more is nearer) over the ratio, {SIDE}x{SIDE} in gray")]
    for number, (chart, rows) in enumerate(tables.items()):
        panel = Panel(44 + 496 * number, 62, 440, 380, lowest, 60)
        drawn += panel.axes(CHARTS[chart])
        for name in reversed(names):  # the first one on top
            # At 100 % all leave the picture as it is.
            points = [(percent, row[name][0]) for percent, row in rows.items() if percent < 100]
            drawn.append(panel.curve(points, styles[name]))
    for number, name in enumerate(names):
        x, y = 44 + 160 * number, cy - 16
        drawn.append(line(x, y - 4, x + 22, y - 4, styles[name]))
        drawn.append(text(x + 28, y, name))
    head = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {cx} {cy}" width="{cx}" height="{cy}" '
            'font-family="DejaVu Sans, Verdana, sans-serif" font-size="12">\n'
            "  <title>How near reductions by several scalers come to Pillow's Lanczos</title>\n"
            "  <style>.paper { fill: #fff } .head { font-weight: bold } .grid { stroke: #ddd }\n"
            "    .own, .other { fill: none; stroke-linejoin: round } .own { stroke-width: 3 } "
            ".other { stroke-width: 1.3 }</style>\n"
            f'  <rect width="{cx}" height="{cy}" class="paper"/>\n')
    write_whole(file_name, lambda part: part.write_text(head + "\n".join(drawn) + "\n</svg>\n", encoding="utf-8"))


def make_pictures(tools, work, docs):
    source, reduced = work / "source.png", work / "reduced.png"
    for name, (subject, size, rules) in PICTURES.items():
        run(tools / "chart/chart", *subject, source)
        run(tools / "fourtap/fourtap", source, reduced, "--size", size, "--force", "--quiet", *rules)
        with Image.open(reduced) as image:
            enlarged = image.resize((ENLARGED * image.width, ENLARGED * image.height), Image.NEAREST)
        write_whole(docs / name, lambda part, picture=enlarged: picture.save(part, format="PNG", optimize=True))


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tools", required=True, type=pathlib.Path, help="the folder tools of a build")
    parser.add_argument("--docs", required=True, type=pathlib.Path, help="where the pictures go")
    parser.add_argument("--before", type=pathlib.Path, help="another fourtap to compare with")
    arguments = parser.parse_args()
    scalers = scalers_of(arguments.tools / "fourtap/fourtap", arguments.before)
    with tempfile.TemporaryDirectory() as folder:
        work = pathlib.Path(folder)
        tables = {}
        for chart, title in CHARTS.items():
            source = work / f"{chart}.pgm"
            run(arguments.tools / "chart/chart", "--gray", f"--picture={chart}", f"--size={SIDE}x{SIDE}", source)
            tables[chart] = measure(scalers, source, work)
            print_table(title, tables[chart])
        draw(tables, arguments.docs / "reductions.svg")
        make_pictures(arguments.tools, work, arguments.docs)


if __name__ == "__main__":
    main()
