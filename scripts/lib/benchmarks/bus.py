# SPDX-License-Identifier: Apache-2.0
"""Programs on a bus and a data cache of their own."""

import os
import pathlib
import subprocess

# What HEALTHINTF_TEST_BUS calls the buses, and what others call them.
BUSES = {"daemon": "dbus-daemon", "broker": "dbus-broker"}


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


def descendants(pid):
    """The processes below one, by their names."""
    for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
        for child in (task / "children").read_text().split():
            yield pathlib.Path(f"/proc/{child}/comm").read_text().strip(), int(child)
            yield from descendants(child)


class Bus:
    """A bus of its own, with a data cache of its own.

    kind: one of BUSES; without it, the one that the environment names"""

    def __init__(self, stack, environment=None, kind=None):
        environment = dict(environment or os.environ)
        if kind:
            environment["HEALTHINTF_TEST_BUS"] = kind
        talker = Talker(
            stack,
            [
                "scripts/private-bus",
                "sh",
                "-c",
                'echo "$DBUS_SYSTEM_BUS_ADDRESS"; echo "$HEALTHINTF_RUNTIME_DIR";'
                'echo "$HEALTHINTF_STATE_DIR"; exec cat',
            ],
            environment,
        )
        address = talker.hear()
        self.environment = dict(
            environment,
            DBUS_SYSTEM_BUS_ADDRESS=address,
            DBUS_SESSION_BUS_ADDRESS=address,
            HEALTHINTF_RUNTIME_DIR=talker.hear(),
            HEALTHINTF_STATE_DIR=talker.hear(),
            # That a new cache is empty would be said between the figures.
            HEALTHINTF_LOG_LEVEL="1",
        )
        self._private_bus = talker.pid

    def cpu_time(self):
        """The nanoseconds that the process has run that passes messages on."""
        pid = next(
            pid for name, pid in descendants(self._private_bus)
            if name in BUSES.values()
        )
        return int(pathlib.Path(f"/proc/{pid}/schedstat").read_text().split()[0])

    def run(self, command):
        return subprocess.run(
            command,
            env=self.environment,
            check=True,
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
        )
