# SPDX-License-Identifier: Apache-2.0
"""Scenes of scripts/campaigns/load in which a resource is used up."""

from gi.repository import GLib

from load_scene import Scene
from observation import ROOT, errors_of
from programs import usual_arguments

KEY = f"{ROOT}/c"
RECORD = bytes([0, 0, 2, 0, 0, 0, 0, 0, 0, 4, 1, 1, 1, 0x59, 0, 0])


def fill(scene, daemon, sensor_length, most):
    """Adds components with ten faults each until one is not recorded; returns
    the number of faults."""
    for number in range(most):
        key = f"{KEY}/n{number:04}"
        daemon.ask(f"init {key} 2")
        text = "x" * sensor_length
        for one in range(10):
            answer = daemon.ask(f"add {key} M{one} /{text}{one} 2")
            scene.expect(answer == "0", f"addFault returns {answer}")
        if "error" in daemon.log():
            return (number + 1) * 10
    scene.expect(False, "it is not full")
    return most * 10


def told_by_doctor(scene):
    status, text, _ = scene.healthctl("doctor", "--brief")
    lines = [line for line in text.splitlines() if "data cache" in line or "datacache" in line]
    scene.expect(bool(lines), f"the doctor has nothing to say of it: {text}")
    return f"`healthctl doctor --brief` (status {status}): `{(lines or ['nothing of it'])[0].strip()}`"


def full_cache(build):
    """A data cache that is full."""
    with Scene(build, "full-cache", environment={"HEALTHINTF_CACHE_MIB": "1"}) as scene:
        return _fill_cache(scene, "`HEALTHINTF_CACHE_MIB`")


def _fill_cache(scene, limit):
    scene.start_service("healthmgr")
    daemon = scene.daemon([KEY])
    daemon.collect()
    full_at = fill(scene, daemon, 500, 150)
    said = errors_of(daemon, "error")
    _, faults = scene.world.recorded()
    shown = sum("/entry/" in path for path in scene.client.objects(daemon.names[0]))
    scene.expect(shown == full_at, f"D-Bus shows {shown} faults of {full_at}")
    scene.expect(faults < full_at, "the cache has all of them")
    scene.number(f"{full_at} faults reported, {faults} in the cache, {shown} on D-Bus")
    scene.expect(len(said) == 1, f"the log tells of it in {len(said)} lines")
    doctor = told_by_doctor(scene)
    # Existing records can be changed and removed, which makes room.
    for number in range(5):
        scene.expect(daemon.ask(f"clear {KEY}/n{number:04}") == "ok", "clear fails")
    scene.expect(daemon.ask(f"add {KEY} AFTER /s 1") == "0", "addFault fails after it")
    _, after = scene.world.recorded()
    cache = scene.world.dump_cache().decode()
    scene.expect('"AFTER"' in cache, "what is added once there is room is not recorded")
    scene.number(f"50 cleared: {after} in the cache, and the next addition is one of them")
    scene.happens = "`addFault` returns 0; the fault is on D-Bus and not in the cache"
    scene.limit = limit
    scene.told = f"`{said[0] if said else 'nothing'}`; {doctor}"
    return scene


def full_disk_of_cache(build):
    """The filesystem of the data cache is full."""
    with Scene(build, "full-disk-cache", small={"run": "1m"}) as scene:
        limit = "the filesystem of `HEALTHINTF_RUNTIME_DIR`, here 1 MiB"
        return _fill_cache(scene, limit)


def full_disk_of_log(build):
    """The filesystem of the log is full."""
    with Scene(build, "full-disk-log", small={"state": "4m"}) as scene:
        log = scene.start_service("logmgr", "--config", _configured(scene, 65534))
        stored = 0
        refusal = ""
        while not refusal and stored < 65534:
            try:
                scene.client.add_event("/" + "x" * 500, RECORD)
                stored += 1
            except GLib.Error as error:
                refusal = error.message.split(": ", 1)[1]
        said = errors_of(log, "error")
        scene.expect("No space left" in refusal, f"AddSEL is refused with {refusal!r}")
        scene.expect(len(said) == 1, f"the log tells of it in {len(said)} lines")
        entries = scene.client.log_entries()
        scene.expect(len(entries) == stored, f"{len(entries)} of {stored} records are there")
        status, text, _ = scene.healthctl("sel", "add", "0x02", *["0"] * 7)
        scene.number(f"{stored} records with long texts were stored, and all can be read")
        scene.client.clear_log()
        scene.expect(scene.client.add_event("/s", RECORD) == 1, "nothing is stored after Clear")
        scene.number("it can be cleared then, and stores again")
        scene.happens = "`AddSEL` is refused with `NotStored`; what is there stays"
        scene.limit = "the filesystem of `HEALTHINTF_STATE_DIR`, here 4 MiB"
        scene.told = f"`{said[0] if said else 'nothing'}`; `AddSEL`: `{refusal}`"
        return scene


