"""The scenes of scripts/demo, which runs this on a private bus.

    demo_scenes.py BUILD-FOLDER
"""

import ctypes
import glob
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import textwrap

import dbus
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

ROOT = "/com/vexa/olvar/health"
DEMO = ROOT + "/demo"
NODE = "com.vexa.olvar.healthmgr.HealthStatus"
ENTRY = "com.vexa.olvar.healthmgr.FaultEntry"
MANAGER = "com.vexa.olvar.healthmgr"
LOG_MANAGER = "com.vexa.olvar.logmgr"
LOG = "/com/vexa/olvar/logmgr/SEL"
LOG_INTERFACE = "com.vexa.olvar.logmgr.SEL"
HIDE_ERRORS = "system.embedded.1#lcd.1#hideerrs"

WORDS = ["none", "unknown", "OK", "warning", "critical"]
NONE, UNKNOWN, OK, WARNING, CRITICAL = range(5)
COLOURS = {NONE: "2", UNKNOWN: "35", OK: "32", WARNING: "33", CRITICAL: "31;1"}

WIDTH = 80
PATIENCE_SECONDS = 30


def shortened_member(line):
    """A line of busctl introspect with its value cut short."""
    columns = re.match(r"(\S+) +(\S+) +(\S+) +(.*\S) +(\S+)$", line)
    if not columns:
        return line
    name, kind, signature, value, flags = columns.groups()
    if len(value) > 24:
        value = value[:23] + "…"
    return f"{name:<19} {kind:<8} {signature:<10} {value:<24} {flags}"


class Unexpected(Exception):
    """Something was not as the demo says."""


class Terminal:
    """Writes for a person: colours on a terminal, lines that fit."""

    def __init__(self):
        self.coloured = sys.stdout.isatty() and "NO_COLOR" not in os.environ

    def paint(self, text, colour):
        return f"\033[{colour}m{text}\033[0m" if self.coloured else text

    def health(self, value, width=0):
        word = WORDS[value] if value < len(WORDS) else "invalid"
        return self.paint(word.ljust(width), COLOURS.get(value, "0"))

    def line(self, text=""):
        print(text, flush=True)

    def title(self, text):
        self.line()
        self.line(self.paint(text, "1"))
        self.line(self.paint("─" * len(text), "2"))

    def tell(self, text):
        for line in textwrap.wrap(text, WIDTH):
            self.line(line)

    def command(self, words):
        lines = textwrap.wrap(
            "$ " + " ".join(words),
            WIDTH - 2,
            subsequent_indent="    ",
            break_long_words=False,
            break_on_hyphens=False,
        )
        self.line(self.paint(" \\\n".join(lines), "36"))


