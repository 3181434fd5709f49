"""The measurements of scripts/bench.

    bench_runs.py FOLDER-OF-THE-PROGRAMS [instructions] [time] [hops] [queries]
                  [events] [sel-queries] [durability]

Clocks are noisy, so both programs of a pair run in turn, and what counts is
their ratio. Instructions are counted, not timed, and repeat.
"""

import collections
import contextlib
import operator
import os
import re
import statistics
import subprocess
import sys
import tempfile

import bench_plot

INSTRUCTIONS_MARK = 1.10
HOP_MARK = 1.15

# A count of so many rounds less a count of so few is free of the start.
FEW_ROUNDS, MANY_ROUNDS = 100, 300
TIMED_TURNS, TIMED_ROUNDS = 15, 2000
# Rounds are even: a turn ends with the health that the next does not begin
# with.
HOP_TURNS, HOP_ROUNDS, HOP_WARM_UP = 20, 200, 100
# Where the memory of a process lies weighs as much as the clock: each program
# is started again and again.
QUERY_STARTS, QUERY_TURNS, RECORDS_OF_A_TURN = 15, 3, 20_000
QUERY_COUNTS = (100, 300, 1_000, 3_000, 10_000, 30_000, 100_000)
# What is asked, by the name that the program knows it by.
Query = collections.namedtuple("Query", "title name mark")
QUERIES = {
    "counts": Query("Hidden and visible counted", "counts", 1.3),
    "leds": Query("LED states collected", "LED states", 1.3),
    "top": Query("Ten most important found", "top ten", 1.5),
}
QUERY_PLOT = "build/query-times.svg"
# What reporting an event consists of, and what it may cost beside that.
EVENT_PARTS = {
    "store": "two records stored",
    "describe": "two events described",
    "fault": "a fault added and removed",
}
EVENT_MARK = 1.10
EVENT_TURNS, EVENT_ROUNDS = 30, 100
SEL_COUNTS = (100, 3_000, 65_535)
SEL_QUERIES = {
    "list": Query("All entries of the log listed", "list", 1.3),
    # Of so little work, what is logged is a large part.
    "id": Query("An entry of the log found", "id", 4.0),
}
DISK_TURNS, DISK_ROUNDS = 10, 50

ROOT = "/com/vexa/olvar/health"


class Talker:
    """A program that says lines and ends with its input."""

    def __init__(self, stack, command, environment):
        process = subprocess.Popen(
            command,
            env=environment,
            text=True,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )
        stack.callback(process.wait)
        stack.callback(process.stdin.close)
        self.pid = process.pid
        self._process = process

    def hear(self):
        line = self._process.stdout.readline()
        if not line:
            raise RuntimeError(f"{self._process.args}: ended too early")
        return line.strip()

    def ask(self, line):
        self._process.stdin.write(f"{line}\n")
        self._process.stdin.flush()
        return self.hear()


class Bus:
    """A bus of its own, with a data cache of its own."""

    def __init__(self, stack, environment=None):
        talker = Talker(
            stack,
            [
                "scripts/private-bus",
                "sh",
                "-c",
                'echo "$DBUS_SYSTEM_BUS_ADDRESS"; echo "$HEALTHINTF_RUNTIME_DIR";'
                'echo "$HEALTHINTF_STATE_DIR"; exec cat',
            ],
            environment or os.environ,
        )
        address = talker.hear()
        self.environment = dict(
            environment or os.environ,
            DBUS_SYSTEM_BUS_ADDRESS=address,
            DBUS_SESSION_BUS_ADDRESS=address,
            HEALTHINTF_RUNTIME_DIR=talker.hear(),
            HEALTHINTF_STATE_DIR=talker.hear(),
            # That a new cache is empty would be said between the figures.
            HEALTHINTF_LOG_LEVEL="1",
        )

    def run(self, command):
        return subprocess.run(
            command,
            env=self.environment,
            check=True,
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )


class Report:
    """A table of the bare programs beside the library."""

    def __init__(self):
        self.missed = False

    @staticmethod
    def head(title):
        print(f"\n{title:<40}{'bare':>9}{'library':>9}{'ratio':>7}{'mark':>7}")

    def line(self, what, bare, library, mark=None, ratio=None):
        ratio = ratio or library / bare
        text = f"  {what:<38}{bare:>9.1f}{library:>9.1f}{ratio:>7.3f}"
        if mark is not None:
            text += f"{mark:>7.2f}"
            if ratio > mark:
                text += "  missed"
                self.missed = True
        print(text, flush=True)


def counted_instructions(bus, program, rounds):
    output = bus.run(
        [
            "valgrind",
            "--tool=callgrind",
            "--callgrind-out-file=/dev/null",
            program,
            str(rounds),
        ]
    ).stderr
    return int(re.search(r"Collected : (\d+)", output).group(1))


