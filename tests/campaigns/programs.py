# SPDX-License-Identifier: Apache-2.0
"""The programs of a campaign and their bus."""

import contextlib
import json
import os
import pathlib
import re
import select
import signal
import subprocess
import time

SOURCE = pathlib.Path(__file__).parents[2]
# Seconds until a missing event counts as a failure.
PATIENCE = 20.0

BUS_CONFIG = """\
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow eavesdrop="true"/>
  </policy>
{limits}
</busconfig>
"""


def usual_arguments(name, source=SOURCE):
    """How a service is started. healthmgr ignores lost monitors: campaigns kill
    daemons all the time."""
    if name == "healthmgr":
        return ["--config", source / "tests/support/ignore-lost-monitors.toml"]
    return []


class Gone(Exception):
    """A program ended or did not answer in time."""


class Program:
    """A program that reads commands line by line and answers each with one
    line."""

    def __init__(self, name, command, world):
        self.name = name
        self.errors = world.folder / f"{name}.{world.next_number()}.log"
        with open(self.errors, "wb") as errors:
            self._process = subprocess.Popen(
                [str(part) for part in command],
                env=world.environment,
                stdin=subprocess.PIPE,
                stdout=subprocess.PIPE,
                stderr=errors,
                bufsize=0,
            )
        self.pid = self._process.pid
        self.stopped = False
        self._heard = b""
        # The functions that take the outstanding answers.
        self._awaited = []

    def tell(self, line, take=lambda answer: None):
        """Sends a command; @p take gets its answer when that is collected."""
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.write(f"{line}\n".encode())
        self._awaited.append(take)

    def ask(self, line, patience=PATIENCE):
        """Sends a command and returns its answer, after all earlier answers.
        """
        answers = []
        self.tell(line, answers.append)
        self.collect(patience)
        return answers[0]

    def pending(self):
        return len(self._awaited)

    def collect(self, patience=PATIENCE, down_to=0):
        """Reads answers until only so many are outstanding.

        Raises Gone when the program ends first or takes too long."""
        deadline = time.monotonic() + patience
        while len(self._awaited) > down_to:
            self._take(self.hear(deadline - time.monotonic()))

    def _take(self, line):
        self._awaited.pop(0)(line)

    def hear(self, patience=PATIENCE):
        """The next line of standard output."""
        deadline = time.monotonic() + patience
        while b"\n" not in self._heard:
            left = max(deadline - time.monotonic(), 0)
            if not select.select([self._process.stdout], [], [], left)[0]:
                raise Gone(f"{self.name} ({self.pid}) does not answer")
            got = self._process.stdout.read(65536)
            if not got:
                raise Gone(f"{self.name} ({self.pid}) ended")
            self._heard += got
        line, self._heard = self._heard.split(b"\n", 1)
        return line.decode()

    def alive(self):
        return self._process.poll() is None

    def signal(self, number):
        self._process.send_signal(number)
        if number in (signal.SIGSTOP, signal.SIGCONT):
            self.stopped = number == signal.SIGSTOP

    def kill(self):
        """Kills it, as if it had crashed, and waits until it is gone."""
        self._process.kill()
        self._close()

    def end(self, patience=PATIENCE):
        """Closes its input and waits until it ends.

        Returns its status."""
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.close()
        return self.wait(patience)

    def wait(self, patience=PATIENCE):
        try:
            self._process.wait(patience)
        except subprocess.TimeoutExpired:
            raise Gone(f"{self.name} ({self.pid}) does not end") from None
        return self._close()

    def _close(self):
        status = self._process.wait()
        self._process.stdout.close()
        with contextlib.suppress(BrokenPipeError):
            self._process.stdin.close()
        self._awaited.clear()
        return status

    def log(self):
        return self.errors.read_text(errors="replace")

    def status(self, field):
        """A number in /proc/PID/status, such as VmRSS in KiB."""
        text = pathlib.Path(f"/proc/{self.pid}/status").read_text()
        return int(re.search(rf"^{field}:\s*(\d+)", text, re.MULTILINE).group(1))

    def cpu_seconds(self):
        fields = pathlib.Path(f"/proc/{self.pid}/stat").read_text()
        used = fields.rsplit(")", 1)[1].split()[11:13]
        return sum(map(int, used)) / os.sysconf("SC_CLK_TCK")


class Bus(Program):
    """The bus: dbus-daemon, or dbus-broker if the environment variable
    HEALTHINTF_TEST_BUS says so."""

    def __init__(self, config, world, *options):
        super().__init__("bus", [*self._command(world), *options,
                                 f"--config-file={config}"], world)
        self.hear()
        # Of dbus-broker's processes, the one that delivers messages.
        self.pid = int(self.hear())

    @staticmethod
    def kind():
        return os.environ.get("HEALTHINTF_TEST_BUS", "daemon")

    @classmethod
    def _command(cls, world):
        programs = {
            "daemon": "dbus-daemon",
            "broker": world.build / "tests/support/broker_daemon/broker-daemon",
        }
        return [programs[cls.kind()], "--nofork", "--nopidfile",
                "--print-address=1", "--print-pid=1"]

    def kill(self):
        os.kill(self.pid, signal.SIGKILL)
        self._close()


class World:
    """A bus with a data cache and a log, and its programs."""

    def __init__(self, build, folder, limits="", environment=None):
        self.build = pathlib.Path(build).resolve()
        self.folder = pathlib.Path(folder)
        self.address = f"unix:path={self.folder}/bus"
        self._number = 0
        self._running = []
        (self.folder / "bus.conf").write_text(
            BUS_CONFIG.format(socket=self.folder / "bus", limits=limits)
        )
        self.environment = {
            name: value
            for name, value in os.environ.items()
            if not name.startswith(("HEALTHINTF_", "DBUS_"))
        }
        self.environment |= {
            "DBUS_SYSTEM_BUS_ADDRESS": self.address,
            "DBUS_SESSION_BUS_ADDRESS": self.address,
            "HEALTHINTF_RUNTIME_DIR": str(self.folder / "run"),
            "HEALTHINTF_STATE_DIR": str(self.folder / "state"),
            "HEALTHINTF_EVENT_PATH": str(SOURCE / "data/events"),
            "HEALTHINTF_REGISTRY_PATH": str(SOURCE / "data/registries"),
        } | (environment or {})

    def next_number(self):
        self._number += 1
        return self._number

    def start(self, name, command):
        return self._add(Program(name, command, self))

    def _add(self, program):
        self._running = [each for each in self._running if each.alive()]
        self._running.append(program)
        return program

    def start_bus(self):
        """Starts the bus, always at the same address."""
        (self.folder / "bus").unlink(missing_ok=True)
        return self._add(Bus(self.folder / "bus.conf", self))

    def start_service(self, name, *arguments):
        program = self.build / "services" / name / name
        return self.start(name, [program, *(arguments or usual_arguments(name))])

    def start_daemon(self, name="component-daemon", loop="sd-event"):
        return self.start(name, [self.build / "tests/bus/component-daemon", loop])

    def recorded(self):
        """The numbers of nodes and faults in the data cache."""
        cache = json.loads(self.dump_cache())
        return len(cache["health"]), len(cache["faults"])

    def dump_cache(self):
        """The content of the data cache, as cache-dump prints it."""
        return subprocess.run(
            [
                self.build / "tests/bus/cache-dump",
                "/com/vexa/olvar/logmgr/selentry/",
            ],
            env=self.environment | {"HEALTHINTF_LOG_LEVEL": "0"},
            check=True,
            capture_output=True,
        ).stdout

    def close(self):
        for program in self._running:
            if program.alive():
                program.kill()
