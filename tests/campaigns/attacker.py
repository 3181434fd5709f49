# SPDX-License-Identifier: Apache-2.0
"""The actions of an attacker, which runs as its own user until its input ends:

    attacker.py locks FOLDER ...         locks all files that it can open
    attacker.py plant KIND TARGET FOLDER ...
                                         creates links, pipes, ... under many names
    attacker.py crowd KIND COUNT FOLDER  creates many names in a folder
    attacker.py scribble SECONDS FOLDER  damages all files that it may write
    attacker.py lease FOLDER             holds leases on files of its own
    attacker.py updates                  reports made-up health
    attacker.py signals RECEIVER         sends each signal that a program handles
    attacker.py requests COUNT           requests nodes
    attacker.py hide BYTES COUNT         hides faults by long texts
    attacker.py lists CONNECTIONS        asks for the log
    attacker.py idle PORT CONNECTIONS    connects and sends nothing

Prints the result in one line when the action is complete, or when everything
that it holds is taken.
"""

import fcntl
import os
import pathlib
import random
import select
import signal
import socket
import stat
import struct
import sys
import threading
import time

import bus_view
from bus_view import LOG, MANAGER, ROOT
from gi.repository import Gio, GLib


def say(*words):
    print(*words, flush=True)


def input_ended(patience):
    """Waits, and returns whether the parent has ended this program's input."""
    return bool(select.select([sys.stdin], [], [], patience)[0])


# Locks.


def flock_of(kind, begin=0, length=0):
    return struct.pack("hhqqi", kind, os.SEEK_SET, begin, length, 0)


def lock(file):
    """Takes all locks that a reader of the file may take; returns their
    number."""
    held = 0
    for command in (fcntl.F_OFD_SETLK, fcntl.F_SETLK):
        # The whole range, or each byte that nobody else has locked.
        for begin, length in [(0, 0), *((byte, 1) for byte in range(2048)), (2048, 0)]:
            try:
                fcntl.fcntl(file, command, flock_of(fcntl.F_RDLCK, begin, length))
                held += 1
                if length == 0 and begin == 0:
                    break
            except OSError:
                pass
    for kind in (fcntl.LOCK_EX, fcntl.LOCK_SH):
        try:
            fcntl.flock(file, kind | fcntl.LOCK_NB)
            held += 1
            break
        except OSError:
            pass
    return held


def lock_new(folders, opened):
    """Locks the files that are new since the last call; returns how many are
    readable."""
    held = 0
    for folder in folders:
        for each in (os.path.join(place, name)
                     for place, _, names in os.walk(folder) for name in names):
            try:
                seen = os.lstat(each)
                if not stat.S_ISREG(seen.st_mode) or (seen.st_dev, seen.st_ino) in opened:
                    continue
                file = os.open(each, os.O_RDONLY | os.O_NOFOLLOW | os.O_NONBLOCK)
            except OSError:
                continue
            # Kept open: closing one would release the process's locks on the
            # file.
            opened[seen.st_dev, seen.st_ino] = file
            held += lock(file)
    return held


def locks(*folders):
    opened = {}
    held = lock_new(folders, opened)
    say(len(opened), held)
    while not input_ended(0.002):
        held += lock_new(folders, opened)
    say(len(opened), held)


# Names.

KNOWN_NAMES = {
    "datacache": ["users", "lock.mdb", "data.mdb", "sel", "log"],
    "config": ["attributes.json", "attributes.json.new", "attributes.json.bad", "lock",
               ".attributes.json.new"],
    "sel": ["data.mdb", "lock.mdb", "log", "sel", "log.new", "sel.new", ".new-sel", ".new-log"],
    "healthintf": ["datacache", "config", "sel", "lock"],
}


def names_for(folder):
    """The names that services use in a folder, or may use."""
    names = list(KNOWN_NAMES.get(folder.name, []))
    # The names of the next processes.
    pid = os.getpid()
    for number in range(pid, pid + 200):
        names += [f"{number}", f".new-{number}", f"{number}.new", f"{number}-{0:016x}"]
    return names


MAKERS = {
    "symlinks": lambda target, name: os.symlink(target, name),
    "hardlinks": lambda target, name: os.link(target, name),
    "pipes": lambda target, name: os.mkfifo(name, 0o666),
    "devices": lambda target, name: os.mknod(name, 0o666 | stat.S_IFCHR, os.makedev(1, 5)),
    "folders": lambda target, name: os.mkdir(name),
    "sockets": lambda target, name: socket.socket(socket.AF_UNIX).bind(str(name)),
}


