# SPDX-License-Identifier: Apache-2.0
"""Curves over a number, in panels one above the other, as SVG."""

import collections
import math

import matplotlib
from matplotlib import pyplot
from matplotlib.ticker import FuncFormatter

matplotlib.use("svg")
matplotlib.rcParams |= {
    "axes.axisbelow": True,
    "axes.edgecolor": "#d1d9e0",
    "axes.grid": True,
    "axes.titlelocation": "left",
    "font.size": 10,
    "grid.color": "#d1d9e0",
    # What is drawn from the same figures is the same file.
    "svg.hashsalt": "curves",
    "svg.fonttype": "none",
}
COLORS = ("#59636e", "#0b62b5", "#b35900", "#107a4f")
# In inches, as is what a panel says of its height.
WIDTH, BETWEEN = 8, 0.9

# A line of a panel; number picks its color, and the first is dashed.
Curve = collections.namedtuple("Curve", "number counts values")
# range has what must be seen; label says values in words; marks are values that
# are drawn as lines.
Panel = collections.namedtuple("Panel", "title height curves scale range label marks")


def logarithmic(title, height, curves, label):
    """A panel whose values span powers of ten."""
    values = [value for curve in curves for value in curve.values]
    decades = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    span = [10.0**exponent for exponent in decades]
    return Panel(title, height, curves, "log", span, label, ())


def ratios(title, height, curves, marks):
    """A panel of ratios, some of which are marks."""
    values = [value for curve in curves for value in curve.values]
    span = min(0.8, *values), max(1.6, *values)
    return Panel(title, height, curves, "linear", span, "{:.1f}".format, marks)


def draw_panel(axes, panel, names):
    for curve in panel.curves:
        axes.plot(
            curve.counts,
            curve.values,
            "--" if curve.number == 0 else "-",
            marker=".",
            color=COLORS[curve.number],
            label=names[curve.number],
        )
    for mark in panel.marks:
        axes.axhline(mark, color=COLORS[0], linestyle=":")
        axes.annotate(f"mark {mark:g}", (1, mark), (0, 2), ("axes fraction", "data"),
                      textcoords="offset points", ha="right")
    axes.set_title(panel.title)
    axes.set_xscale("log")
    axes.set_yscale(panel.scale)
    axes.xaxis.set_major_formatter(FuncFormatter(lambda count, _: f"{count:,.0f}"))
    axes.yaxis.set_major_formatter(FuncFormatter(lambda value, _: panel.label(value)))
    axes.set_ylim(panel.range)
    axes.minorticks_off()


def draw(file, names, panels, foot):
    """Draws panels, the first with the legend.

    names: the curves' names by their numbers
    foot: what the numbers below the panels count
    """
    heights = [panel.height for panel in panels]
    figure, rows = pyplot.subplots(
        len(panels),
        figsize=(WIDTH, sum(heights) + BETWEEN * len(panels)),
        height_ratios=heights,
        sharex=True,
        squeeze=False,
        layout="constrained",
    )
    for axes, panel in zip(rows[:, 0], panels):
        draw_panel(axes, panel, names)
    rows[0, 0].legend(frameon=False)
    rows[-1, 0].set_xlabel(foot)
    figure.savefig(file, metadata={"Date": None})
    pyplot.close(figure)
