#!/usr/bin/python3
"""Times fourtap and tools like it on the same pictures: minima of rounds in which all take turns. With --table prints
what it wrote before as README has it."""

import argparse
import csv
import os
import pathlib
import random
import shutil
import subprocess
import sys

from PIL import Image, ImageDraw, ImageFont

COLUMNS = ["case", "program", "seconds", "processor_seconds", "mebibytes", "bytes"]
PROGRAMS = ["fourtap", "vips", "ImageMagick", "ffmpeg", "netpbm"]
FONTS = "/usr/share/fonts/truetype/dejavu/"
BATCH = 200
JPEG_QUALITY = 85

# Runs a command of the shell. A process begins with the memory of its parent: this one is small.
MEASURE = """
import os, sys, time
begun = time.monotonic()
pid = os.posix_spawn("/bin/sh", ["sh", "-c", sys.argv[1]], os.environ)
_, status, usage = os.wait4(pid, 0)
print(time.monotonic() - begun, usage.ru_utime + usage.ru_stime, usage.ru_maxrss * 1024)
sys.exit(os.waitstatus_to_exitcode(status))
"""


def fail(text):
    sys.exit(f"tool.py: {text}")


def run(*command, **options):
    try:
        subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL, **options)
    except (OSError, subprocess.CalledProcessError) as error:
        fail(error)


