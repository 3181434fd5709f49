# SPDX-License-Identifier: Apache-2.0
"""Scenes of scripts/campaigns/load with large numbers of objects."""

import itertools
import time

from load_scene import INSTALLED, Scene, fault
from observation import ROOT, mib, own


# How many faults a daemon adds before it processes its bus.
AT_ONCE = 500


def many_components(build):
    """1,000 components of ten faults in ten processes."""
    with Scene(build, "components") as scene:
        manager = scene.start_service("healthmgr")
        begin = time.monotonic()
        # The components of each process are below one group, whose node
        # healthmgr holds.
        keys = {p: [f"{ROOT}/p{p}/c{c:03}" for c in range(100)] for p in range(10)}
        daemons = {p: scene.daemon(keys[p]) for p in keys}
        for daemon in daemons.values():
            daemon.collect(patience=120)
            scene.expect(
                all(name.startswith(":") for name in daemon.names), "a component is not made"
            )
        made = time.monotonic()
        for p, daemon in daemons.items():
            lines = [fault(key, n, 2) for key in keys[p] for n in range(10)]
            answers = scene.tell_all(daemon, lines)
            scene.expect(answers == {"0": 1000}, f"additions are answered {answers}")
        added = time.monotonic()
        climbed = scene.wait_until("the root is at warning", lambda: scene.shown_health() == 3)
        nodes, faults = scene.client.tree()
        scene.expect(len(faults) == 10_000, f"{len(faults)} faults are shown")
        scene.expect(len(nodes) == 1011, f"{len(nodes)} nodes are shown")
        status, count, seconds = scene.healthctl("count")
        scene.expect(status == 0 and "10000" in count, f"healthctl count: {count}")
        scene.number(
            f"1,000 components made in {made - begin:.1f} s, 10,000 faults added in "
            f"{added - made:.1f} s, the root follows in {climbed:.2f} s"
        )
        most = max(own(daemon) for daemon in daemons.values())
        scene.number(f"a daemon has {mib(most)} of its own, healthmgr {mib(own(manager))}")
        scene.number(f"`healthctl count` takes {seconds:.2f} s")
        begin = time.monotonic()
        for daemon in daemons.values():
            daemon.kill()
        withdrawn = scene.wait_until("all is withdrawn", lambda: scene.shown_health() == 0)
        left = scene.world.recorded()
        scene.expect(left[1] == 0, f"{left[1]} faults of the dead stay")
        scene.number(f"all ten killed: withdrawn in {withdrawn:.2f} s")
        scene.happens = "all work"
        scene.limit = "none; 300 of 512 match rules on each connection"
        scene.told = f"`healthctl count`: {count.splitlines()[0]}"
        return scene