def instructions_of_a_round(bus, program):
    many = counted_instructions(bus, program, MANY_ROUNDS)
    few = counted_instructions(bus, program, FEW_ROUNDS)
    return (many - few) / (MANY_ROUNDS - FEW_ROUNDS)


def measure_instructions(programs, report):
    with contextlib.ExitStack() as stack:
        bus = Bus(stack)
        bare, library = (
            instructions_of_a_round(bus, f"{programs}/add-remove-{which}")
            for which in ("floor", "library")
        )
    report.head("A fault added and removed")
    report.line("thousand instructions", bare / 1e3, library / 1e3, INSTRUCTIONS_MARK)


def measure_time(programs, report):
    kinds = ("wall time, us", "CPU time, us")
    runs = {"floor": [], "library": []}
    with contextlib.ExitStack() as stack:
        bus = Bus(stack)
        for _ in range(TIMED_TURNS):
            for which, results in runs.items():
                output = bus.run(
                    [f"{programs}/add-remove-{which}", str(TIMED_ROUNDS)]
                ).stdout
                results.append([float(word) for word in output.split()])
    for summary, of in (("median", statistics.median), ("best", min)):
        report.head(f"A fault added and removed, {summary} of {TIMED_TURNS}")
        for kind, bare, library in zip(kinds, zip(*runs["floor"]), zip(*runs["library"])):
            report.line(kind, of(bare), of(library))


class Chain:
    """Processes that hold one node each, every node the child of the next."""

    def __init__(self, stack, programs, which, length):
        self.bus = Bus(stack)
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


def measure_hops(programs, report):
    report.head(f"Health climbs, median us a hop of {HOP_TURNS * HOP_ROUNDS}")
    for length in (1, 4, 8):
        with contextlib.ExitStack() as stack:
            chains = [
                Chain(stack, programs, which, length) for which in ("floor", "library")
            ]
            samples = ([], [])
            for chain in chains:
                chain.climb(HOP_WARM_UP)
            for _ in range(HOP_TURNS):
                for chain, times in zip(chains, samples):
                    times += chain.climb(HOP_ROUNDS)
        bare, library = (statistics.median(times) for times in samples)
        report.line(f"{length} process{'es' * (length > 1)}", bare, library, HOP_MARK)


def interleaved(commands, environment, starts, turns, rounds, of):
    """The times that programs take in turn: for each its microseconds.

    OF picks the wall or the CPU time out of both.
    """
    samples = {which: [] for which in commands}
    for _ in range(starts):
        with contextlib.ExitStack() as started:
            talkers = {
                which: Talker(started, command, environment)
                for which, command in commands.items()
            }
            for talker in talkers.values():
                talker.ask(rounds)
            for _ in range(turns):
                for which, talker in talkers.items():
                    samples[which].append(float(of(talker.ask(rounds).split())))
    return samples


WALL, CPU = operator.itemgetter(0), operator.itemgetter(1)


def in_filled_cache(fill, count, commands_of, rounds):
    """CPU microseconds of programs that read a data cache which another has
    filled."""
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory())
        environment = dict(os.environ, HEALTHINTF_RUNTIME_DIR=folder)
        # What is logged by default is a part of what is measured.
        environment.pop("HEALTHINTF_LOG_LEVEL", None)
        Talker(stack, [fill, str(count)], environment).hear()
        return interleaved(
            commands_of(f"{folder}/datacache"),
            environment,
            QUERY_STARTS,
            QUERY_TURNS,
            rounds,
            CPU,
        )


