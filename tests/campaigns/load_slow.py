# SPDX-License-Identifier: Apache-2.0
"""Scenes of scripts/campaigns/load in which a program does not read."""

import os
import signal
import socket
import time

from load_scene import Scene, fault
from observation import ROOT, mib, own

EVERY_SIGNAL = "type='signal'"
# 384 Ki messages of about 500 bytes each, with libsystemd's overhead, in KiB.
DAEMON_MOST = 384 * 1024
# Ten faults remain, and the fault numbers wrap three times.
MOST_REFUSED = 30


class DeafClient:
    """A client that subscribes to every signal and never reads one."""

    def __init__(self, address):
        self._socket = socket.socket(socket.AF_UNIX)
        self._socket.connect(address.split("path=")[1])
        user = str(os.getuid()).encode().hex()
        self._socket.sendall(b"\0AUTH EXTERNAL " + user.encode() + b"\r\n")
        self._read_until(b"\r\n")
        self._socket.sendall(b"BEGIN\r\n")
        self._call(1, "Hello", "")
        self._call(2, "AddMatch", EVERY_SIGNAL)
        # The reply to the second call confirms the match rule.
        self._read_until(b"\0\0\0\x02\0\0\0", peek=True)

    def _read_until(self, mark, peek=False):
        heard = b""
        while mark not in heard:
            heard += self._socket.recv(1 if not peek else 4096)

    def _call(self, serial, member, text):
        def padded(data, to=8):
            return data + b"\0" * (-len(data) % to)

        def field(code, kind, value):
            value = value.encode()
            if kind == b"g":
                tail = bytes([len(value)]) + value + b"\0"
            else:
                tail = len(value).to_bytes(4, "little") + value + b"\0"
            return bytes([code, 1]) + kind + b"\0" + tail

        fields = b""
        named = [
            (1, b"o", "/org/freedesktop/DBus"),
            (2, b"s", "org.freedesktop.DBus"),
            (3, b"s", member),
            (6, b"s", "org.freedesktop.DBus"),
        ]
        body = b""
        if text:
            named.append((8, b"g", "s"))
            body = len(text).to_bytes(4, "little") + text.encode() + b"\0"
        for each in named:
            fields = padded(fields) + field(*each)
        head = b"l\x01\0\x01" + len(body).to_bytes(4, "little")
        head += serial.to_bytes(4, "little") + len(fields).to_bytes(4, "little")
        self._socket.sendall(padded(head + fields) + body)

    def connected(self):
        """Whether the bus still has the connection, judged without reading
        from it."""
        try:
            self._socket.send(b"", socket.MSG_DONTWAIT)
        except OSError:
            return False
        return True