def storm(build, additions=200_000):
    """A storm of additions on ten components of one daemon."""
    with Scene(build, "storm") as scene:
        manager = scene.start_service("healthmgr")
        keys = [f"{ROOT}/c{c}" for c in range(10)]
        daemon = scene.daemon(keys)
        daemon.collect()
        watched = {"daemon": daemon, "bus": scene.bus, "healthmgr": manager}
        memory = [{}, {}, {}]
        half = additions // 2
        answers = {}
        begin = time.monotonic()
        for part in range(2):
            memory[part] = {name: own(program) for name, program in watched.items()}
            numbers = range(part * half, (part + 1) * half)
            lines = (fault(keys[n % 10], n, n // 7 % 3 + 1) for n in numbers)
            # The daemon queues what the bus has not taken. Let the bus catch
            # up, so that the queue does not hide a leak.
            while some := list(itertools.islice(lines, AT_ONCE)):
                for answer, count in scene.tell_all(daemon, some).items():
                    answers[answer] = answers.get(answer, 0) + count
                scene.client.ping(daemon.names[0])
        seconds = time.monotonic() - begin
        scene.client.ping(daemon.names[0])
        memory[2] = {name: own(program) for name, program in watched.items()}
        scene.expect(answers == {"0": additions}, f"additions are answered {answers}")
        for name in watched:
            first, second = (memory[i + 1][name] - memory[i][name] for i in range(2))
            scene.expect(second <= 512, f"{name} grows by {second} KiB in the second half")
            scene.number(
                f"{name}: {mib(memory[2][name])}, grown by {first} KiB in the first "
                f"half and {second} KiB in the second"
            )
        nodes, faults = scene.client.tree()
        scene.expect(len(faults) == 100, f"{len(faults)} faults are left")
        scene.expect(scene.world.recorded()[1] == 100, "the cache has others than the bus")
        scene.number(f"{additions:,} additions in {seconds:.0f} s, {additions / seconds:,.0f} a second")
        _, count, _ = scene.healthctl("count")
        scene.happens = "each is answered 0; ten faults a component are left"
        scene.limit = "ten faults a component; numbers go round three times"
        scene.told = f"`healthctl count`: {count.splitlines()[0]}"
        return scene


def many_children(build):
    """A node with 1,000 children in ten other processes."""
    with Scene(build, "children") as scene:
        scene.start_service("healthmgr")
        parent = f"{ROOT}/shelf"
        keys = {p: [f"{parent}/d{p}{c:02}" for c in range(100)] for p in range(10)}
        first = scene.daemon([parent])
        first.collect()
        children = {p: scene.daemon(keys[p]) for p in keys}
        for daemon in children.values():
            daemon.collect(patience=120)
        begin = time.monotonic()
        for p, daemon in children.items():
            for key in keys[p]:
                daemon.tell(fault(key, 1, 2))
        for daemon in children.values():
            daemon.collect(patience=60)
        every = scene.wait_until("the parent is at warning", lambda: scene.shown_health(parent) == 3)
        scene.number(f"all 1,000 get worse: {time.monotonic() - begin:.2f} s, parent {every:.2f} s later")
        begin = time.monotonic()
        children[0].ask(fault(keys[0][0], 2, 1))
        scene.wait_until("the parent is critical", lambda: scene.shown_health(parent) == 4)
        scene.number(f"one more gets worse: {(time.monotonic() - begin) * 1000:.0f} ms to the parent")
        first.kill()
        begin = time.monotonic()
        again = scene.daemon([parent])
        again.collect(patience=60)
        health = scene.client.health(again.names[0], parent)
        scene.expect(health == 4, f"a parent that is started again shows {health}")
        scene.number(f"parent killed and made again: {(time.monotonic() - begin) * 1000:.0f} ms")
        status, tree, seconds = scene.healthctl("tree", "shelf")
        scene.expect(status == 0 and tree.count("\n") >= 1000, "healthctl tree lacks children")
        scene.number(f"`healthctl tree shelf` takes {seconds:.2f} s")
        scene.happens = "all work; the health of any child climbs"
        scene.limit = "none"
        scene.told = f"`healthctl tree shelf`: {tree.splitlines()[0]}"
        return scene


def long_listing(build):
    """GetManagedObjects of one connection with 10,000 faults."""
    with Scene(build, "listing", INSTALLED) as scene:
        scene.start_service("healthmgr")
        keys = [f"{ROOT}/c{c:03}" for c in range(1000)]
        daemon = scene.daemon(keys)
        daemon.collect(patience=120)
        scene.expect(
            all(name.startswith(":") for name in daemon.names), "a component is not made"
        )
        lines = (fault(key, n, 2) for key in keys for n in range(10))
        answers = scene.tell_all(daemon, lines)
        scene.expect(answers == {"0": 10_000}, f"additions are answered {answers}")
        before = own(daemon)
        times = []
        for _ in range(5):
            begin = time.monotonic()
            objects = scene.client.objects(daemon.names[0], patience=60)
            times.append(time.monotonic() - begin)
        entries = sum("/entry/" in path for path in objects)
        scene.expect(entries == 10_000, f"{entries} faults are listed")
        scene.number(
            f"11,000 objects in {min(times):.2f} to {max(times):.2f} s, read by a client in Python"
        )
        grown = own(daemon) - before
        scene.expect(grown < 64 * 1024, f"the daemon keeps {mib(grown)} after it")
        scene.number(f"the daemon has {mib(own(daemon))}, {mib(grown)} of it since it was asked")
        begin = time.monotonic()
        daemon.ask(fault(keys[0], 1, 1))
        scene.number(f"it adds a fault in {(time.monotonic() - begin) * 1000:.1f} ms")
        status, text, seconds = scene.healthctl("faults", "--source", "bus", "--json")
        scene.expect(status == 0, f"healthctl: {text[:200]}")
        scene.number(f"`healthctl faults --source bus --json` takes {seconds:.2f} s")
        scene.happens = "the answer has all objects"
        scene.limit = "32 MiB a message (`max_message_size`), far away"
        scene.told = "the whole list"
        return scene
