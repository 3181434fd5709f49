# SPDX-License-Identifier: Apache-2.0
"""Shared by the attacks: a working machine, what must keep working, and how
fast."""

import json
import time

import attack_world
import bus_view
from attack_world import COLLEAGUE, OPERATOR, OUTSIDER
from observation import ROOT, Observation, mib, own

MANAGER = bus_view.MANAGER
LOG_NAME = bus_view.LOG[0]
RECORD = ["16", *"0 0 2 0 0 0 0 0x20 0 4 4 7 1 0 0 0".split()]
# The promised times in seconds, with an allowance for the programs that
# measure.
ANSWERED = 1.0
SET_BY = 5.0
STARTED_BY = 5.0
# The memory that a service may gain during an attack, in KiB.
GROWTH = 64 * 1024
# The lines that a service may log during an attack.
LINES = 60


class Attack(Observation):
    """A machine with both services and a well-behaved reporter's daemon, which
    holds one fault."""

    def __init__(self, name, environment=None, up=True):
        super().__init__(name, attack_world.AttackWorld(environment))
        self._number = 0
        self.services = {}
        self.colleague = None
        self.colleague_name = ""
        self.key = f"{ROOT}/colleague/fan"
        if up:
            self.raise_services()
            self.raise_colleague()

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.client.close()
        self.world.close()

    def raise_services(self, names=("healthmgr", "logmgr")):
        for name in names:
            self.services[name] = self.start_service(name)

    def raise_colleague(self):
        self.colleague = self.world.start_daemon()
        self.colleague_name = self.colleague.ask(f"init {self.key} 2")
        self.expect(self.colleague.ask(f"add {self.key} M /s 2") == "0", "no fault is added")
        self.wait_until("the root is at warning", lambda: self.root_health() == 3, 10)

    # Observations.

    def root_health(self):
        """The root's health as healthmgr shows it."""
        owner = self.client.owner(MANAGER)
        return self.client.health(owner, ROOT) if owner else None

    def timed(self, what, do, most):
        """Runs an operation that has to finish in time; returns its result."""
        begin = time.monotonic()
        try:
            result = do()
        except Exception as failure:  # noqa: BLE001 - any failure is a result
            result = f"{type(failure).__name__}: {failure}"
        seconds = time.monotonic() - begin
        self.expect(seconds < most, f"{what} takes {seconds:.2f} s instead of {most:g} s: {result}")
        return result, seconds

    def said(self, what, user, *command, most, status=0):
        """Runs a command that has to end in time and with success."""
        (ended, text), seconds = self.timed(
            what, lambda: self.world.run_as(user, *command, patience=30), most
        )
        self.expect(ended == status, f"{what}: status {ended}: {text[-300:]}")
        return text, seconds

    # What has to keep working.

    def manager_answers(self):
        asked = (MANAGER, "/", "org.freedesktop.DBus.Peer", "Ping", None, 20)
        answer, seconds = self.timed("healthmgr's answer", lambda: self.client.call(*asked), ANSWERED)
        self.expect(answer == (), f"healthmgr answers {answer}")
        return seconds

    def attribute_is_set(self):
        self._number += 1
        value = str(1 + self._number)
        tool = self.world.build / "tools/healthctl/healthctl"
        _, seconds = self.said("`healthctl lcd set`", OPERATOR, tool, "lcd", "set", "hideerrs",
                               value, most=SET_BY)
        text, _ = self.said("`healthctl lcd get`", OUTSIDER, tool, "lcd", "get", "hideerrs",
                            most=SET_BY)
        self.expect(value in text.split(), f"the attribute is {text} instead of {value}")
        return seconds

    def event_is_stored(self):
        service, path, interface = bus_view.LOG
        text, seconds = self.said(
            "AddSEL", COLLEAGUE, "busctl", "--system", "--timeout=20", "call", service, path,
            interface, "AddSEL", "(ssyy)ay", "Fan 7", "/fan7", "4", "0", *RECORD, most=ANSWERED)
        return text, seconds

    def fault_comes_and_goes(self):
        """In the daemon that already ran before the attack."""
        begin = time.monotonic()
        for line in (f"add {self.key} N /t 1", f"remove {self.key} N /t"):
            answer, _ = self.timed(line, lambda line=line: self.colleague.ask(line), ANSWERED)
            self.expect(answer == "0", f"{line} is answered {answer}")
            health = 4 if line.startswith("add") else 3
            seconds = self.wait_until(
                f"the root is at {health}", lambda health=health: self.root_health() == health, 10)
            self.expect(seconds < ANSWERED, f"the root follows after {seconds:.2f} s")
        return time.monotonic() - begin

    def daemon_starts(self, user=COLLEAGUE):
        """In a new daemon, whose fault everybody has to see until it ends."""
        self._number += 1
        key = f"{ROOT}/new{self._number}/fan"
        begin = time.monotonic()
        daemon = self.world.start_daemon(user=user)
        for line, wanted in ((f"init {key} 2", ":"), (f"add {key} New /n 1", "0")):
            answer, _ = self.timed(line, lambda line=line: daemon.ask(line), STARTED_BY)
            self.expect(str(answer).startswith(wanted), f"{user}: {line} is answered {answer}")
        self.wait_until(f"the root is at critical by {key}", lambda: self.root_health() == 4, 10)
        seconds = time.monotonic() - begin
        self.expect(seconds < STARTED_BY, f"a new daemon takes {seconds:.2f} s")
        self.sees(key, 4)
        daemon.kill()
        gone = self.wait_until(f"{key} is gone", lambda: self.root_health() == 3, 10)
        self.expect(gone < ANSWERED, f"its fault stays for {gone:.2f} s at the root")
        said = [line for line in daemon.log().splitlines() if "data cache" in line]
        self.expect(not said, f"a new daemon has no data cache: {said[:1]}")
        return seconds

    def sees(self, key, health, user=COLLEAGUE):
        """The health of a node in the data cache, read by a user."""
        text, seconds = self.said("a query", user, self.world.build / "tests/bus/cache-dump",
                                  most=STARTED_BY)
        shown = content(text)["health"].get(key)
        self.expect(shown == health, f"a query shows {shown} instead of {health} for {key}")
        return seconds

    def all_works(self):
        """Checks everything that other users need."""
        slowest = {
            "healthmgr answers": self.manager_answers(),
            "a fault climbs and goes": self.fault_comes_and_goes(),
            "a daemon starts": self.daemon_starts(),
            "a query": self.sees(self.key, 3),
            "an outsider's query": self.sees(self.key, 3, OUTSIDER),
            "an attribute is set": self.attribute_is_set(),
            "an event is stored": self.event_is_stored()[1],
        }
        self.number(", ".join(f"{what}: {seconds:.2f} s" for what, seconds in slowest.items()))

    def live(self):
        """Checks that no program has ended."""
        running = dict(self.services, colleague=self.colleague)
        for name, program in running.items():
            self.expect(program.alive(), f"{name} has ended")

    def quiet(self, since=None):
        """Checks that the services have not flooded the log."""
        for name, program in self.services.items():
            lines = program.log().count("\n") - (since or {}).get(name, 0)
            self.expect(lines <= LINES, f"{name} logs {lines} lines")

    def idle(self, name="healthmgr", seconds=2.0, most=0.05):
        """Checks that an idle service uses no CPU time."""
        program = self.services[name]
        before = program.cpu_seconds()
        time.sleep(seconds)
        share = (program.cpu_seconds() - before) / seconds
        self.expect(share < most, f"{name} uses {share:.0%} of a processor for nothing")
        self.number(f"{name} uses {share:.1%} of a processor")

    def memory(self):
        return {name: own(program) for name, program in self.services.items()}

    def small(self, before, most=GROWTH):
        for name, kib in self.memory().items():
            grown = kib - before[name]
            self.expect(grown < most, f"{name} grows by {mib(grown)}")
            self.number(f"{name} grows by {mib(max(grown, 0))}")

    def restart(self, name):
        self.services[name].kill()
        begin = time.monotonic()
        self.services[name] = self.world.start_service(name)
        owned = f"com.vexa.olvar.{name}"
        seconds = self.wait_until(f"{name} owns its name", lambda: self.client.owner(owned), 20)
        self.expect(seconds < STARTED_BY, f"{name} starts in {seconds:.2f} s")
        return time.monotonic() - begin


def content(dumped):
    """The data cache as printed by cache-dump; empty if that failed."""
    try:
        return json.loads(dumped[dumped.index("{"):])
    except ValueError:
        return {"health": {}, "faults": [], "sel": {}}
