#!/usr/bin/python3
"""Draws what fourtap_bench wrote with --csv: ns per output pixel by case and scaler, above the time of a copy."""

import argparse
import csv
import os
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402  (after the choice of the backend)
from matplotlib.lines import Line2D  # noqa: E402

COLUMNS = {"layout", "case", "scaler", "mode", "taps", "ns_min"}
OWN_COLOURS = ["#9ecae1", "#4292c6", "#08519c", "#041f4a"]
LIBRARY_COLOURS = ["#e6550d", "#31a354", "#756bb1", "#d6409f", "#8c6d31", "#636363"]


def read_frames(file_name):
    """The rows of whole frames, in the file's order."""
    try:
        with open(file_name, newline="", encoding="utf-8") as file:
            rows = list(csv.DictReader(line for line in file if not line.startswith("#")))
    except (OSError, UnicodeDecodeError) as error:
        sys.exit(f"plot.py: can't read {file_name}: {error}")
    if not rows or not COLUMNS <= rows[0].keys():
        sys.exit(f"plot.py: {file_name}: expected rows as fourtap_bench --csv writes them")
    frames = [row for row in rows if row["mode"] in ("frame", "memcpy")]
    if not frames:
        sys.exit(f"plot.py: {file_name}: expected at least one row of whole frames")
    return frames


def styles_of(scalers, two_taps):
    """Colours tell libraries and instruction sets apart, marks the kinds: circle ours, square four taps, cross two."""
    own = [scaler for scaler in scalers if scaler.startswith("fourtap-")]
    libraries = list(dict.fromkeys(scaler.split("-")[0] for scaler in scalers if scaler not in own))
    styles = {}
    for scaler in scalers:
        if scaler in own:
            colour = OWN_COLOURS[(own.index(scaler) - len(own)) % len(OWN_COLOURS)]
            styles[scaler] = {"color": colour, "marker": "o", "markersize": 8}
        else:
            colour = LIBRARY_COLOURS[libraries.index(scaler.split("-")[0]) % len(LIBRARY_COLOURS)]
            styles[scaler] = {"color": colour, "marker": "x" if scaler in two_taps else "s", "markersize": 6}
        styles[scaler]["linestyle"] = "none"
    return styles


def draw(rows, title, file_name):
    cases = list(dict.fromkeys((row["layout"], row["case"]) for row in rows))
    scalers = list(dict.fromkeys(row["scaler"] for row in rows if row["scaler"] != "copy"))
    styles = styles_of(scalers, {row["scaler"] for row in rows if row["taps"] == "2"})
    floor = min(float(row["ns_min"]) for row in rows) / 1.5

    plt.rcParams["svg.hashsalt"] = "fourtap"
    figure, axes = plt.subplots(figsize=(16, 8))
    for row in rows:
        x = cases.index((row["layout"], row["case"]))
        y = float(row["ns_min"])
        if row["scaler"] == "copy":
            axes.bar(x, y - floor, 0.94, floor, color="#e8e8e8", edgecolor="none", zorder=0)
            axes.plot([x - 0.47, x + 0.47], [y, y], color="black", linewidth=1.5)
            continue
        # Each scaler has a lane of its own within a case.
        lane = 0.05 + 0.9 * (scalers.index(row["scaler"]) + 0.5) / len(scalers)
        hollow = {"markerfacecolor": "none"} if row["taps"] == "wider" else {}
        axes.plot(x - 0.5 + lane, y, **styles[row["scaler"]], **hollow)
    for x in range(1, len(cases)):
        new_layout = cases[x][0] != cases[x - 1][0]
        axes.axvline(x - 0.5, color="#888888" if new_layout else "#dddddd", linewidth=1)

    axes.set_yscale("log")
    axes.yaxis.set_major_locator(matplotlib.ticker.LogLocator(subs=(1, 2, 5)))
    axes.yaxis.set_major_formatter(matplotlib.ticker.FormatStrFormatter("%g"))
    axes.yaxis.set_minor_formatter(matplotlib.ticker.NullFormatter())
    axes.grid(axis="y", color="#dddddd", linewidth=0.6)
    axes.set_axisbelow(True)
    axes.set_ylim(bottom=floor)
    axes.set_ylabel("ns per output pixel, one core (less is better)")
    axes.set_xlim(-0.5, len(cases) - 0.5)
    labels = [f"{layout}\n" + case.replace("-", "\nto ") for layout, case in cases]
    axes.set_xticks(range(len(cases)), labels, fontsize=8)
    axes.set_title(title)
    handles = [Line2D([], [], label=scaler, **styles[scaler]) for scaler in scalers]
    grey = {"linestyle": "none", "color": "grey"}
    handles += [
        Line2D([], [], **grey, marker="s", label="square: four taps each way"),
        Line2D([], [], **grey, marker="s", markerfacecolor="none", label="hollow: wider kernel"),
        Line2D([], [], **grey, marker="x", label="cross: two taps each way"),
        Line2D([], [], color="black", label="memcpy of (input + output) / 2"),
    ]
    axes.legend(handles=handles, loc="upper left", bbox_to_anchor=(1.005, 1), frameon=False)
    part_name = file_name + ".part"
    figure.savefig(part_name, format="svg", bbox_inches="tight", metadata={"Date": None})
    os.replace(part_name, file_name)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("csv", help="what fourtap_bench wrote")
    parser.add_argument("svg", help="the picture to write")
    parser.add_argument("--title", default="Scaling 8-bit pictures", help="above the picture, such as the processor")
    arguments = parser.parse_args()
    rows = read_frames(arguments.csv)
    try:
        draw(rows, arguments.title, arguments.svg)
    except OSError as error:
        sys.exit(f"plot.py: can't write {arguments.svg}: {error}")


if __name__ == "__main__":
    main()
