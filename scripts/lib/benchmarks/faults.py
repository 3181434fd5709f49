# SPDX-License-Identifier: Apache-2.0
"""What a fault costs the component that has it, and each node above."""

import contextlib
import statistics

from . import callgrind
from .bus import BUSES, Bus, Talker
from .turns import median_ratio

INSTRUCTIONS_MARK = 1.05
WALL_MARK = 1.10
HOP_MARK = 1.10

# A count of so many rounds less a count of so few is free of the start.
FEW_ROUNDS, MANY_ROUNDS = 100, 300
TIMED_TURNS, TIMED_ROUNDS = 15, 2000
# Rounds are even: a turn ends with the health that the next does not begin
# with.
HOP_TURNS, HOP_ROUNDS, HOP_WARM_UP = 4, 100, 100
# A chain stays as fast or as slow as it begins, by a third, whichever it is.
HOP_STARTS = 16

# Of the first column, with the name of the bus.
WIDTH = 60

ROOT = "/com/vexa/olvar/health"


def instructions_of_a_round(bus, program):
    many, few = (
        callgrind.of_run(bus, [program, str(rounds)])
        for rounds in (MANY_ROUNDS, FEW_ROUNDS)
    )
    return (many - few) / (MANY_ROUNDS - FEW_ROUNDS)


def measure_instructions(programs, report):
    with contextlib.ExitStack() as stack:
        bus = Bus(stack)
        bare, library = (
            instructions_of_a_round(bus, f"{programs}/add-remove-{which}")
            for which in ("floor", "library")
        )
    report.head("A fault added and removed", counted=True)
    report.line("thousand instructions", bare / 1e3, library / 1e3, INSTRUCTIONS_MARK)


def measure_time(programs, report):
    for kind in BUSES:
        measure_time_on(kind, programs, report)


def measure_time_on(bus_kind, programs, report):
    kinds = {"wall time, us": WALL_MARK, "CPU time, us": None}
    runs = {"floor": [], "library": []}
    with contextlib.ExitStack() as stack:
        bus = Bus(stack, kind=bus_kind)
        for _ in range(TIMED_TURNS):
            for which, results in runs.items():
                output = bus.run(
                    [f"{programs}/add-remove-{which}", str(TIMED_ROUNDS)]
                ).stdout
                results.append([float(word) for word in output.split()])
    for summary, of in (("median", statistics.median), ("best", min)):
        report.head(
            f"A fault added and removed, {summary} of {TIMED_TURNS}, "
            f"on {BUSES[bus_kind]}",
            width=WIDTH,
        )
        for kind, bare, library in zip(kinds, zip(*runs["floor"]), zip(*runs["library"])):
            report.line(kind, of(bare), of(library), kinds[kind])


class Chain:
    """Processes that hold one node each, every node the child of the next."""

    def __init__(self, stack, bus_kind, programs, which, length):
        self.bus = Bus(stack, kind=bus_kind)
        self.length = length
        self.keys = [ROOT + "/hop" * (i + 1) for i in range(length)]
        self.driver = f"{programs}/hop-driver"
        # From the top, as a health manager would have them.
        for key in self.keys:
            Talker(stack, [f"{programs}/hop-{which}", key], self.bus.environment).hear()

    def climb(self, rounds):
        """Microseconds a hop, for each way from the leaf to the top."""
        command = [self.driver, self.keys[-1], self.keys[0], str(rounds)]
        return [float(t) / self.length for t in self.bus.run(command).stdout.split()]


def take_hops(bus_kind, programs, length, taken):
    """Starts a chain of each kind and adds the times that they take in turn.

    taken: the kinds, with the lists of their times"""
    with contextlib.ExitStack() as stack:
        chains = [
            (Chain(stack, bus_kind, programs, which, length), times)
            for which, times in taken
        ]
        for chain, _ in chains:
            chain.climb(HOP_WARM_UP)
        for _ in range(HOP_TURNS):
            for chain, times in chains:
                times.append(statistics.median(chain.climb(HOP_ROUNDS)))


def measure_hops(programs, report):
    for kind in BUSES:
        measure_hops_on(kind, programs, report)


def measure_hops_on(bus_kind, programs, report):
    climbs = HOP_STARTS * HOP_TURNS * HOP_ROUNDS
    report.head(
        f"Health climbs, median us a hop of {climbs}, on {BUSES[bus_kind]}",
        width=WIDTH,
    )
    for length in (1, 4, 8):
        bare, library = [], []
        taken = [("floor", bare), ("library", library)]
        for start in range(HOP_STARTS):
            # The chain that is started last is as often the one as the other.
            take_hops(bus_kind, programs, length, taken if start % 2 else taken[::-1])
        report.line(
            f"{length} process{'es' * (length > 1)}",
            statistics.median(bare),
            statistics.median(library),
            HOP_MARK,
            median_ratio(library, bare),
        )
