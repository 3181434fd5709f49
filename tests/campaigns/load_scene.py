"""What the scenes of scripts/load share: a world, what is measured in it, and
what is expected."""

import contextlib
import pathlib
import re
import shutil
import subprocess
import tempfile
import time

import bus_view
import programs

ROOT = bus_view.ROOT
# What the installed configuration lets the system bus allow.
INSTALLED = '<limit name="max_match_rules_per_connection">4096</limit>'
USUAL = '<limit name="max_match_rules_per_connection">512</limit>'
# What chance makes of memory, in KiB.
CHANCE = 512
# How many commands may be under way in a daemon's input.
UNDER_WAY = 200


class Scene:
    """One scene: its world, its numbers, and what breaks its expectations."""

    def __init__(self, build, name, limits=USUAL, environment=None, small=None):
        """@p small: sizes of filesystems in folders of the world."""
        self.name = name
        self.numbers = []
        self.broken = []
        self.happens = ""
        self.limit = ""
        self.told = ""
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix=f"load-{name}.", dir="/tmp"))
        self._mounted = [self._folder / where for where in small or {}]
        for place, size in zip(self._mounted, (small or {}).values()):
            place.mkdir()
            mount = ["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", place]
            subprocess.run(mount, check=True)
        self.world = programs.World(build, self._folder, limits, environment)
        self.bus = self.world.start_bus()
        self.client = bus_view.Client(self.world.address)

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.world.close()
        for place in self._mounted:
            subprocess.run(["umount", place], check=False)
        with contextlib.suppress(OSError):
            shutil.rmtree(self._folder)

    def expect(self, holds, what):
        if not holds:
            self.broken.append(f"{self.name}: {what}")
            print(f"BROKEN {self.name}: {what}", flush=True)

    def number(self, text):
        self.numbers.append(text)
        print(f"{self.name}: {text}", flush=True)

    # Programs.

    def start_service(self, name, *arguments):
        service = self.world.start_service(name, *arguments)
        self.wait_until(f"{name} owns its name", lambda: self.client.owner(f"com.vexa.olvar.{name}"))
        return service

    def daemon(self, keys=(), base=2):
        """A component daemon; the answers to its making are its names."""
        daemon = self.world.start_daemon()
        daemon.names = []
        for key in keys:
            daemon.tell(f"init {key} {base}", daemon.names.append)
        return daemon

    def tell_all(self, daemon, lines):
        """Tells a daemon lines, not all at once; its answers by how often
        each came."""
        answers = {}

        def take(answer):
            answers[answer] = answers.get(answer, 0) + 1

        for line in lines:
            daemon.tell(line, take)
            if daemon.pending() >= UNDER_WAY:
                daemon.collect(patience=120, down_to=UNDER_WAY // 2)
        daemon.collect(patience=120)
        return answers

    def wait_until(self, what, done, patience=60):
        """Looks until something is so; how long that took, in seconds."""
        begin = time.monotonic()
        while not done():
            if time.monotonic() - begin > patience:
                self.expect(False, f"not in {patience} s: {what}")
                break
        return time.monotonic() - begin

    def shown_health(self, key=ROOT):
        """What the connections that hold a node show of it; the worst."""
        shown = [self.client.health(name, key) for name in self.client.names()]
        return max([health for health in shown if health is not None], default=None)

    def healthctl(self, *arguments):
        """Status, output and time of the operator's command line."""
        begin = time.monotonic()
        ran = subprocess.run(
            [self.world.build / "tools/healthctl/healthctl", *arguments],
            env=self.world.environment,
            capture_output=True,
            text=True,
        )
        return ran.returncode, (ran.stdout + ran.stderr).strip(), time.monotonic() - begin


def resident(program):
    return program.status("VmRSS")


def own(program):
    """What a process has for itself: the data cache is not counted."""
    return program.status("RssAnon")


def mib(kib):
    return f"{kib / 1024:.1f} MiB"


def errors_of(program, pattern=r"error|warning"):
    """The lines of a program's log that tell of errors, each kind once."""
    lines = {}
    for line in program.log().splitlines():
        if re.search(pattern, line):
            lines.setdefault(re.sub(r"\d+", "N", line), line)
    return list(lines.values())


def fault(key, number, severity=1):
    return f"add {key} M{number % 50} /sensors/s{number % 20} {severity} {number % 100 + 1}"
