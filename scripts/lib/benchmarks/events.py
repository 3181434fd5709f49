# SPDX-License-Identifier: Apache-2.0
"""What reporting an event costs beside its parts."""

import contextlib
import os
import statistics
import tempfile

from .bus import Bus
from .turns import WALL, interleaved, median_ratio

# What reporting an event consists of, and what it may cost beside that.
EVENT_PARTS = {
    "store": "two records stored",
    "describe": "two events described",
    "fault": "a fault added and removed",
}
EVENT_MARK = 1.10
EVENT_TURNS, EVENT_ROUNDS = 30, 100
DISK_TURNS, DISK_ROUNDS = 10, 50


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
