# SPDX-License-Identifier: Apache-2.0
"""The measurements of scripts/campaigns/footprint.

    footprint_runs.py FOLDER-OF-THE-BUILDS PAGE

The page's tables, between two comments, are written anew.
"""

import contextlib
import os
import re
import statistics
import subprocess
import sys

from benchmarks.bus import Bus, Talker

SIZE_MARK, SIZE_MARKED = 400.0, ("aarch64", "libhealthintf")
MEMORY_MARK, MEMORY_MARKED = 2048.0, (1, 10)

ARCHITECTURES = ("x86-64", "aarch64", "armhf")
LIBRARIES = ("libhealthintf", "libhealthintf-platform")
# Components, and the faults of each.
DAEMONS = ((1, 0), (10, 0), (25, 0), (50, 0), (1, 5), (1, 10), (10, 10))
STARTS = 3
SERVICES = {
    "healthmgr": "com.vexa.olvar.healthmgr",
    "logmgr": "com.vexa.olvar.logmgr",
}
BEGIN = "<!-- begin: scripts/campaigns/footprint -->"
END = "<!-- end: scripts/campaigns/footprint -->"


def private_memory(pid):
    """The pages that no other process shares, in KiB."""
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        text = file.read()
    return sum(int(size) for size in re.findall(r"^Private_(?:Clean|Dirty): +(\d+)", text, re.M))


def started_services(stack, bus, folder):
    """Starts the services and waits until they have their names."""
    for name, service in SERVICES.items():
        process = subprocess.Popen([f"{folder}/services/{name}/{name}"], env=bus.environment)
        stack.callback(process.wait)
        stack.callback(process.terminate)
        bus.run(["gdbus", "wait", "--system", "--timeout", "20", service])


def memory_of(bus, command):
    """What a program has for itself once it is ready, in KiB."""
    with contextlib.ExitStack() as stack:
        talker = Talker(stack, command, bus.environment)
        if talker.hear() != "ready":
            raise RuntimeError(f"{command}: is not ready")
        return private_memory(talker.pid)


def memory_of_all(folder):
    """The memory of the bare daemon, and of the others by what they hold."""
    with contextlib.ExitStack() as stack:
        bus = Bus(stack)
        started_services(stack, bus, folder)

        def median(*command):
            return statistics.median(memory_of(bus, command) for _ in range(STARTS))

        bare = median(f"{folder}/bench/footprint-floor")
        library = f"{folder}/bench/footprint-library"
        return bare, {
            held: median(library, *map(str, held)) for held in DAEMONS
        }


class Page:
    """Rows of a table, and whether each mark is kept."""

    def __init__(self):
        self.lines = []
        self.missed = False

    def row(self, *cells):
        self.lines.append("| " + " | ".join(cells) + " |")

    def marked(self, cells, value, mark):
        if mark is None:
            verdict = ""
        elif value < mark:
            verdict = f"below {mark:.0f}"
        else:
            verdict = f"not below {mark:.0f}: missed"
            self.missed = True
        self.row(*cells, f"{value:.0f}", verdict)

    def head(self, *titles):
        self.lines.append("")
        self.row(*titles)
        self.row(*["---"] * len(titles))


def tell_sizes(page, folder):
    page.head("Library, stripped", "Architecture", "KiB", "Mark")
    for library in LIBRARIES:
        for architecture in ARCHITECTURES:
            size = os.path.getsize(f"{folder}/{architecture}/{library}.so.1.0.0") / 1024
            mark = SIZE_MARK if (architecture, library) == SIZE_MARKED else None
            page.marked((f"`{library}.so`", architecture), size, mark)


def slope(points):
    """How much each more on the left adds on the right."""
    return statistics.linear_regression(*zip(*points)).slope


def tell_memory(page, bare, memory):
    page.head("Components", "Faults of each", "KiB above the bare daemon", "Mark")
    for held, size in memory.items():
        mark = MEMORY_MARK if held == MEMORY_MARKED else None
        page.marked(map(str, held), size - bare, mark)
    components = [(c, size) for (c, faults), size in memory.items() if faults == 0]
    faults = [(f, size) for (c, f), size in memory.items() if c == 1]
    page.lines += [
        "",
        f"The bare daemon has {bare:.0f} KiB. Each component adds "
        f"{slope(components):.1f} KiB, each fault {slope(faults):.1f} KiB.",
    ]


def rewrite(path, lines):
    with open(path, encoding="utf-8") as file:
        head, rest = file.read().split(BEGIN)
    tail = rest.split(END)[1]
    with open(path, "w", encoding="utf-8") as file:
        file.write("\n".join([head + BEGIN, *lines, "", END]) + tail)


def main(folder, path):
    page = Page()
    tell_sizes(page, folder)
    tell_memory(page, *memory_of_all(f"{folder}/x86-64"))
    print("\n".join(page.lines))
    rewrite(path, page.lines)
    return 1 if page.missed else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
