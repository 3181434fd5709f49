# SPDX-License-Identifier: Apache-2.0
"""Runs random operations on the log and compares it with a model, for
scripts/campaigns/log-model."""

import argparse
import collections
import contextlib
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

from gi.repository import GLib

import bus_view
import programs
from namespaces import in_own_namespace

sys.path.insert(0, str(programs.SOURCE / "scripts/lib"))
import campaign  # noqa: E402

IDENTIFIERS = 65534
# How many seconds the mirror may lag behind.
BEHIND = 1.0
# More long entries than a new log's file has room for.
LARGE = 2500
# The filesystem sizes for the log and its mirror. A mirror's file takes its
# full size, and needs it twice while a new mirror is made.
SIZES = {"state": "6m", "run": "12m"}
# Seconds in which a program has to start.
PATIENCE = 20.0
NAME = bus_view.LOG[0]


class Difference(Exception):
    """The log differs from the model."""


class Model:
    """The expected log: pairs of an identifier and a mark that distinguishes
    records."""

    def __init__(self, capacity, wraps):
        self.capacity = capacity
        self.wraps = wraps
        self.entries = collections.deque()
        self.next = 0

    def add(self, mark):
        """Adds an entry; returns its identifier, or None when the log is full.
        """
        if len(self.entries) >= self.capacity:
            if not self.wraps:
                return None
            self.entries.popleft()
        identifier = self.next % IDENTIFIERS + 1
        self.next += 1
        self.entries.append((identifier, mark))
        return identifier

    def clear(self):
        self.entries.clear()
        self.next = 0

    def last(self):
        return self.entries[-1][0] if self.entries else 0


def record_of(mark):
    """A record without a time that carries a mark."""
    return bytes([0, 0, 0xE5]) + mark.to_bytes(13, "little")


def mark_of(record):
    return int.from_bytes(record[3:16], "little")


def entry_of(record):
    return int.from_bytes(record[:2], "little"), mark_of(record)


def mount(folder, size):
    command = ["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", folder]
    subprocess.run(command, check=True)


