#!/usr/bin/env python3
"""resource_rule.py ZELCODEC: files made to exhaust the machine. At the default limits reading a file of n bytes takes at
most 64 MiB + 256 n + six times the bytes of the picture that it really codes, and 2 s + 1 microsecond for each byte and
each such pixel, whatever its headers claim (SECURITY.md). Sanitizers and emulators are slower: ZELJ_TIME_FACTOR."""
import os
import struct
import subprocess
import sys
import tempfile
import time
import zlib

tool = os.path.abspath(sys.argv[1])
factor = float(os.environ.get("ZELJ_TIME_FACTOR", 1))
failures = []


def be16(*values):
    return b"".join(struct.pack(">H", v) for v in values)


# ---- JPEG -----------------------------------------------------------------------------------------------------------


def segment(marker, content):
    return be16(marker, len(content) + 2) + content


def jpeg(width, height, process, scans, components=((1, 0x11),), depth=8):
    """Huffman tables of two codes: symbol 0 by 0 and, for AC, the run of 2^14 blocks and more by 10."""
    frame = struct.pack(">BHHB", depth, height, width, len(components))
    frame += b"".join(bytes([i, factors, 0]) for i, factors in components)
    dc = bytes([0, 1] + [0] * 15 + [0])
    ac = bytes([0x10, 1, 1] + [0] * 14 + [0, 0xE0])
    tables = segment(0xFFDB, bytes(1) + bytes([1] * 64)) + segment(0xFFC4, dc) + segment(0xFFC4, ac)
    return be16(0xFFD8) + tables + segment(process, frame) + b"".join(scans) + be16(0xFFD9)


def scan(ss, se, data, components=(1,), ahal=0):
    head = bytes([len(components)]) + b"".join(bytes([c, 0]) for c in components) + bytes([ss, se, ahal])
    return segment(0xFFDA, head) + data


def jpegs(side):
    yield "claims all", jpeg(side, side, 0xFFC0, [scan(0, 63, b"\0" * 50)])
    yield "claims all, progressive", jpeg(side, side, 0xFFC2, [scan(0, 0, b"\0" * 50)])
    # Blocks in runs of 2^15: each scan is 4 million blocks in 512 bytes.
    runs = b"\xBF\xFF\x00" * 128
    yield "a hundred scans of runs", jpeg(side, side, 0xFFC2, [scan(1, 63, runs)] * 100)
    yield "scans of nothing", jpeg(side, side, 0xFFC2, [scan(k, k, b"") for k in range(1, 64)])
    yield "64 blocks in an MCU", jpeg(side, side, 0xFFC0, [scan(0, 63, b"\0" * 99, (c,)) for c in (1, 2, 3, 4)],
                                      [(c, 0x44) for c in (1, 2, 3, 4)])
    yield "lossless, claims all", jpeg(side, side, 0xFFC3, [scan(1, 0, b"\0" * 50)], depth=16)
    yield "markers", be16(0xFFD8) + segment(0xFFE1, b"http://ns.adobe.com/xap/1.0/\0" + b"x" * 60000) * 50
    yield "tables", be16(0xFFD8) + segment(0xFFC4, bytes([0, 1] + [0] * 15 + [0])) * 20000
    yield "frames without end", be16(0xFFD8) + b"\xFF" * 3000000


# ---- JPEG 2000 ------------------------------------------------------------------------------------------------------


def codestream(width, height, tile, components=1, layers=1, levels=5, precincts=None, block=4, extra=b"", body=b""):
    siz = be16(0) + struct.pack(">8I", width, height, 0, 0, *tile, 0, 0) + be16(components) + bytes([7, 1, 1]) * components
    cod = bytes([1 if precincts is not None else 0, 0]) + be16(layers) + bytes([0, levels, block, block, 0, 1])
    cod += bytes([precincts] * (levels + 1)) if precincts is not None else b""
    qcd = bytes([0x40] + [8 << 3] * (3 * levels + 1))
    return (be16(0xFF4F) + segment(0xFF51, siz) + segment(0xFF52, cod) + segment(0xFF5C, qcd) + extra + body + be16(0xFFD9))


def tile_part(number, data=b""):
    return be16(0xFF90, 10, number) + struct.pack(">I", 14 + len(data)) + bytes([0, 1]) + be16(0xFF93) + data


def jpeg2000s(side):
    empty = b"\0" * 40
    yield "one tile of nothing", codestream(side, side, (side, side), body=tile_part(0, empty))
    yield "small precincts", codestream(side, side, (side, side), precincts=0, levels=0, body=tile_part(0, empty))
    yield "65535 layers", codestream(512, 512, (512, 512), layers=65535, precincts=0x11, body=tile_part(0, b"\0" * 900))
    yield "65535 tiles", codestream(side, side, (side // 250, side // 250), body=b"".join(tile_part(i) for i in range(400)))
    yield "16384 components", codestream(100, 100, (100, 100), components=16384, body=tile_part(0, empty))
    yield "components and tiles", codestream(256, 256, (1, 1), components=4000, body=tile_part(0))
    poc = segment(0xFF5F, bytes([0, 0]) + be16(65535) + bytes([33, 0, 4])) * 300
    yield "order changes", codestream(side, side, (side, side), layers=60000, extra=poc, body=tile_part(0, b"\0" * 600))
    yield "small blocks", codestream(side, side, (side, side), block=0, body=tile_part(0, b"\x80" * 900))
    packed = segment(0xFF60, b"\0" + struct.pack(">I", 60000) + b"\xFF" * 60000) * 20
    yield "packed headers", codestream(512, 512, (512, 512), extra=packed, body=tile_part(0))


# ---- The others -----------------------------------------------------------------------------------------------------


def chunk(name, data):
    return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))