def plant(kind, target, *folders):
    made = 0
    for folder in map(pathlib.Path, folders):
        for name in names_for(folder):
            # Replaces other users' files where the folder permits it.
            try:
                os.rename(folder / name, folder / f"{name}.old")
            except OSError:
                pass
            try:
                MAKERS[kind](target, folder / name)
                made += 1
            except OSError:
                pass
    say(made)
    input_ended(None)


def crowd(kind, count, folder):
    """Creates many names that readers and healthmgr have to look at."""
    folder = pathlib.Path(folder)
    own = folder / "crowd"
    files = []
    made = 0
    for number in range(int(count)):
        name = folder / f"{kind}-{number:06}"
        try:
            if kind == "hardlinks":
                # Links of one file that counts as in use; some filesystems
                # limit the number of links.
                if number % 30_000 == 0:
                    own = folder / f"crowd.{number}"
                    files.append(os.open(own, os.O_RDWR | os.O_CREAT, 0o644))
                    fcntl.fcntl(files[-1], fcntl.F_OFD_SETLK, flock_of(fcntl.F_WRLCK))
                os.link(own, name)
            elif kind == "files":
                files.append(os.open(name, os.O_RDWR | os.O_CREAT, 0o644))
                fcntl.fcntl(files[-1], fcntl.F_OFD_SETLK, flock_of(fcntl.F_WRLCK))
            else:
                MAKERS[kind](folder, name)
            made += 1
        except OSError as failure:
            if made == 0:
                print(failure, file=sys.stderr)
            continue
    say(made)
    input_ended(None)


# Segments.


def mutated(content):
    """The content with random damage."""
    copy = bytearray(content)
    kind = random.randrange(4)
    if kind == 0:
        for _ in range(random.randrange(1, 40)):
            copy[random.randrange(len(copy))] = random.randrange(256)
    elif kind == 1:
        # Sets numbers to extreme values, mostly where the counts are.
        for _ in range(random.randrange(1, 6)):
            at = random.randrange(0, min(len(copy), random.choice((256, 65536))) - 8, 4)
            value = random.choice((0, 1, 2**31, 2**32 - 1, 2**63, 2**64 - 1))
            copy[at:at + 8] = value.to_bytes(8, "little")
    elif kind == 2:
        begin = random.randrange(len(copy))
        copy[begin:] = os.urandom(len(copy) - begin)
    else:
        del copy[random.randrange(len(copy)):]
    return bytes(copy)


