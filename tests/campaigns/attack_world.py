# SPDX-License-Identifier: Apache-2.0
"""A machine for attacks as the packages set it up: users, folders, the system
bus with the policies, and services that run as their units say."""

import configparser
import os
import pathlib
import pwd
import shutil
import subprocess
import sys

import namespaces
import programs

# Readable by all users, wherever the project's folder is.
SEEN = pathlib.Path("/run/attack")
# Files that attacks try to change.
CANARIES = SEEN / "outside"
RUNTIME = pathlib.Path("/run/healthintf")
STATE = pathlib.Path("/var/lib/healthintf")
CACHE = RUNTIME / "datacache"
CONFIG = STATE / "config"
BUS_SOCKET = "/run/dbus/system_bus_socket"
# The attackers, and the users who must not suffer, besides root.
OUTSIDER = "attack-outsider"
REPORTER = "attack-reporter"
OPERATOR = "attack-operator"
COLLEAGUE = "attack-colleague"
USERS = f"""\
u {OUTSIDER} -
u {REPORTER} -
u {OPERATOR} -
u {COLLEAGUE} -
m {REPORTER} healthintf
m {COLLEAGUE} healthintf
"""


def become_a_machine(build, data):
    """Puts users, folders and programs where the packages put them. Only this
    process and its children see the result.

    data: the project's folder data/"""
    namespaces.in_own_namespace()
    for place in ("/run", "/var/lib", "/etc/dbus-1", "/usr/share/dbus-1/system.d"):
        _mount("-t", "tmpfs", "-o", "mode=0755", "tmpfs", place)
    for folder in ("/run/dbus", "/etc/dbus-1/system.d", SEEN / "build", SEEN / "source",
                   SEEN / "data"):
        os.makedirs(folder)
    _mount("--bind", build, SEEN / "build")
    _mount("--bind", programs.SOURCE, SEEN / "source")
    _mount("--bind", data, SEEN / "data")
    for policy in (SEEN / "data/dbus").glob("*.conf"):
        shutil.copy(policy, "/etc/dbus-1/system.d")
    _make_users()


def _mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


def _make_users():
    etc = SEEN / "users/etc"
    etc.mkdir(parents=True)
    for name in ("passwd", "group"):
        shutil.copy(f"/etc/{name}", etc)
    wanted = (SEEN / "data/sysusers.d/healthintf.conf").read_text() + USERS
    # Earlier versions have one group with the rights of both.
    operators = "healthintf-operators" if "healthintf-operators" in wanted else "healthintf"
    wanted += f"m {OPERATOR} {operators}\n"
    subprocess.run(
        ["systemd-sysusers", f"--root={etc.parent}", "-"],
        input=wanted,
        text=True,
        check=True,
        capture_output=True,
    )
    for name in ("passwd", "group"):
        _mount("--bind", etc / name, f"/etc/{name}")


def as_user(user, command):
    """A command that runs as a user with all his groups, or as root."""
    command = [str(part) for part in command]
    if user == "root":
        return command
    group = pwd.getpwnam(user).pw_gid
    return ["setpriv", f"--reuid={user}", f"--regid={group}", "--init-groups",
            "--no-new-privs", "--bounding-set=-all", "--inh-caps=-all", *command]


class AttackWorld(programs.World):
    """The folders as after boot, and the programs that use them."""

    def __init__(self, environment=None):
        folder = SEEN / "work"
        shutil.rmtree(folder, ignore_errors=True)
        subprocess.run(["rm", "-rf", RUNTIME, STATE, CANARIES], check=True)
        folder.mkdir(mode=0o755)
        super().__init__(SEEN / "build", folder, environment=environment)
        self.address = f"unix:path={BUS_SOCKET}"
        self.environment |= {
            "DBUS_SYSTEM_BUS_ADDRESS": self.address,
            "DBUS_SESSION_BUS_ADDRESS": self.address,
            "HEALTHINTF_RUNTIME_DIR": str(RUNTIME),
            "HEALTHINTF_STATE_DIR": str(STATE),
            "HEALTHINTF_EVENT_PATH": str(SEEN / "data/events"),
            "HEALTHINTF_REGISTRY_PATH": str(SEEN / "data/registries"),
        }
        self.make_folders()

    def make_folders(self):
        """Creates the folders as at boot."""
        folders = SEEN / "data/tmpfiles.d/healthintf.conf"
        subprocess.run(["systemd-tmpfiles", "--create", "--remove", folders], check=True)

    def clear_cache(self):
        subprocess.run(["rm", "-rf", CACHE], check=True)
        self.make_folders()

    def remove_planted(self):
        """Removes what an attacker created in the data cache."""
        found = ["find", CACHE, "-mindepth", "1", "-user", REPORTER, "-delete"]
        # healthmgr removes files at the same time.
        subprocess.run([*found, "-ignore_readdir_race"], check=True)

    def clear_all(self):
        subprocess.run(["rm", "-rf", RUNTIME, STATE], check=True)
        self.make_folders()

    def start_bus(self):
        pathlib.Path(BUS_SOCKET).unlink(missing_ok=True)
        config = "/usr/share/dbus-1/system.conf"
        return self._add(programs.Bus(config, self, "--nosyslog"))

    def start_as(self, user, name, command):
        return self.start(name, as_user(user, command))

    def start_service(self, name, *arguments):
        """Starts a service as the user of its unit."""
        unit = configparser.RawConfigParser(strict=False)
        unit.optionxform = str
        text = (SEEN / f"data/systemd/{name}.service.in").read_text()
        unit.read_string(text.replace("\n@sandbox@\n", "\n"))
        program = self.build / "services" / name.removeprefix("health-") / name
        arguments = arguments or programs.usual_arguments(name, SEEN / "source")
        return self.start_as(unit["Service"]["User"], name, [program, *arguments])

    def start_daemon(self, name="component-daemon", loop="sd-event", user=COLLEAGUE):
        return self.start_as(user, name, [self.build / "tests/bus/component-daemon", loop])

    def attacker(self, user, *arguments):
        """Starts attacker.py as a user."""
        script = SEEN / "source/tests/campaigns/attacker.py"
        return self.start_as(user, f"attacker-{arguments[0]}",
                             [sys.executable, "-B", script, *arguments])

    def run_as(self, user, *command, patience=30):
        """Runs a command as a user; returns its status and output."""
        try:
            ran = subprocess.run(
                as_user(user, command),
                env=self.environment,
                stdin=subprocess.DEVNULL,
                stdout=subprocess.PIPE,
                stderr=subprocess.STDOUT,
                text=True,
                errors="replace",
                timeout=patience,
            )
        except subprocess.TimeoutExpired:
            return None, f"no answer in {patience} s"
        return ran.returncode, ran.stdout.strip()

    def dump(self, user, patience=30):
        """Reads the data cache as a user; returns status and JSON."""
        return self.run_as(user, self.build / "tests/bus/cache-dump", patience=patience)
