# SPDX-License-Identifier: Apache-2.0
"""The rounds of scripts/campaigns/disorder: work of the daemons, and
disturbances meanwhile."""

import collections
import signal
import time

import chronicle
import history_check
import model
import programs
from chaos_world import LOST

SENSORS = [f"/sensors/s{number}" for number in range(6)]
NUMBERS = [1, 2, 3, 48]
WARNING = "HostMonitor.1.0.MemoryLow"
MEMORY = ("memory", "5", "10")
TOO_HOT = "TMP0109"
TOO_HOT_HEALTH, WARNING_HEALTH = 4, 3
# The sensor number of a fault that is reported by its message alone.
MESSAGE_NUMBER = 48
# The seconds for which a stopped program may delay the others.
HELD_UP = 3.0


class Disagreement(Exception):
    """Bus, data cache and daemons do not come to agree."""


class Rounds:
    """A world in which rounds run."""

    def __init__(self, world, generator):
        self.world = world
        self.generator = generator
        self.operations = collections.Counter()
        self.kills = collections.Counter()
        self.times = collections.defaultdict(list)
        self.notes = collections.Counter()
        self.bus_is_gone = False
        self.operation_of = {
            self.add: 40,
            self.message: 8,
            self.event: 8,
            self.remove: 20,
            self.clear: 3,
            self.disable: 8,
        }
        self.kinds = {
            self.nothing: 2,
            self.kill_daemons: 4,
            self.end_daemons: 2,
            self.take_over_for_a_moment: 3,
            self.kill_manager: 3,
            self.kill_log: 3,
            self.kill_log_often: 4,
            self.kill_unwatched: 3,
            self.kill_bus: 2,
            self.stop_some: 3,
            self.kill_everything: 2,
        }

    # Commands to daemons.

    def add(self, daemon, component):
        generator = self.generator
        severity = generator.choice((1, 2, 2, 3))
        fault = model.Fault(
            f"M{generator.randrange(8)}",
            generator.choice(SENSORS),
            generator.choice(NUMBERS),
            5 - severity,
            args=model.ADDED,
        )
        line = f"add {component.key} {fault.message} {fault.sensor} {severity} {fault.number}"
        self._tell_fault(daemon, component, line, fault)

    def message(self, daemon, component):
        sensor = self.generator.choice(SENSORS)
        fault = model.Fault(WARNING, sensor, MESSAGE_NUMBER, WARNING_HEALTH, args=MEMORY)
        line = f"message {component.key} {WARNING} {sensor} {' '.join(MEMORY)}"
        self._tell_fault(daemon, component, line, fault)

    def _tell_fault(self, daemon, component, line, fault):
        # The model must know which fault is evicted: collect all earlier
        # answers.
        daemon.program.collect()
        if component.room_for(fault.health):
            self._tell(daemon, component, line, lambda: component.add(fault), faults=[fault])

    def event(self, daemon, component):
        world = self.world
        daemon.program.collect()
        if not component.room_for(TOO_HOT_HEALTH):
            return
        world.serial += 1
        serial = world.serial
        sensor = self.generator.choice(SENSORS)
        number = self.generator.choice(NUMBERS)
        asserted = self.generator.random() < 0.6
        digits = world.log.record(serial, number, asserted).hex()
        pid = daemon.program.pid
        fault = model.Fault(TOO_HOT, sensor, number, TOO_HOT_HEALTH)
        command = world.chronicle.tell(pid, component.key, [fault] if asserted else [])

        def take(answer):
            # Any other answer means that the record may be in the log and that
            # no fault was changed.
            if answer == "4":
                self.notes["events not acknowledged"] += 1
                world.chronicle.take(pid, command, [])
                return
            assert answer == "0", f"event: {answer}"
            world.log.acknowledged.append(serial)
            if asserted:
                component.remove("TMP1109", sensor)
                component.add(fault)
            else:
                component.remove(TOO_HOT, sensor)
            world.chronicle.take(pid, command, component.take_changes())

        daemon.program.tell(f"event {component.key} {sensor} {digits}", take)

    def remove(self, daemon, component):
        daemon.program.collect()
        if component.faults and self.generator.random() < 0.8:
            fault = self.generator.choice(component.faults)
            message, sensor = fault.message, fault.sensor
        else:
            message, sensor = "M0", self.generator.choice(SENSORS)
        line = f"remove {component.key} {message} {sensor}"
        self._tell(daemon, component, line, lambda: component.remove(message, sensor))

    def clear(self, daemon, component):
        self._tell(daemon, component, f"clear {component.key}", component.clear, "ok")

    def disable(self, daemon, component):
        disabled = self.generator.random() < 0.5
        word = "disable" if disabled else "enable"
        line = f"{word} {component.key}"
        self._tell(daemon, component, line, lambda: component.disable(disabled), None)

    def _tell(self, daemon, component, line, done, wanted="0", faults=()):
        """Tells a daemon something that may add faults; @p done when it was
        done."""
        told = self.world.chronicle
        pid = daemon.program.pid
        command = told.tell(pid, component.key, faults)

        def take(answer):
            if answer != wanted and self.bus_is_gone:
                # Without a bus nothing is done, and everything starts anew.
                return
            assert wanted in (answer, None), f"{line}: {answer}"
            done()
            told.take(pid, command, component.take_changes())

        daemon.program.tell(line, take)

    def hide(self):
        world, generator = self.world, self.generator
        key, sensor, number = "", "", 0
        by = generator.randrange(3)
        if by == 0:
            key = generator.choice(world.components()).key
        elif by == 1:
            sensor = generator.choice(SENSORS)
        else:
            number = generator.choice(NUMBERS)
        teller = generator.choice(world.running())
        world.hide(teller, generator.random() < 0.5, key, sensor, number)
        self.operations["hide"] += 1

    def clear_log(self):
        self.world.collect()
        if self.world.client.owner("com.vexa.olvar.logmgr"):
            self.world.client.clear_log()
            self.world.log.acknowledged.clear()
            self.world.log.attempted.clear()

    def work(self, count, without=()):
        """Gives daemons random commands; the last answers may be outstanding.
        """
        for _ in range(count):
            holders = [each for each in self.world.running() if each.components]
            if not holders:
                return
            kinds = [kind for kind in self.operation_of if kind not in without]
            weights = [self.operation_of[kind] for kind in kinds]
            kind = self.generator.choices(kinds, weights)[0]
            daemon = self.generator.choice(holders)
            kind(daemon, self.generator.choice(list(daemon.components.values())))
            self.operations[kind.__name__] += 1

    def calm_work(self):
        for _ in range(self.generator.randrange(1, 4)):
            self.work(self.generator.randrange(5, 20))
            self.hide()

    # Disturbances. Each leaves the programs that have to restart dead.

    def some_slots(self):
        slots = list(self.world.daemons)
        return self.generator.sample(slots, self.generator.randint(1, len(slots)))

    def kill(self, what):
        self.kills[what if isinstance(what, str) else "daemon"] += 1
        self.world.kill(what)

    def nothing(self):
        """Nobody is disturbed for longer than a fault must last to be recorded.
        """
        self.work(10)
        self.world.collect()
        time.sleep(1.2 * history_check.LASTING / 1000)

    def kill_daemons(self):
        victims = self.some_slots()
        self.work(25)
        for slot in victims:
            self.kill(slot)

    def end_daemons(self):
        self.work(10)
        self.world.collect()
        for slot in self.some_slots():
            self.world.end_daemon(self.world.daemons.pop(slot))
            self.operations["end"] += 1

    def take_over_for_a_moment(self):
        """Takes over, with daemons that end at once, keys that daemons left to
        healthmgr and keys that nobody holds."""
        world = self.world
        for slot in self.some_slots():
            self.kill(slot)
        for _ in range(self.generator.randint(1, 3)):
            moments = [world.raise_for_a_moment(key) for key in world.free_keys()]
            self.generator.shuffle(moments)
            for daemon in moments:
                if self.generator.random() < 0.5:
                    daemon.program.collect(down_to=self.generator.randrange(2))
                if self.generator.random() < 0.5:
                    world.kill_daemon(daemon)
                    self.kills["daemon of a moment"] += 1
                else:
                    world.end_daemon(daemon)
                    self.operations["end"] += 1

    def kill_manager(self):
        victims = self.some_slots() if self.generator.random() < 0.6 else []
        self.work(25)
        # Some die before healthmgr, which is about to withdraw them, and some
        # after it, unnoticed.
        self.generator.shuffle(victims := [*victims, "healthmgr"])
        for what in victims:
            self.kill(what)

    def kill_log(self):
        for _ in range(5):
            holders = self.generator.sample(self.world.running(), 3)
            for daemon in holders:
                component = self.generator.choice(list(daemon.components.values()))
                self.event(daemon, component)
                self.operations["event"] += 1
        self.kill("logmgr")

    def kill_log_often(self):
        """Kills logmgr again and again, before it is ready or after that, while
        faults come and go."""
        world = self.world
        for _ in range(self.generator.randint(1, 4)):
            self.work(self.generator.randrange(15))
            self.kill("logmgr")
            self.work(self.generator.randrange(10))
            world.raise_one("logmgr", self.generator)
            if self.generator.random() < 0.7:
                world.await_history()

    def kill_unwatched(self):
        """Kills daemons while there is no healthmgr."""
        victims = self.some_slots()
        self.work(25)
        self.kill("healthmgr")
        for slot in victims:
            self.kill(slot)
        self.world.raise_one("healthmgr", self.generator)

    def kill_bus(self):
        world = self.world
        self.work(25)
        self.bus_is_gone = True
        since = chronicle.now()
        world.kill_bus()
        self.kills["bus"] += 1
        for name in list(world.services):
            status = world.services[name].wait()
            assert status == 1, f"{name} ended with {status}"
            self._check_loss(world.forget_service(name, since))
        for slot in list(world.daemons):
            daemon = world.daemons.pop(slot)
            daemon.program.collect()
            self._hear_of_loss(daemon.program)
            if self.generator.random() < 0.5:
                world.end_daemon(daemon)
            else:
                world.kill_daemon(daemon)
            self._check_loss(daemon.program)
        self.bus_is_gone = False
        world.raise_bus()

    @staticmethod
    def _hear_of_loss(program):
        # It keeps running and executes commands.
        deadline = time.monotonic() + programs.PATIENCE
        while LOST not in program.log() and time.monotonic() < deadline:
            program.ask("count")

    @staticmethod
    def _check_loss(program):
        told = program.log().count(LOST)
        if told != 1:
            raise Disagreement(
                f"{program.name} tells {told} times that its connection is lost"
            )

    def stop_some(self):
        world = self.world
        stopped = [world.daemons[slot] for slot in self.some_slots()]
        programs_stopped = [daemon.program for daemon in stopped]
        if self.generator.random() < 0.3:
            programs_stopped.append(world.services["healthmgr"])
        self.work(20)
        for program in programs_stopped:
            program.signal(signal.SIGSTOP)
            self.kills["stop"] += 1
        # The others continue to work, and some of them die before the stopped
        # ones continue.
        held_up = not self._go_on()
        if not held_up and world.running() and self.generator.random() < 0.5:
            for slot, daemon in list(world.daemons.items()):
                if not daemon.program.stopped and self.generator.random() < 0.3:
                    self.kill(slot)
            held_up = not self._go_on()
        for program in programs_stopped:
            program.signal(signal.SIGCONT)
        if held_up:
            self.notes["held up by one that was stopped while it wrote"] += 1
        world.collect()

    def _go_on(self):
        """Gives commands to daemons that are not stopped; returns whether they
        answered."""
        try:
            self.world.collect(HELD_UP)
            self.work(20, without=(self.event,))
            self.world.collect(HELD_UP)
            return True
        except programs.Gone:
            return False

    def kill_everything(self):
        self.work(25)
        everything = [*self.world.daemons, *self.world.services]
        self.generator.shuffle(everything)
        for what in everything:
            self.kill(what)

    # One round.

    def start_dead(self):
        """Starts all dead programs at once, in random order."""
        dead = self.world.dead()
        self.generator.shuffle(dead)
        for what in dead:
            self.world.raise_one(what, self.generator)
        self.world.collect()

    def settle(self, kind, deadline=programs.PATIENCE):
        """Waits until all views agree, and still agree when nobody has work
        left."""
        world = self.world
        world.collect()
        world.catch_up()
        world.freshen()
        begin = time.monotonic()
        while True:
            different = world.differences()
            now = time.monotonic()
            if not different:
                world.catch_up()
                world.client.ping(world.client.owner("com.vexa.olvar.healthmgr"))
                different = world.differences()
                if not different:
                    break
                self.notes["agreed too early"] += 1
            if now - begin > deadline:
                raise Disagreement(f"{kind}\n" + "\n".join(different))
        self.times[kind].append(now - begin)
        if wrong := world.agree():
            raise Disagreement(f"{kind}\n" + "\n".join(wrong))

    def run(self):
        kinds = list(self.kinds)
        kind = self.generator.choices(kinds, list(self.kinds.values()))[0]
        if self.world.running() and not self.world.dead():
            self.calm_work()
            if self.generator.random() < 0.1:
                self.clear_log()
        kind()
        name = kind.__name__.replace("_", " ")
        self.world.collect()
        if "healthmgr" in self.world.services and "logmgr" in self.world.services:
            self.settle(f"{name}: those that live")
        self.start_dead()
        self.settle(f"{name}: all again")
        return name

    def end(self):
        """Reads everything once more."""
        if wrong := self.world.reread_history():
            raise Disagreement("\n".join(wrong))