def damage(path, content):
    """Damages a file that may be in use."""
    file = os.open(path, os.O_RDWR | os.O_NOFOLLOW | os.O_NONBLOCK)
    try:
        kind = random.randrange(5)
        if kind == 0:
            os.ftruncate(file, random.choice((0, 1, 100, 4096, len(content) // 2)))
        elif kind == 1:
            os.ftruncate(file, random.choice((len(content), 1 << 33)))
        elif kind in (2, 3):
            os.pwrite(file, mutated(content), 0)
        else:
            os.unlink(path)
    finally:
        os.close(file)


def keep_segment(folder, content, number):
    """Creates an own file that looks like a living process's segment."""
    path = folder / f"{os.getpid()}-{number:016x}"
    file = os.open(path, os.O_RDWR | os.O_CREAT, 0o644)
    fcntl.fcntl(file, fcntl.F_OFD_SETLK, flock_of(fcntl.F_WRLCK))
    os.pwrite(file, content, 0)
    return file


def scribble(seconds, folder):
    """Damages its own segments, those of the same user's daemon, and every
    other writable file."""
    folder = pathlib.Path(folder)
    end = time.monotonic() + float(seconds)
    changed = 0
    kept = []
    content = b""
    while time.monotonic() < end:
        for path in list(folder.iterdir()):
            try:
                if path.stat().st_size > 1000 and len(content) < 4_000_000:
                    file = os.open(path, os.O_RDWR | os.O_NOFOLLOW | os.O_NONBLOCK)
                    content = os.pread(file, 4_000_000, 0) or content
                    os.close(file)
                if not content:
                    continue
                damage(path, content)
                changed += 1
            except OSError:
                pass
        try:
            if content and len(kept) < 8:
                kept.append(keep_segment(folder, content, changed))
        except OSError:
            pass
        for file in list(kept):
            os.pwrite(file, mutated(content), 0)
            changed += 1
            if random.randrange(50) == 0:
                kept.remove(file)
                os.close(file)
        time.sleep(0.001)
    say(changed)
    input_ended(None)


def lease(folder):
    """Holds leases on its own files: an opener waits until the lease is given
    up, or for 45 seconds."""
    folder = pathlib.Path(folder)
    # SIGIO, by which the kernel asks for a lease back, kills by default.
    signal.signal(signal.SIGIO, signal.SIG_IGN)
    held = 0
    for number in range(20):
        try:
            file = keep_segment(folder, b"\0" * 4096, number)
            fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
            held += 1
        except OSError as failure:
            print(failure, file=sys.stderr)
    say(held)
    input_ended(None)


# The bus.


def connection():
    return bus_view.Client(os.environ["DBUS_SYSTEM_BUS_ADDRESS"])


def updates():
    client = connection()

    def update(parent, child, health=4):
        client.signal("/x", f"{MANAGER}.HealthStatus", "HealthStatusUpdate",
                      "(ssu)", (parent, child, health))

    update(ROOT, "no path")
    update(ROOT, "")
    update(ROOT, "/elsewhere/x")
    update(ROOT, f"{ROOT}/")
    update(ROOT, f"{ROOT}/" + "n" * 600)
    update(f"{ROOT}/a", "/elsewhere/x")
    update(f"{ROOT}/a", f"{ROOT}/b/c")
    update(f"{ROOT}/a", f"{ROOT}/a/b")
    update("/elsewhere", "/elsewhere/x")
    for number in range(20_000):
        update(ROOT, f"{ROOT}/forged{number}")
        update(f"{ROOT}/a", f"{ROOT}/a/forged{number}")
    for number in range(40):
        update(ROOT, f"{ROOT}/" + chr(97 + number % 26) * (25 << 20))
        client.flush()
    client.flush()
    say("sent")
    input_ended(None)


def signals(receiver):
    """Sends every signal that some program handles, to all and to one
    receiver."""
    import attack_bus

    client = connection()
    for each in attack_bus.SIGNALS.values():
        client.signal(*each)
        client.signal(*each, receiver=receiver)
    client.flush()
    client.call(*bus_view.BUS, "GetId")
    say(client.raw.get_unique_name())
    input_ended(None)


def requests(count):
    client = connection()
    made = 0
    for number in range(int(count)):
        try:
            client.call(MANAGER, "/com/vexa/olvar/healthmgr", MANAGER, "AddHealthObject",
                        GLib.Variant("(s)", (f"{ROOT}/asked{number}",)))
            made += 1
        except GLib.Error:
            pass
    say(made)
    input_ended(None)


def hide(size, count):
    client = connection()
    for number in range(int(count)):
        for texts in ((ROOT + "/" + "k" * int(size), ""), ("", "/" + "s" * int(size))):
            client.signal(ROOT, MANAGER, "HideFaultForSensor", "(bssi)",
                          (True, texts[0], f"{texts[1]}{number}", 0))
            client.flush()
    say("sent")
    input_ended(None)


def lists(connections):
    """Keeps 20 calls under way on each connection, whatever the replies."""
    answered = {"answer": 0, "refusal": 0}
    clients = [connection() for _ in range(int(connections))]
    asked = GLib.Variant("(qu)", (0, 0))

    def ask(raw):
        raw.call(*LOG, "ListEntries", asked, None, Gio.DBusCallFlags.NO_AUTO_START, 120_000,
                 None, take)

    def take(raw, result):
        try:
            raw.call_finish(result)
            answered["answer"] += 1
        except GLib.Error:
            answered["refusal"] += 1
        ask(raw)

    for client in clients:
        for _ in range(20):
            ask(client.raw)
    say("asking")
    loop = GLib.MainLoop()
    threading.Thread(target=lambda: (input_ended(None), loop.quit()), daemon=True).start()
    loop.run()
    say(answered["answer"], answered["refusal"])


def idle(port, connections):
    kept = []
    for number in range(int(connections)):
        try:
            kept.append(socket.create_connection(("127.0.0.1", int(port)), 5))
            # Every other connection sends the beginning of a request.
            if number % 2:
                kept[-1].sendall(b"GET /metrics HTTP/1.1\r\nHost: ")
        except OSError:
            pass
    say(len(kept))
    while not input_ended(0.1):
        for number, each in enumerate(kept):
            try:
                each.sendall(b"x")
            except OSError:
                try:
                    kept[number] = socket.create_connection(("127.0.0.1", int(port)), 5)
                except OSError:
                    pass
            if input_ended(0):
                return


ACTIONS = {action.__name__: action for action in (
    locks, plant, crowd, scribble, lease, updates, signals, requests, hide, lists, idle)}

if __name__ == "__main__":
    ACTIONS[sys.argv[1]](*sys.argv[2:])
