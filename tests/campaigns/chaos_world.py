# SPDX-License-Identifier: Apache-2.0
"""Ten daemons that hold sixty nodes, the services, and the bus: which of them
run, what they were told, and the expected result."""

import collections
import json
import re

import bus_view
import chronicle
import history_check
import history_view
import lost_monitors
import model
import programs

ROOT = bus_view.ROOT
NODES = 60
DEEPEST = 5
# Daemons and services log this when their connection is gone.
LOST = "the connection to the bus is lost"
# More than a world makes, so that no record has to go.
LOG_CONFIG = "capacity = 65534\nhistory-records = 1000000\nhistory-mebibytes = 1024\n"
LOG_LINE = re.compile(r"^(?P<who>\S+): (?P<what>\S+: (?:EXCEPTION )?[\w.~<>]+): ")


def make_tree(generator, slots):
    """The keys of each daemon; the children of a node mostly belong to other
    daemons."""
    keys = {ROOT: generator.randrange(slots)}
    free = {slot: NODES // slots for slot in range(slots)}
    free[keys[ROOT]] -= 1
    for number in range(1, NODES):
        shallow = [key for key in keys if key.count("/") < ROOT.count("/") + DEEPEST]
        parent = generator.choice(shallow)
        open_slots = [slot for slot, room in free.items() if room]
        others = [slot for slot in open_slots if slot != keys[parent]] or open_slots
        slot = generator.choice(others)
        free[slot] -= 1
        keys[f"{parent}/n{number:02}"] = slot
    by_slot = collections.defaultdict(list)
    for key, slot in keys.items():
        by_slot[slot].append(key)
    return by_slot


class Log:
    """The expected content of the log; each record carries a serial number."""

    def __init__(self):
        self.acknowledged = []
        self.attempted = set()

    def record(self, serial, sensor_number, asserted):
        """A record of a temperature that rises above its critical threshold,
        or returns."""
        self.attempted.add(serial)
        serial_bytes = serial.to_bytes(4, "little")
        record = [0, 0, 2, 0, 0, 0, 0, *serial_bytes[:2], 4, 1, sensor_number]
        return bytes([*record, 1 if asserted else 0x81, 0x59, *serial_bytes[2:]])

    @staticmethod
    def serial(record):
        return int.from_bytes([record[7], record[8], record[14], record[15]], "little")

    def differences(self, seen, where):
        found = [self.serial(record) for record in seen]
        for lost in set(self.acknowledged) - set(found):
            yield f"{where}: the acknowledged record {lost} is lost"
        for strange in set(found) - self.attempted:
            yield f"{where}: a record {strange} that nobody stored"
        if len(found) != len(set(found)):
            yield f"{where}: a record is there twice"


class Daemon:
    """A running daemon and the components that it was told to create."""

    def __init__(self, program, keys):
        self.program = program
        self.keys = keys
        self.name = ""
        self.components = {}

    def make(self, key):
        def take(answer):
            if not answer.startswith(":"):
                raise programs.Gone(f"{self.program.name} has no {key}: {answer}")
            self.name = answer
            self.components[key] = model.Component(key)

        self.program.tell(f"init {key} {model.OK}", take)

    def loss(self, key, busy):
        """The loss of a component when the process is killed; what it has had
        is not known if it was busy."""
        component = self.components.get(key)
        if component is None or busy:
            return lost_monitors.Loss(self.program.pid, None, None)
        return lost_monitors.loss_of(self.program.pid, component)


class ChaosWorld(programs.World):
    """All running programs by name."""

    SERVICES = ("healthmgr", "logmgr")

    def __init__(self, build, folder, generator, reports_losses=False, slots=10):
        super().__init__(build, folder)
        self.reports_losses = reports_losses
        self._write_configurations()
        self.tree = make_tree(generator, slots)
        self.daemons = {}
        self.services = {}
        self.log = Log()
        self.chronicle = chronicle.Chronicle()
        self.losses = lost_monitors.LostMonitors(self.chronicle, chronicle.now())
        # The faults of lost monitors that were last seen on D-Bus.
        self._lost = {}
        self.history = history_view.HistoryView()
        self.watch = history_check.Watch()
        self.comparison = history_check.Comparison(self.chronicle, self.history, self.watch)
        self.serial = 0
        self.starts = collections.Counter()
        # Counts of the programs' log lines by origin.
        self.lines = collections.Counter()
        self.bus = None
        self.client = None

    def _write_configurations(self):
        (self.folder / "logmgr.toml").write_text(LOG_CONFIG)
        reports = str(self.reports_losses).lower()
        (self.folder / "healthmgr.toml").write_text(f"report-lost-monitors = {reports}\n")

    def raise_bus(self):
        self.bus = self.start_bus()
        self.starts["bus"] += 1
        self.client = bus_view.Client(self.address)

    def kill_bus(self):
        self.bus.kill()
        self.client.close()

    def dead(self):
        """The services and daemon slots that are not running."""
        names = [name for name in self.SERVICES if name not in self.services]
        return names + [slot for slot in self.tree if slot not in self.daemons]

    def raise_one(self, what, generator):
        """Starts a service or a daemon; a daemon gets its components later."""
        if what in self.SERVICES:
            self._raise_service(what)
            return
        loop = generator.choice(("sd-event", "own-loop"))
        daemon = Daemon(self.start_daemon(loop=loop), self.tree[what])
        self.daemons[what] = daemon
        self.starts["daemon"] += 1
        for key in generator.sample(daemon.keys, len(daemon.keys)):
            daemon.make(key)

    def _raise_service(self, name):
        options = ["--config", self.folder / f"{name}.toml"]
        self.services[name] = self.start_service(name, *options)
        self.starts[name] += 1
        if name == "healthmgr" and self.reports_losses:
            self.losses.manager_started(self.services[name].pid)

    def keys(self):
        return [key for keys in self.tree.values() for key in keys]

    def held_keys(self):
        """The keys of the tree that running daemons hold."""
        return {component.key for component in self.components()}

    def free_keys(self):
        """The keys of the tree that no running daemon holds."""
        held = self.held_keys()
        return [key for key in self.keys() if key not in held]

    def raise_for_a_moment(self, key):
        """Starts a daemon that holds a key with a fault. It is not part of the
        tree's model, so it must be gone before a comparison."""
        daemon = Daemon(self.start_daemon(name="moment"), [key])
        self.starts["daemon of a moment"] += 1
        pid = daemon.program.pid
        daemon.make(key)
        fault = model.Fault("MOMENT", "/sensors/moment", 48, 4, args=model.ADDED)
        command = self.chronicle.tell(pid, key, [fault])

        def take(answer):
            assert answer == "0", f"moment: {answer}"
            component = daemon.components[key]
            component.add(fault)
            self.chronicle.take(pid, command, component.take_changes())

        daemon.program.tell(f"add {key} {fault.message} {fault.sensor} 1", take)
        return daemon

    def kill(self, what):
        """Kills a service or the daemon of a slot, and forgets it."""
        if what in self.daemons:
            self.kill_daemon(self.daemons.pop(what))
        else:
            since = chronicle.now()
            self.services[what].kill()
            self.forget_service(what, since)

    def kill_daemon(self, daemon):
        since = chronicle.now()
        daemon.program.kill()
        self._forget_daemon(daemon, since, killed=True)

    def end_daemon(self, daemon):
        since = chronicle.now()
        assert daemon.program.end() == 0, daemon.program.log()
        self._forget_daemon(daemon, since, killed=False)

    def _forget_daemon(self, daemon, since, killed):
        pid = daemon.program.pid
        for key in daemon.keys if self.reports_losses else []:
            if killed:
                loss = daemon.loss(key, self.chronicle.is_busy(pid, key))
                self.losses.lost(key, loss, key in daemon.components)
            else:
                self.losses.given_up(key)
        kind = "withdrawn" if killed else "cleared"
        self.chronicle.gone(pid, daemon.components.values(), since, {kind})
        self.read_log(daemon.program)

    def forget_service(self, name, since):
        """Forgets a service that has ended since a time; returns it."""
        program = self.services.pop(name)
        if name == "logmgr":
            self.watch.end(since)
        else:
            self.losses.manager_gone(since, chronicle.now())
        self.read_log(program)
        return program

    def read_log(self, program):
        for line in program.log().splitlines():
            matched = LOG_LINE.match(line)
            place = f"{matched['who']}: {matched['what']}" if matched else line
            self.lines[re.sub(r"\.\d+\.", ".", place)] += 1

    def running(self):
        """The daemons that are not stopped (SIGSTOP)."""
        return [each for each in self.daemons.values() if not each.program.stopped]

    def components(self):
        return [c for daemon in self.daemons.values() for c in daemon.components.values()]

    def collect(self, patience=programs.PATIENCE):
        for daemon in self.running():
            daemon.program.collect(patience)

    def catch_up(self):
        """Waits until every running daemon has processed what was sent to it.
        """
        for daemon in self.running():
            if daemon.name:
                self.client.ping(daemon.name)

    def hide(self, teller, hide, key, sensor, number):
        """Sends the signal that hides or shows faults everywhere."""
        self.collect()
        line = f"hide {int(hide)} {key or '-'} {sensor or '-'} {number}"
        status = teller.program.ask(line)
        assert status == "0", f"{line}: {status}"
        self.catch_up()
        for component in self.components():
            component.take_signal(hide, key, sensor, number)

    def freshen(self):
        """Makes components recalculate their health where they may show an
        outdated one."""
        for daemon in self.running():
            for component in daemon.components.values():
                if component.stale:
                    daemon.program.tell(f"remove {component.key} NONE /none")
                    component.stale = False
        self.collect()

    def differences(self):
        """The differences between bus, data cache and model, a line each."""
        cache = json.loads(self.dump_cache())
        nodes, faults = self.client.tree()
        self._lost = {
            path: (pid, fault)
            for path, (pid, fault) in faults.items()
            if fault["MessageID"] == lost_monitors.MESSAGE
        }
        found = list(self.losses.differences(self.keys(), self.held_keys(), self._lost))
        found += self._node_differences(nodes, cache["health"])
        found += self._fault_differences(faults, cache["faults"])
        mirrored = [bytes(entry["record"]) for entry in cache["sel"].values()]
        found += self.log.differences(mirrored, "mirror of the log")
        if self.client.owner(bus_view.LOG[0]):
            entries = [bytes(entry[3]) for entry in self.client.log_entries()]
            found += self.log.differences(entries, "log")
            if sorted(entries) != sorted(mirrored):
                found.append("the log and its mirror differ")
        else:
            found.append("there is no log manager")
        found += self._history_differences(cache["faults"])
        # Daemons' own nodes could make the tree look right without it.
        if not self.client.owner(bus_view.MANAGER):
            found.append("there is no health manager")
        return found

    def _history_differences(self, cached):
        if not self.client.owner(bus_view.HISTORY[0]):
            return ["there is no history"]
        self._read_history()
        return self.history.differences(cached)

    def _read_history(self):
        self.history.take(self.client.history(self.history.following()))
        self.watch.begin(chronicle.now())

    def reread_history(self):
        """Reads the whole history; what was read before must be in it as it
        was."""
        records = self.client.history(0)
        if records != self.history.records:
            return ["history: what was read before is not there any more as it was"]
        return []

    def await_history(self):
        """Waits until logmgr follows the faults."""
        end = chronicle.now() + 1000 * programs.PATIENCE
        while not self.client.owner(bus_view.HISTORY[0]):
            if chronicle.now() > end:
                raise programs.Gone("logmgr does not offer its history")
        self._read_history()

    def agree(self):
        """All views agree; returns how the history differs from the chronicle,
        a line each."""
        time = chronicle.now()
        self.losses.agree(self.held_keys(), self._lost, time)
        return list(self.comparison.differences(time))

    def _node_differences(self, nodes, cached):
        owners = {d.program.pid: d for d in self.daemons.values()}
        lost = {
            lost_monitors.component_of(path): fault["Severity"]
            for path, (_, fault) in self._lost.items()
        }
        held = {component.key: component.health() for component in self.components()}
        own = lost | held
        manager = self.services["healthmgr"].pid
        hosted = {key for key, pid in nodes if pid == manager}
        parents = {each for key in own for each in model.ancestors(key, ROOT)} | {ROOT}
        allowed = {each for keys in self.tree.values() for each in keys}
        for key, pid in nodes:
            if pid != manager and (pid not in owners or key not in owners[pid].components):
                yield f"D-Bus: the process {pid} has a ghost of {key}"
        yield from (f"two hold {key}" for key in sorted(hosted & set(held)))
        yield from (f"nobody holds {key}" for key in sorted(parents - hosted - set(own)))
        yield from (f"healthmgr holds {key}" for key in sorted(hosted - allowed))
        expected = model.expected_health(own, hosted)
        shown = {key: health for (key, _), health in nodes.items()}
        yield from differing("D-Bus", expected, shown)
        yield from differing("cache", expected, cached)

    def _fault_differences(self, faults, cached):
        by_pid = {d.program.pid: d for d in self.daemons.values()}
        expected = collections.Counter(
            (daemon.program.pid, c.key, f.message, f.sensor, f.number, f.health, f.hidden)
            for daemon in by_pid.values()
            for c in daemon.components.values()
            for f in c.faults
        )
        manager = self.services["healthmgr"].pid
        for path, (_, fault) in self._lost.items():
            # Which ones there are to be was compared before.
            expected[manager, *content_of(path, fault)] += 1
        shown = collections.Counter(
            (pid, *content_of(path, fault)) for path, (pid, fault) in faults.items()
        )
        yield from (f"D-Bus: lacks {fault}" for fault in expected - shown)
        yield from (f"D-Bus: has a ghost {fault}" for fault in shown - expected)
        on_bus = {
            path: (f["MessageID"], f["Message"], f["Args"], f["Severity"], f["Hidden"])
            for path, (_, f) in faults.items()
        }
        in_cache = {
            f["path"]: (f["messageID"], f["message"], f["args"], f["severity"], f["hidden"])
            for f in cached
        }
        yield from differing("cache", on_bus, in_cache)


def content_of(path, fault):
    names = ("MessageID", "SensorPath", "SensorNumber", "Severity", "Hidden")
    return (lost_monitors.component_of(path), *(fault[name] for name in names))


def differing(where, expected, shown):
    for key in sorted(expected.keys() | shown.keys()):
        if expected.get(key) != shown.get(key):
            yield f"{where}: {key} is {shown.get(key)}, should be {expected.get(key)}"
