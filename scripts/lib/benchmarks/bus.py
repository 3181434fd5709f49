"""Programs on a bus and a data cache of their own."""

import os
import subprocess


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
