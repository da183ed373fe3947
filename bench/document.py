#!/usr/bin/env python3
"""document.py BUILD: measures, and writes the tables and pictures of docs/performance.md and docs/functions.md: ten minutes
on an idle machine.

  --kept     take what the last run has left in BUILD/bench/*.txt, and measure only what is missing there
  --short    measure, and print only the rows that are slower than we ask; nothing is written
  --only RE  rows of zelj_bench whose name matches
  --arm64 BUILD  a build for ARM64: the instructions of functions there, beside those here

What stands between a line "<!-- NAME -->" and the next "<!-- end -->" is replaced; the rest of the page is written by hand.
"""
import argparse
import datetime
import os
import re
import subprocess
import sys
import tempfile
import textwrap

HERE = os.path.dirname(os.path.abspath(__file__))
PAGE = os.path.join(HERE, "..", "docs", "performance.md")
FUNCTIONS = os.path.join(HERE, "..", "docs", "functions.md")
FIGURES = os.path.join(HERE, "..", "docs", "figures")
IMAGES = os.path.join(HERE, "..", "images")


def output(command, kept, path):
    """Of a program, by way of a file that a later run can take."""
    if not (kept and os.path.exists(path)):
        text = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
        with open(path, "w") as f:
            f.write(text)
    with open(path) as f:
        return f.read()


# ---- The rows of zelj_bench ------------------------------------------------------------------------------------------


class Row:
    """One line of its table; times are nanoseconds, and what was not measured is None."""

    def __init__(self, cells):
        number = [float(c) if c else None for c in cells[2:]]
        self.name, self.unit = cells[:2]
        self.avx2, self.sse41, self.peer, self.ratio, self.ratio41, self.least, self.aim, self.copy = number

    def kind(self):
        """The name without the photograph and the quality: rows of one kind share a line of the document."""
        return re.sub(r",?( 16 rows of)?,? (dandelion|canyon)\b| q\d+$", "", self.name).replace(" ,", ",")


def rows_of(text):
    cells = [[c.strip() for c in line[1:-1].split("|")] for line in text.splitlines() if line.startswith("| ")]
    return [Row(c) for c in cells if len(c) == 10 and c[0] != "work"]


def between(values, digits=None):
    """The smallest and the largest, of three digits where nothing is said."""
    values = [v for v in values if v is not None]
    if not values:
        return ""
    if digits is None:
        digits = 3 if max(values) < 1 else 2 if max(values) < 10 else 1
    low, high = (f"{f(values):.{digits}f}" for f in (min, max))
    return low if low == high else f"{low} to {high}"


def table(rows):
    kinds = {}
    for r in rows:
        if " at quality " not in r.name and r.ratio is not None:
            kinds.setdefault(r.kind(), []).append(r)
    out = ["| work | unit | ours, ns | peer, ns | ratio | ratio, SSE4.1 | at least | aim |", "|---" * 8 + "|"]
    for kind, rs in kinds.items():
        asked = [between([r.least or None for r in rs], 2), between([r.aim or None for r in rs], 2)]
        out.append("| " + " | ".join([kind, rs[0].unit, between([r.avx2 for r in rs]), between([r.peer for r in rs]),
                                      "**" + between([r.ratio for r in rs], 2) + "**",
                                      between([r.ratio41 for r in rs], 2)] + asked) + " |")
    return "\n".join(out)


def functions_table(rows, counted):
    """The calls of functions; counted is the table of calls/beside.py, or nothing."""
    instructions = {}
    for line in counted.splitlines():
        cells = [c.strip() for c in line[1:-1].split("|")]
        if len(cells) == 5 and cells[0].startswith("`"):
            instructions[cells[0].strip("`")] = cells[2:]
    out = ["| function | unit | AVX2, ns | SSE4.1, ns | of memcpy | SSE4.1 | NEON | NEON / SSE4.1 |", "|---" * 8 + "|"]
    for r in rows:
        if r.name.startswith("call of "):
            name = r.name[len("call of "):]
            share = "" if r.copy is None else f"{r.copy:.2f}"
            out.append("| " + " | ".join([f"`{name}`", r.unit, between([r.avx2]), between([r.sse41]), share,
                                          *instructions.get(name, ["", "", ""])]) + " |")
    return "\n".join(out)


