# SPDX-License-Identifier: Apache-2.0
"""What the bus itself spends on a fault, by the number of components on it."""

import contextlib
import os

from . import plot
from .bus import BUSES, Bus, Talker

COUNTS = (1, 10, 100, 300, 1_000, 3_000, 8_000)
TURNS, ROUNDS, WARM_UP = 5, 500, 50
# A component has three.
MATCH_RULES = str(3 * COUNTS[-1] + 100)


def of_bus(kind, programs, count):
    """The least CPU microseconds of the bus for one add and remove."""
    with contextlib.ExitStack() as stack:
        environment = dict(os.environ, PRIVATE_BUS_MATCH_RULES=MATCH_RULES)
        bus = Bus(stack, environment, kind)
        holder = Talker(stack, [f"{programs}/growth-bus", str(count)], bus.environment)
        holder.hear()
        holder.ask(WARM_UP)
        times = []
        for _ in range(TURNS):
            before = bus.cpu_time()
            holder.ask(ROUNDS)
            times.append((bus.cpu_time() - before) / ROUNDS / 1e3)
        return min(times)


def measure_buses(programs, report):
    print("\nThe bus's CPU time for one add and remove, us, by components on it")
    print(f"  {'':>8}" + "".join(f"{name:>14}" for name in BUSES.values()))
    times = {kind: [] for kind in BUSES}
    for count in COUNTS:
        for kind, taken in times.items():
            taken.append(of_bus(kind, programs, count))
        row = "".join(f"{taken[-1]:>14,.1f}" for taken in times.values())
        print(f"  {count:>8,}{row}", flush=True)
    plot.draw_buses(
        report.pictures, COUNTS, {BUSES[kind]: taken for kind, taken in times.items()}
    )
