# SPDX-License-Identifier: Apache-2.0
"""How costs grow with what there is already. Costs are timed, and where that
can be counted in instructions; what is marked is the count."""

import collections
import contextlib
import os
import signal
import socket
import subprocess
import tempfile

from . import callgrind, plot
from .bus import Bus, Talker

COUNTED_ROUNDS, TIMED_ROUNDS, TIMED_STARTS = 20, 200, 3
MANAGER_STARTS = 10
CHASSIS = "/com/vexa/olvar/health/chassis"
MANAGER = "com.vexa.olvar.healthmgr"
NAME_HAS_OWNER = (
    "gdbus call --system --dest org.freedesktop.DBus --object-path / "
    "--method org.freedesktop.DBus.NameHasOwner"
).split()
# A daemon's connection may have what the product allows it, not what a bus
# allows without its configuration.
MATCH_RULES = "4096"

# What has nothing to do with all the others costs the same beside many of them.
# What looks at each of them costs each of many what it costs each of few.
# What reads some bytes of each is half as much again beside most of them.
CONSTANT, SCANNING, LINEAR = "constant", "scanning", "linear"
MARKS = {CONSTANT: 1.15, SCANNING: 1.5, LINEAR: 1.25}

# name: in the legend; law: how it may grow; measure: what takes a count of what
# there is and answers with instructions, or None, and CPU microseconds
Curve = collections.namedtuple("Curve", "name law counts measure")
Growth = collections.namedtuple("Growth", "name title across curves")

TENS = (1, 10, 100, 1_000, 10_000)


class Grown:
    """A curve as it was measured."""

    def __init__(self, curve):
        self.curve = curve
        self.instructions, self.times = zip(*map(curve.measure, curve.counts))
        self.counted = None not in self.instructions

    def few_and_many(self):
        """Which two counts are compared, in words, and their costs in
        instructions or microseconds."""
        counts = self.curve.counts
        costs = self.instructions if self.counted else self.times
        if self.curve.law != LINEAR:
            return f"{counts[-1]:,} against {counts[0]:,}", costs[0], costs[-1]
        # Ten times as many: what grows with their square takes a ratio of 10.
        few = counts.index(counts[-1] // 10)
        return (
            f"each of {counts[-1]:,} against each of {counts[few]:,}",
            *(costs[at] / counts[at] for at in (few, -1)),
        )


def bus_for_many(stack):
    return Bus(stack, dict(os.environ, PRIVATE_BUS_MATCH_RULES=MATCH_RULES))


def of_steps(program, fill=None):
    """Measures a program that has a StepMeter.

    program: the command, of the count of what there is
    fill: the command of what fills the data cache first, of the same count
    """

    def measure(count):
        with contextlib.ExitStack() as stack:
            bus = bus_for_many(stack)
            if fill:
                Talker(stack, fill(count), bus.environment).hear()
            counted = callgrind.of_step(bus, [*program(count), str(COUNTED_ROUNDS)])
            command = [*program(count), str(TIMED_ROUNDS)]
            times = [
                float(bus.run(command).stdout.split()[1]) for _ in range(TIMED_STARTS)
            ]
        return counted, min(times)

    return measure


def lifetime(bus, command):
    """The CPU microseconds of a service that is ended once it has started."""
    with tempfile.TemporaryDirectory() as folder, socket.socket(
        socket.AF_UNIX, socket.SOCK_DGRAM
    ) as supervisor:
        supervisor.bind(f"{folder}/notify")
        supervisor.settimeout(60)
        environment = dict(bus.environment, NOTIFY_SOCKET=f"{folder}/notify")
        process = subprocess.Popen(command, env=environment)
        try:
            supervisor.recv(100)
        finally:
            # Not its own send_signal(), which may take the usage away.
            os.kill(process.pid, signal.SIGTERM)
            _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise RuntimeError(f"{command}: ended with {process.returncode}")
    while "true" in bus.run([*NAME_HAS_OWNER, MANAGER]).stdout:
        pass
    return 1e6 * (usage.ru_utime + usage.ru_stime)


def of_manager(programs, shape):
    """Measures the life of a health manager that finds nodes in the cache.

    Valgrind does not know how a manager watches processes, so nothing can be
    counted."""
    manager = [os.path.abspath(f"{programs}/../services/healthmgr/healthmgr")]

    def measure(count):
        with contextlib.ExitStack() as stack:
            bus = bus_for_many(stack)
            fill = [f"{programs}/nodes-fill", shape, str(count)]
            Talker(stack, fill, bus.environment).hear()
            return None, min(lifetime(bus, manager) for _ in range(MANAGER_STARTS))

    return measure


def growths(programs):
    def program(name, *words):
        return lambda count: [f"{programs}/{name}", *words, str(count)]

    def component(key):
        return of_steps(
            lambda count: [f"{programs}/growth-start", key],
            program("nodes-fill", "complete"),
        )

    return (
        Growth(
            "add",
            "Adding a fault",
            "live fault entries",
            (
                Curve(
                    "of this process",
                    CONSTANT,
                    TENS,
                    of_steps(program("growth-add")),
                ),
                Curve(
                    "of others, in the cache",
                    CONSTANT,
                    (*TENS, 100_000),
                    of_steps(
                        lambda count: [f"{programs}/growth-add", "0"],
                        program("queries-fill"),
                    ),
                ),
            ),
        ),
        Growth(
            "recalculation",
            "A child's health arrives",
            "children of the node",
            tuple(
                Curve(
                    name,
                    LINEAR,
                    (1, 3, 10, 30, 100, 300, 1_000, 3_000, 10_000),
                    of_steps(program("growth-recalculation", kind)),
                )
                for kind, name in (
                    ("silent", "health stays"),
                    ("published", "health changes"),
                )
            ),
        ),
        Growth(
            "start",
            "The start of a component",
            "nodes in the data cache",
            (
                Curve("beside them", SCANNING, TENS, component(f"{CHASSIS}/measured")),
                Curve("above them", LINEAR, TENS, component(CHASSIS)),
            ),
        ),
        Growth(
            "manager",
            "The start and the end of healthmgr",
            "nodes in the data cache",
            (
                Curve(
                    "nothing missing", LINEAR, TENS, of_manager(programs, "complete")
                ),
                Curve(
                    "one parent missing",
                    LINEAR,
                    TENS,
                    of_manager(programs, "one-missing"),
                ),
                # More than these its connection does not hold.
                Curve(
                    "a parent each missing",
                    LINEAR,
                    TENS[:-1],
                    of_manager(programs, "each-missing"),
                ),
            ),
        ),
    )


def print_curve(growth, grown):
    print(f"\n{growth.title}, by number of {growth.across} {grown.curve.name}")
    for count, instructions, time in zip(
        grown.curve.counts, grown.instructions, grown.times
    ):
        counted = "" if instructions is None else f"{instructions / 1e3:>14,.1f} kIr"
        print(f"  {count:>8,}{counted}{time:>14,.1f} us CPU", flush=True)


def measure_growth(programs, report):
    for growth in growths(programs):
        grown = []
        for curve in growth.curves:
            grown.append(Grown(curve))
            print_curve(growth, grown[-1])
        counted = grown[0].counted
        unit = "instructions" if counted else "CPU us"
        report.head(f"{growth.title}, {unit}", counted=counted, width=72)
        for each in grown:
            counts, few, many = each.few_and_many()
            mark = MARKS[each.curve.law]
            report.line(f"{each.curve.name}, {counts}", few, many, mark)
        plot.draw_growth(report.pictures, growth, grown)