def short_of(rows):
    return [r for r in rows if r.least and r.ratio is not None and r.ratio < r.least]


# ---- Pictures --------------------------------------------------------------------------------------------------------


def nice_steps(low, high):
    """Four to eight round numbers that span an interval."""
    for step in (0.25, 0.5, 1, 2, 5, 10, 20):
        if (high - low) / step <= 7:
            break
    first = int(low // step)
    values = [first * step]
    while values[-1] < high:
        values.append(values[-1] + step)
    return values


def picture(title, across, up, curves):
    """Curves as SVG: [(name, [(x, y), ...]), ...]. The names stand at the right, as high as their curves end, or lower where
    two would lie on each other."""
    left, top, width, height, right = 60, 40, 520, 300, 190
    points = [p for _, c in curves for p in c]
    xs, ys = nice_steps(min(p[0] for p in points), max(p[0] for p in points)), nice_steps(
        min(0, min(p[1] for p in points)) if up.startswith("ns") else min(p[1] for p in points), max(p[1] for p in points))
    scale = (width / (xs[-1] - xs[0]), height / (ys[-1] - ys[0]))

    def at(point):
        return left + (point[0] - xs[0]) * scale[0], top + height - (point[1] - ys[0]) * scale[1]

    colours = ["#0b62a8", "#c2410c", "#15803d", "#7c3aed"]
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {left + width + right} {top + height + 60}" '
           'font-family="sans-serif" font-size="13">', '<rect width="100%" height="100%" fill="#fff"/>',
           f'<text x="{left}" y="22" font-size="15" font-weight="bold">{title}</text>']
    for x in xs:
        px = at((x, ys[0]))[0]
        out.append(f'<path d="M{px:.1f} {top}V{top + height}" stroke="#ddd"/>'
                   f'<text x="{px:.1f}" y="{top + height + 20}" text-anchor="middle">{x:g}</text>')
    for y in ys:
        py = at((xs[0], y))[1]
        out.append(f'<path d="M{left} {py:.1f}H{left + width}" stroke="#ddd"/>'
                   f'<text x="{left - 8}" y="{py + 4:.1f}" text-anchor="end">{y:g}</text>')
    out.append(f'<text x="{left + width / 2}" y="{top + height + 46}" text-anchor="middle">{across}</text>')
    out.append(f'<text transform="translate(16 {top + height / 2}) rotate(-90)" text-anchor="middle">{up}</text>')
    below = 0
    for i, (name, curve) in sorted(enumerate(curves), key=lambda c: -c[1][1][-1][1]):
        path = " ".join(f"{x:.1f},{y:.1f}" for x, y in map(at, curve))
        colour = colours[i % len(colours)]
        y = below = max(at(curve[-1])[1], below + 17)
        out.append(f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"/>'
                   f'<text x="{left + width + 8}" y="{y + 4:.1f}" fill="{colour}">{name}</text>')
    return "\n".join(out) + "\n</svg>\n"


def by_quality(rows):
    curves = {}
    for r in rows:
        m = re.match(r"(encode|decode) at quality (\d+)", r.name)
        if m:
            for who, ns in ((f"{m[1]}, zelj", r.avx2), (f"{m[1]}, libjpeg-turbo", r.peer)):
                curves.setdefault(who, []).append((int(m[2]), ns))
    if not curves:
        return None
    return picture("JPEG 4:2:0, one thread", "quality", "ns a pixel", sorted(curves.items()))


