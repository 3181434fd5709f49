# SPDX-License-Identifier: Apache-2.0
"""The packages in a root of their own, whose units are started by hand."""

import glob
import os
import signal
import subprocess

from bus import BUS, MANAGER, TREE, BusView
from folders import USERS, expect_folders, user_of
from metrics import Metrics
from operators_tool import OperatorsTool
from places import Unit, eventually
from python_module import PythonModule
from removal import Removal
from rights import Rights
from upgrade import Upgrade

MISSING = "CriticalProcessMissing"
ACTIVATION = "/usr/share/dbus-1/system-services/com.vexa.olvar.*"

SERVICES_CONFIG = f"""
interval = 0.1
component = "{TREE}/packaged"
[[process]]
name = "not-there"
"""
ROOTS_CONFIG = f"""
interval = 0.1
component = "{TREE}/vendor"
[[filesystem]]
path = "/"
warning = 100
critical = 100
[[process]]
name = "vendor-process"
severity = "warning"
"""


class Beginning:
    """Checks from nothing to units that run, with a fault of hostmon."""

    def check_programs_come_with_the_library_of_their_version(self):
        for package in self.packages:
            name, version, depends = [
                self.field_of(package, field)
                for field in ("Package", "Version", "Depends")]
            if name == "python3-healthintf":
                # It calls what no later version takes away.
                assert f"libhealthintf1 (>= {version})" in depends, name
            elif name != "libhealthintf1":
                assert f"libhealthintf1 (= {version})" in depends, name

    @staticmethod
    def field_of(package, field):
        return subprocess.run(["dpkg-deb", "--field", package, field],
                              stdout=subprocess.PIPE, text=True,
                              check=True).stdout.strip()

    def check_they_install(self):
        self.root.install(self.packages)

    def check_users_and_folders_are_there(self):
        for user, groups in USERS.items():
            assert self.root.run("id", "-nG", user).split() == groups, user
        self.root.run("getent", "group", "healthintf-operators")
        expect_folders(self.root)

    def check_bus_takes_the_policies(self):
        os.makedirs(self.root.at("/run/dbus"), exist_ok=True)
        self.root.start("dbus-daemon", "--system", "--nofork", "--nopidfile",
                        "--nosyslog", log="/tmp/bus.log")
        eventually("the bus", lambda: os.path.exists(
            self.root.at("/run/dbus/system_bus_socket")))
        self.busctl("list")
        with open(self.root.at("/tmp/bus.log"), encoding="utf-8") as log:
            said = log.read()
        assert "Unknown" not in said and "conf" not in said, said

    def check_bus_starts_the_health_manager_without_systemd(self):
        self.busctl("call", MANAGER, "/", "org.freedesktop.DBus.Peer", "Ping")
        os.kill(self.process_of(MANAGER), signal.SIGKILL)
        eventually("its end", lambda: self.busctl(
            "call", *BUS, "NameHasOwner", "s", MANAGER) == "b false\n")
        # From now on it is as if systemd started the units.
        for file in glob.glob(self.root.at(ACTIVATION)):
            os.remove(file)
        self.busctl("call", *BUS, "ReloadConfig")

    def check_daemon_of_root_comes_first(self):
        self.root.write("/tmp/vendor.toml", ROOTS_CONFIG)
        self.vendor = self.root.start(
            "/usr/libexec/healthintf/hostmon", "--config", "/tmp/vendor.toml",
            umask=0o022, log="/tmp/vendor.log")
        eventually("its component",
                   lambda: self.owner_of(self.vendor.pid) is not None and
                   "ProcessMissing" in self.objects_of(self.vendor.pid))

    def check_units_get_ready(self):
        config = "/etc/healthintf/hostmon.toml"
        self.root.write(config, SERVICES_CONFIG)
        for name in ["healthmgr", "logmgr", "hostmon"]:
            self.units[name] = Unit(self.root, name)
            owner = self.root.run(
                "stat", "--format=%U:%G",
                f"/proc/{self.units[name].process.pid}").strip()
            user = user_of(name)
            assert owner == f"{user}:{user}", owner

    def check_fault_of_hostmon_is_on_the_bus(self):
        assert MISSING in self.objects_of(self.units["hostmon"].process.pid)
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_services_and_root_share_the_data_cache(self):
        # The health manager finds it there; the daemon was before it.
        eventually("the vendor's health",
                   lambda: self.health(TREE + "/vendor") == "u 3")
        # Each has a file of its own there, which the others only read.
        found = self.root.run("find", "/run/healthintf/datacache",
                              "-mindepth", "1", "-printf", "%u %m\\n")
        files = found.splitlines()
        assert {file.split()[1] for file in files} == {"644"}, files
        assert {file.split()[0] for file in files} == {
            "root", "healthintf", "healthintf-hostmon"}, files
        for log in ["vendor", "healthmgr", "logmgr", "hostmon"]:
            with open(self.root.at(f"/tmp/{log}.log"),
                      encoding="utf-8") as file:
                assert "ermission" not in file.read(), log


class ByHand(Beginning, Metrics, OperatorsTool, PythonModule, Rights, Removal,
             Upgrade, BusView):
    """The checks in their order; each builds on those before."""

    parts = (Beginning, Metrics, OperatorsTool, PythonModule, Rights, Removal,
             Upgrade)

    def __init__(self, root, packages):
        super().__init__(root)
        self.root = root
        self.packages = packages
        self.before = root.files()
        self.units = {}
        self.vendor = None

    def show_logs(self):
        """What the programs said."""
        for log in sorted(glob.glob(self.root.at("/tmp/*.log"))):
            with open(log, encoding="utf-8") as file:
                print(f"--- {os.path.basename(log)}\n{file.read()}")
