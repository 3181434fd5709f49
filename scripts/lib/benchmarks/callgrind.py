# SPDX-License-Identifier: Apache-2.0
"""Instructions are counted, not timed, and repeat."""

import re

COMMAND = ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"]
# For programs that say themselves what counts, with a StepMeter.
OF_STEPS = ["--instr-atstart=no", "--collect-atstart=no"]


def collected(stderr):
    """How many instructions callgrind says that it has counted."""
    return int(re.search(r"Collected : (\d+)", stderr).group(1))


def of_run(bus, command):
    """The instructions of a whole run."""
    return collected(bus.run([*COMMAND, *command]).stderr)


def of_step(bus, command):
    """The instructions of one step of a program's."""
    finished = bus.run([*COMMAND, *OF_STEPS, *command])
    return collected(finished.stderr) / int(finished.stdout.split()[0])