def by_rate(zelcodec):
    """What a photograph keeps at a number of bits."""
    curves = {"JPEG 2000": [], "progressive JPEG": [], "baseline JPEG": []}
    original = os.path.abspath(os.path.join(IMAGES, "canyon.png"))

    def measure(name, options):
        subprocess.run([zelcodec, "encode", original, name, *options], check=True, stderr=subprocess.DEVNULL)
        told = subprocess.run([zelcodec, "compare", original, name], check=True, stdout=subprocess.PIPE, text=True).stdout
        return os.path.getsize(name) * 8 / (2304 * 1536), float(re.match(r"PSNR (\S+)", told)[1])

    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        for quality in ("20", "40", "60", "75", "85", "90", "94"):
            curves["baseline JPEG"].append(measure("a.jpg", ["-q", quality]))
            curves["progressive JPEG"].append(measure("p.jpg", ["-q", quality, "--progressive"]))
        for rate in ("0.4", "0.7", "1", "1.5", "2", "2.5", "3"):
            curves["JPEG 2000"].append(measure("a.jp2", ["--rate", rate]))
    return picture("canyon.png, 2304 x 1536, chroma halved in JPEG", "bits a pixel", "PSNR in dB", list(curves.items()))


# ---- The page --------------------------------------------------------------------------------------------------------


def machine(zelcodec):
    cpu = next(line.split(":")[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name"))
    version = subprocess.run([zelcodec, "--version"], stdout=subprocess.PIPE, text=True, check=True).stdout.strip()
    packages = "libturbojpeg0-dev libopenjp2-7-dev libsquish-dev libtiff-dev libavcodec-dev libyuv-dev".split()
    told = subprocess.run(["dpkg-query", "-W", "-f=${Package} ${Version}, "] + packages, stdout=subprocess.PIPE,
                          text=True).stdout
    return textwrap.fill(f"Measured on {datetime.date.today().isoformat()}: {cpu}, {os.cpu_count()} virtual cores, "
                         f"{version.replace('zelcodec, with ', '')}. Peers: {told.rstrip(', ')}.", 120)


def replace(page, name, text):
    pattern = re.compile(rf"(<!-- {name} -->\n).*?(<!-- end -->)", re.S)
    if not pattern.search(page):
        sys.exit(f"performance.md has no place for {name}")
    return pattern.sub(lambda m: m[1] + "\n" + text.rstrip("\n") + "\n\n" + m[2], page)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build")
    parser.add_argument("--kept", action="store_true")
    parser.add_argument("--short", action="store_true")
    parser.add_argument("--only", default=".")
    parser.add_argument("--arm64", metavar="BUILD")
    options = parser.parse_args()
    at = os.path.abspath(os.path.join(options.build, "bench"))
    zelcodec = os.path.abspath(os.path.join(options.build, "tools", "zelcodec", "zelcodec"))
    bench = [os.path.join(at, "zelj_bench"), f"--benchmark_filter={options.only}"]
    rows = rows_of(output(bench, options.kept, os.path.join(at, "rows.txt")))
    if options.short:
        for r in short_of(rows):
            print(f"{r.name}: {r.ratio:.2f}, asked {r.least:.2f}")
        return
    with open(PAGE) as f:
        page = f.read()
    page = replace(page, "machine", machine(zelcodec))
    page = replace(page, "rows", table(rows))
    processes = [os.path.join(HERE, "processes.py"), zelcodec, "--runs", "21"]
    page = replace(page, "processes", output(processes, options.kept, os.path.join(at, "processes.txt")))
    threads = [os.path.join(at, "zelj_bench_threads")]
    page = replace(page, "threads", output(threads, options.kept, os.path.join(at, "threads.txt")))
    counted = ""
    if options.arm64:
        beside = [os.path.join(HERE, "calls", "beside.py"), options.build, options.arm64]
        counted = output(beside, options.kept, os.path.join(at, "beside.txt"))
    with open(FUNCTIONS) as f:
        functions = replace(f.read(), "functions", functions_table(rows, counted))
    with open(FUNCTIONS, "w") as f:
        f.write(functions)
    os.makedirs(FIGURES, exist_ok=True)
    for name, svg in (("quality", by_quality(rows)), ("rate", by_rate(zelcodec))):
        if svg:
            with open(os.path.join(FIGURES, name + ".svg"), "w") as f:
                f.write(svg)
    with open(PAGE, "w") as f:
        f.write(page)


if __name__ == "__main__":
    main()