class Campaign:
    """logmgr, healthctl and a model, which get the same operations."""

    def __init__(self, build, folder, seed):
        self.random = random.Random(seed)
        for place, size in SIZES.items():
            (folder / place).mkdir()
            mount(folder / place, size)
        self.world = programs.World(
            build, folder, environment={"HEALTHINTF_CACHE_MIB": "4"}
        )
        self.world.start_bus()
        self.client = bus_view.Client(self.world.address)
        self.config = folder / "logmgr.toml"
        self.backup = folder / "backup.raw"
        self.exported = None
        self.marks = 0
        self.done = collections.Counter()
        self.log = None
        self.model = None
        self.begin()

    def healthctl(self, *arguments, expected=(0,)):
        command = [self.world.build / "tools/healthctl/healthctl", "sel", *arguments]
        ran = subprocess.run(
            command, env=self.world.environment, capture_output=True, check=False
        )
        if ran.returncode not in expected:
            raise Difference(f"{arguments} ended {ran.returncode}: {ran.stderr}")
        return ran

    def json_of(self, *arguments, expected=(0,)):
        ran = self.healthctl(*arguments, "--json", expected=expected)
        return json.loads(ran.stdout) if ran.stdout else None

    # Control of logmgr.

    def start(self):
        self.log = self.world.start_service("logmgr", "--config", self.config)
        deadline = time.monotonic() + PATIENCE
        while not self.client.owner(NAME):
            if time.monotonic() > deadline or not self.log.alive():
                raise Difference(f"logmgr does not start: {self.log.log()}")

    def stop(self):
        self.log.kill()
        while self.client.owner(NAME):
            pass

    def kill(self):
        """Kills logmgr, possibly during an addition."""
        self.stop()
        self.start()

    def begin(self):
        self.begin_with(self.random.choice([1, 3, 40, 300]), self.random.random() < 0.6)

    def begin_with(self, capacity, wraps):
        """Begins an empty log with another capacity."""
        policy = "wrap" if wraps else "refuse"
        self.config.write_text(f'capacity = {capacity}\noverflow = "{policy}"\n')
        if self.log:
            self.stop()
        self.start()
        self.healthctl("clear", "--yes")
        self.model = Model(capacity, wraps)
        self.exported = None

    # Operations.

    def new_mark(self):
        self.marks += 1
        return self.marks

    def add(self, path="/s"):
        mark = self.new_mark()
        before = self.model.next
        expected = self.model.add(mark)
        try:
            found = self.client.add_event(path, record_of(mark))
        except GLib.Error as error:
            if expected is not None or "Full" not in error.message:
                raise Difference(f"addition {before} refused: {error.message}") from None
            return
        if found != expected:
            raise Difference(f"the entry {expected} got the identifier {found}")

    def add_many(self):
        for _ in range(self.random.randint(1, 60)):
            self.add()

    def clear(self):
        cleared = self.json_of("clear", "--yes")
        known = {"erased": len(self.model.entries), "upTo": self.model.last()}
        if {name: cleared[name] for name in known} != known:
            raise Difference(f"cleared {cleared}, not {known}")
        self.model.clear()

    def clear_up_to(self):
        """Clears the log if it holds nothing but what was exported."""
        if self.exported is None:
            return
        refused = self.exported != self.model.last()
        arguments = ("clear", "--yes", "--up-to", str(self.exported))
        self.healthctl(*arguments, expected=(5,) if refused else (0,))
        if not refused:
            self.model.clear()
        self.done["clears that were refused"] += refused

    def export(self):
        told = self.json_of("export", str(self.backup))
        if told["source"] != "log" or told["upTo"] != self.model.last():
            raise Difference(f"exported {told}, not up to {self.model.last()}")
        self.compare("export", self.records())
        self.exported = told["upTo"]

    def records(self):
        content = self.backup.read_bytes()
        return [entry_of(content[at : at + 16]) for at in range(0, len(content), 16)]

    def import_backup(self):
        if not self.backup.exists():
            return
        marks = [mark for _, mark in self.records()]
        room = self.model.capacity
        if not self.model.wraps:
            room -= len(self.model.entries)
        refused = len(marks) > room
        self.healthctl("import", str(self.backup), expected=(5,) if refused else (0,))
        if not refused:
            for mark in marks:
                self.model.add(mark)

    def kill_in_the_middle(self):
        """Kills logmgr while additions are under way: a prefix of them must be
        stored, in order."""
        before = list(self.model.entries)
        sent = [self.new_mark() for _ in range(self.random.randint(1, 20))]
        for mark in sent:
            arguments = GLib.Variant(
                "((ssyy)ay)", (("sensor", "/s", 0, 0), record_of(mark))
            )
            self.client.raw.call(
                *bus_view.LOG, "AddSEL", arguments, None, 0, -1, None, None
            )
        self.client.flush()
        time.sleep(self.random.random() * 0.003)
        self.kill()
        found = self.listed()
        for mark in [None, *sent]:
            if mark is not None:
                self.model.add(mark)
            if found == list(self.model.entries):
                return
        raise Difference(f"after a kill {found}, before {before}, sent {sent}")

    @contextlib.contextmanager
    def full(self, place):
        """Fills a filesystem for a while."""
        filler = self.world.folder / place / "filler"
        with open(filler, "wb", buffering=0) as file, contextlib.suppress(OSError):
            while True:
                file.write(b"x" * 65536)
        try:
            yield
        finally:
            filler.unlink()

    def full_run(self):
        """The mirror cannot be rebuilt, and must follow as far as it can."""
        with self.full("run"):
            if self.random.random() < 0.5:
                self.kill()
            self.add_many()
            if self.random.random() < 0.5:
                self.clear()
            self.compare("list", self.listed())
            self.done["mirrors behind on a full disk"] += self.mirrored() != dict(
                self.model.entries
            )

    def full_state(self):
        """The log cannot grow. It can be cleared, and loses nothing."""
        # A file that has grown before has free space inside.
        self.stop()
        state = self.world.folder / "state"
        subprocess.run(["umount", state], check=True)
        mount(state, SIZES["state"])
        self.begin_with(LARGE, False)
        self.add_many()
        with self.full("state"):
            while self.add_if_there_is_space():
                pass
            if len(self.model.entries) == LARGE:
                raise Difference("a full disk refused nothing")
            self.done["full disks that refused additions"] += 1
            self.compare("list", self.listed())
            if self.random.random() < 0.5:
                self.kill()
            if self.random.random() < 0.5:
                self.clear()
                self.add_many()
            self.compare("list", self.listed())
        self.clear()
        self.add_many()
        self.begin()

    def add_if_there_is_space(self):
        if len(self.model.entries) == LARGE:
            return False
        entries, following = self.model.entries.copy(), self.model.next
        try:
            self.add("/" + "x" * 500)
            return True
        except Difference as difference:
            if "NotStored" not in str(difference):
                raise
            self.model.entries, self.model.next = entries, following
            return False

    def remove_files(self):
        """logmgr must rebuild the files that are removed while it runs."""
        sel = self.random.choice(["run/sel", "state/sel"])
        folder = self.world.folder / sel
        if self.random.random() < 0.5:
            shutil.rmtree(folder)
        else:
            (folder / {"run/sel": "log", "state/sel": "data.mdb"}[sel]).unlink()
        if self.random.random() < 0.5:
            # A full log refuses these, which changes nothing.
            self.add_many()
        self.wait_for_the_file(folder)
        if sel == "state/sel" and self.random.random() < 0.5:
            self.kill()

    def wait_for_the_file(self, folder):
        deadline = time.monotonic() + BEHIND
        while not list(folder.glob("log")) + list(folder.glob("data.mdb")):
            if time.monotonic() > deadline:
                raise Difference(f"{folder} is not made anew")

    # Comparisons.

    def listed(self):
        told = self.json_of("list", expected=(0, 1))
        if told["source"] != "log":
            raise Difference(f"listed the {told['source']}")
        return [entry_of(bytes.fromhex(each["raw"])) for each in told["entries"]]

    def mirrored(self):
        cache = json.loads(self.world.dump_cache())
        return {
            entry["recordId"]: mark_of(bytes(entry["record"]))
            for entry in cache["sel"].values()
        }

    def compare(self, what, found):
        expected = list(self.model.entries)
        if found != expected:
            raise Difference(
                f"{what}: {len(found)} entries, the last {found[-5:]}, "
                f"not {len(expected)}, the last {expected[-5:]}"
            )

    def compare_mirror(self):
        expected = dict(self.model.entries)
        deadline = time.monotonic() + BEHIND
        found = self.mirrored()
        while found != expected:
            if time.monotonic() > deadline:
                raise Difference(f"mirror: {found}, not {expected}")
            found = self.mirrored()

    # Steps.

    def step(self):
        choices = {
            self.add: 50,
            self.add_many: 12,
            self.clear: 4,
            self.clear_up_to: 8,
            self.export: 10,
            self.import_backup: 5,
            self.kill: 2,
            self.kill_in_the_middle: 4,
            self.full_state: 0.3,
            self.full_run: 2,
            self.remove_files: 2,
            self.begin: 3,
        }
        what = self.random.choices(list(choices), list(choices.values()))[0]
        what()
        self.done[what.__name__] += 1
        self.compare("list", self.listed())
        self.compare_mirror()