class Tree:
    """The health tree as the bus shows it, followed by its signals."""

    def __init__(self):
        DBusGMainLoop(set_as_default=True)
        self.bus = dbus.SystemBus()
        self.loop = GLib.MainLoop()
        self.wanted = None
        for interface in (NODE, ENTRY):
            self.bus.add_signal_receiver(
                self._changed,
                signal_name="PropertiesChanged",
                dbus_interface="org.freedesktop.DBus.Properties",
                arg0=interface,
            )
        self.bus.add_signal_receiver(
            self._changed,
            signal_name="NameOwnerChanged",
            dbus_interface="org.freedesktop.DBus",
        )

    def _changed(self, *_arguments, **_keywords):
        if self.wanted and self.wanted():
            self.loop.quit()

    def wait(self, what, wanted):
        """Waits until something is so; looks again at every change."""
        if wanted():
            return
        late = []
        timer = GLib.timeout_add_seconds(
            PATIENCE_SECONDS, lambda: late.append(True) or self.loop.quit()
        )
        self.wanted = wanted
        self.loop.run()
        self.wanted = None
        if late:
            raise Unexpected(f"{what}: not so after {PATIENCE_SECONDS} seconds")
        GLib.source_remove(timer)

    def wait_for_health(self, key, health):
        self.wait(
            f"{key} {WORDS[health]}",
            lambda: self.nodes().get(key, (None,))[0] == health,
        )

    def call(self, owner, path, interface, member, *arguments):
        return self.bus.get_object(owner, path, introspect=False).get_dbus_method(
            member, interface
        )(*arguments, timeout=5)

    def _objects(self):
        """Owner, path and properties of each node and entry."""
        for owner in self.bus.list_names():
            if not owner.startswith(":") or owner == self.bus.get_unique_name():
                continue
            try:
                found = self.call(
                    owner,
                    ROOT,
                    "org.freedesktop.DBus.ObjectManager",
                    "GetManagedObjects",
                )
            except dbus.DBusException:
                continue
            for path, interfaces in found.items():
                yield owner, path, interfaces
            try:
                health = self.call(
                    owner, ROOT, "org.freedesktop.DBus.Properties", "Get",
                    NODE, "HealthStatus",
                )
                yield owner, ROOT, {NODE: {"HealthStatus": health}}
            except dbus.DBusException:
                pass

    def process_of(self, owner):
        return int(self.bus.get_object("org.freedesktop.DBus", "/")
                   .GetConnectionUnixProcessID(owner))

    def nodes(self):
        """Health and owner of each node by its key."""
        return {
            str(path): (int(interfaces[NODE]["HealthStatus"]), owner)
            for owner, path, interfaces in self._objects()
            if NODE in interfaces
        }

    def faults(self):
        """The properties of each entry by its path."""
        return {
            str(path): interfaces[ENTRY]
            for _, path, interfaces in self._objects()
            if ENTRY in interfaces
        }


