#!/usr/bin/env python3
"""dds_peer.py ZELCODEC IMAGES: DDS files as Pillow reads them beside the tool's reading.

DXT blocks may differ by the low bits of widened fields and by rounding; BC7 blocks, of any bits, must not differ at all.
"""
import io
import os
import random
import struct
import subprocess
import sys
import tempfile

from PIL import Image

tool, images = sys.argv[1:3]


def run(command, source, target, *options):
    subprocess.run([tool, command, source, target, *options], check=True)


def decoded(dds):
    with open("peer.dds", "wb") as f:
        f.write(dds)
    run("decode", "peer.dds", "peer.png")
    return Image.open("peer.png").convert("RGBA")


def encoded(texture):
    run("encode", images + "/coffee.png", "peer.dds", "--texture", texture)
    with open("peer.dds", "rb") as f:
        return f.read()


def compare(name, dds, least, most):
    ours, theirs = decoded(dds), Image.open(io.BytesIO(dds)).convert("RGBA")
    assert ours.size == theirs.size, name
    for channel, (a, b) in enumerate(zip(ours.split(), theirs.split())):
        differences = set(y - x for x, y in zip(a.tobytes(), b.tobytes()))
        assert min(differences) >= least and max(differences) <= most[channel], (name, channel, differences)


def bc7(mode):
    """Random blocks of a mode; the bits behind the mode, partition numbers where it has them, take all their values."""
    width, height = 64, 64
    pixel_format = struct.pack("<II4s5I", 32, 4, b"DX10", 0, 0, 0, 0, 0)
    header = struct.pack("<4s7I44s", b"DDS ", 124, 0x81007, height, width, width * height, 0, 1, b"")
    header += pixel_format + struct.pack("<5I", 0x1000, 0, 0, 0, 0) + struct.pack("<5I", 98, 3, 0, 1, 0)
    blocks = b""
    for i in range(width * height // 16):
        bits = random.getrandbits(128) >> mode + 7 << 6 | i % 64
        blocks += (bits << mode + 1 | 1 << mode).to_bytes(16, "little")
    return header + blocks


random.seed(7)
with tempfile.TemporaryDirectory() as scratch:
    os.chdir(scratch)
    for texture in ("dxt1", "dxt3", "dxt5"):
        compare(texture, encoded(texture), 0, (8, 4, 8, 15))
    for mode in range(8):
        compare("BC7, mode %d" % mode, bc7(mode), 0, (0, 0, 0, 0))
