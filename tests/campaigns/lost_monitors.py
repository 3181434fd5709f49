# SPDX-License-Identifier: Apache-2.0
"""Which components have the fault of a lost monitor, after their daemons were
killed, ended, and started again."""

import dataclasses

from chronicle import Moment, Occurrence

MESSAGE = "HealthManager.1.0.MonitorLost"
CRITICAL, WARNING = 4, 3
WORDS = {0: "none", 2: "OK", 3: "warning", 4: "critical"}


@dataclasses.dataclass(frozen=True)
class Loss:
    """A process that ended without giving a component up."""

    pid: int
    # The number of its faults and the health of the worst; unknown when it may
    # have executed commands that it has not answered.
    faults: int | None
    worst: int | None

    def explains(self, fault):
        """Whether a fault tells of this loss."""
        _, pid, faults, worst = fault["Args"]
        severity = CRITICAL if worst == WORDS[CRITICAL] else WARNING
        return (
            int(pid) == self.pid
            and fault["Severity"] == severity
            and self.faults in (None, int(faults))
            and (self.worst is None or WORDS[self.worst] == worst)
        )


def loss_of(pid, component):
    worst = max((fault.health for fault in component.faults if not fault.hidden), default=0)
    return Loss(pid, len(component.faults), worst)


class LostMonitors:
    """What healthmgr may report of each component; None stands for no fault.
    The chronicle gets when it was seen to do so."""

    def __init__(self, chronicle, begin):
        self._chronicle = chronicle
        self._possible = {}
        # What was lost since the views agreed, of each key that was lost or
        # given up since then.
        self._noted = {}
        self._agreed = begin
        self._manager = None
        # The occurrences of the faults that were seen, by their paths.
        self._seen = {}

    def possible(self, key):
        return self._possible.get(key, {None})

    def lost(self, key, loss, certain=True):
        """A process was killed that has had the component, if that is certain.
        Of several that are lost at once healthmgr names one."""
        lately = self._noted.setdefault(key, set())
        self._possible[key] = lately | {loss} if certain else self.possible(key) | {loss}
        lately.add(loss)
        self._may_report(key)

    def given_up(self, key):
        """A process has given the component up; perhaps before healthmgr has
        seen it there."""
        self._possible[key] = self.possible(key) | {None}
        self._noted.setdefault(key, set())

    def manager_started(self, pid):
        self._manager = pid
        for key, possible in self._possible.items():
            if possible != {None}:
                self._may_report(key)

    def manager_gone(self, since, until):
        self._manager = None
        for occurrence in self._seen.values():
            occurrence.end(Moment(since, until), {"withdrawn"})
        self._seen.clear()

    def _may_report(self, key):
        """healthmgr may report the fault and take it back before anybody looks.
        """
        if self._manager is not None:
            anytime = Moment(self._agreed, float("inf"))
            self._add(key, self._manager, anytime, certain=False, ended=anytime)

    def _add(self, key, pid, began, **more):
        occurrence = Occurrence(key, MESSAGE, "", 0, pid, began, **more)
        self._chronicle.occurrences.append(occurrence)
        return occurrence

    def differences(self, keys, held, faults):
        """How the faults of lost monitors, by their paths, differ from what may
        be reported of keys, some of which daemons hold."""
        shown = {}
        for path, (_, fault) in faults.items():
            key = component_of(path)
            if key in shown or key not in keys:
                yield f"{path} is a strange fault of a lost monitor"
            shown[key] = fault
        for key in sorted(keys):
            fault = shown.get(key)
            possible = {None} if key in held else self.possible(key)
            if not any(explains(each, fault) for each in possible):
                told = fault and (fault["Args"], fault["Severity"])
                yield f"lost monitor: {key} has {told}, should be one of {possible}"

    def agree(self, held, faults, now):
        """All views agree: these are the faults."""
        for path in set(self._seen) - set(faults):
            key = component_of(path)
            sure = key in held and key not in self._noted
            kinds = {"monitor-back"} if sure else {"monitor-back", "cleared"}
            self._seen.pop(path).end(Moment(self._agreed, now), kinds)
        for path, (pid, fault) in faults.items():
            if path not in self._seen:
                self._seen[path] = self._add(
                    component_of(path),
                    pid,
                    Moment(self._agreed, now),
                    args=tuple(fault["Args"]),
                    health=fault["Severity"],
                )
        for key in held:
            self._possible.pop(key, None)
        self._noted.clear()
        self._agreed = now


def component_of(path):
    return path.split("/entry/")[0]


def explains(loss, fault):
    return fault is None if loss is None else fault is not None and loss.explains(fault)