def timed_queries(programs, count):
    """Microseconds of each turn of the bare scan and of each query."""
    library = f"{programs}/queries-library"
    commands = {which: [library, which, str(count)] for which in QUERIES}

    def commands_of(cache):
        return {"floor": [f"{programs}/queries-floor", cache, str(count)], **commands}

    return in_filled_cache(
        f"{programs}/queries-fill",
        count,
        commands_of,
        max(1, RECORDS_OF_A_TURN // count),
    )


def median_ratio(times, floor):
    """Of what ran one after the other: the machine's pace comes and goes."""
    return statistics.median(map(operator.truediv, times, floor))


class QueryTimes:
    """The times of one query over the numbers of records."""

    def __init__(self, samples, which):
        self.times = [statistics.median(times[which]) for times in samples]
        self.ratios = [
            median_ratio(times[which], times["floor"]) for times in samples
        ]


def measure_queries(programs, report):
    samples = [timed_queries(programs, count) for count in QUERY_COUNTS]
    bare = QueryTimes(samples, "floor")
    curves = {which: QueryTimes(samples, which) for which in QUERIES}
    for which, query in QUERIES.items():
        report.head(f"{query.title}, CPU us")
        curve = curves[which]
        for row in zip(QUERY_COUNTS, bare.times, curve.times, curve.ratios):
            count, floor, time, ratio = row
            report.line(f"{count:,} records", floor, time, query.mark, ratio)
    bench_plot.draw(
        QUERY_PLOT,
        QUERY_COUNTS,
        bare.times,
        [(query.name, curves[which]) for which, query in QUERIES.items()],
        sorted({query.mark for query in QUERIES.values()}),
    )
    print(f"\nDrawn: {QUERY_PLOT}")


def log_manager_bus(stack, programs, state):
    """A bus with a log manager, which keeps its log in a folder."""
    services = stack.enter_context(tempfile.TemporaryDirectory())
    logmgr = os.path.abspath(f"{programs}/../services/logmgr/logmgr")
    config = f"{services}/logmgr.toml"
    with open(config, "w", encoding="utf-8") as file:
        # Every turn stores as much as before.
        file.write('capacity = 1000\noverflow = "wrap"\n')
    with open(f"{services}/log.service", "w", encoding="utf-8") as file:
        file.write(
            "[D-BUS Service]\nName=com.vexa.olvar.logmgr\n"
            f"Exec=/usr/bin/env HEALTHINTF_STATE_DIR={os.path.abspath(state)} "
            f"{logmgr} --config {config}\n"
        )
    return Bus(
        stack,
        dict(
            os.environ,
            PRIVATE_BUS_SERVICES=services,
            HEALTHINTF_EVENT_PATH=os.path.abspath("data/events"),
        ),
    )


def measure_events(programs, report):
    program = f"{programs}/sel-events"
    with contextlib.ExitStack() as stack:
        # In memory: the disk would hide everything else.
        state = stack.enter_context(tempfile.TemporaryDirectory(dir="/dev/shm"))
        bus = log_manager_bus(stack, programs, state)
        samples = interleaved(
            {
                which: [program, which]
                for which in (*EVENT_PARTS, "parts", "whole")
            },
            bus.environment,
            1,
            EVENT_TURNS,
            EVENT_ROUNDS,
            WALL,
        )
    report.head("An event and its end, wall us")
    for which, title in EVENT_PARTS.items():
        print(f"  {title:<38}{statistics.median(samples[which]):>9.1f}")
    parts, whole = samples["parts"], samples["whole"]
    report.line(
        "all of them, and addSELAndFault twice",
        statistics.median(parts),
        statistics.median(whole),
        EVENT_MARK,
        median_ratio(whole, parts),
    )


def measure_sel_queries(programs, report):
    for which, query in SEL_QUERIES.items():
        report.head(f"{query.title}, CPU us")
        for count in SEL_COUNTS:
            samples = in_filled_cache(
                f"{programs}/sel-fill",
                count,
                lambda cache, count=count, which=which: {
                    "floor": [f"{programs}/sel-queries-floor", which, cache, str(count)],
                    "library": [f"{programs}/sel-queries-library", which, str(count)],
                },
                max(1, RECORDS_OF_A_TURN // count) if which == "list" else 2000,
            )
            report.line(
                f"{count:,} records",
                statistics.median(samples["floor"]),
                statistics.median(samples["library"]),
                query.mark,
                median_ratio(samples["library"], samples["floor"]),
            )


def measure_durability(programs, report):
    report.head("Two records stored for good, wall us")
    with contextlib.ExitStack() as stack:
        # On the disk that the build is on.
        state = stack.enter_context(tempfile.TemporaryDirectory(dir="build"))
        bus = log_manager_bus(stack, programs, state)
        samples = interleaved(
            {
                "floor": [f"{programs}/sync-floor", f"{state}/floor"],
                "library": [f"{programs}/sel-events", "store"],
            },
            bus.environment,
            1,
            DISK_TURNS,
            DISK_ROUNDS,
            WALL,
        )
    report.line(
        "appended and synced, and AddSEL",
        *(statistics.median(times) for times in samples.values()),
        ratio=median_ratio(samples["library"], samples["floor"]),
    )


MEASUREMENTS = {
    "instructions": measure_instructions,
    "time": measure_time,
    "hops": measure_hops,
    "queries": measure_queries,
    "events": measure_events,
    "sel-queries": measure_sel_queries,
    "durability": measure_durability,
}


def main(programs, wanted):
    unknown = [name for name in wanted if name not in MEASUREMENTS]
    if unknown:
        print(f"bench: no measurement {unknown[0]}", file=sys.stderr)
        return 2
    report = Report()
    for name in wanted or MEASUREMENTS:
        MEASUREMENTS[name](programs, report)
    return 1 if report.missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
