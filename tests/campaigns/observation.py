# SPDX-License-Identifier: Apache-2.0
"""Shared by campaigns that observe services: measurements and expectations."""

import re
import subprocess
import time

import bus_view

ROOT = bus_view.ROOT
# The most commands that wait in a daemon's input.
UNDER_WAY = 200


class Observation:
    """The measurements in a world, and the broken expectations."""

    def __init__(self, name, world):
        self.name = name
        self.numbers = []
        self.broken = []
        self.world = world
        self.bus = world.start_bus()
        self.client = bus_view.Client(world.address)

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
        """A component daemon; it collects the unique names that it answers."""
        daemon = self.world.start_daemon()
        daemon.names = []
        for key in keys:
            daemon.tell(f"init {key} {base}", daemon.names.append)
        return daemon

    def tell_all(self, daemon, lines):
        """Gives a daemon commands, a limited number at once; returns its
        answers with their counts."""
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
        """Polls until a condition holds; returns the seconds that it took."""
        begin = time.monotonic()
        while not done():
            if time.monotonic() - begin > patience:
                self.expect(False, f"not in {patience} s: {what}")
                break
        return time.monotonic() - begin

    def shown_health(self, key=ROOT):
        """The worst health that the holders of a node show for it."""
        shown = [self.client.health(name, key) for name in self.client.names()]
        return max([health for health in shown if health is not None], default=None)

    def healthctl(self, *arguments):
        """Runs healthctl; returns status, output and seconds."""
        begin = time.monotonic()
        ran = subprocess.run(
            [self.world.build / "tools/healthctl/healthctl", *arguments],
            env=self.world.environment,
            capture_output=True,
            text=True,
        )
        return ran.returncode, (ran.stdout + ran.stderr).strip(), time.monotonic() - begin


def own(program):
    """The process's private memory; excludes the data cache."""
    return program.status("RssAnon")


def mib(kib):
    return f"{kib / 1024:.1f} MiB"


def errors_of(program, pattern=r"error|warning"):
    """The different error lines of a program's log."""
    lines = {}
    for line in program.log().splitlines():
        if re.search(pattern, line):
            lines.setdefault(re.sub(r"\d+", "N", line), line)
    return list(lines.values())
