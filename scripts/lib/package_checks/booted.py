# SPDX-License-Identifier: Apache-2.0
"""The packages on a machine of their own, where systemd runs the units with
all that they forbid."""

from bus import LOG, MANAGER, OPERATOR, STATE, TREE, BusView
from folders import expect_folders, user_of
from metrics import expect_fault
from places import Machine, Skipped, eventually, names_of

UNITS = ["healthmgr", "logmgr", "hostmon"]
EXPORTER = "health-exporter"

# Each reading is a fault.
CONFIG = f"""
interval = 0.1
component = "{TREE}/packaged"
[[filesystem]]
path = "/home"
warning = 0
critical = 0
[[memory]]
warning = 100
critical = 100
[[load]]
warning = 0
critical = 0
[[process]]
name = "not-there"
"""
# A filesystem that only root can look into.
DEEP_CONFIG = f"""
component = "{TREE}/packaged"
[[filesystem]]
path = "/root/deep"
warning = 0
critical = 0
"""
AS_ROOT = """[Service]
User=root
CapabilityBoundingSet=CAP_DAC_READ_SEARCH
"""
# For a test that does not wait for minutes.
IMPATIENT = "[Service]\nWatchdogSec=1\n"


class Booted(BusView):
    """The checks in their order; each builds on those before."""

    def __init__(self, folder, packages):
        self.parts = (type(self),)
        self.machine = Machine(folder)
        self.packages = packages
        super().__init__(self.machine)
        self.up = False

    def show_logs(self):
        """What the machine and the units said."""
        with open(self.machine.log, encoding="utf-8") as log:
            print(log.read()[-4000:])
        if self.up:
            print(self.machine.run("journalctl", "--no-pager", "--lines=100"))

    def need_machine(self):
        if not self.up:
            raise Skipped("the machine is not up")

    def property(self, unit, name):
        return self.machine.run("systemctl", "show", f"--property={name}",
                                "--value", unit).strip()

    def process_id(self, unit):
        return int(self.property(unit, "MainPID"))

    def send(self, signal, unit):
        self.machine.run("systemctl", "kill", "--kill-who=main",
                         f"--signal={signal}", unit)

    def expect_another_process(self, unit, signal):
        """systemd starts a unit again after a signal ended or stopped it."""
        before = self.process_id(unit)
        self.send(signal, unit)
        eventually(f"another {unit}", lambda: self.process_id(unit)
                   not in (0, before))

    def check_machine_starts(self):
        if not self.machine.booted():
            raise Skipped(f"systemd does not run here: {self.machine.said()}")
        self.up = True

    def configure(self, config, **overrides):
        """Gives hostmon a configuration and its unit more settings."""
        self.machine.write("/etc/healthintf/hostmon.toml", config)
        for name, text in overrides.items():
            self.machine.write(
                f"/etc/systemd/system/hostmon.service.d/{name}.conf", text)
        self.machine.run("systemctl", "daemon-reload")
        self.machine.run("systemctl", "restart", "hostmon")

    def check_services_run_once_they_are_installed(self):
        self.need_machine()
        self.machine.install(self.packages)
        for unit in UNITS:
            eventually(f"{unit} is active", lambda unit=unit: self.property(
                unit, "ActiveState") == "active")
            assert self.property(unit, "NRestarts") == "0", unit
        self.configure(CONFIG, impatient=IMPATIENT)

    def check_exporter_waits_for_the_administrator(self):
        self.need_machine()
        assert self.property(EXPORTER, "ActiveState") == "inactive"
        assert self.property(EXPORTER, "UnitFileState") == "disabled"
        self.machine.run("systemctl", "start", EXPORTER)

    def check_units_are_understood_and_expose_little(self):
        self.need_machine()
        files = [unit + ".service" for unit in [*UNITS, EXPORTER]]
        said = self.machine.run("systemd-analyze", "verify", "--man=no",
                                "--recursive-errors=no", *files)
        assert said == "", said
        for file in files:
            self.machine.run("systemd-analyze", "security", "--no-pager",
                             "--threshold=29", file)

    def check_units_are_sandboxed(self):
        self.need_machine()
        for unit in [*UNITS, EXPORTER]:
            status = self.machine.run(
                "cat", f"/proc/{self.process_id(unit)}/status")
            for line in ["Seccomp:\t2", "NoNewPrivs:\t1",
                         "CapEff:\t0000000000000000"]:
                assert line in status, (unit, line)
            owner = self.machine.run("stat", "--format=%U:%G",
                                     f"/proc/{self.process_id(unit)}")
            user = user_of(unit)
            assert owner == f"{user}:{user}\n", (unit, owner)

    def check_fault_of_hostmon_climbs(self):
        self.need_machine()
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_sandboxed_hostmon_sees_the_machine(self):
        self.need_machine()
        objects = self.objects_of(self.process_id("hostmon"))
        assert "CriticalProcessMissing" in objects, objects
        for kind in ["FilesystemFull", "MemoryExhausted", "LoadCritical"]:
            assert kind in objects, (kind, objects)
        assert "ReadingUnavailable" not in objects, objects

    def check_sandboxed_hostmon_sees_which_filesystem_a_folder_is_on(self):
        self.need_machine()
        process = str(self.process_id("hostmon"))
        for folder in ["/", "/home", "/tmp", STATE + "/sel"]:
            ask = ["stat", "--format=%d", folder]
            seen = self.machine.run("nsenter", "--target", process, "--mount",
                                    *ask)
            assert seen == self.machine.run(*ask), folder

    def check_sandboxed_exporter_serves_the_fault(self):
        self.need_machine()
        expect_fault(TREE + "/packaged/memory")

    def check_doctor_finds_no_problem(self):
        self.need_machine()
        said = self.machine.run("healthctl", "doctor")
        assert "\n0 problems, " in said, said

    def check_log_is_kept_and_mirrored(self):
        self.need_machine()
        self.as_reporter("call", *LOG, "AddSEL", "(ssyy)ay", "Fan 7", "/fan7",
                       "4", "0", *("16" + " 0" * 16).split())
        assert "Fan 7" in self.as_stranger("call", *LOG, "GetEntry", "q", "1")
        said = self.machine.run("journalctl", "--no-pager", "--unit=logmgr")
        assert "error" not in said and "ermission" not in said, said

    def check_log_starts_where_its_folders_were_removed(self):
        self.need_machine()
        self.machine.run("systemctl", "stop", "logmgr")
        kept = STATE + "/kept"
        self.machine.run("mv", STATE + "/sel", kept)
        self.machine.run("rm", "--recursive", "/run/healthintf/sel")
        self.machine.run("systemctl", "start", "logmgr")
        self.machine.run("systemctl", "stop", "logmgr")
        expect_folders(self.machine)
        self.machine.run("rm", "--recursive", STATE + "/sel")
        self.machine.run("mv", kept, STATE + "/sel")
        self.machine.run("systemctl", "start", "logmgr")
        assert "Fan 7" in self.as_stranger("call", *LOG, "GetEntry", "q", "1")

    def check_health_services_start_where_their_folders_were_removed(self):
        self.need_machine()
        services = ["healthmgr", "hostmon"]
        self.machine.run("systemctl", "stop", *services)
        self.machine.run("rm", "--recursive", "/run/healthintf/datacache",
                         "/run/healthintf/healthmgr", STATE + "/config")
        self.machine.run("systemctl", "start", *services)
        expect_folders(self.machine)
        # hostmon, which runs on, writes to the next data cache.
        self.machine.run("rm", "--recursive", "/run/healthintf/datacache")
        self.machine.run("systemctl", "restart", "healthmgr")
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_attribute_is_set_by_the_sandboxed_health_manager(self):
        """It answers the change of an attribute by another change."""
        self.need_machine()
        for value in ["1", "0"]:
            self.machine.run("healthctl", "lcd", "set", "oemLCDFlags", value,
                             **OPERATOR)
        file = STATE + "/config/attributes.json"
        eventually("the attribute", lambda: "hideerrs" in self.machine.run(
            "cat", file))
        assert self.machine.run("stat", "--format=%U:%G %a", file) == \
            "healthintf:healthintf 644\n"

    def check_service_that_fails_again_and_again_is_started_again(self):
        """However often: more often than systemd allows by itself."""
        self.need_machine()
        for _ in range(8):
            self.expect_another_process("healthmgr", "KILL")
        self.machine.run("systemctl", "kill", "--signal=TERM", "healthmgr")
        eventually("another process after a clean end", lambda:
                   self.property("healthmgr", "NRestarts") == "9" and
                   self.property("healthmgr", "ActiveState") == "active")
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_bus_starts_the_unit(self):
        self.need_machine()
        self.machine.run("systemctl", "stop", "logmgr")
        assert "Fan 7" in self.as_stranger("call", *LOG, "GetEntry", "q", "1")
        assert self.property("logmgr", "ActiveState") == "active"
        assert self.process_of(LOG[0]) == self.process_id("logmgr")

    def check_killed_service_is_started_again(self):
        self.need_machine()
        self.expect_another_process("healthmgr", "KILL")
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_stuck_service_is_started_again(self):
        self.need_machine()
        self.expect_another_process("hostmon", "STOP")

    def check_hostmon_may_run_as_root(self):
        """As the manual says; the others keep their rights."""
        self.need_machine()
        self.machine.run("mkdir", "--parents", "--mode=700", "/root/deep")
        self.configure(DEEP_CONFIG, root=AS_ROOT)
        objects = self.objects_of(self.process_id("hostmon"))
        assert "FilesystemFull" in objects, objects
        expect_folders(self.machine)
        self.machine.run("systemctl", "restart", "healthmgr")
        eventually("critical health", lambda: self.health(TREE) == "u 4")

    def check_services_run_on_when_they_are_installed_again(self):
        self.need_machine()
        before = {unit: self.process_id(unit) for unit in [*UNITS, EXPORTER]}
        self.machine.install(self.packages)
        for unit, process in before.items():
            eventually(f"another {unit}", lambda unit=unit, process=process:
                       self.process_id(unit) not in (0, process))
        eventually("critical health", lambda: self.health(TREE) == "u 4")
        assert "Fan 7" in self.as_stranger("call", *LOG, "GetEntry", "q", "1")

    def check_services_end_well(self):
        self.need_machine()
        for unit in [*UNITS, EXPORTER]:
            self.machine.run("systemctl", "stop", unit)
            assert self.property(unit, "Result") == "success", unit

    def check_stopped_exporter_stays_stopped(self):
        """Also when it is installed again."""
        self.need_machine()
        self.machine.install(self.packages)
        assert self.property("healthmgr", "ActiveState") == "active"
        assert self.property(EXPORTER, "ActiveState") == "inactive"

    def check_removal_ends_the_services_and_keeps_the_state(self):
        self.need_machine()
        self.machine.run("systemctl", "start", EXPORTER)
        self.machine.run("dpkg", "--remove", *names_of(self.packages))
        for unit in [*UNITS, EXPORTER]:
            assert self.property(unit, "ActiveState") == "inactive", unit
        self.machine.run("test", "-e", STATE + "/sel/data.mdb")
        assert MANAGER not in self.busctl("list")
