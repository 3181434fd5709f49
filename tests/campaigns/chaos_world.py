# SPDX-License-Identifier: Apache-2.0
"""Ten daemons that hold sixty nodes, the services, and the bus: which of them
run, what they were told, and the expected result."""

import collections
import json
import re

import bus_view
import model
import programs

ROOT = bus_view.ROOT
NODES = 60
DEEPEST = 5
# Daemons and services log this when their connection is gone.
LOST = "the connection to the bus is lost"
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


class ChaosWorld(programs.World):
    """All running programs by name."""

    SERVICES = ("healthmgr", "logmgr")

    def __init__(self, build, folder, generator, slots=10):
        super().__init__(build, folder)
        (self.folder / "logmgr.toml").write_text("capacity = 65534\n")
        self.tree = make_tree(generator, slots)
        self.daemons = {}
        self.services = {}
        self.log = Log()
        self.serial = 0
        self.starts = collections.Counter()
        # Counts of the programs' log lines by origin.
        self.lines = collections.Counter()
        self.bus = None
        self.client = None

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
            options = ["--config", self.folder / "logmgr.toml"] if what == "logmgr" else []
            self.services[what] = self.start_service(what, *options)
            self.starts[what] += 1
            return
        loop = generator.choice(("sd-event", "own-loop"))
        daemon = Daemon(self.start_daemon(loop=loop), self.tree[what])
        self.daemons[what] = daemon
        self.starts["daemon"] += 1
        for key in generator.sample(daemon.keys, len(daemon.keys)):
            daemon.make(key)

    def free_keys(self):
        """The keys of the tree that no running daemon holds."""
        held = {component.key for component in self.components()}
        return [key for keys in self.tree.values() for key in keys if key not in held]

    def raise_for_a_moment(self, key):
        """Starts a daemon that holds a key with a fault. It is not part of the
        model, so it must be gone before a comparison."""
        program = self.start_daemon(name="moment")
        self.starts["daemon of a moment"] += 1
        program.tell(f"init {key} {model.OK}")
        program.tell(f"add {key} MOMENT /sensors/moment 1")
        return program

    def drop(self, what):
        """Forgets a program that has ended, after reading its log."""
        if what in self.services:
            program = self.services.pop(what)
        else:
            program = self.daemons.pop(what).program
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
        found = list(self._node_differences(nodes, cache["health"]))
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
        # Daemons' own nodes could make the tree look right without it.
        if not self.client.owner(bus_view.MANAGER):
            found.append("there is no health manager")
        return found

    def _node_differences(self, nodes, cached):
        owners = {d.program.pid: d for d in self.daemons.values()}
        own = {c.key: c.health() for c in self.components()}
        manager = self.services["healthmgr"].pid
        hosted = {key for key, pid in nodes if pid == manager}
        parents = {each for key in own for each in model.ancestors(key, ROOT)} | {ROOT}
        allowed = {each for keys in self.tree.values() for each in keys}
        for key, pid in nodes:
            if pid != manager and (pid not in owners or key not in owners[pid].components):
                yield f"D-Bus: the process {pid} has a ghost of {key}"
        yield from (f"two hold {key}" for key in sorted(hosted & set(own)))
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
        shown = collections.Counter(
            (
                pid,
                path.split("/entry/")[0],
                fault["MessageID"],
                fault["SensorPath"],
                fault["SensorNumber"],
                fault["Severity"],
                fault["Hidden"],
            )
            for path, (pid, fault) in faults.items()
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


def differing(where, expected, shown):
    for key in sorted(expected.keys() | shown.keys()):
        if expected.get(key) != shown.get(key):
            yield f"{where}: {key} is {shown.get(key)}, should be {expected.get(key)}"
