"""Throughput beside other programs: whole processes, from file to file in a temporary folder."""
import os
import pathlib
import re
import shutil
import subprocess
import time

from page import bar, kilobytes

SECONDS = 0.8  # that a program's runs may take together, once it has run three times
RUNS = 9

# Program that a peer is known by -> (the library's name, how it says its version).
PEERS = {
    "cjpeg": ("libjpeg-turbo", ["cjpeg", "-version"], r"version (\S+)"),
    "opj_compress": ("OpenJPEG", ["opj_compress", "-h"], r"openjp2 library v(\S+?)\.?\s"),
    "tiffcp": ("libtiff", ["tiffcp", "-h"], r"Version (\S+)"),
}
PARTNER = {"cjpeg": "djpeg", "opj_compress": "opj_decompress", "tiffcp": "tiffcp"}


def machine():
    """The processor's name, its cores, and the system."""
    cpu = pathlib.Path("/proc/cpuinfo").read_text()
    name = re.search(r"model name\s*: (.*)", cpu)
    system = re.search(r'PRETTY_NAME="?([^"\n]*)', pathlib.Path("/etc/os-release").read_text())
    cores = len(os.sched_getaffinity(0))
    return f"{name.group(1).strip() if name else 'unknown processor'}, {cores} core{'s' * (cores > 1)}" + (
        f", {system.group(1)}" if system else ""
    )


def versions():
    """Peers that are installed: program -> name and version. None for those that are not."""
    found = {}
    for program, (library, command, pattern) in PEERS.items():
        if not shutil.which(program) or not shutil.which(PARTNER[program]):
            found[program] = None
            continue
        told = subprocess.run(command, capture_output=True, check=False)
        version = re.search(pattern, (told.stdout + told.stderr).decode(errors="replace"))
        found[program] = f"{library} {version.group(1) if version else '(version unknown)'}"
    return found


def _tasks(tool, photo, work):
    """(title, peer, our command, the peer's command, its file); each group's decoders read what our encoder wrote."""
    w = lambda name: str(work / name)
    ppm, tif = str(photo.path), w("speed-plain.tif")
    one = ["--threads", "1"]
    tool.encode(ppm, tif, "--compression", "none")

    def ours(command, *words):
        return [tool.path, command, *words, *one]

    def jpeg(title, stem, options, peer_options):
        yield (
            f"Encode JPEG, {title}",
            "cjpeg",
            ours("encode", ppm, w(f"{stem}.jpg"), "-q", "90", *options),
            ["cjpeg", "-quality", "90", "-sample", "2x2", *peer_options, "-outfile", w(f"{stem}-peer.jpg"), ppm],
        )
        yield (
            f"Decode JPEG, {title}",
            "cjpeg",
            ours("decode", w(f"{stem}.jpg"), w(f"{stem}.ppm")),
            ["djpeg", "-outfile", w(f"{stem}-peer.ppm"), w(f"{stem}.jpg")],
        )

    def jpeg2000(title, stem, options, peer_options):
        yield (
            f"Encode JPEG 2000, {title}",
            "opj_compress",
            ours("encode", ppm, w(f"{stem}.jp2"), *options),
            ["opj_compress", "-i", ppm, "-o", w(f"{stem}-peer.jp2"), *peer_options],
        )
        yield (
            f"Decode JPEG 2000, {title}",
            "opj_compress",
            ours("decode", w(f"{stem}.jp2"), w(f"{stem}2.ppm")),
            ["opj_decompress", "-i", w(f"{stem}.jp2"), "-o", w(f"{stem}2-peer.ppm")],
        )

    def tiff(title, option, peer_option):
        packed, peer = w(f"{option}.tif"), w(f"{option}-peer.tif")
        yield (
            f"Pack TIFF, {title}",
            "tiffcp",
            ours("encode", tif, packed, "--compression", option),
            ["tiffcp", "-c", peer_option, tif, peer],
        )
        yield (
            f"Unpack TIFF, {title}",
            "tiffcp",
            ours("encode", packed, w("plain.tif"), "--compression", "none"),
            ["tiffcp", "-c", "none", packed, w("plain-peer.tif")],
        )

    yield from jpeg("quality 90, 4:2:0", "baseline", [], [])
    yield from jpeg("progressive", "progressive", ["--progressive"], ["-progressive"])
    yield from jpeg2000("lossless", "lossless", [], [])
    yield from jpeg2000("1 bit a pixel", "lossy", ["--rate", "1"], ["-I", "-r", "24"])
    yield from tiff("PackBits", "packbits", "packbits")
    yield from tiff("LZW", "lzw", "lzw:2")
    yield from tiff("Deflate", "deflate", "zip:2")


def _best(commands):
    """The shortest time of each command in ms; they take turns, so that all meet the same machine."""
    best, spent, runs = [float("inf")] * len(commands), 0, 0
    while runs < 3 or (runs < RUNS and spent < SECONDS):
        for i, command in enumerate(commands):
            start = time.perf_counter()
            done = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, check=False)
            took = time.perf_counter() - start
            if done.returncode:
                raise SystemExit(f"{' '.join(command)}: exit {done.returncode}\n{done.stderr.decode(errors='replace')}")
            best[i] = min(best[i], 1000 * took)
            spent += took
        runs += 1
    return best


def _written(command):
    """The file that a command of _tasks writes: behind -outfile or -o, else the second path of our tool or tiffcp."""
    for option in ("-outfile", "-o"):
        if option in command:
            return pathlib.Path(command[command.index(option) + 1])
    return pathlib.Path(command[-1] if command[0] == "tiffcp" else command[3])


def section(page, photo, work, peers):
    """Bars for each task. Gives the ratios of times for the page's head: title -> (ratio, the peer's name)."""
    mega = photo.pixels / 1e6
    absent = [PEERS[p][0] for p, version in peers.items() if not version]
    page.section(
        "Throughput beside other programs",
        (
            f"The {photo.name} ({mega:.1f} megapixels) from file to file in a temporary folder: whole processes with"
            f" their start, reading and writing included, on one thread, the best of 3 to {RUNS} runs, in turns."
            " Decoders read the file that <code>zelcodec</code> wrote. Longer bars are faster. KB is what the program"
            " wrote."
        ),
    )
    page.facts(
        *(v for v in peers.values() if v), *(f"{name}: its programs are not installed, and left out" for name in absent)
    )
    ratios = {}
    page.add('<div class="bars">')
    for title, peer, own, other in _tasks(page.tool, photo, work):
        commands = [own, other] if peers[peer] else [own]
        times = _best(commands)
        names = ["zelcodec", peers[peer]]
        rows = []
        for name, took, command in zip(names, times, commands):
            rows.append(
                [
                    name,
                    bar(min(times) / took, "own" if name == "zelcodec" else "peer"),
                    f"{1000 * mega / took:.1f}",
                    f"{took:.1f}",
                    kilobytes(_written(command).stat().st_size),
                ]
            )
        if len(times) == 2:
            ratios[title] = times[1] / times[0], peers[peer]
        page.table(title, ["Program", '<span class="unseen">Bar</span>', "MP/s", "ms", "KB"], rows)
    page.add("</div>")
    return ratios