def deaf_receiver(build, additions=200_000):
    """A client subscribes to every signal and stops reading, while a daemon
    adds 200,000 faults."""
    with Scene(build, "deaf-receiver") as scene:
        manager = scene.start_service("healthmgr")
        daemon = scene.daemon([f"{ROOT}/storm"])
        other = scene.daemon([f"{ROOT}/other"])
        daemon.collect()
        other.collect()
        deaf = DeafClient(scene.world.address)
        watched = {"bus": scene.bus, "daemon": daemon, "healthmgr": manager}
        parts = 8
        memory = {name: [own(program)] for name, program in watched.items()}
        slowest = 0
        answers = {}
        for part in range(parts):
            numbers = range(part * additions // parts, (part + 1) * additions // parts)
            lines = (fault(f"{ROOT}/storm", n, n // 7 % 3 + 1) for n in numbers)
            for answer, count in scene.tell_all(daemon, lines).items():
                answers[answer] = answers.get(answer, 0) + count
            begin = time.monotonic()
            other.ask(fault(f"{ROOT}/other", part, 1))
            scene.client.ping(other.names[0])
            slowest = max(slowest, time.monotonic() - begin)
            for name, program in watched.items():
                memory[name].append(own(program))
        refused = answers.pop("4", 0)
        scene.expect(
            answers == {"0": additions - refused}, f"additions are answered {answers}"
        )
        scene.expect(refused <= MOST_REFUSED, f"{refused} additions are refused")
        scene.number(
            f"{refused} of {additions:,} additions are refused with 4: their numbers come "
            "round while a fault of the same number is there"
        )
        scene.expect(slowest < 1, f"another daemon waits for {slowest:.1f} s")
        scene.number("memory of the bus after each eighth: " + ", ".join(map(mib, memory["bus"])))
        most = max(memory["daemon"])
        scene.expect(most <= DAEMON_MOST, f"the daemon has {mib(most)}")
        scene.number("memory of the daemon: " + ", ".join(map(mib, memory["daemon"])))
        grown = memory["healthmgr"][-1] - memory["healthmgr"][parts // 2]
        scene.expect(grown <= 512, f"healthmgr grows by {grown} KiB in the second half")
        scene.number(f"healthmgr: {mib(memory['healthmgr'][-1])}")
        grown = memory["bus"][-1] - memory["bus"][parts // 2]
        scene.expect(grown <= 512, f"the bus grows by {grown} KiB in the second half")
        scene.number(f"another daemon's addition and ping: {slowest * 1000:.0f} ms at most")
        connected = deaf.connected()
        said = [line for line in scene.bus.log().splitlines() if "message" in line]
        scene.number(f"the bus logs {len(said):,} lines")
        scene.happens = (
            "the bus keeps messages for the client up to its limit and drops what "
            f"comes then; the client {'keeps' if connected else 'loses'} its connection"
        )
        scene.limit = "`max_outgoing_bytes` of the bus, 127 MiB a connection by default"
        # The rest of the line names this machine's programs.
        scene.told = f"the bus logs `{said[0].split(';')[0]}`" if said else "nothing"
        return scene


def stopped_parent(build, changes=20_000):
    """A daemon is stopped while its children's health keeps changing."""
    with Scene(build, "stopped-parent") as scene:
        manager = scene.start_service("healthmgr")
        parent = scene.daemon([f"{ROOT}/a"])
        parent.collect()
        child = scene.daemon([f"{ROOT}/a/b"])
        child.collect()
        parent.signal(signal.SIGSTOP)
        before = own(scene.bus)
        key = f"{ROOT}/a/b"
        begin = time.monotonic()
        both = [f"add {key} M /s 1", f"remove {key} M /s"]
        answers = scene.tell_all(child, (both[n % 2] for n in range(changes)))
        seconds = time.monotonic() - begin
        child.ask(f"add {key} M /s 2")
        scene.expect(answers == {"0": changes}, f"the child is answered {answers}")
        grown = own(scene.bus) - before
        scene.number(f"{changes:,} changes in {seconds:.1f} s; the bus holds {mib(grown)} for it")
        scene.number(f"healthmgr has {mib(own(manager))}")
        stale = scene.shown_health()
        parent.signal(signal.SIGCONT)
        begin = time.monotonic()
        scene.client.ping(parent.names[0], patience=60)
        health = scene.client.health(parent.names[0], f"{ROOT}/a")
        scene.expect(health == 3, f"the parent shows {health} when it goes on")
        scene.wait_until("the root is at warning", lambda: scene.shown_health() == 3)
        scene.number(f"it goes on and is right after {time.monotonic() - begin:.2f} s")
        scene.happens = "nothing is lost: the bus keeps what it has not read"
        scene.limit = "`max_outgoing_bytes` of the bus"
        scene.told = f"nothing meanwhile; the root stays at {stale}"
        return scene


def stopped_manager(build, changes=20_000):
    """healthmgr is stopped, while daemons come and go."""
    with Scene(build, "stopped-manager") as scene:
        manager = scene.start_service("healthmgr")
        scene.start_service("logmgr")
        living = scene.daemon([f"{ROOT}/a/b"])
        living.collect()
        manager.signal(signal.SIGSTOP)
        key = f"{ROOT}/a/b"
        both = [f"add {key} M /s 1", f"remove {key} M /s"]
        answers = scene.tell_all(living, (both[n % 2] for n in range(changes)))
        scene.expect(answers == {"0": changes}, f"the daemon is answered {answers}")
        for number in range(20):
            dead = scene.daemon([f"{ROOT}/x{number:02}/y"])
            dead.collect()
            dead.ask(fault(f"{ROOT}/x{number:02}/y", 1))
            dead.kill()
        living.ask(f"add {key} M /s 2")
        _, before = scene.world.recorded()
        status, text, _ = scene.healthctl("doctor", "--brief")
        scene.expect("does not answer" in text, f"the doctor does not tell: {text}")
        manager.signal(signal.SIGCONT)
        seconds = scene.wait_until("all is withdrawn", lambda: scene.world.recorded()[1] == 1)
        scene.wait_until("the root is at warning", lambda: scene.shown_health() == 3)
        scene.number(f"{before} faults, 20 of dead daemons; withdrawn {seconds:.2f} s after it goes on")
        scene.happens = "nothing climbs past its nodes and the dead stay until it goes on"
        scene.limit = "systemd kills and restarts it after a minute without a sign of life"
        scene.told = f"`healthctl doctor --brief` (status {status}): {text.splitlines()[0]}"
        return scene
