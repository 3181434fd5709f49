# SPDX-License-Identifier: Apache-2.0
"""The users that the packages make, and the folders."""

from bus import STATE

# Each user with all its groups.
USERS = {
    "healthintf": ["healthintf"],
    "healthintf-logmgr": ["healthintf-logmgr"],
    "healthintf-hostmon": ["healthintf-hostmon", "healthintf"],
    "healthintf-exporter": ["healthintf-exporter"],
}
MANAGERS = "healthintf:healthintf"
LOGS = "healthintf-logmgr:healthintf-logmgr"
FOLDERS = {
    "/run/healthintf": (0o755, "root:root"),
    "/run/healthintf/datacache": (0o1775, MANAGERS),
    "/run/healthintf/healthmgr": (0o755, MANAGERS),
    "/run/healthintf/sel": (0o755, LOGS),
    STATE: (0o755, "root:root"),
    STATE + "/config": (0o755, MANAGERS),
    STATE + "/sel": (0o700, LOGS),
    STATE + "/history": (0o700, LOGS),
}


def user_of(unit):
    """The user that a unit runs as."""
    names = {"healthmgr": "healthintf", "health-exporter":
             "healthintf-exporter"}
    return names.get(unit, "healthintf-" + unit)


def expect(place, path, mode, owner):
    """Expects the mode and owner of a path, and that it has no ACL, of which
    "ls" tells by a plus sign."""
    found = place.run("stat", "--format=%a %U:%G", path).strip()
    assert found == f"{mode:o} {owner}", f"{path} is {found}"
    listed = place.run("ls", "-ld", path).split()[0]
    assert "+" not in listed, f"{path} has an ACL: {listed}"


def expect_folders(place):
    for path, (mode, owner) in FOLDERS.items():
        expect(place, path, mode, owner)
