"""Pictures in memory: Netpbm files, the part of a picture that lost most, and test pictures made from photographs."""
import array
import math
import pathlib
import sys

TILE = 16  # pixels; errors are summed over tiles of this size, and windows begin at their corners


def read_netpbm(path):
    """(width, height, largest value, samples) of a binary PGM or PPM; samples of 16 bits are an array of numbers."""
    data = pathlib.Path(path).read_bytes()
    fields, at = [], 2
    while len(fields) < 3:  # no comments: the tool writes none
        end = at + 1
        while not data[end : end + 1].isspace():
            end += 1
        fields.append(int(data[at:end]))
        at = end
    width, height, largest = fields
    samples = data[at + 1 :]
    if largest > 255:
        samples = array.array("H", samples)
        if sys.byteorder == "little":
            samples.byteswap()
    return width, height, largest, samples


def write_ppm(path, width, height, samples, largest=255):
    if largest > 255:
        samples = array.array("H", samples)
        if sys.byteorder == "little":
            samples.byteswap()
        samples = samples.tobytes()
    pathlib.Path(path).write_bytes(b"P6\n%d %d\n%d\n" % (width, height, largest) + samples)


def write_pam(path, width, height, samples, tuple_type):
    depth = len(samples) // (width * height)
    header = f"P7\nWIDTH {width}\nHEIGHT {height}\nDEPTH {depth}\nMAXVAL 255\nTUPLTYPE {tuple_type}\nENDHDR\n"
    pathlib.Path(path).write_bytes(header.encode() + samples)


def tile_sums(samples, width, height, table):
    """For each tile of an RGB picture the sum of table[sample]: a list of rows of tiles."""
    weighed = samples.translate(table)
    across, down = width // TILE, height // TILE
    sums = []
    for ty in range(down):
        row = [0] * across
        for y in range(ty * TILE, (ty + 1) * TILE):
            start = 3 * width * y
            for tx in range(across):
                row[tx] += sum(weighed[start + 3 * TILE * tx : start + 3 * TILE * (tx + 1)])
        sums.append(row)
    return sums


def largest_window(sums, width, height):
    """(x, y) in tiles of the window of width x height tiles with the largest sum."""
    across, down = len(sums[0]), len(sums)
    # integral[y][x] is the sum of all tiles above and left of (x, y), so that a window costs four look-ups.
    integral = [[0] * (across + 1)]
    for row in sums:
        line = [0]
        for x, value in enumerate(row):
            line.append(line[x] + value + integral[-1][x + 1] - integral[-1][x])
        integral.append(line)
    width, height = min(width, across), min(height, down)

    def total(x, y):
        top, bottom = integral[y], integral[y + height]
        return bottom[x + width] - bottom[x] - top[x + width] + top[x]

    return max(((x, y) for y in range(down - height + 1) for x in range(across - width + 1)), key=lambda p: total(*p))


def worst_window(difference, width, height, detail):
    """Where a difference picture (grey 128 where nothing differs) is strongest, by squared error.

    Gives the corner (x, y) of the window of width x height pixels, and that of the strongest part of it of the size
    `detail`, counted from the window's corner.
    """
    w, h, _, samples = read_netpbm(difference)
    squares = bytes(min(255, (v - 128) ** 2 >> 4) for v in range(256))
    sums = tile_sums(samples, w, h, squares)
    across, down = -(-width // TILE), -(-height // TILE)
    tx, ty = largest_window(sums, across, down)
    # The window may end beyond the last whole tile, but not beyond the picture.
    x, y = min(tx * TILE, w - width), min(ty * TILE, h - height)
    inner = [row[tx : tx + across] for row in sums[ty : ty + down]]
    dx, dy = largest_window(inner, -(-detail[0] // TILE), -(-detail[1] // TILE))
    return (x, y), (dx * TILE, dy * TILE)


def averaged_by_four(source, target, darker):
    """Averages of 4 x 4 pixels, with values divided by `darker`, as a picture of 16 bits.

    The 16 samples of 8 bits sum to 12 bits; 16 bits hold these sums exactly down to a sixteenth of full brightness.
    """
    width, height, _, samples = read_netpbm(source)
    w, h, stride = width // 4, height // 4, 3 * width
    stretched = [round(total * 65535 / (16 * 255 * darker)) for total in range(16 * 255 + 1)]
    out = array.array("H", bytes(2 * 3 * w * h))
    for y in range(h):
        rows = [samples[stride * (4 * y + i) : stride * (4 * y + i + 1)] for i in range(4)]
        for c in range(3):
            columns = (row[c + 3 * dx : 12 * w : 12] for row in rows for dx in range(4))
            out[3 * w * y + c : 3 * w * (y + 1) : 3] = array.array("H", [stretched[t] for t in map(sum, zip(*columns))])
    write_ppm(target, w, h, out, 65535)
    return w, h


def brightened(source, target, factor):
    """A picture of any depth with its values multiplied, as one of 8 bits: what was dark becomes visible."""
    width, height, largest, samples = read_netpbm(source)
    table = [min(255, round(255 * factor * v / largest)) for v in range(largest + 1)]
    write_ppm(target, width, height, bytes(table[v] for v in samples))


def to_cmyk(source, target):
    """The plainest separation: black is what all three inks share, and the inks are what is left over it."""
    width, height, _, samples = read_netpbm(source)
    out = bytearray(4 * width * height)
    red, green, blue = samples[0::3], samples[1::3], samples[2::3]
    brightest = [max(p) for p in zip(red, green, blue)]
    for i, channel in enumerate((red, green, blue)):
        out[i::4] = bytes(255 - 255 * v // m if m else 0 for v, m in zip(channel, brightest))
    out[3::4] = bytes(255 - m for m in brightest)
    write_pam(target, width, height, bytes(out), "CMYK")


def with_opacity(source, target):
    """The picture under a soft disc: opaque in the middle, gone at the borders."""
    width, height, _, samples = read_netpbm(source)
    out = bytearray(4 * width * height)
    for c in range(3):
        out[c::4] = samples[c::3]
    reach = min(width, height) / 2
    opacity = bytearray()
    for y in range(height):
        for x in range(width):
            distance = math.hypot(x + 0.5 - width / 2, y + 0.5 - height / 2) / reach
            opacity.append(round(255 * min(1, max(0, 2 - 2 * distance))))
    out[3::4] = opacity
    write_pam(target, width, height, bytes(out), "RGB_ALPHA")


def black_and_white(source, target):
    """One bit a pixel, by a threshold in the middle of the green channel."""
    width, height, _, samples = read_netpbm(source)
    green = samples[1::3].translate(bytes(49 if v < 128 else 48 for v in range(256)))  # the digits 1 and 0; 1 is black
    rows = bytearray()
    for y in range(height):
        bits = green[width * y : width * (y + 1)].decode().ljust(-(-width // 8) * 8, "0")
        rows += int(bits, 2).to_bytes(len(bits) // 8, "big")
    pathlib.Path(target).write_bytes(b"P4\n%d %d\n" % (width, height) + rows)
