# SPDX-License-Identifier: Apache-2.0
"""The bus of a place, as root and others see it."""

import re

from places import Refused

BUS = ["org.freedesktop.DBus", "/org/freedesktop/DBus",
       "org.freedesktop.DBus"]
TREE = "/com/vexa/olvar/health"
MANAGER = "com.vexa.olvar.healthmgr"
NODE = MANAGER + ".HealthStatus"
LOG = ["com.vexa.olvar.logmgr", "/com/vexa/olvar/logmgr/SEL",
       "com.vexa.olvar.logmgr.SEL"]
DISMISS = [MANAGER, "/com/vexa/olvar/healthmgr", MANAGER + ".LostMonitors",
           "Dismiss", "s"]
SILENCES = [MANAGER, "/com/vexa/olvar/healthmgr", MANAGER + ".Silences"]
RECORD = "16 0 0 2 0 0 0 0 0x20 0 4 4 7 1 0 0 0".split()
# Users in the groups of those who report and of those who operate; any other is
# "nobody".
REPORTER = {"user": "games", "groups": "healthintf"}
OPERATOR = {"user": "games", "groups": "healthintf-operators"}
STATE = "/var/lib/healthintf"


class BusView:
    """Asks the system bus of a place by busctl."""

    def __init__(self, place):
        self.place = place

    def busctl(self, *command, **user):
        return self.place.run("busctl", "--system", *command, **user)

    def as_stranger(self, *command):
        return self.busctl(*command, user="nobody")

    def as_reporter(self, *command):
        return self.busctl(*command, **REPORTER)

    def as_operator(self, *command):
        return self.busctl(*command, **OPERATOR)

    def health(self, key):
        return self.as_stranger("get-property", MANAGER, key, NODE,
                                "HealthStatus").strip()

    def process_of(self, name):
        """The process behind a name of the bus."""
        return int(self.busctl("call", *BUS, "GetConnectionUnixProcessID", "s",
                               name).split()[1])

    def owner_of(self, process):
        """The unique name of the process of a number."""
        for name in re.findall(r"\":[0-9.]+", self.busctl("call", *BUS,
                                                          "ListNames")):
            try:
                if self.process_of(name[1:]) == process:
                    return name[1:]
            except Refused:
                pass  # gone meanwhile
        return None

    def objects_of(self, process):
        return self.as_stranger("call", self.owner_of(process), TREE,
                                "org.freedesktop.DBus.ObjectManager",
                                "GetManagedObjects")

    def denied(self, *command, **user):
        """Expects that the bus refuses it to a user, without one to nobody."""
        user = user or {"user": "nobody"}
        try:
            self.busctl(*command, **user)
        except Refused as refusal:
            assert "Access denied" in str(refusal), refusal
            return
        raise AssertionError(f"allowed to {user}: {command}")