def options():
    parser = argparse.ArgumentParser(description="The log beside a model of it.")
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--operations", type=int, default=10_000)
    parser.add_argument("--seed", type=int, default=random.SystemRandom().randrange(1 << 32))
    parser.add_argument("--seeds", type=int, default=1, help="how many, from that one on")
    parser.add_argument("--no-result", action="store_true", help="keep no result")
    return parser.parse_args()


def run(build, operations, seed, done):
    """Runs operations from a seed; returns the first difference, if any."""
    print(f"seed {seed}", flush=True)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="log-model.", dir="/tmp"))
    log = Campaign(build, folder, seed)
    number = 0
    begin = time.monotonic()
    try:
        for number in range(1, operations + 1):
            log.step()
            if number % 500 == 0:
                print(f"{number} operations, {time.monotonic() - begin:.0f} s", flush=True)
    except Difference as difference:
        print(f"DIFFERENCE in operation {number}: {difference}")
        print(log.log.log()[-2000:])
        return f"seed {seed}, operation {number}: {str(difference)[:200]}"
    finally:
        log.world.close()
        for place in SIZES:
            subprocess.run(["umount", folder / place], check=False)
        print(f"{number} operations: {dict(log.done)}", flush=True)
        done += log.done
    subprocess.run(["rm", "-r", folder], check=True)
    return None


def details(done, seeds):
    rows = "".join(
        f"| {name.replace('_', ' ')} | {count} |\n" for name, count in sorted(done.items())
    )
    return (
        f"| What | How often |\n| --- | --- |\n{rows}\n"
        f"The seeds were {', '.join(map(str, seeds))}. After each operation what "
        "`healthctl` lists must be the model's, and within a second the mirror.\n"
    )


def main():
    arguments = options()
    if os.geteuid() != 0:
        print("needs root, for filesystems of its own")
        sys.exit(77)
    try:
        in_own_namespace()
    except OSError as error:
        print(f"cannot mount filesystems here: {error}")
        sys.exit(77)
    seeds = range(arguments.seed, arguments.seed + arguments.seeds)
    done = collections.Counter()
    found = [run(arguments.build, arguments.operations, seed, done) for seed in seeds]
    found = [each for each in found if each]
    if not arguments.no_result:
        campaign.write_result(
            "log-model",
            tried="additions, clears, exports, imports, kills, full disks and removed "
            "files, beside a model of the log",
            times=f"{len(seeds) * arguments.operations:,} operations",
            found=found,
            details=details(done, seeds),
        )
    sys.exit(1 if found else 0)


main()
