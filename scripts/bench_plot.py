"""Draws the times of queries over numbers of records, and below them their
ratios, as SVG."""

import math

WIDTH, LEFT, RIGHT = 740, 74, 40
TIMES_TOP, TIMES_HEIGHT = 86, 300
RATIOS_TOP, RATIOS_HEIGHT = 452, 150
HEIGHT = 654

# Readable on white and on black, whatever the page has: the picture brings its
# own ground.
LIGHT = dict(ground="#ffffff", ink="#1f2328", soft="#59636e", rule="#d1d9e0")
LIGHT_CURVES = ("#59636e", "#0b62b5", "#b35900", "#107a4f")
DARK = dict(ground="#0d1117", ink="#f0f6fc", soft="#9198a1", rule="#30363d")
DARK_CURVES = ("#9198a1", "#58a6ff", "#f0a03c", "#3fc28a")


def colors(scheme, curves):
    """The style's rules for one scheme."""
    rules = [
        f".ground {{ fill: {scheme['ground']} }}",
        f"text {{ fill: {scheme['soft']} }}",
        f".title {{ fill: {scheme['ink']} }}",
        f".rule {{ stroke: {scheme['rule']} }}",
        f".mark {{ stroke: {scheme['soft']} }}",
    ]
    for number, color in enumerate(curves):
        rules.append(f".line{number} {{ stroke: {color} }}")
        rules.append(f".dot{number} {{ fill: {color} }}")
    return "\n".join(rules)


STYLE = f"""
text {{ font: 13px system-ui, sans-serif }}
.title {{ font-size: 15px; font-weight: 600 }}
.mark {{ stroke-dasharray: 2 4 }}
.line {{ fill: none; stroke-width: 2 }}
.line0 {{ stroke-dasharray: 6 4 }}
{colors(LIGHT, LIGHT_CURVES)}
@media (prefers-color-scheme: dark) {{
{colors(DARK, DARK_CURVES)}
}}
"""


class Scale:
    """Where values are drawn on one axis."""

    def __init__(self, values, pixels, logarithmic):
        self._of = math.log10 if logarithmic else float
        self._low, self._high = (self._of(value) for value in values)
        self._first, self._last = pixels

    def __call__(self, value):
        part = (self._of(value) - self._low) / (self._high - self._low)
        return round(self._first + part * (self._last - self._first), 1)


def decades(low, high):
    """The powers of ten around a range."""
    first, last = math.floor(math.log10(low)), math.ceil(math.log10(high))
    return [10**exponent for exponent in range(first, last + 1)]


def duration(microseconds):
    for unit, factor in (("s", 1e6), ("ms", 1e3)):
        if microseconds >= factor:
            return f"{microseconds / factor:g} {unit}"
    return f"{microseconds:g} us"


class Picture:
    def __init__(self, title):
        self._parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}"'
            f' width="{WIDTH}" height="{HEIGHT}" role="img">',
            f"<title>{title}</title>",
            f"<style>{STYLE}</style>",
            f'<rect width="{WIDTH}" height="{HEIGHT}" class="ground"/>',
        ]

    def text(self, x, y, text, anchor="start", kind=""):
        self._parts.append(
            f'<text x="{x}" y="{y}" text-anchor="{anchor}" class="{kind}">{text}</text>'
        )

    def rule(self, x1, y1, x2, y2, kind="rule"):
        self._parts.append(
            f'<line x1="{x1}" y1="{y1}" x2="{x2}" y2="{y2}" class="{kind}"/>'
        )

    def curve(self, number, points):
        path = " ".join(f"{x},{y}" for x, y in points)
        self._parts.append(
            f'<polyline points="{path}" class="line line{number}"/>'
        )
        for x, y in points:
            self._parts.append(f'<circle cx="{x}" cy="{y}" r="3" class="dot{number}"/>')

    def save(self, file):
        with open(file, "w", encoding="utf-8") as out:
            out.write("\n".join(self._parts + ["</svg>", ""]))


def draw_counts(picture, across, counts, top, bottom):
    """The upright lines of both parts, with their numbers."""
    for count in decades(min(counts), max(counts)):
        picture.rule(across(count), top, across(count), bottom)
        picture.text(across(count), bottom + 18, f"{count:,}", "middle")


def draw_times(picture, across, counts, curves):
    bottom = TIMES_TOP + TIMES_HEIGHT
    times = [time for values in curves for time in values]
    marks = decades(min(times), max(times))
    up = Scale((marks[0], marks[-1]), (bottom, TIMES_TOP), logarithmic=True)
    draw_counts(picture, across, counts, TIMES_TOP, bottom)
    for mark in marks:
        picture.rule(LEFT, up(mark), WIDTH - RIGHT, up(mark))
        picture.text(LEFT - 8, up(mark) + 4, duration(mark), "end")
    for number, values in enumerate(curves):
        points = [(across(count), up(time)) for count, time in zip(counts, values)]
        picture.curve(number, points)


def draw_ratios(picture, across, counts, curves, marks):
    bottom = RATIOS_TOP + RATIOS_HEIGHT
    ratios = [ratio for values in curves for ratio in values]
    steps = range(
        math.floor(5 * min(0.8, *ratios)), math.ceil(5 * max(1.6, *ratios)) + 1
    )
    up = Scale((steps[0] / 5, steps[-1] / 5), (bottom, RATIOS_TOP), logarithmic=False)
    draw_counts(picture, across, counts, RATIOS_TOP, bottom)
    for step in steps:
        picture.rule(LEFT, up(step / 5), WIDTH - RIGHT, up(step / 5))
        picture.text(LEFT - 8, up(step / 5) + 4, f"{step / 5:.1f}", "end")
    for mark in marks:
        picture.rule(LEFT, up(mark), WIDTH - RIGHT, up(mark), "mark")
        picture.text(WIDTH - RIGHT, up(mark) - 4, f"mark {mark:g}", "end")
    for number, values in enumerate(curves, 1):
        points = [(across(count), up(ratio)) for count, ratio in zip(counts, values)]
        picture.curve(number, points)


def draw(file, counts, bare, curves, marks):
    """Draws the times of queries over the numbers of records.

    bare: the times in microseconds that queries are compared with
    curves: names with the times and ratios of each query
    marks: ratios that are drawn as lines of their own
    """
    title = "CPU time of a query"
    picture = Picture(title)
    across = Scale((min(counts), max(counts)), (LEFT, WIDTH - RIGHT), logarithmic=True)
    picture.text(LEFT, 28, title, kind="title")
    for number, name in enumerate(["bare scan", *(name for name, _ in curves)]):
        x = LEFT + number * 140
        picture.curve(number, [(x, 52), (x + 24, 52)])
        picture.text(x + 34, 56, name)
    times = [bare, *(curve.times for _, curve in curves)]
    draw_times(picture, across, counts, times)
    picture.text(LEFT, RATIOS_TOP - 16, "As multiples of the bare scan", kind="title")
    draw_ratios(picture, across, counts, [curve.ratios for _, curve in curves], marks)
    middle = (LEFT + WIDTH - RIGHT) / 2
    picture.text(middle, HEIGHT - 12, "fault entries in the data cache", "middle")
    picture.save(file)
