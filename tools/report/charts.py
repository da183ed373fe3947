"""Charts as inline SVG: lines in axes, with labels that keep clear of everything. Colours come from the style sheet."""
import math
from html import escape

WIDTH, HEIGHT = 400, 310
LEFT, RIGHT, TOP, BOTTOM = 40, 388, 30, 262  # of the plot's area
TEXT = 13  # font size; a column of the page shows about as many pixels as the chart is wide
LETTER = 0.62 * TEXT  # the width of a letter, taken generously


class Scale:
    """Values to positions; ticks at multiples of `step`."""

    def __init__(self, low, high, step, start, end):
        self.low, self.high, self.step, self.start, self.end = low, high, step, start, end

    def __call__(self, value):
        return self.start + (self.end - self.start) * (value - self.low) / (self.high - self.low)

    def ticks(self):
        return [self.low + i * self.step for i in range(round((self.high - self.low) / self.step) + 1)]


def within(points, limit):
    """The points up to x = limit; a line that goes on beyond ends on the limit, by interpolation."""
    points = sorted(points)
    kept = [p for p in points if p[0] <= limit]
    beyond = [p for p in points if p[0] > limit]
    if kept and beyond and kept[-1][0] < limit:
        (x0, y0), (x1, y1) = kept[-1], beyond[0]
        return kept, kept + [(limit, y0 + (y1 - y0) * (limit - x0) / (x1 - x0))]
    return kept, kept


def _crosses(box, line):
    """Whether a line comes into a box of (left, top, right, bottom); it is walked in steps of about two pixels."""
    left, top, right, bottom = box
    for (x0, y0), (x1, y1) in zip(line, line[1:]):
        steps = max(1, int(math.hypot(x1 - x0, y1 - y0) / 2))
        for i in range(steps + 1):
            x, y = x0 + (x1 - x0) * i / steps, y0 + (y1 - y0) * i / steps
            if left <= x <= right and top <= y <= bottom:
                return True
    return False


def _overlaps(a, b):
    return a[0] < b[2] and b[0] < a[2] and a[1] < b[3] and b[1] < a[3]


def _place(text, line, lines, taken):
    """Baseline position (x, y) for a line's label: near the line, inside the plot, clear of lines and other labels."""
    width, margin = LETTER * len(text), 4
    for gap in (8, 14, 22, 34, 50):
        for x, y in reversed(line):
            for left, top in (
                (x - width - gap, y - TEXT - gap),
                (x + gap, y + gap),
                (x - width / 2, y + gap),
                (x - width / 2, y - TEXT - gap),
            ):
                box = (left - margin, top - margin, left + width + margin, top + TEXT + margin)
                inside = LEFT < box[0] and box[2] < RIGHT and TOP < box[1] and box[3] < BOTTOM
                if inside and not any(_crosses(box, l) for l in lines) and not any(_overlaps(box, t) for t in taken):
                    taken.append(box)
                    return left, top + TEXT - 2
    raise SystemExit(f"no room for the label {text}")


def _axes(x, y, x_title, y_title):
    parts = []
    for tick in y.ticks():
        parts.append(
            f'<path class="grid" d="M{LEFT} {y(tick):.1f}H{RIGHT}"/>'
            f'<text x="{LEFT - 7}" y="{y(tick) + 4:.1f}" text-anchor="end">{tick:g}</text>'
        )
    for tick in x.ticks():
        parts.append(
            f'<path class="grid" d="M{x(tick):.1f} {TOP}V{BOTTOM}"/>'
            f'<text x="{x(tick):.1f}" y="{BOTTOM + 19}" text-anchor="middle">{tick:g}</text>'
        )
    parts.append(
        f'<text class="axis" x="{(LEFT + RIGHT) / 2}" y="{HEIGHT - 6}" text-anchor="middle">{escape(x_title)}'
        f'</text><text class="axis" x="4" y="16">{escape(y_title)}</text>'
    )
    return parts


def curves(title, series, limit, x_title, y_title):
    """series: [(name, class, [(x, y), ...]), ...], shown for x from 0 to limit and as much of y as needed."""
    shown = [(name, style, *within(points, limit)) for name, style, points in series]
    values = [y for *_, line in shown for _, y in line]
    x = Scale(0, limit, 0.5, LEFT, RIGHT)
    y = Scale(5 * math.floor(min(values) / 5), 5 * math.ceil(max(values) / 5), 5, BOTTOM, TOP)
    parts = _axes(x, y, x_title, y_title)
    lines = [[(x(a), y(b)) for a, b in line] for *_, line in shown]
    taken = []
    for (name, style, points, _), line in zip(shown, lines):
        path = "M" + "L".join(f"{a:.1f} {b:.1f}" for a, b in line)
        dots = "".join(f'<circle cx="{x(a):.1f}" cy="{y(b):.1f}" r="3"/>' for a, b in points)
        at = _place(name, line, lines, taken)
        parts.append(
            f'<g class="{style}"><path class="curve" d="{path}"/>{dots}'
            f'<text class="label" x="{at[0]:.1f}" y="{at[1]:.1f}">{escape(name)}</text></g>'
        )
    return (
        f'<svg class="chart" viewBox="0 0 {WIDTH} {HEIGHT}" role="img" aria-label="{escape(title)}" '
        f'data-plot="{LEFT} {TOP} {RIGHT} {BOTTOM}">{"".join(parts)}</svg>'
    )