def png(width, height, chunks, colour=2):
    head = chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, colour, 0, 0, 0))
    return b"\x89PNG\r\n\x1a\n" + head + b"".join(chunks) + chunk(b"IEND", b"")


def pngs(side):
    bomb = zlib.compress(b"\0" * (64 << 20), 9)
    yield "claims all", png(side, side, [chunk(b"IDAT", zlib.compress(b"\0" * 99))])
    yield "texts that expand", png(1, 1, [chunk(b"zTXt", b"a\0\0" + bomb)] * 30 + [chunk(b"IDAT", zlib.compress(b"\0" * 4))])
    yield "XMP that expands", png(1, 1, [chunk(b"iTXt", b"XML:com.adobe.xmp\0\1\0\0\0" + bomb)] * 30)
    yield "a profile that expands", png(1, 1, [chunk(b"iCCP", b"a\0\0" + bomb)] * 30)
    yield "many chunks", png(1, 1, [chunk(b"tEXt", b"a\0b")] * 100000)
    yield "palettes", png(1, 1, [chunk(b"sPLT", b"a\0\x08" + b"123456" * 50)] * 5000)


def tiff(fields, behind=b""):
    entries = b"".join(struct.pack("<HHII", *f) for f in sorted(fields.values()))
    return b"II*\0\x08\0\0\0" + struct.pack("<H", len(fields)) + entries + b"\0" * 4 + behind


def tiffs(side):
    def page(width, height, compression, data, **others):
        at = 10 + 12 * 9 + 4
        fields = {t: (t, 4, 1, v) for t, v in ((256, width), (257, height), (258, 8), (259, compression), (262, 1),
                                               (273, at), (277, 1), (278, height), (279, len(data)))}
        fields.update({int(k[1:]): v for k, v in others.items()})
        return tiff(fields, data)

    yield "claims all", page(side, side, 1, b"\0" * 99)
    yield "PackBits", page(side, side, 32773, b"\x81\0" * 900)
    yield "LZW", page(side, side, 5, b"\x80" * 900)
    yield "Deflate", page(side, side, 8, zlib.compress(b"\0" * 99999, 9))
    yield "2^32 strips", page(side, side, 32773, b"\x81\0" * 900, t278=(278, 4, 1, 1), t273=(273, 4, 0xFFFFFFFF, 8))
    yield "a profile of 4 GB", page(1, 1, 1, b"\0" * 99, t273=(34675, 7, 0xFFFFFFF0, 8))
    yield "65535 samples", page(side, side, 32773, b"\x81\0" * 900, t277=(277, 4, 1, 65535))
    yield "entries", b"II*\0\x08\0\0\0\xFF\xFF" + b"\1\1\4\0\1\0\0\0\0\0\0\0" * 65535


def others(side):
    dds = b"DDS " + struct.pack("<18I", 124, 0x1007, side, side, 0, 0, 0, *[0] * 11) + struct.pack("<2I4s", 32, 4, b"DXT5")
    yield "dds", "claims all", dds + b"\0" * 40 + b"\0" * 99
    for text in ("P5 {0} {0} 255 ", "P6 {0} {0} 65535 ", "P2 {0} {0} 255 ", "P1 {0} {0} ", "P5" + " " * 3000000,
                 "P7 " + "TUPLTYPE a\n" * 200000):
        yield "pnm", text[:2], text.format(side).encode() + b"1 0 " * 99


# ---- The rule -------------------------------------------------------------------------------------------------------


def check(name):
    size = os.path.getsize(name)
    for options in ([], ["--keep-going", "--max-pixels", "4194304"]):
        before = time.monotonic()
        with open("out", "wb") as out, open("err", "wb") as err:
            child = subprocess.Popen([tool, "decode", name, "-"] + options, stdout=out, stderr=err)
            _, status, used = os.wait4(child.pid, 0)
        seconds, picture = time.monotonic() - before, os.path.getsize("out")
        megabytes = used.ru_maxrss / 1024
        most, longest = 64 + (256 * size + 6 * picture) / 2**20, (2 + 1e-6 * (size + picture)) * factor
        what = f"{name} {' '.join(options[:1])}"
        if not os.WIFEXITED(status) or os.WEXITSTATUS(status) > 7:
            failures.append(f"{what}: ended by status {status}")
        if megabytes > most and factor == 1:
            failures.append(f"{what}: {megabytes:.0f} MiB of {most:.0f}")
        if seconds > longest:
            failures.append(f"{what}: {seconds:.1f} s of {longest:.1f}")
        print(f"{what}: {size} bytes, {megabytes:.0f} MiB, {seconds:.2f} s, {open('err').read().strip()[:110]}")


def make():
    for side in (16384, 2000):
        for ending, files in (("jpg", jpegs), ("j2k", jpeg2000s), ("png", pngs), ("tif", tiffs)):
            for what, data in files(side):
                open(f"{what}, {side}.{ending}", "wb").write(data)
        for ending, what, data in others(side):
            open(f"{what.strip()}, {side}.{ending}", "wb").write(data)


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    # In a process of its own: the memory of this one counts for the programs that it starts.
    maker = os.fork()
    if maker == 0:
        make()
        os._exit(0)
    if os.waitpid(maker, 0)[1]:
        sys.exit("the files could not be made")
    for name in sorted(os.listdir(".")):
        check(name)
print("\n".join(failures))
sys.exit(bool(failures))
