# SPDX-License-Identifier: Apache-2.0
"""Runs the rounds of scripts/campaigns/disorder and writes their results.

    disorder.py [--build FOLDER] [--rounds N] [--seed S] [--keep] [--no-result]
"""

import argparse
import collections
import itertools
import pathlib
import random
import shutil
import statistics
import sys
import tempfile
import time

import programs
from chaos_world import ChaosWorld
from disorder_rounds import Disagreement, Rounds

sys.path.insert(0, str(programs.SOURCE / "scripts/lib"))
import campaign  # noqa: E402

FEW_FAILURES = 5
# After so many rounds all begins anew, by turns with lost monitors and without.
MOST_OF_WORLD = 50


def options():
    parser = argparse.ArgumentParser(description="Crashes, and disorder at start.")
    parser.add_argument("--build", default="build/test", help="folder of the build")
    parser.add_argument("--rounds", type=int, default=500)
    parser.add_argument("--seed", type=int, default=random.randrange(2**32))
    parser.add_argument("--keep", action="store_true", help="keep the logs' folder")
    parser.add_argument("--no-result", action="store_true", help="keep no result")
    return parser.parse_args()


class Totals:
    """The counts over all worlds."""

    def __init__(self):
        self.found = []
        self.starts = collections.Counter()
        self.kills = collections.Counter()
        self.operations = collections.Counter()
        self.notes = collections.Counter()
        self.lines = collections.Counter()
        self.history = collections.Counter()
        self.records = collections.Counter()
        self.times = collections.defaultdict(list)
        self.acknowledged = 0
        self.rounds = 0

    def take(self, world, rounds):
        for program in list(world.services.values()):
            world.read_log(program)
        for daemon in world.daemons.values():
            world.read_log(daemon.program)
        self.starts += world.starts
        self.history += world.comparison.counts
        self.records += collections.Counter(each["Kind"] for each in world.history.records)
        self.lines += world.lines
        self.kills += rounds.kills
        self.operations += rounds.operations
        self.notes += rounds.notes
        for kind, times in rounds.times.items():
            self.times[kind] += times


def run_world(arguments, folder, seed, totals, reports_losses):
    """Runs the rounds of a world until they are done or one fails; returns
    whether all passed."""
    generator = random.Random(seed)
    world = ChaosWorld(arguments.build, folder, generator, reports_losses)
    rounds = Rounds(world, generator)
    try:
        world.raise_bus()
        rounds.start_dead()
        rounds.settle("first start")
        for _ in range(rounds_of_world(arguments.rounds, totals.rounds)):
            totals.rounds += 1
            rounds.run()
        rounds.end()
        return True
    except (Disagreement, programs.Gone, AssertionError) as failure:
        what = f"seed {seed}, round {totals.rounds}: {type(failure).__name__}"
        print(f"FAILED: {what}\n{failure}\nlogs: {folder}", flush=True)
        first = "; ".join(str(failure).splitlines()[:2])
        totals.found.append(f"{what}: {first}")
        return False
    finally:
        totals.take(world, rounds)
        world.close()


def rounds_of_world(wanted, done):
    """Few rounds are for two worlds, too."""
    return min(MOST_OF_WORLD, (wanted + 1) // 2, wanted - done)


def milliseconds(seconds):
    return f"{seconds * 1000:.0f}"


def table(head, rows):
    lines = [head, ["---"] * len(head), *rows]
    return "\n".join("| " + " | ".join(map(str, line)) + " |" for line in lines) + "\n"


def listed(counter):
    return ", ".join(f"{count} {name}" for name, count in sorted(counter.items()))


OCCURRENCES = """
Occurrences are *lasting* when they lasted longer than a second while `logmgr`
was running; these have to be recorded. *Short* are all others, and *uncertain*
those that a killed process may have begun.
"""


def details(totals, seed):
    times = sorted(totals.times.items())
    every = sorted(time for _, each in times for time in each)
    rows = []
    for kind, each in [*times, ("all together", every)]:
        ordered = sorted(each)
        late = ordered[min(len(ordered) - 1, int(len(ordered) * 0.95))]
        values = (statistics.median(ordered), late, ordered[-1])
        rows.append([kind, len(ordered), *map(milliseconds, values)])
    text = "### What was done\n\n"
    text += table(
        ["What", "How often"],
        [
            ["rounds", totals.rounds],
            ["killed or stopped", listed(totals.kills)],
            ["starts", listed(totals.starts)],
            ["daemons were told", listed(totals.operations)],
            ["besides", listed(totals.notes) or "nothing"],
            ["records of the history", listed(totals.records)],
            ["occurrences of faults", listed(totals.history)],
        ],
    )
    text += OCCURRENCES
    text += f"\nThe seed was {seed}.\n\n### Until all agree, in milliseconds\n\n"
    text += table(["After", "Times", "Median", "95 of 100", "Worst"], rows)
    text += "\n### What the programs logged\n\n"
    logged = sorted(totals.lines.items(), key=lambda item: -item[1])
    text += table(["Where", "Lines"], [[f"`{place}`", count] for place, count in logged])
    return text


def main():
    arguments = options()
    print(f"seed {arguments.seed}", flush=True)
    totals = Totals()
    begin = time.monotonic()
    for number in itertools.count():
        if totals.rounds >= arguments.rounds or len(totals.found) >= FEW_FAILURES:
            break
        folder = pathlib.Path(tempfile.mkdtemp(prefix="disorder.", dir="/tmp"))
        passed = run_world(arguments, folder, arguments.seed + number, totals, number % 2 == 0)
        if passed and not arguments.keep:
            shutil.rmtree(folder)
    text = details(totals, arguments.seed)
    if not arguments.no_result:
        campaign.write_result(
            "disorder",
            tried="processes killed, stopped, ended and started in any order, the bus too",
            times=f"{totals.rounds} rounds with 10 daemons and 60 nodes",
            found=totals.found,
            details=text,
        )
    print(text)
    seconds = time.monotonic() - begin
    print(f"{totals.rounds} rounds in {seconds:.0f} s, {len(totals.found)} failed")
    sys.exit(1 if totals.found else 0)


main()
