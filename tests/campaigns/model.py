# SPDX-License-Identifier: Apache-2.0
"""The expected state of the components of living daemons after the commands
that they have acknowledged."""

import dataclasses

MOST_FAULTS = 10
OK = 2
# The arguments of faults that are added with their text.
ADDED = ("one", "two")


@dataclasses.dataclass(eq=False)
class Fault:
    """A fault; equal ones are different all the same."""

    message: str
    sensor: str
    number: int
    health: int
    # Unknown of faults that an event makes.
    args: tuple | None = None
    hidden: bool = False


class Component:
    """A component with its faults and the requests that hide them."""

    def __init__(self, key, base=OK):
        self.key = key
        self.base = base
        self.faults = []
        # What has happened to the faults, as the history calls it; for whoever
        # takes it away.
        self.changes = []
        self.disabled = False
        self.hidden_numbers = set()
        self.hidden_sensors = set()
        # Whether the node may show another health until the component
        # recalculates it.
        self.stale = False

    def health(self):
        return max([self.base] + [f.health for f in self.faults if not f.hidden])

    def room_for(self, health):
        """Whether it is certain which fault an addition of this health evicts:
        timestamps decide between equal ones."""
        if len(self.faults) < MOST_FAULTS:
            return True
        values = [fault.health for fault in self.faults] + [health]
        return values.count(min(values)) == 1

    def add(self, fault):
        self.faults.append(fault)
        self.changes.append(("appeared", fault))
        if len(self.faults) > MOST_FAULTS:
            least = min(self.faults, key=lambda each: each.health)
            self.faults.remove(least)
            self.changes.append(("gave-way", least))

    def remove(self, message, sensor):
        self._clear(lambda fault: (fault.message, fault.sensor) == (message, sensor))

    def clear(self):
        self._clear(lambda fault: True)

    def _clear(self, chosen):
        self.changes += [("cleared", fault) for fault in self.faults if chosen(fault)]
        self.faults = [fault for fault in self.faults if not chosen(fault)]
        self.stale = False

    def take_changes(self):
        taken, self.changes = self.changes, []
        return taken

    def disable(self, disabled):
        if disabled != self.disabled:
            self.stale = True
            self._set_disabled(disabled)

    def _set_disabled(self, disabled):
        self.disabled = disabled
        if disabled:
            for fault in self.faults:
                fault.hidden = True
        else:
            self._show()

    def _show(self):
        if self.disabled:
            return
        for fault in self.faults:
            if (
                fault.number not in self.hidden_numbers
                and fault.sensor not in self.hidden_sensors
            ):
                fault.hidden = False

    def take_signal(self, hide, key, sensor, number):
        """Handles the signal HideFaultForSensor."""
        if key == self.key:
            self._set_disabled(hide)
        elif sensor:
            self._set_hidden(hide, self.hidden_sensors, sensor, lambda f: f.sensor)
        elif number:
            self._set_hidden(hide, self.hidden_numbers, number, lambda f: f.number)
        self.stale = True

    def _set_hidden(self, hide, hidden, value, of):
        if not hide:
            hidden.discard(value)
            self._show()
            return
        hidden.add(value)
        for fault in self.faults:
            if of(fault) == value:
                fault.hidden = True


def parent_of(key):
    return key.rsplit("/", 1)[0]


def ancestors(key, root):
    while key != root:
        key = parent_of(key)
        yield key


def expected_health(own, hosted):
    """The health of every node: of the keys that a daemon holds, from their
    own faults and children, and of the nodes in between, from their children.
    """
    health = dict.fromkeys(hosted, 0) | own
    for key in sorted(health, key=lambda each: each.count("/"), reverse=True):
        parent = parent_of(key)
        if parent in health:
            health[parent] = max(health[parent], health[key])
    return health
