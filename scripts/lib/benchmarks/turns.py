# SPDX-License-Identifier: Apache-2.0
"""Clocks are noisy, so programs that are compared run in turn, and what counts
is their ratio."""

import contextlib
import operator
import os
import statistics
import tempfile

from .bus import Talker

WALL, CPU = operator.itemgetter(0), operator.itemgetter(1)

# Where the memory of a process lies weighs as much as the clock: each program
# is started again and again.
QUERY_STARTS, QUERY_TURNS = 15, 3


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


def in_filled_cache(fill, count, commands_of, rounds, part="datacache"):
    """CPU microseconds of programs that read a PART of the runtime folder which
    another has filled."""
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory())
        environment = dict(os.environ, HEALTHINTF_RUNTIME_DIR=folder)
        # What is logged by default is a part of what is measured.
        environment.pop("HEALTHINTF_LOG_LEVEL", None)
        Talker(stack, [fill, str(count)], environment).hear()
        return interleaved(
            commands_of(f"{folder}/{part}"),
            environment,
            QUERY_STARTS,
            QUERY_TURNS,
            rounds,
            CPU,
        )


def median_ratio(times, floor):
    """Of what ran one after the other: the machine's pace comes and goes."""
    return statistics.median(map(operator.truediv, times, floor))
