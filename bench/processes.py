#!/usr/bin/env python3
"""processes.py ZELCODEC [--runs N] [--only REGEX] [--large]: the tool beside other programs, as whole processes.

Each row runs two commands in turn, on files on disk, whose outputs are new files, and gives the medians of the times and
their ratio; then the most memory that each held. --large adds a picture of 12000 x 12000 pixels, of which memory is what matters. A program that is
not installed is left out, and named.
"""
import argparse
import os
import re
import resource
import shutil
import statistics
import subprocess
import tempfile
import time

IMAGES = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "images")


def run(command):
    for name in os.listdir("."):  # what earlier runs have written; to replace it would take the file system's time, too
        if name[0] in "oq" and name[1] == ".":
            os.remove(name)
    start = time.perf_counter()
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(command.split(), check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wall = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    return wall * 1000, (after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime) * 1000


def memory(command):
    """The largest resident size in megabytes, as GNU time tells it."""
    out = subprocess.run(["time", "-f", "%M", "sh", "-c", "exec " + command], capture_output=True, text=True, check=True)
    return int(out.stderr.split()[-1]) / 1024


def row(name, ours, theirs, runs):
    program = theirs.split()[0]
    if not shutil.which(program) and not os.path.exists(program):
        print(f"| {name} | {program} is not installed | | | |")
        return
    run(ours), run(theirs)
    times = [(run(ours), run(theirs)) for _ in range(runs)]
    a, b = (statistics.median(t[i][0] for t in times) for i in (0, 1))
    ca, cb = (statistics.median(t[i][1] for t in times) for i in (0, 1))
    print(f"| {name} | {a:.1f} ({ca:.1f}) | {b:.1f} ({cb:.1f}) | {b / a:.2f} | {memory(ours):.1f}; {memory(theirs):.1f} |",
          flush=True)


def large_picture(path):
    width = 12000
    with open(path, "wb") as f:
        f.write(b"P6\n%d %d\n255\n" % (width, width))
        line = bytes((x * x // 700 + x // 3) & 255 for x in range(6 * width))
        for y in range(width):
            f.write(line[y % 300 * 3:][:3 * width])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tool")
    parser.add_argument("--runs", type=int, default=21)
    parser.add_argument("--only", default="")
    parser.add_argument("--large", action="store_true")
    options = parser.parse_args()
    tool = os.path.abspath(options.tool)
    one = tool + " --threads 1"
    with tempfile.TemporaryDirectory() as scratch:
        shutil.copy(os.path.join(IMAGES, "canyon.png"), scratch + "/p.png")
        os.chdir(scratch)
        for command in (f"{tool} decode p.png p.ppm", f"{tool} encode p.png p.jpg -q 90", f"{tool} encode p.png p.jp2",
                        f"{tool} encode p.png p.tif --compression lzw"):
            run(command)
        rows = [
            ("PPM to JPEG 4:2:0 q90", f"{one} encode p.ppm o.jpg -q 90", "cjpeg -quality 90 -outfile q.jpg p.ppm"),
            ("PPM to progressive JPEG", f"{one} encode p.ppm o.jpg -q 90 --progressive",
             "cjpeg -quality 90 -progressive -outfile q.jpg p.ppm"),
            ("JPEG to PPM", f"{one} decode p.jpg o.ppm", "djpeg -outfile q.ppm p.jpg"),
            ("PPM to JP2 lossless", f"{one} encode p.ppm o.jp2", "opj_compress -threads 1 -i p.ppm -o q.jp2"),
            ("JP2 lossless to PPM", f"{one} decode p.jp2 o.ppm", "opj_decompress -threads 1 -i p.jp2 -o q.ppm"),
            ("PNG to JPEG", f"{one} encode p.png o.jpg -q 90", "convert p.png -quality 90 -sampling-factor 4:2:0 q.jpg"),
            ("TIFF (LZW) to JPEG", f"{one} encode p.tif o.jpg -q 90",
             "convert p.tif -quality 90 -sampling-factor 4:2:0 q.jpg"),
        ]
        for name, source, target in (("PPM to JPEG", "p.ppm", "o.jpg"), ("JPEG to PPM", "p.jpg", "o.ppm"),
                                     ("PPM to JP2", "p.ppm", "o.jp2"), ("JP2 to PPM", "p.jp2", "o.ppm"),
                                     ("PNG to JPEG", "p.png", "o.jpg"), ("PPM to DDS", "p.ppm", "o.dds"),
                                     ("PPM to TIFF", "p.ppm", "o.tif"), ("TIFF (LZW) to PPM", "p.tif", "o.ppm"),
                                     ("PPM to progressive JPEG", "p.ppm", "o.jpg --progressive")):
            rows.append((name + ": default threads beside one", f"{tool} encode {source} {target}",
                         f"{one} encode {source} {target}"))
        if options.large:
            large_picture("l.ppm")
            for command in (f"{tool} encode l.ppm l.jpg", f"{tool} encode l.ppm l.tif",
                            f"{tool} encode l.ppm t.jp2 --tile 1024,1024", f"{tool} encode l.ppm u.jp2"):
                run(command)
            rows += [
                ("12000 x 12000: PPM to JPEG", f"{one} encode l.ppm o.jpg", "cjpeg -outfile q.jpg l.ppm"),
                ("12000 x 12000: JPEG to PPM", f"{one} decode l.jpg o.ppm", "djpeg -outfile q.ppm l.jpg"),
                ("12000 x 12000: JPEG to PPM, default threads", f"{tool} decode l.jpg o.ppm", "djpeg -outfile q.ppm l.jpg"),
                ("12000 x 12000: PPM to TIFF", f"{one} encode l.ppm o.tif", "ppm2tiff -c packbits l.ppm q.tif"),
                ("12000 x 12000: TIFF to PPM", f"{one} decode l.tif o.ppm", f"{one} decode l.tif q.ppm"),
                ("12000 x 12000: PPM to JP2, tiles of 1024 x 1024", f"{one} encode l.ppm o.jp2 --tile 1024,1024",
                 "opj_compress -threads 1 -t 1024,1024 -i l.ppm -o q.jp2"),
                ("12000 x 12000: JP2 in tiles to PPM", f"{one} decode t.jp2 o.ppm",
                 "opj_decompress -threads 1 -i t.jp2 -o q.ppm"),
                ("12000 x 12000: PPM to JP2, untiled", f"{one} encode l.ppm o.jp2",
                 "opj_compress -threads 1 -i l.ppm -o q.jp2"),
                ("12000 x 12000: JP2 untiled to PPM", f"{one} decode u.jp2 o.ppm",
                 "opj_decompress -threads 1 -i u.jp2 -o q.ppm"),
            ]
        print("| work | ours, ms (CPU) | other, ms (CPU) | ratio | peak MB: ours; other |\n|---|---|---|---|---|")
        for name, ours, theirs in rows:
            if re.search(options.only, name):
                row(name, ours, theirs, 1 if name.startswith("12000") else options.runs)


main()