def draw_screen(cx, cy):
    """Windows full of text, dark and light."""
    rng = random.Random(1)
    words = "fourtap scales pictures and video in the memory of a few lines whatever their size".split()
    image = Image.new("RGB", (cx, cy))
    draw = ImageDraw.Draw(image)
    for y in range(cy):
        draw.line([(0, y), (cx, y)], fill=(30 + y * 40 // cy, 60 + y * 50 // cy, 110 + y * 60 // cy))
    plain, fixed = (ImageFont.truetype(FONTS + name, 15) for name in ("DejaVuSans.ttf", "DejaVuSansMono.ttf"))
    for window in range(9):
        dark = window % 3 == 1
        x, y = rng.randrange(cx * 3 // 4), rng.randrange(cy * 3 // 4)
        right, bottom = x + cx // 3, y + cy // 3
        draw.rectangle([x - 1, y - 1, right + 1, bottom + 1], fill=(90, 90, 90))
        draw.rectangle([x, y, right, y + 36], fill=(60, 63, 70) if dark else (225, 225, 228))
        draw.rectangle([x, y + 37, right, bottom], fill=(30, 31, 34) if dark else (255, 255, 255))
        for line in range(y + 46, bottom - 24, 22):
            text = " ".join(rng.choice(words) for _ in range(rng.randrange(3, cx // 280)))
            colour = rng.choice([(200, 120, 50), (106, 135, 89), (169, 183, 198)]) if dark else (20, 20, 20)
            draw.text((x + 14 + (32 * rng.randrange(4) if dark else 0), line), text, font=fixed if dark else plain,
                      fill=colour)
    return image


def make_pictures(tools, folder):
    """Once, and none of them by a program that is timed."""
    if (folder / "done").exists():
        return
    shutil.rmtree(folder, ignore_errors=True)
    (folder / "batch").mkdir(parents=True)
    run(tools / "chart/chart", "--picture=photo", "--size=4000x3000", folder / "quarter.ppm")
    with Image.open(folder / "quarter.ppm") as image:
        quarter = image.convert("RGB")
    photo = Image.new("RGB", (8000, 6000))
    for x, y, turn in (0, 0, None), (1, 0, Image.FLIP_LEFT_RIGHT), (0, 1, Image.FLIP_TOP_BOTTOM), (1, 1, Image.ROTATE_180):
        photo.paste(quarter if turn is None else quarter.transpose(turn), (4000 * x, 3000 * y))
    photo.save(folder / "photo.ppm")
    photo.save(folder / "photo.png")
    photo.save(folder / "photo.jpg", quality=95)
    draw_screen(3840, 2160).save(folder / "screen.png")
    rng = random.Random(2)
    for number in range(BATCH):
        x, y = rng.randrange(2400), rng.randrange(1800)
        quarter.crop((x, y, x + 1600, y + 1200)).save(folder / f"batch/{number:03}.jpg", quality=JPEG_QUALITY)
    (folder / "done").touch()


def commands_of(fourtap):
    """By case and program: a command for the shell, which makes `result`, a file or a folder."""
    quality = {"fourtap": f"--quality {JPEG_QUALITY}", "vips": f"[Q={JPEG_QUALITY}]",
               "ImageMagick": f"-quality {JPEG_QUALITY}", "ffmpeg": "-q:v 3", "netpbm": f"-quality={JPEG_QUALITY}"}
    readers = {"png": "pngtopam", "jpg": "jpegtopnm", "ppm": "cat"}
    writers = {"png": "pnmtopng", "jpg": "pnmtojpeg", "ppm": "cat"}

    def halving(source):
        suffix = source.split(".")[1]
        target = "result." + suffix
        more = quality if suffix == "jpg" else dict.fromkeys(PROGRAMS, "")
        return target, {
            "fourtap": f"{fourtap} {source} {target} --size 50% {more['fourtap']}",
            "vips": f"vips resize {source} '{target}{more['vips']}' 0.5",
            "ImageMagick": f"/usr/bin/convert {source} -resize 50% {more['ImageMagick']} {target}",
            "ffmpeg": f"ffmpeg -loglevel error -i {source} -vf scale=iw/2:ih/2 {more['ffmpeg']} -update 1 {target}",
            "netpbm": f"{readers[suffix]} {source} | pamscale 0.5 | {writers[suffix]} {more['netpbm']} >{target}",
        }

    folder = "result"
    batch = {
        "fourtap": f"{fourtap} batch/*.jpg --out {folder}/ --size 320x {quality['fourtap']}",
        "vips": f"vipsthumbnail batch/*.jpg --size 320x -o \"$PWD/{folder}/%s.jpg{quality['vips']}\"",
        "ImageMagick": f"/usr/bin/mogrify -path {folder} -resize 320x {quality['ImageMagick']} batch/*.jpg",
        "ffmpeg": f"ffmpeg -loglevel error -i batch/%03d.jpg -vf scale=320:-1 {quality['ffmpeg']} {folder}/%03d.jpg",
        "netpbm": "for file in batch/*.jpg; do jpegtopnm -quiet $file | pamscale -xsize 320 | "
                  f"pnmtojpeg {quality['netpbm']} >{folder}/${{file##*/}}; done",
    }
    return {
        "PNG photo 8000x6000 to half": halving("photo.png"),
        "PNG screen 3840x2160 to half": halving("screen.png"),
        "JPEG 8000x6000 to half": halving("photo.jpg"),
        "PPM 8000x6000 to half": halving("photo.ppm"),
        f"{BATCH} JPEG 1600x1200 to 320 wide": (folder, batch),
    }


def measure(command, folder):
    """Wall and processor time in seconds, and the most memory of one process in bytes."""
    done = subprocess.run([sys.executable, "-S", "-c", MEASURE, f"{command} 2>/dev/null"], cwd=folder, text=True,
                          stdout=subprocess.PIPE)
    if done.returncode != 0:
        fail(f"status {done.returncode} of: {command}")
    return [float(word) for word in done.stdout.split()]


def bytes_in(result):
    return sum(path.stat().st_size for path in result.iterdir()) if result.is_dir() else result.stat().st_size


def measure_all(fourtap, folder, rounds, wanted):
    rows = []
    for case, (target, commands) in commands_of(fourtap).items():
        if wanted not in case:
            continue
        result = folder / target
        best = {}
        for _ in range(rounds):
            for program, command in commands.items():
                shutil.rmtree(result, ignore_errors=True)
                result.unlink(missing_ok=True)
                if "." not in target and program != "fourtap":
                    result.mkdir()
                figures = measure(command, folder)
                best[program] = [*map(min, best.get(program, [*figures, 0]), figures), bytes_in(result)]
        for program, (seconds, processor, memory, size) in best.items():
            rows.append([case, program, f"{seconds:.3f}", f"{processor:.3f}", f"{memory / (1 << 20):.0f}", size])
            print(f"{case:32} {program:12} {seconds:7.3f} s {processor:7.3f} s of processors {memory / (1 << 20):5.0f} MiB "
                  f"{size:10} bytes", flush=True)
    return rows


def print_table(file_name):
    with open(file_name, newline="", encoding="utf-8") as file:
        rows = list(csv.DictReader(line for line in file if not line.startswith("#")))
    print("| wall time, size of the results |", " | ".join(PROGRAMS), "|\n|---|" + "---|" * len(PROGRAMS))
    for case in dict.fromkeys(row["case"] for row in rows):
        of = {row["program"]: row for row in rows if row["case"] == case}
        cells = [f"{float(of[name]['seconds']):.2f} s, {int(of[name]['bytes']) / 1e6:.1f} MB" for name in PROGRAMS]
        print(f"| {case} |", " | ".join(cells), "|")


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--tools", type=pathlib.Path, help="folder of the built tools")
    parser.add_argument("--pictures", type=pathlib.Path, help="folder for the pictures, which are made once")
    parser.add_argument("--csv", help="the file to write")
    parser.add_argument("--rounds", type=int, default=5, help="whose minima are taken")
    parser.add_argument("--case", default="", help="only cases in whose names this is")
    parser.add_argument("--table", metavar="CSV", help="prints that file's table, and does nothing else")
    arguments = parser.parse_args()
    if arguments.table:
        return print_table(arguments.table)
    if not (arguments.tools and arguments.pictures and arguments.csv) or arguments.rounds < 1:
        parser.error("expected --tools, --pictures and --csv, or --table; and at least one round")
    make_pictures(arguments.tools.resolve(), arguments.pictures)
    rows = measure_all(arguments.tools.resolve() / "fourtap/fourtap", arguments.pictures.resolve(), arguments.rounds,
                       arguments.case)
    with open(arguments.csv, "w", newline="", encoding="utf-8") as file:
        csv.writer(file, lineterminator="\n").writerows([COLUMNS, *rows])


if __name__ == "__main__":
    main()
