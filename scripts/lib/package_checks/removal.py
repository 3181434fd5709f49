# SPDX-License-Identifier: Apache-2.0
"""What installing again, removing and purging the packages leaves."""

import os

from bus import STATE
from places import names_of

KEPT = (STATE, "/etc/healthintf")


class Removal:
    """Checks that end what the others left behind."""

    def kept(self):
        """What is in the files of configuration and state."""
        found = {}
        for path in sorted(self.root.files()):
            file = self.root.at(path)
            if path.startswith(KEPT) and os.path.isfile(file):
                with open(file, "rb") as content:
                    found[path] = content.read()
        return found

    def check_units_stop(self):
        assert len(self.units) == 4
        for unit in self.units.values():
            assert unit.stop() == 0, unit.name
        self.vendor.terminate()
        assert self.vendor.wait(20) == 0

    def check_installing_again_keeps_configuration_and_state(self):
        before = self.kept()
        assert STATE + "/sel/data.mdb" in before
        assert b"not-there" in before["/etc/healthintf/hostmon.toml"]
        self.root.install(self.packages)
        assert self.kept() == before

    def left(self):
        """What is there that was not before, beside dpkg's own notes."""
        own = ("/var/lib/dpkg/", "/var/log/", "/var/cache/", "/etc/.pwd.lock",
               "/etc/passwd-", "/etc/group-", "/etc/shadow-", "/etc/gshadow-")
        return {path for path in self.root.files() - self.before
                if not path.startswith(own)}

    def check_removal_leaves_configuration_and_state(self):
        before = self.kept()
        self.root.run("dpkg", "--remove", *names_of(self.packages))
        others = {path for path in self.left()
                  if not path.startswith(KEPT)}
        # Whether the units are enabled is the administrator's choice.
        others = {path for path in others if not path.startswith(
            ("/var/lib/systemd/deb-systemd-helper", "/etc/systemd/system/"))}
        assert not others, others
        assert self.kept() == before

    def check_purge_leaves_nothing(self):
        self.root.run("dpkg", "--purge", *names_of(self.packages))
        assert not self.left(), self.left()
        assert not os.path.exists(self.root.at("/run/healthintf"))
