# SPDX-License-Identifier: Apache-2.0
"""Attacks on files: locks, links and made-up names."""

import contextlib
import shutil

from attack_scene import STARTED_BY, Attack
from attack_world import CACHE, CANARIES, COLLEAGUE, CONFIG, OPERATOR, OUTSIDER, REPORTER, RUNTIME, STATE


def attribute_locks(seconds):
    """An outsider locks every file beside the attributes that he can open.
    Earlier, each setter of an attribute waited for ever, and with it healthmgr
    and all components."""
    with Attack("attributes") as attack:
        attack.attribute_is_set()
        attacker = attack.world.attacker(OUTSIDER, "locks", CONFIG)
        files, locks = attacker.hear().split()
        attack.expect(int(files) > 0, "there is nothing to lock")
        attack.number(f"{locks} locks on {files} files of the attributes")
        for _ in range(3):
            attack.attribute_is_set()
        attack.all_works()
        attack.live()
        attacker.kill()
        return attack


def cache_locks(seconds):
    """An outsider locks every file of the data cache, the log and the
    attributes that he can open. Earlier, new daemons, healthctl and restarted
    services had no data cache. Starts all programs together 25 times
    meanwhile."""
    with Attack("locks") as attack:
        # It keeps running and locks new files as they appear.
        attacker = attack.world.attacker(OUTSIDER, "locks", RUNTIME, STATE)
        files, locks = attacker.hear().split()
        attack.expect(int(files) > 2, f"only {files} files can be read")
        attack.number(f"{locks} locks on {files} files")
        attack.all_works()
        for name in ("healthmgr", "logmgr"):
            attack.restart(name)
        attack.all_works()
        _starts_at_once(attack, 25)
        attack.expect(attacker.alive(), "the attacker has ended")
        attacker.kill()
        return attack


def _starts_at_once(attack, times):
    """Starts all users of the data cache together, as at boot."""
    without = 0
    attack.colleague.kill()
    for number in range(times):
        for service in attack.services.values():
            service.kill()
        attack.world.clear_cache()
        attack.services["healthmgr"] = attack.world.start_service("healthmgr")
        daemons = [attack.world.start_daemon(user=user) for user in (COLLEAGUE, "root", COLLEAGUE)]
        keys = [f"{attack.key}{each}/x" for each in range(len(daemons))]
        for daemon, key in zip(daemons, keys):
            daemon.tell(f"init {key} 2")
            daemon.tell(f"add {key} M /s 1")
        attack.services["logmgr"] = attack.world.start_service("logmgr")
        for daemon in daemons:
            daemon.collect()
        attack.wait_until("the root is at critical", lambda: attack.root_health() == 4, 10)
        started = [*daemons, *attack.services.values()]
        without += sum("reportCacheFailure" in each.log() for each in started)
        for daemon in daemons:
            daemon.kill()
    attack.expect(without == 0, f"{without} of {times * 5} programs that start have no data cache")
    attack.number(f"{times} times all start at once: {without} programs without a data cache")
    attack.wait_until("logmgr owns its name", lambda: attack.client.owner("com.vexa.olvar.logmgr"))


KINDS = ("symlinks", "new-symlinks", "hardlinks", "pipes", "devices", "folders", "sockets")


def links(seconds):
    """A reporter puts links, pipes, devices and folders where the services
    have or may create files. Earlier, root and the services followed them.
    Nothing outside may change, and everything has to start and work."""
    with Attack("links", up=False) as attack:
        planted = {}
        for kind in KINDS:
            canary, before = _canaries()
            target = CANARIES / "etc/new" if kind == "new-symlinks" else canary
            attacker = attack.world.attacker(REPORTER, "plant", kind.replace("new-", ""), target,
                                             CACHE, RUNTIME, RUNTIME / "sel", CONFIG, STATE,
                                             STATE / "sel")
            planted[kind] = int(attacker.hear())
            try:
                _start_and_work(attack)
            except Exception as failure:  # noqa: BLE001 - any failure is a finding
                attack.expect(False, f"{kind}: {type(failure).__name__}: {failure}")
            attacker.kill()
            for changed in _changes(before):
                attack.expect(False, f"{kind}: outside, {changed}")
            attack.world.clear_all()
        attack.expect(planted["symlinks"] > 100, f"only {planted['symlinks']} links were made")
        attack.number("planted: " + ", ".join(f"{n} {kind}" for kind, n in planted.items()))
        attack.raise_services()
        attack.raise_colleague()
        _hostile_names(attack)
        return attack


