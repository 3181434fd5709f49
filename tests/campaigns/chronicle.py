# SPDX-License-Identifier: Apache-2.0
"""When the faults of a campaign's daemons began and ended, as far as the
campaign knows it: between a command and its answer, or between a signal and the
end of a process. Times are milliseconds since 1970, as in the history."""

import collections
import dataclasses
import time

# How the history may say that a fault ended, when nobody knows how it did.
ENDS = frozenset({"cleared", "gave-way", "withdrawn", "monitor-back"})
# Until a fault that was removed is known to be gone, whatever the bus does.
NOTICED_LATE = 1000


def now():
    return time.time() * 1000


@dataclasses.dataclass(frozen=True)
class Moment:
    """Something has happened between two times."""

    earliest: float
    latest: float


@dataclasses.dataclass(eq=False)
class Occurrence:
    """A fault that was there for a time."""

    component: str
    message: str
    sensor: str
    number: int
    pid: int
    began: Moment
    # Unknown where nothing is said of them.
    args: tuple | None = None
    health: int | None = None
    # Whether it has been there at all.
    certain: bool = True
    # Missing while the fault lasts.
    ended: Moment | None = None
    kinds: frozenset = ENDS

    def group(self):
        return self.component, self.message, self.sensor, self.number, self.pid

    def end(self, moment, kinds):
        self.ended = moment
        self.kinds = frozenset(kinds)


@dataclasses.dataclass(eq=False)
class Command:
    """What a daemon was told and has not answered."""

    component: str
    # The faults that it may have added.
    faults: tuple
    told: float


class Chronicle:
    """The occurrences of the faults of all daemons."""

    def __init__(self, clock=now):
        self._clock = clock
        self.occurrences = []
        self._lasting = {}
        self._commands = collections.defaultdict(list)
        self._ended = collections.defaultdict(list)

    def tell(self, pid, component, faults=()):
        """A daemon is told something; take() gets what this returns."""
        command = Command(component, tuple(faults), self._clock())
        self._commands[pid].append(command)
        return command

    def take(self, pid, command, changes):
        """A daemon has answered: the faults changed so."""
        self._commands[pid].remove(command)
        moment = Moment(command.told, self._clock())
        for kind, fault in changes:
            if kind == "appeared":
                self._lasting[fault] = self.add(pid, command.component, fault, moment)
            else:
                occurrence = self._lasting.pop(fault)
                occurrence.end(moment, {kind})
                self._ended[pid].append(occurrence)

    def is_busy(self, pid, component):
        """Whether a daemon has not answered all that it was told about a
        component."""
        return any(each.component == component for each in self._commands[pid])

    def add(self, pid, component, fault, began, **more):
        """A fault began; returns its occurrence."""
        occurrence = Occurrence(
            component,
            fault.message,
            fault.sensor,
            fault.number,
            pid,
            began,
            args=fault.args,
            health=fault.health,
            **more,
        )
        self.occurrences.append(occurrence)
        return occurrence

    def gone(self, pid, components, since, kinds):
        """A process has ended since a time, and its faults with it."""
        end = self._clock()
        commands = self._commands.pop(pid, [])
        for component in components:
            told = [each.told for each in commands if each.component == component.key]
            # An unanswered command may have ended them before.
            moment = Moment(min([*told, since]), end)
            for fault in component.faults:
                occurrence = self._lasting.pop(fault)
                # Of a process that has ended nobody can tell any more who sent
                # the signals that are read later.
                young = occurrence.began.latest > since - NOTICED_LATE
                may_be = {"withdrawn"} if young else set()
                occurrence.end(moment, ENDS if told else {*kinds, *may_be})
        for command in commands:
            moment = Moment(command.told, end)
            for fault in command.faults:
                self.add(pid, command.component, fault, moment, certain=False, ended=moment)
        for occurrence in self._ended.pop(pid, []):
            # The process may have died before anybody has heard of the removal.
            if occurrence.ended.latest > since - NOTICED_LATE:
                occurrence.kinds |= {"withdrawn"}
