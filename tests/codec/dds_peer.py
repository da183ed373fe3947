#!/usr/bin/env python3
"""dds_peer.py ZELCODEC IMAGES: DDS files as Pillow reads them beside the tool's reading.

Colours of DXT blocks may differ by 1, as they are interpolated in another order, and opacities by rounding; BC7 blocks, of
any bits, must not differ at all.
"""
import io
import os
import random
import struct
import subprocess
import sys
import tempfile

try:
    from PIL import Image
except ImportError:
    print("Pillow is not here")
    sys.exit(77)

tool, images = sys.argv[1:3]


def run(command, source, target, *options):
    subprocess.run([tool, command, source, target, *options], check=True)


def decoded(dds):
    with open("peer.dds", "wb") as f:
        f.write(dds)
    run("decode", "peer.dds", "peer.png")
    return Image.open("peer.png").convert("RGBA")


def encoded(kind):
    run("encode", images + "/coffee.png", "peer.dds", "--texture", kind)
    with open("peer.dds", "rb") as f:
        return f.read()


def compare(name, dds, least, most):
    ours, theirs = decoded(dds), Image.open(io.BytesIO(dds)).convert("RGBA")
    assert ours.size == theirs.size, name
    for channel, (a, b) in enumerate(zip(ours.split(), theirs.split())):
        differences = set(y - x for x, y in zip(a.tobytes(), b.tobytes()))
        assert min(differences) >= least and max(differences) <= most[channel], (name, channel, differences)


def texture(number, blocks):
    """64 x 64 pixels, in the format of a second header."""
    pixel_format = struct.pack("<II4s5I", 32, 4, b"DX10", 0, 0, 0, 0, 0)
    header = struct.pack("<4s7I44s", b"DDS ", 124, 0x81007, 64, 64, 64 * 64, 0, 1, b"")
    return header + pixel_format + struct.pack("<5I", 0x1000, 0, 0, 0, 0) + struct.pack("<5I", number, 3, 0, 1, 0) + blocks


def plain(masks):
    """64 x 64 pixels without compression."""
    bits = 32 if len(masks) == 4 else 24
    flags = 0x41 if len(masks) == 4 else 0x40
    pixel_format = struct.pack("<8I", 32, flags, 0, bits, *(masks + [0])[:4])
    header = struct.pack("<4s7I44s", b"DDS ", 124, 0x1007, 64, 64, 8 * bits, 0, 1, b"")
    return header + pixel_format + struct.pack("<5I", 0x1000, 0, 0, 0, 0) + random.randbytes(64 * 8 * bits)


def bc7(mode):
    """Random blocks of a mode; the bits behind the mode, partition numbers where it has them, take all their values."""
    blocks = b""
    for i in range(256):
        bits = random.getrandbits(128) >> mode + 7 << 6 | i % 64
        blocks += (bits << mode + 1 | 1 << mode).to_bytes(16, "little")
    return texture(98, blocks)


random.seed(7)
with tempfile.TemporaryDirectory() as scratch:
    os.chdir(scratch)
    for kind in ("dxt1", "dxt3", "dxt5"):
        compare(kind, encoded(kind), -1, (1, 1, 1, 0))
    for mode in range(8):
        compare("BC7, mode %d" % mode, bc7(mode), 0, (0, 0, 0, 0))
    compare("BC5", texture(83, random.randbytes(4096)), -1, (1, 1, 0, 0))
    compare("B8G8R8A8", plain([0xFF0000, 0xFF00, 0xFF, 0xFF000000]), 0, (0, 0, 0, 0))
    compare("B8G8R8", plain([0xFF0000, 0xFF00, 0xFF]), 0, (0, 0, 0, 0))
