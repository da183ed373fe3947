"""The command-line tool, as the report calls it: files in, figures out."""
import concurrent.futures
import json
import os
import pathlib
import subprocess
from dataclasses import dataclass


def in_parallel(work, items):
    """[work(item), ...], on all processors: for what is not timed."""
    with concurrent.futures.ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        return list(pool.map(work, items))


@dataclass
class Likeness:
    """What compare says of two pictures. PSNR in dB, infinite where they are equal."""

    psnr: float
    channels: list
    ssim: float
    largest: int


class Tool:
    """Every call either succeeds or ends the report with the tool's own message."""

    def __init__(self, path):
        self.path = str(pathlib.Path(path).resolve())

    def run(self, *words, stdout=subprocess.PIPE):
        command = [self.path, *map(str, words)]
        done = subprocess.run(command, stdout=stdout, stderr=subprocess.PIPE, check=False)
        if done.returncode:
            raise SystemExit(f"{' '.join(command)}: exit {done.returncode}\n{done.stderr.decode()}")
        return (done.stdout or b"").decode(), done.stderr.decode()

    def version(self):
        return self.run("--version")[0].strip()

    def info(self, path):
        return json.loads(self.run("info", path, "--json")[0])

    def size(self, path):
        """Width and height in pixels."""
        picture = self.info(path)["picture"]
        return picture["width"], picture["height"]

    def encode(self, source, target, *options):
        self.run("encode", source, target, *options)
        return pathlib.Path(target).stat().st_size

    def decode(self, source, target, *options):
        self.run("decode", source, target, *options)

    def encode_timed(self, source, target, *options):
        """Bytes of the file, and the codec's own time in ms: one thread, best of three."""
        messages = self.run("encode", source, target, *options, "--time", "--repeat", 3, "--threads", 1)[1]
        return pathlib.Path(target).stat().st_size, _milliseconds(messages)

    def decode_time(self, source, *options):
        messages = self.run(
            "decode", source, "-", *options, "--time", "--repeat", 3, "--threads", 1, stdout=subprocess.DEVNULL
        )[1]
        return _milliseconds(messages)

    def compare(self, first, second, *options):
        found = json.loads(self.run("compare", first, second, "--json", *options)[0])
        infinite = lambda value: float("inf") if value is None else value  # JSON has no infinity
        return Likeness(
            infinite(found["psnr"]), [infinite(v) for v in found["channelPsnr"]], found["ssim"], found["largest"]
        )


def _milliseconds(messages):
    """The line of --time among warnings."""
    return next(float(line[:-3]) for line in messages.splitlines() if line.endswith(" ms") and "warning" not in line)
