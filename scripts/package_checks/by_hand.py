"""The packages in a root of their own, whose units are started by hand."""

import glob
import os
import signal
import stat

from bus import BUS, LOG, MANAGER, NODE, TREE, BusView
from places import Refused, Skipped, Unit, eventually

RECORD = "16 0 0 2 0 0 0 0 0x20 0 4 4 7 1 0 0 0".split()
MISSING = "CriticalProcessMissing"
STATE = "/var/lib/healthintf"
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


class ByHand(BusView):
    """The checks in their order; each builds on those before."""

    def __init__(self, root, packages):
        super().__init__(root)
        self.root = root
        self.packages = packages
        self.before = root.files()
        self.units = {}

    def show_logs(self):
        """What the programs said."""
        for log in sorted(glob.glob(self.root.at("/tmp/*.log"))):
            with open(log, encoding="utf-8") as file:
                print(f"--- {os.path.basename(log)}\n{file.read()}")

    def expect_folder(self, path, mode, owner):
        status = os.stat(self.root.at(path))
        names = self.root.run("stat", "--format=%U:%G", path).strip()
        assert (stat.S_IMODE(status.st_mode), names) == (mode, owner), \
            f"{path} is {stat.S_IMODE(status.st_mode):o} {names}"

    def check_they_install(self):
        self.root.install(self.packages)

    def check_user_and_folders_are_there(self):
        assert "healthintf" in self.root.run("id", "healthintf")
        both = "healthintf:healthintf"
        self.expect_folder("/run/healthintf", 0o2775, both)
        self.expect_folder("/run/healthintf/datacache", 0o2775, both)
        self.expect_folder(STATE, 0o755, "root:root")
        self.expect_folder(STATE + "/config", 0o2775, both)
        self.expect_folder(STATE + "/sel", 0o700, both)

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
            assert owner == "healthintf:healthintf", owner

    def check_fault_of_hostmon_is_on_the_bus(self):
        assert MISSING in self.objects_of(self.units["hostmon"].process.pid)
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_services_and_root_share_the_data_cache(self):
        # The health manager finds it there; the daemon was before it.
        eventually("the vendor's health",
                   lambda: self.health(TREE + "/vendor") == "u 3")
        for name in ["data.mdb", "lock.mdb", "users"]:
            path = "/run/healthintf/datacache/" + name
            assert os.stat(self.root.at(path)).st_uid == 0, path
        for log in ["vendor", "healthmgr", "logmgr", "hostmon"]:
            with open(self.root.at(f"/tmp/{log}.log"),
                      encoding="utf-8") as file:
                assert "ermission" not in file.read(), log

    def check_operators_tool_shows_the_fault(self):
        if not os.path.exists(self.root.at("/usr/bin/healthctl")):
            raise Skipped("there is no such package")
        shown = self.root.run("healthctl", "tree")
        assert "not-there" in shown, shown

    def check_stranger_reads_everything(self):
        assert TREE + "/packaged" in self.as_stranger("tree", "--list", MANAGER)
        self.busctl("call", *LOG, "AddSEL", "(ssyy)ay", "Fan 7", "/fan7", "4",
                    "0", *RECORD)
        assert "Fan 7" in self.as_stranger("call", *LOG, "ListEntries", "qu",
                                           "0", "0")
        assert "refuse" in self.as_stranger("introspect", *LOG)

    def check_stranger_changes_nothing(self):
        self.denied("call", *LOG, "Clear")
        self.denied("call", *LOG, "AddSEL", "(ssyy)ay", "", "", "0", "0", "0")
        self.denied("call", MANAGER, TREE, MANAGER, "AddHealthObject", "s",
                    TREE + "/mine")
        for name in [MANAGER, LOG[0], "com.vexa.olvar.any"]:
            self.denied("call", *BUS, "RequestName", "su", name, "0")
        self.as_stranger("emit", "/x", NODE, "HealthStatusUpdate", "ssu", TREE,
                         TREE + "/packaged", "0")
        self.as_stranger("emit", TREE, MANAGER, "HideFaultForSensor", "bssi",
                         "true", TREE + "/packaged/process", "", "0")
        assert "Hidden\" b false" in self.objects_of(
            self.units["hostmon"].process.pid)
        assert self.health(TREE) == "u 4"
        assert self.as_stranger("get-property", *LOG, "Entries") == "u 1\n"

    def check_stranger_has_no_way_by_the_files(self):
        for command in [["touch", STATE + "/config/attributes.json"],
                        ["ls", STATE + "/sel"],
                        ["touch", "/run/healthintf/datacache/data.mdb"]]:
            try:
                self.root.run(*command, user="nobody")
            except Refused as refusal:
                assert "ermission denied" in str(refusal), refusal
                continue
            raise AssertionError(f"allowed: {command}")

    def check_member_hides_and_clears(self):
        self.as_member("emit", TREE, MANAGER, "HideFaultForSensor", "bssi",
                       "true", TREE + "/packaged/process", "", "0")
        eventually("hidden", lambda: self.health(TREE) == "u 3")
        assert self.as_member("call", *LOG, "Clear") == "u 1\n"

    def check_units_stop(self):
        assert len(self.units) == 3
        for unit in self.units.values():
            assert unit.stop() == 0, unit.name
        self.vendor.terminate()
        assert self.vendor.wait(20) == 0

    def names(self):
        return [os.path.basename(each).split("_")[0] for each in self.packages]

    def left(self):
        """What is there that was not before, beside dpkg's own notes."""
        own = ("/var/lib/dpkg/", "/var/log/", "/var/cache/", "/etc/.pwd.lock",
               "/etc/passwd-", "/etc/group-", "/etc/shadow-", "/etc/gshadow-")
        return {path for path in self.root.files() - self.before
                if not path.startswith(own)}

    def check_removal_leaves_configuration_and_state(self):
        self.root.run("dpkg", "--remove", *self.names())
        others = {path for path in self.left()
                  if not path.startswith((STATE, "/etc/healthintf"))}
        # Whether the units are enabled is the administrator's choice.
        others = {path for path in others if not path.startswith(
            ("/var/lib/systemd/deb-systemd-helper", "/etc/systemd/system/"))}
        assert not others, others
        assert STATE + "/sel/data.mdb" in self.left()

    def check_purge_leaves_state_alone(self):
        self.root.run("dpkg", "--purge", *self.names())
        others = {path for path in self.left() if not path.startswith(STATE)}
        assert not others, others
        assert not os.path.exists(self.root.at("/run/healthintf"))
        assert STATE + "/sel/data.mdb" in self.left()
