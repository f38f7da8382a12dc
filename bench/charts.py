# SPDX-License-Identifier: LGPL-2.1-or-later
"""Growth plots as SVG, both axes logarithmic: time proportional to size rises by one decade a decade."""
import html
import math

WIDTH, HEIGHT = 720, 440
LEFT, RIGHT, TOP, BOTTOM = 80, 150, 50, 50
SIDES = {"library": ("#1f5fa8", ""), "yardstick": ("#2f8f4e", "6 4"), "naive": ("#b8552c", "2 3")}
TIMES = ((1, "s"), (1e-3, "ms"), (1e-6, "µs"), (1e-9, "ns"))


def time_text(seconds):
    unit, name = next(((unit, name) for unit, name in TIMES if seconds >= unit * 0.999), TIMES[-1])
    return f"{seconds / unit:.0f} {name}"


class Axis:
    """Whole decades around the values, laid out from @begin to @end."""

    def __init__(self, values, begin, end):
        self.low = math.floor(math.log10(min(values)) + 1e-9)
        self.high = max(math.ceil(math.log10(max(values)) - 1e-9), self.low + 1)
        self.begin, self.end = begin, end

    def at(self, value):
        return self.begin + (math.log10(value) - self.low) / (self.high - self.low) * (self.end - self.begin)

    def decades(self):
        return [10.0 ** power for power in range(self.low, self.high + 1)]


def text(x, y, words, anchor="middle", size=12):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}">{html.escape(words)}</text>'


def line(x1, y1, x2, y2, colour="#dddddd"):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}"/>'


def grid(across, up):
    for size in across.decades():
        yield line(across.at(size), up.begin, across.at(size), up.end)
        yield text(across.at(size), HEIGHT - BOTTOM + 20, f"{size:,.0f}")
    for seconds in up.decades():
        yield line(across.begin, up.at(seconds), across.end, up.at(seconds))
        yield text(LEFT - 8, up.at(seconds) + 4, time_text(seconds), "end")


def curve(side, points, across, up, place):
    colour, dashes = SIDES[side]
    spots = [(across.at(point["n"]), up.at(point[side])) for point in points if point.get(side)]
    yield (f'<polyline fill="none" stroke="{colour}" stroke-width="2" stroke-dasharray="{dashes}" points="'
           + " ".join(f"{x:.1f},{y:.1f}" for x, y in spots) + '"/>')
    yield from (f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3" fill="{colour}"/>' for x, y in spots)
    legend = TOP + 20 * place
    yield (f'<line x1="{WIDTH - RIGHT + 15}" y1="{legend}" x2="{WIDTH - RIGHT + 45}" y2="{legend}" '
           f'stroke="{colour}" stroke-width="2" stroke-dasharray="{dashes}"/>')
    yield text(WIDTH - RIGHT + 52, legend + 4, side, "start")


def growth_chart(name, points):
    sides = [side for side in SIDES if any(point.get(side) for point in points)]
    across = Axis([point["n"] for point in points], LEFT, WIDTH - RIGHT)
    up = Axis([point[side] for point in points for side in sides if point.get(side)], HEIGHT - BOTTOM, TOP)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>',
             text((LEFT + WIDTH - RIGHT) / 2, TOP - 20, name, size=16), *grid(across, up)]
    for place, side in enumerate(sides):
        parts.extend(curve(side, points, across, up, place))
    return "\n".join([*parts, "</svg>"]) + "\n"