class Show:
    """Runs the daemons and the scenes."""

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder
        self.terminal = Terminal()
        self.tree = Tree()
        self.daemons = {}

    # What a person sees.

    def draw(self):
        """Draws the tree with its faults."""
        nodes = self.tree.nodes()
        faults = self.tree.faults()
        holders = {p.pid: name for name, p in self.daemons.items()}
        t = self.terminal

        def draw_node(key, first, rest):
            health, owner = nodes[key]
            name = key if key == ROOT else key.rsplit("/", 1)[1]
            holder = holders.get(self.tree.process_of(owner), "?")
            t.line(
                f"  {first + name:<34} {t.health(health, 9)} {t.paint(holder, '2')}"
            )
            children = sorted(k for k in nodes if k.rsplit("/", 1)[0] == key)
            for path, fault in sorted(faults.items()):
                if path.rsplit("/entry/", 1)[0] == key:
                    self.draw_fault(fault, rest + ("│ " if children else "  "))
            for child in children:
                last = child == children[-1]
                draw_node(
                    child,
                    rest + ("└─ " if last else "├─ "),
                    rest + ("   " if last else "│  "),
                )

        draw_node(ROOT, "", "")
        t.line()

    def draw_fault(self, fault, indent):
        t = self.terminal
        first, rest = f"  {indent}• ", f"  {indent}  "
        hidden = bool(fault["Hidden"])
        text = str(fault["Message"]) + (" (hidden)" if hidden else "")
        lines = textwrap.wrap(text, WIDTH - len(first))
        colour = "2" if hidden else COLOURS[int(fault["Severity"])]
        for number, line in enumerate(lines):
            t.line((rest if number else first) + t.paint(line, colour))

    def run_shown(self, words, shorten=lambda line: line, show=None, fold=False):
        """Runs a program and shows what it says, shortened or folded to fit."""
        self.terminal.command(show or words)
        done = subprocess.run(words, capture_output=True, text=True, check=False)
        if done.returncode != 0:
            raise Unexpected(f"{words[0]}: {done.stderr.strip()}")
        for line in done.stdout.splitlines():
            line = shorten(line.rstrip())
            lines = textwrap.wrap(line, WIDTH - 2) if fold else [line[: WIDTH - 2]]
            for part in lines:
                self.terminal.line("  " + part)
        self.terminal.line()
        return done.stdout

    def expect(self, what, so):
        if not so:
            raise Unexpected(what)

    def expect_faults(self, *ids):
        found = sorted(str(f["MessageID"]) for f in self.tree.faults().values())
        wanted = sorted("HostMonitor.1.0." + i for i in ids)
        self.expect(f"faults {wanted}, found {found}", found == wanted)

    # The daemons.

    def start(self, name, command):
        log = open(os.path.join(self.folder, name + ".log"), "wb")
        self.daemons[name] = subprocess.Popen(command, stdout=log, stderr=log)
        log.close()
        return self.daemons[name]

    def monitor(self, name, config, before=()):
        path = os.path.join(self.folder, name + ".toml")
        with open(path, "w", encoding="utf-8") as file:
            file.write(f'interval = 0.2\ncomponent = "{DEMO}"\n{config}')
        program = os.path.join(self.build, "services/hostmon/hostmon")
        return self.start(
            f"hostmon {name}", [*before, program, "--config", path]
        )

    def start_manager(self):
        self.start(
            "healthmgr", [os.path.join(self.build, "services/healthmgr/healthmgr")]
        )
        self.tree.wait("health manager", lambda: self.tree.bus.name_has_owner(MANAGER))

    def stop(self, name):
        daemon = self.daemons.pop(name)
        daemon.terminate()
        self.expect(f"{name} ends cleanly", daemon.wait(PATIENCE_SECONDS) == 0)

    def clean_up(self):
        for daemon in self.daemons.values():
            daemon.kill()
            daemon.wait()

    # The scenes.

    def scene_start(self):
        t = self.terminal
        t.title("A health manager and three daemons that watch this machine")
        self.start_manager()
        self.start_storage()
        self.start_memory()
        self.start_process()
        for kind in self.kinds():
            self.tree.wait_for_health(f"{DEMO}/{kind}", OK)
        self.tree.wait_for_health(ROOT, OK)
        t.tell(
            "Each daemon holds a node of the health tree. The nodes above them "
            "are the health manager's; the daemons asked it for them."
        )
        t.line()
        self.draw()

    def kinds(self):
        return (["filesystem"] if self.mounted else []) + ["memory", "process"]

    def start_storage(self):
        """A daemon with a small filesystem that nobody else sees."""
        mount = os.path.join(self.folder, "disk")
        os.mkdir(mount)
        script = 'mount -t tmpfs -o size=8m demo "$1" && shift && exec "$@"'
        unshare = ["unshare", "--mount"]
        if os.geteuid() != 0:
            unshare += ["--user", "--map-root-user"]
        before = [*unshare, "sh", "-c", script, "sh", mount]
        self.mounted = (
            subprocess.run([*before, "true"], capture_output=True, check=False)
            .returncode == 0
        )
        if not self.mounted:
            self.terminal.tell(
                "(No filesystem can be mounted here: the scene with a full one "
                "is left out.)"
            )
            return
        daemon = self.monitor(
            "storage",
            f'[[filesystem]]\npath = "{mount}"\n'
            "warning = 80\ncritical = 95\nhysteresis = 2\n",
            before,
        )
        # The filesystem as the daemon sees it.
        self.disk = f"/proc/{daemon.pid}/root{mount}"

    def start_memory(self):
        """A daemon whose limit lies just below what is available now."""
        with open("/proc/meminfo", encoding="utf-8") as file:
            memory = dict(line.split(":") for line in file)
        total = int(memory["MemTotal"].split()[0]) * 1024
        available = 100 * int(memory["MemAvailable"].split()[0]) * 1024 / total
        self.ballast = max(64 << 20, total // 64)
        share = 100 * self.ballast / total
        self.monitor(
            "memory",
            f"[[memory]]\nwarning = {available - share / 2:.2f}\n"
            f"critical = 1\nhysteresis = {share / 8:.2f}\n",
        )

    def start_process(self):
        """A daemon that watches a process by its name."""
        self.worker_program = os.path.join(self.folder, "demo-worker")
        os.symlink(shutil.which("sleep"), self.worker_program)
        self.start_worker()
        self.monitor(
            "process", '[[process]]\nname = "demo-worker"\nseverity = "critical"\n'
        )

    def start_worker(self):
        self.start("worker", [self.worker_program, "600"])

    def kill_worker(self):
        worker = self.daemons.pop("worker")
        worker.kill()
        worker.wait()

    def fill(self, mebibytes):
        """Writes to the small filesystem until it is full or enough is
        there."""
        with open(f"{self.disk}/data", "wb", buffering=0) as file:
            try:
                for _ in range(mebibytes * 16):
                    file.write(bytes(1 << 16))
            except OSError:
                pass

    def scene_storage(self):
        t = self.terminal
        t.title("A filesystem of 8 MiB fills up")
        self.fill(7)
        self.tree.wait_for_health(ROOT, WARNING)
        t.line("7 MiB are written:")
        self.draw()
        self.expect_faults("FilesystemFillingUp")
        self.fill(9)
        self.tree.wait_for_health(ROOT, CRITICAL)
        t.line("It is full:")
        self.draw()
        self.expect_faults("FilesystemFull")

        (path,) = self.tree.faults()
        owner = self.tree.nodes()[f"{DEMO}/filesystem"][1]
        t.title("What busctl shows of the daemon and of its fault")
        tree = self.run_shown(["busctl", "--system", "tree", owner])
        self.expect("the entry in the tree", path.rsplit("/", 1)[1] in tree)
        shown = self.run_shown(
            ["busctl", "--system", "introspect", owner, path, ENTRY],
            shortened_member,
        )
        self.expect("its signal", "FaultEntryAdded" in shown)

        t.title("The file is removed")
        os.remove(f"{self.disk}/data")
        self.tree.wait_for_health(ROOT, OK)
        self.draw()
        self.expect_faults()

    def scene_memory(self):
        t = self.terminal
        t.title("Memory crosses its limit")
        t.line(f"A process takes {self.ballast >> 20} MiB:")
        taker = subprocess.Popen(
            [
                sys.executable,
                "-c",
                "import sys; held = b'x' * int(sys.argv[1]); sys.stdin.read()",
                str(self.ballast),
            ],
            stdin=subprocess.PIPE,
        )
        try:
            self.tree.wait_for_health(ROOT, WARNING)
            self.draw()
            self.expect_faults("MemoryLow")
        finally:
            taker.stdin.close()
            taker.wait()
        self.tree.wait_for_health(ROOT, OK)
        t.line("It ended, and all is well again.")

    def scene_process(self):
        t = self.terminal
        t.title("A watched process is killed")
        self.kill_worker()
        self.tree.wait_for_health(ROOT, CRITICAL)
        self.draw()
        self.expect_faults("CriticalProcessMissing")
        t.line("It is started again:")
        self.start_worker()
        self.tree.wait_for_health(ROOT, OK)
        self.draw()
        self.expect_faults()

    def library(self, folder, name):
        """A shared library of the build."""
        (found,) = glob.glob(os.path.join(self.build, folder, name + ".so.1"))
        return ctypes.CDLL(found)

    def tell_counts(self, visible, hidden):
        """Shows what a front panel would count, as the library counts it."""
        counts = ctypes.c_int(-1), ctypes.c_int(-1)
        status = self.library(
            "src", "libhealthintf"
        ).FaultAndHealth_GetVisibleHiddenMsgCount(*map(ctypes.byref, counts))
        found = [count.value for count in counts]
        self.expect(
            f"{visible} visible and {hidden} hidden, found {found}",
            status == 0 and found == [visible, hidden],
        )
        self.terminal.line(
            f"The front panel counts {visible} visible and {hidden} hidden.\n"
        )

    def hide_sensor(self, hide, path):
        words = ["busctl", "--system", "emit", ROOT, MANAGER, "HideFaultForSensor"]
        words += ["bssi", str(hide).lower(), "", path, "0"]
        self.run_shown(words, show=[word or "''" for word in words])

    def set_hide_errors(self, value):
        self.terminal.line(f"The setting {HIDE_ERRORS} becomes {value}.")
        status = self.library(
            "platform/host", "libhealthintf-platform"
        ).CfgSetAttributeInt(HIDE_ERRORS.encode(), value, 0, None)
        self.expect(f"the setting is taken, status {status}", status == 0)

    def scene_visibility(self):
        t = self.terminal
        t.title("An operator hides a sensor")
        self.kill_worker()
        if self.mounted:
            self.fill(7)
            self.tree.wait_for_health(f"{DEMO}/filesystem", WARNING)
        self.tree.wait_for_health(ROOT, CRITICAL)
        others = 1 if self.mounted else 0
        rest = WARNING if self.mounted else OK
        (sensor,) = (
            str(fault["SensorPath"])
            for fault in self.tree.faults().values()
            if fault["Severity"] == CRITICAL
        )
        self.hide_sensor(True, sensor)
        self.tree.wait_for_health(ROOT, rest)
        self.draw()
        self.tell_counts(others, 1)

        t.title("The front panel's settings hide everything")
        self.set_hide_errors(0)
        self.tree.wait(
            "everything hidden",
            lambda: all(f["Hidden"] for f in self.tree.faults().values()),
        )
        self.tree.wait_for_health(ROOT, OK)
        self.draw()
        self.tell_counts(0, others + 1)

        t.title("Both are lifted")
        self.set_hide_errors(1)
        self.tree.wait(
            "one fault hidden",
            lambda: [bool(f["Hidden"]) for f in self.tree.faults().values()].count(
                True) == 1,
        )
        self.tree.wait_for_health(ROOT, rest)
        t.line("What the operator hid stays hidden.")
        self.tell_counts(others, 1)
        self.hide_sensor(False, sensor)
        self.tree.wait_for_health(ROOT, CRITICAL)
        self.draw()
        self.tell_counts(others + 1, 0)
        if self.mounted:
            os.remove(f"{self.disk}/data")
        self.start_worker()
        self.tree.wait_for_health(ROOT, OK)
        self.expect_faults()

    def start_event_daemon(self, key):
        """A daemon that reports what it is told as its sensors' events."""
        program = os.path.join(self.build, "examples/sensor-events")
        self.daemons["sensor-events"] = subprocess.Popen(
            [program, key],
            text=True,
            bufsize=1,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
        )
        self.expect(
            "a daemon for events",
            self.daemons["sensor-events"].stdout.readline() == "ready\n",
        )

    def report_event(self, sensor, offset, deasserted=False):
        """A temperature that crosses one of its sensor's thresholds, or is
        back."""
        temperature, threshold_based, values_given = 0x01, 0x01, 0x50
        limit = 60 + 3 * offset
        direction = 0x80 if deasserted else 0
        record = bytes([0, 0, 2, 0, 0, 0, 0, 0x20, 0, 4, temperature, sensor])
        record += bytes([threshold_based | direction, values_given | offset])
        record += bytes([limit + sensor, limit])
        daemon = self.daemons["sensor-events"]
        daemon.stdin.write(f"/sensors/temperature{sensor} {record.hex()}\n")
        self.expect("the event is taken", daemon.stdout.readline() == "0\n")

    def log_size(self):
        return int(
            self.tree.call(
                LOG_MANAGER, LOG, "org.freedesktop.DBus.Properties", "Get",
                LOG_INTERFACE, "Entries",
            )
        )

    def scene_events(self):
        t = self.terminal
        key = f"{DEMO}/cooling"
        warning, critical = 7, 9
        storm = [(sensor, warning) for sensor in range(1, 37)]
        storm += [(sensor, critical) for sensor in range(3, 36, 9)]
        t.title("A storm of events: 36 sensors find it too warm, 4 much too warm")
        self.start(
            "logmgr", [os.path.join(self.build, "services/logmgr/logmgr")]
        )
        self.tree.wait(
            "log manager", lambda: self.tree.bus.name_has_owner(LOG_MANAGER)
        )
        self.start_event_daemon(key)
        for sensor, offset in storm:
            self.report_event(sensor, offset)
        self.tree.wait_for_health(ROOT, CRITICAL)
        self.draw()
        faults = self.tree.faults().values()
        severities = sorted(int(fault["Severity"]) for fault in faults)
        self.expect("ten faults", severities == 6 * [WARNING] + 4 * [CRITICAL])
        self.expect("all in the log", self.log_size() == len(storm))
        t.tell(
            f"Of {len(storm)} events the component keeps the ten most important "
            "faults. The System Event Log keeps every event, this one last:"
        )
        self.run_shown(
            ["busctl", "--system", "call", LOG_MANAGER, LOG, LOG_INTERFACE,
             "GetEntry", "q", "65535"],
            fold=True,
        )

        t.title("Every sensor finds it right again")
        for sensor, offset in storm:
            self.report_event(sensor, offset, deasserted=True)
        self.tree.wait_for_health(ROOT, OK)
        self.draw()
        self.expect_faults()
        self.expect("all in the log", self.log_size() == 2 * len(storm))
        t.line(f"The log has {self.log_size()} records.")
        daemon = self.daemons.pop("sensor-events")
        daemon.stdin.close()
        daemon.stdout.close()
        self.expect("sensor-events ends cleanly", daemon.wait(PATIENCE_SECONDS) == 0)
        self.stop("logmgr")

    def scene_crash(self):
        t = self.terminal
        t.title("A daemon dies with kill -9 while it holds a fault")
        self.kill_worker()
        self.tree.wait_for_health(ROOT, CRITICAL)
        t.line("Before:")
        self.draw()
        daemon = self.daemons.pop("hostmon process")
        daemon.send_signal(signal.SIGKILL)
        daemon.wait()
        self.tree.wait_for_health(ROOT, OK)
        self.tree.wait(
            "its node is gone", lambda: f"{DEMO}/process" not in self.tree.nodes()
        )
        t.line("After: the health manager withdrew what the daemon left.")
        self.draw()
        self.expect_faults()

    def scene_end(self):
        self.terminal.title("Everything ends")
        for name in [n for n in self.daemons if n.startswith("hostmon")]:
            self.stop(name)
        self.tree.wait_for_health(ROOT, NONE)
        self.draw()
        self.stop("healthmgr")
        self.expect("no node is left", not self.tree.nodes())
        self.terminal.line("Everything was as expected.")

    def run(self):
        self.scene_start()
        if self.mounted:
            self.scene_storage()
        self.scene_memory()
        self.scene_process()
        self.scene_visibility()
        self.scene_events()
        self.scene_crash()
        self.scene_end()


def main(build):
    with tempfile.TemporaryDirectory(prefix="demo.") as folder:
        show = Show(build, folder)
        try:
            show.run()
            return 0
        except Unexpected as cause:
            print(f"\nNot as expected: {cause}", file=sys.stderr)
            for name in sorted(os.listdir(folder)):
                if name.endswith(".log"):
                    with open(os.path.join(folder, name), encoding="utf-8") as log:
                        print(f"--- {name}\n{log.read()}", file=sys.stderr)
            return 1
        except KeyboardInterrupt:
            return 130
        finally:
            show.clean_up()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
