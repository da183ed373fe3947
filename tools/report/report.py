#!/usr/bin/env python3
"""report.py ZELCODEC IMAGES OUT: carries photographs through the codecs and back, and writes OUT/report.html.

ZELCODEC is the tool, IMAGES a folder of PNG photographs, OUT a folder that is made anew. Nothing but Python's own
library is needed; programs of other libraries are timed where they are installed.
"""
import argparse
import datetime
import pathlib
import shutil
import sys
import tempfile

sys.dont_write_bytecode = True  # nothing is left in the source tree
import formats
import photographs
import speed
from page import Page
from tool import Tool

NAMES = ("dandelion", "canyon", "coffee")
CARDS = (
    "Encode JPEG, quality 90, 4:2:0",
    "Decode JPEG, quality 90, 4:2:0",
    "Encode JPEG 2000, lossless",
    "Decode JPEG 2000, lossless",
)


def cards(ratios):
    """The head's figures: how many times as fast as the peer."""
    parts = [
        f"<li><strong>{ratios[t][0]:.2f}&times;</strong><span>the speed of {ratios[t][1]}<br>{t}</span></li>"
        for t in CARDS
        if t in ratios
    ]
    note = (
        '<p class="facts">Whole processes on one thread, <a href="#throughput-beside-other-programs">measured'
        " below</a>.</p>"
    )
    return f'<ul class="cards">{"".join(parts)}</ul>{note}' if parts else ""


def make(tool, images, out, work):
    page = Page(out, tool)
    photos = [photographs.load(tool, images / f"{name}.png", work) for name in NAMES]
    dandelion, canyon, coffee = photos
    photographs.section_loss(page, photos, work)
    photographs.section_equal_size(page, photos, work)
    photographs.section_curves(page, photos, work)
    photographs.section_reduced(page, dandelion)
    formats.section_progressive(page, coffee, work)
    formats.section_lossless(page, photos, work)
    formats.section_16_bits(page, canyon, work)
    formats.section_cmyk(page, coffee, work)
    formats.section_textures(page, photos, work)
    formats.section_tiff(page, photos, work)
    ratios = speed.section(page, dandelion, work, speed.versions())
    page.section("Files", "What the sections above show or speak of, to open in other programs.")
    page.list_files()
    version = tool.version()
    page.write(
        {
            "program": version,
            "variant": (
                "AVX2" if "+" in version else "SSE4.1"
            ),  # the library's name ends in + where it runs the larger one
            "machine": speed.machine(),
            "date": datetime.datetime.now(datetime.timezone.utc).strftime("%d %B %Y, %H:%M UTC"),
            "cards": cards(ratios),
        }
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("zelcodec", type=pathlib.Path)
    parser.add_argument("images", type=pathlib.Path)
    parser.add_argument("out", type=pathlib.Path)
    given = parser.parse_args()
    if given.out.exists() and any(given.out.iterdir()) and not (given.out / "report.html").exists():
        parser.error(f"{given.out} holds other things than a report, and would be emptied")
    shutil.rmtree(given.out, ignore_errors=True)
    given.out.mkdir(parents=True)
    with tempfile.TemporaryDirectory(prefix="report-") as work:
        make(Tool(given.zelcodec), given.images, given.out, pathlib.Path(work))


if __name__ == "__main__":
    main()