def _start_and_work(attack):
    """Starts and ends all programs, root's included."""
    attack.raise_services()
    attack.raise_colleague()
    attack.fault_comes_and_goes()
    attack.daemon_starts()
    attack.daemon_starts("root")
    attack.attribute_is_set()
    tool = attack.world.build / "tools/healthctl/healthctl"
    attack.said("root's `healthctl lcd set`", "root", tool, "lcd", "set", "hideerrs", "7",
                most=STARTED_BY)
    attack.event_is_stored()
    attack.said("`healthctl doctor`", "root", tool, "tree", most=STARTED_BY)
    attack.colleague.end()
    for service in attack.services.values():
        service.signal(15)
        service.wait()


def _canaries():
    """Creates a file of root's outside the project's folders, and returns it
    and the state of all of them."""
    shutil.rmtree(CANARIES, ignore_errors=True)
    (CANARIES / "etc").mkdir(parents=True)
    CANARIES.chmod(0o755)
    for name in ("canary", "etc/shadow"):
        (CANARIES / name).write_text("root's alone\n")
        (CANARIES / name).chmod(0o644)
    return CANARIES / "canary", _look()


def _look():
    seen = {}
    for path in sorted([CANARIES, *CANARIES.rglob("*")]):
        status = path.lstat()
        held = path.read_bytes() if path.is_file() else b""
        # A hard link to the file does not change it.
        seen[path] = (status.st_mode, status.st_uid, status.st_gid, status.st_mtime_ns, held)
    return seen


def _changes(before):
    after = _look()
    for path in sorted(set(before) | set(after)):
        if before.get(path) != after.get(path):
            yield f"{path.relative_to(CANARIES)} was {before.get(path)} and is {after.get(path)}"


def _hostile_names(attack):
    """Attribute names that could mean something else in the attribute file or
    its path."""
    service = ("com.vexa.olvar.healthmgr", "/com/vexa/olvar/healthmgr",
               "com.vexa.olvar.healthmgr.Attributes")
    before = _kept_attributes()
    names = ["a\nb", "../../x", "/etc/x", 'a":1,"b', "a'b", "a b", "", "n" * 256, "\u202ea"]
    for name in names:
        status, text = attack.world.run_as(OPERATOR, "busctl", "--system", "call", *service, "Set",
                                           "sis", name, "1", "any")
        attack.expect(status != 0, f"the attribute {name!r} is set: {text}")
    # The same by a program that links the library.
    daemon = attack.world.start_daemon(user=OPERATOR)
    for name in ("../../x", '"x', "a/b", "n" * 256):
        answer = daemon.ask(f"set {name} 1")
        attack.expect(answer != "0", f"the attribute {name!r} is set by CfgSetAttributeInt")
    daemon.kill()
    attack.expect(_kept_attributes() == before, "a refused name changes what is kept")
    attack.number(f"{len(names)} names that are none are refused")


def _kept_attributes():
    with contextlib.suppress(OSError):
        return (CONFIG / "attributes.json").read_text()
    return ""


def crowd(seconds):
    """A reporter creates more names in the data cache than readers look at:
    folders, hard links to a file in use, files in use. Running and new daemons
    must still be seen."""
    with Attack("crowd") as attack:
        for kind, most in (("folders", 70_000), ("hardlinks", 70_000), ("symlinks", 70_000),
                           ("files", 15_000)):
            attacker = attack.world.attacker(REPORTER, "crowd", kind, most, CACHE)
            made = int(attacker.hear(120))
            seen = attack.sees(attack.key, 3)
            attack.number(f"{made} {kind}: a query takes {seconds_text(seen)}")
            attack.fault_comes_and_goes()
            attack.daemon_starts()
            attack.manager_answers()
            attacker.kill()
            attack.live()
            attack.world.remove_planted()
        attack.quiet()
        return attack


def seconds_text(seconds):
    return f"{seconds:.2f} s"