def _configured(scene, capacity):
    config = scene.world.folder / "logmgr.toml"
    config.write_text(f"capacity = {capacity}\n")
    return config


def _with_descriptors(scene, most, name, command):
    limited = ["prlimit", f"--nofile={most}:{most}", *command]
    return scene.world.start(name, limited)


def no_descriptors_of_manager(build):
    """healthmgr has fewer file descriptors than there are daemons."""
    with Scene(build, "descriptors-healthmgr") as scene:
        first = scene.daemon([KEY])
        first.collect()
        program = scene.world.build / "services/healthmgr/healthmgr"
        manager = _with_descriptors(scene, 24, "healthmgr", [program, *usual_arguments("healthmgr")])
        scene.wait_until(
            "healthmgr owns its name", lambda: scene.client.owner("com.vexa.olvar.healthmgr")
        )
        keys = [f"{ROOT}/g{number:02}/x" for number in range(40)]
        daemons = [scene.daemon([key]) for key in keys]
        for daemon, key in zip(daemons, keys):
            daemon.collect()
            daemon.ask(f"add {key} M /s 2")
        climbs = scene.wait_until("all parents are there", lambda: _held(scene, manager) == 41)
        scene.number(f"40 daemons and 24 descriptors: the parents of all are there in {climbs:.1f} s")
        scene.wait_until("the root is at warning", lambda: scene.shown_health() == 3)
        _, faults = scene.world.recorded()
        scene.expect(faults == 40, f"{faults} of the living daemons' 40 faults are recorded")
        # The last daemons are those that it cannot watch.
        daemons[-1].kill()
        seconds = scene.wait_until(
            "the one is withdrawn", lambda: scene.world.recorded()[1] == 39, 20
        )
        scene.number(f"one that it cannot watch is killed: withdrawn in {seconds:.2f} s")
        for daemon in daemons[:-1]:
            daemon.kill()
        seconds = scene.wait_until(
            "all 40 dead are withdrawn", lambda: scene.world.recorded()[1] == 0, 20
        )
        scene.number(f"all 40 killed: withdrawn in {seconds:.2f} s")
        said = errors_of(manager)
        scene.expect(manager.log().count("\n") <= 50, "the log is flooded")
        scene.happens = "a process that cannot be watched is looked at every second and at each change of the bus"
        scene.limit = "open files (`LimitNOFILE`)"
        telling = [line for line in said if "unable to watch" in line] or said or ["nothing"]
        scene.told = f"`{telling[0]}`"
        return scene


def _held(scene, program):
    for name in scene.client.names():
        if scene.client.pid(name) == program.pid:
            objects = scene.client.objects(name)
            return sum("/entry/" not in path for path in objects) + 1
    return 0


def no_descriptors_of_daemon(build):
    """A daemon has no file descriptor left."""
    with Scene(build, "descriptors-daemon") as scene:
        scene.start_service("healthmgr")
        program = scene.world.build / "tests/bus/component-daemon"
        # One descriptor more than the process has at its start is the bus.
        told = []
        for most in range(4, 20):
            daemon = _with_descriptors(scene, most, "component-daemon", [program, "sd-event"])
            try:
                answer = daemon.ask(f"init {KEY} 2")
                added = daemon.ask(f"add {KEY} M /s 2") if answer.startswith(":") else ""
            except Exception as failure:  # noqa: BLE001 - any failure ends the daemon
                answer, added = f"ended: {failure}", ""
            said = errors_of(daemon)
            told.append((most, answer, added, said[0] if said else ""))
            if daemon.alive():
                daemon.kill()
        recorded = [most for most, answer, added, said in told if added == "0" and not said]
        scene.expect(bool(recorded), "no limit is enough")
        for most, answer, added, said in told:
            if recorded and most >= recorded[0]:
                break
            scene.number(f"{most} descriptors: `{said or answer}`")
        scene.number(f"from {recorded[0] if recorded else '?'} descriptors on, all is well")
        scene.happens = "the daemon is told what failed, and does not crash"
        scene.limit = "open files"
        scene.told = "see the numbers"
        return scene
