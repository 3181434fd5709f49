# SPDX-License-Identifier: Apache-2.0
"""The pictures of docs/evidence/performance.md."""

from . import picture

# By the file's name without its suffix.
PICTURES = {
    "add-growth": "Cost of adding a fault",
    "recalculation-growth": "Cost of a child's health that arrives",
    "query-times": "CPU time of a query",
    "start-growth": "Cost of the start of a component",
    "manager-growth": "Cost of the start and the end of healthmgr",
    "bus-growth": "The bus's CPU time for a fault that is added and removed",
}


def in_units(number, units):
    for unit, factor in units:
        if number >= factor:
            return f"{number / factor:g} {unit}".rstrip()
    return f"{number:g} {units[-1][0]}".rstrip()


def duration(microseconds):
    return in_units(microseconds, (("s", 1e6), ("ms", 1e3), ("us", 1)))


def instructions(count):
    return in_units(count, (("G", 1e9), ("M", 1e6), ("k", 1e3), ("", 1)))


def draw(folder, name, names, panels, foot):
    file = f"{folder}/{name}.svg"
    picture.draw(file, names, panels, foot)
    print(f"\nDrawn: {file}")


def draw_queries(folder, counts, bare, curves, marks):
    """Draws the times of queries over the numbers of records, and below them
    their ratios.

    bare: the times in microseconds that queries are compared with
    curves: names with the times and ratios of each query
    marks: ratios that are drawn as lines of their own
    """
    name = "query-times"
    names = dict(enumerate(["bare scan", *(each for each, _ in curves)]))
    times = [bare, *(curve.times for _, curve in curves)]
    panels = [
        picture.logarithmic(
            PICTURES[name],
            3.2,
            [picture.Curve(at, counts, values) for at, values in enumerate(times)],
            duration,
        ),
        picture.ratios(
            "As multiples of the bare scan",
            1.6,
            [
                picture.Curve(at, counts, curve.ratios)
                for at, (_, curve) in enumerate(curves, 1)
            ],
            marks,
        ),
    ]
    draw(folder, name, names, panels, "fault entries in the data cache")


def draw_buses(folder, counts, buses):
    """Draws the CPU microseconds of each bus over the number of components."""
    name = "bus-growth"
    curves = [
        picture.Curve(at, counts, times) for at, times in enumerate(buses.values(), 1)
    ]
    draw(
        folder,
        name,
        dict(enumerate(buses, 1)),
        [picture.logarithmic(PICTURES[name], 2.8, curves, duration)],
        "components on the bus",
    )


def draw_growth(folder, growth, grown):
    """Draws instructions, where they were counted, and CPU times over the
    numbers of what there is."""
    name = f"{growth.name}-growth"
    names = {at: each.curve.name for at, each in enumerate(grown, 1)}

    def panel(title, label, values):
        curves = [
            picture.Curve(at, each.curve.counts, values(each))
            for at, each in enumerate(grown, 1)
        ]
        return picture.logarithmic(title, 2.4, curves, label)

    panels = [
        panel(f"{PICTURES[name]}, in CPU time", duration, lambda each: each.times)
    ]
    if all(each.counted for each in grown):
        panels.insert(
            0,
            panel(
                f"{PICTURES[name]}, in instructions",
                instructions,
                lambda each: each.instructions,
            ),
        )
    draw(folder, name, names, panels, growth.across)
