"""Curves over a number, in panels one above the other, as SVG."""

import math

WIDTH, LEFT, RIGHT = 740, 74, 40
# Above the first panel, between two, and below the last.
HEAD, GAP, FOOT = 86, 66, 52

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


class Picture:
    def __init__(self, title, height):
        self._parts = [
            f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}"'
            f' width="{WIDTH}" height="{height}" role="img">',
            f"<title>{title}</title>",
            f"<style>{STYLE}</style>",
            f'<rect width="{WIDTH}" height="{height}" class="ground"/>',
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


class Curve:
    """A line of a panel; NUMBER picks its color."""

    def __init__(self, number, counts, values):
        self.number = number
        self.counts = counts
        self.values = values


class Logarithmic:
    """A panel whose values span powers of ten, which LABEL says in words."""

    def __init__(self, title, height, curves, label):
        self.title, self.height, self.curves = title, height, curves
        self._label = label

    def rule(self, picture, bottom, top):
        """Draws the lines across, and answers where values stand."""
        values = [value for curve in self.curves for value in curve.values]
        marks = decades(min(values), max(values))
        up = Scale((marks[0], marks[-1]), (bottom, top), logarithmic=True)
        for mark in marks:
            rule_across(picture, up(mark), self._label(mark))
        return up


class Ratios:
    """A panel of ratios, some of which are marks."""

    def __init__(self, title, height, curves, marks):
        self.title, self.height, self.curves = title, height, curves
        self._marks = marks

    def rule(self, picture, bottom, top):
        """Draws the lines across, and answers where values stand."""
        ratios = [ratio for curve in self.curves for ratio in curve.values]
        steps = range(
            math.floor(5 * min(0.8, *ratios)), math.ceil(5 * max(1.6, *ratios)) + 1
        )
        up = Scale((steps[0] / 5, steps[-1] / 5), (bottom, top), logarithmic=False)
        for step in steps:
            rule_across(picture, up(step / 5), f"{step / 5:.1f}")
        for mark in self._marks:
            picture.rule(LEFT, up(mark), WIDTH - RIGHT, up(mark), "mark")
            picture.text(WIDTH - RIGHT, up(mark) - 4, f"mark {mark:g}", "end")
        return up


def rule_across(picture, height, label):
    picture.rule(LEFT, height, WIDTH - RIGHT, height)
    picture.text(LEFT - 8, height + 4, label, "end")


def draw_panel(picture, panel, across, counts, top):
    bottom = top + panel.height
    for count in counts:
        picture.rule(across(count), top, across(count), bottom)
        picture.text(across(count), bottom + 18, f"{count:,}", "middle")
    up = panel.rule(picture, bottom, top)
    for curve in panel.curves:
        picture.curve(
            curve.number,
            [(across(x), up(y)) for x, y in zip(curve.counts, curve.values)],
        )


def draw(file, names, panels, foot):
    """Draws panels, the first with the picture's title and the legend.

    names: the curves' names by their numbers
    foot: what the numbers below the panels count
    """
    height = HEAD + sum(panel.height + GAP for panel in panels) - GAP + FOOT
    picture = Picture(panels[0].title, height)
    counts = [
        count for panel in panels for curve in panel.curves for count in curve.counts
    ]
    across = Scale((min(counts), max(counts)), (LEFT, WIDTH - RIGHT), logarithmic=True)
    picture.text(LEFT, 28, panels[0].title, kind="title")
    x = LEFT
    for number, name in names.items():
        picture.curve(number, [(x, 52), (x + 24, 52)])
        picture.text(x + 34, 56, name)
        x += max(140, 50 + 8 * len(name))
    top = HEAD
    for panel in panels:
        if panel is not panels[0]:
            picture.text(LEFT, top - 16, panel.title, kind="title")
        draw_panel(picture, panel, across, decades(min(counts), max(counts)), top)
        top += panel.height + GAP
    picture.text((LEFT + WIDTH - RIGHT) / 2, height - 12, foot, "middle")
    picture.save(file)
