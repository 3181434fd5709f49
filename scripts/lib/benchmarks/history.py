# SPDX-License-Identifier: Apache-2.0
"""How long the history of faults takes to answer when it is large, and what
logmgr needs then."""

import contextlib
import datetime
import json
import os
import pathlib
import sqlite3
import statistics
import subprocess
import tempfile
import time

from .bus import Bus
from .turns import median_ratio

RECORDS = 100_000
TURNS = 25
KEY = "/com/vexa/olvar/health/chassis7"
HISTORY = "com.vexa.olvar.logmgr.History"

# The bounds: milliseconds of an answer, MiB of memory and of disk. Of the disk,
# it is what logmgr is configured for and what SQLite keeps beside it.
ANSWER_MS, MEMORY_MIB, DATABASE_MIB, BESIDE_MIB = 100, 32, 64, 8
MIB = 1 << 20

# All of the table is looked at, as without any index.
SCAN = """SELECT * FROM records
    WHERE (+component = ? OR +component LIKE ?) AND +time >= ? AND +time < ?"""


class Day:
    """A day amid the records, as healthctl and as the table has it."""

    def __init__(self):
        today = datetime.datetime.now(datetime.timezone.utc).date()
        since, until = (today - datetime.timedelta(days) for days in (15, 14))
        self.options = ["--since", str(since), "--until", str(until)]
        # All of its last second belongs to a period.
        self.times = (milliseconds(since), milliseconds(until) + 1000)


def milliseconds(date):
    start = datetime.datetime.combine(date, datetime.time(), datetime.timezone.utc)
    return int(start.timestamp() * 1000)


@contextlib.contextmanager
def log_manager(programs, bus, folder):
    """A logmgr that keeps a filled history."""
    config = f"{folder}/logmgr.toml"
    pathlib.Path(config).write_text(
        f"history-records = {RECORDS}\nhistory-mebibytes = {DATABASE_MIB}\n",
        encoding="utf-8",
    )
    state = f"{folder}/state"
    bus.run([f"{programs}/history-fill", f"{state}/history", str(RECORDS)])
    process = subprocess.Popen(
        [f"{programs}/../services/logmgr/logmgr", "--config", config],
        env=dict(bus.environment, HEALTHINTF_STATE_DIR=state),
    )
    try:
        bus.run(["gdbus", "wait", "--system", "--timeout", "60", HISTORY])
        yield process.pid, pathlib.Path(state, "history")
    finally:
        process.terminate()
        process.wait()


def timed(work):
    """The result of some work, and its milliseconds."""
    began = time.monotonic()
    result = work()
    return result, (time.monotonic() - began) * 1e3


def scan(database, day):
    return database.execute(SCAN, (KEY, f"{KEY}/%", *day.times)).fetchall()


def ask(programs, bus, day):
    """What healthctl answers, from its start to its end."""
    healthctl = f"{programs}/../tools/healthctl/healthctl"
    return bus.run(
        [healthctl, "--json", "history", "--component", KEY, *day.options]
    ).stdout


def check(answer, rows):
    """Raises RuntimeError unless healthctl shows what the table has."""
    shown = [record["sequence"] for record in json.loads(answer)["records"]]
    stored = sorted(row[0] for row in rows)
    if not stored or shown != stored:
        raise RuntimeError(
            f"healthctl shows {len(shown)} records where there are {len(stored)}"
        )


def take_turns(programs, bus, folder):
    """The milliseconds of the scan and of healthctl, one after the other."""
    day = Day()
    scans, answers = [], []
    with contextlib.closing(sqlite3.connect(folder / "history.db")) as database:
        check(ask(programs, bus, day), scan(database, day))
        for _ in range(TURNS):
            rows, taken = timed(lambda: scan(database, day))
            scans.append(taken)
            answer, taken = timed(lambda: ask(programs, bus, day))
            answers.append(taken)
            check(answer, rows)
    return scans, answers


def memory(pid):
    """The most memory that a process had, in MiB."""
    for line in pathlib.Path(f"/proc/{pid}/status").read_text().splitlines():
        if line.startswith("VmHWM:"):
            return int(line.split()[1]) * 1024 / MIB
    raise RuntimeError(f"the process {pid} has ended")


def disk(folder):
    """What a folder's files take on the disk, in MiB."""
    return sum(file.stat().st_blocks * 512 for file in folder.iterdir()) / MIB


def measure_history(programs, report):
    with contextlib.ExitStack() as stack:
        folder = stack.enter_context(tempfile.TemporaryDirectory())
        bus = Bus(stack, dict(os.environ, TZ="UTC0"))
        pid, files = stack.enter_context(log_manager(programs, bus, folder))
        scans, answers = take_turns(programs, bus, files)
        # Whoever reads all of it gets the largest answers.
        bus.run([f"{programs}/../tools/healthctl/healthctl", "history"])
        most, stored = memory(pid), disk(files)
    middle = statistics.median(answers)
    report.head(f"A day of a component of {RECORDS:,} records, ms")
    report.line(
        "a bare scan, and healthctl history",
        statistics.median(scans),
        middle,
        ratio=median_ratio(answers, scans),
    )
    report.head(f"A history of {RECORDS:,} records")
    report.line("healthctl history, ms, of those allowed", ANSWER_MS, middle, 1.0)
    report.line("logmgr's memory, MiB, of that allowed", MEMORY_MIB, most, 1.0)
    allowed = DATABASE_MIB + BESIDE_MIB
    report.line("on the disk, MiB, of those allowed", allowed, stored, 1.0)
