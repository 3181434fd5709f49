# SPDX-License-Identifier: Apache-2.0
"""The expected state of the components of living daemons after the commands
that they have acknowledged."""

import dataclasses

MOST_FAULTS = 10
OK = 2


@dataclasses.dataclass
class Fault:
    message: str
    sensor: str
    number: int
    health: int
    hidden: bool = False


class Component:
    """A component with its faults and the requests that hide them."""

    def __init__(self, key, base=OK):
        self.key = key
        self.base = base
        self.faults = []
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
        if len(self.faults) > MOST_FAULTS:
            self.faults.remove(min(self.faults, key=lambda each: each.health))

    def remove(self, message, sensor):
        self.faults = [f for f in self.faults if (f.message, f.sensor) != (message, sensor)]
        self.stale = False

    def clear(self):
        self.faults = []
        self.stale = False

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
