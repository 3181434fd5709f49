# SPDX-License-Identifier: Apache-2.0
"""Attacks on records: processes that are stopped while they read or write, and
made-up content."""

import itertools
import random
import signal
import time

from attack_scene import ANSWERED, Attack, content
from attack_world import CACHE, COLLEAGUE, OUTSIDER, REPORTER
from observation import ROOT

# So small that space kept by a stopped reader would fill it.
SMALL_CACHE = {"HEALTHINTF_CACHE_MIB": "16"}
# The time in seconds that measurements may differ by chance.
CHANCE = 0.3


def stopped_readers(seconds):
    """An outsider's and a reporter's programs are stopped while they read.
    Earlier, the space of removed records could not be used again: the data
    cache was soon full, healthmgr retried without end, and a dead daemon's
    fault stayed at the root."""
    with Attack("stopped-readers", SMALL_CACHE) as attack:
        many = [f"{ROOT}/many{d}/c{c:02}" for d in range(5) for c in range(40)]
        holder = attack.daemon(many)
        holder.collect(patience=120)
        attack.tell_all(holder, (f"add {key} M{n} /s{n} 2" for key in many for n in range(10)))
        before = _rate(attack)
        readers = list(_stop_at_random(attack, 20))
        logged = {name: each.log().count("\n") for name, each in attack.services.items()}
        during = _rate(attack, 20_000)
        attack.expect(during <= 2 * before + CHANCE / 1000,
                      f"an addition takes {during * 1e6:.0f} instead of {before * 1e6:.0f} us")
        attack.number(f"{len(readers)} programs stopped while they read; an addition and a "
                      f"removal take {during * 1e6:.0f} us, {before * 1e6:.0f} us before")
        attack.all_works()
        attack.idle()
        attack.quiet(logged)
        attack.live()
        holder.kill()
        for reader in readers:
            reader.kill()
        return attack


def _rate(attack, changes=2000):
    """Seconds for an addition and a removal, with texts of different length.
    """
    long_text = "x" * 400
    begin = time.monotonic()
    lines = itertools.chain.from_iterable(
        (f"add {attack.key} R /{long_text}{n} 3", f"remove {attack.key} R /{long_text}{n}")
        for n in range(changes))
    answers = attack.tell_all(attack.colleague, lines)
    attack.expect(answers == {"0": 2 * changes}, f"additions and removals are answered {answers}")
    return (time.monotonic() - begin) / changes


def _stop_at_random(attack, wanted):
    """Starts programs that read everything repeatedly, and stops them at a
    random point."""
    generator = random.Random(7)
    for number in range(wanted):
        reader = attack.world.start_daemon(user=(OUTSIDER, REPORTER)[number % 2])
        reader.ask("count")
        for _ in range(1000):
            reader.tell("count")
        time.sleep(generator.uniform(0.001, 0.03))
        reader.signal(signal.SIGSTOP)
        yield reader


def stopped_writers(seconds):
    """A reporter's daemons are stopped while they write. Earlier, all other
    writers waited for ever, AddSEL and GetEntry too, and a restarted logmgr
    got no bus name."""
    with Attack("stopped-writers") as attack:
        attack.event_is_stored()
        generator = random.Random(5)
        stopped = []
        for number in range(80):
            key = f"{ROOT}/storm{number:02}"
            writer = attack.world.start_daemon(user=REPORTER)
            writer.ask(f"init {key} 2")
            for n in range(400):
                writer.tell(f"add {key} S /s{n} 3")
                writer.tell(f"remove {key} S /s{n}")
            time.sleep(generator.uniform(0.001, 0.03))
            writer.signal(signal.SIGSTOP)
            stopped.append(writer)
        attack.number(f"{len(stopped)} writers stopped")
        attack.all_works()
        attack.said("GetEntry", OUTSIDER, "busctl", "--system", "--timeout=20", "call",
                    "com.vexa.olvar.logmgr", "/com/vexa/olvar/logmgr/SEL",
                    "com.vexa.olvar.logmgr.SEL", "GetEntry", "q", "1", most=ANSWERED)
        attack.restart("logmgr")
        attack.restart("healthmgr")
        attack.wait_until("the root is at warning", lambda: attack.root_health() == 3, 10)
        attack.all_works()
        attack.idle()
        attack.live()
        for writer in stopped:
            writer.kill()
        attack.all_works()
        return attack


def scribbled_segments(seconds):
    """A reporter truncates, extends, overwrites and removes all files of the
    data cache that it may write, and creates others, while other processes
    read. Earlier, SIGBUS killed readers of a truncated file."""
    with Attack("scribble") as attack:
        keys = [f"{ROOT}/whole{n}" for n in range(5)]
        whole = attack.daemon(keys)
        whole.collect()
        attack.tell_all(whole, (f"message {key} M /w{n} one two" for key in keys for n in range(2)))
        wanted = _faults(attack, "whole")
        attack.services["hostile"] = hostile = attack.world.start_daemon(user=REPORTER)
        hostile.ask(f"init {ROOT}/hostile 2")
        attack.tell_all(hostile, (f"add {ROOT}/hostile H /h{n} 3" for n in range(10)))
        before = attack.memory()
        attacker = attack.world.attacker(REPORTER, "scribble", seconds, CACHE)
        reads, end = 0, time.monotonic() + seconds
        while time.monotonic() < end:
            seen = _faults(attack, "whole")
            attack.expect(seen == wanted, f"of others' {len(wanted)} faults {len(seen)} are whole")
            reads += 1
            if not hostile.alive():
                hostile = attack.world.start_daemon(user=REPORTER)
                hostile.tell(f"init {ROOT}/hostile 2")
                for n in range(10):
                    hostile.tell(f"add {ROOT}/hostile H /h{n} 3")
            if reads == 5:
                attack.manager_answers()
                attack.event_is_stored()
        changed = attacker.hear(120)
        attack.expect(int(changed) > 100, f"only {changed} changes were made")
        attack.number(f"{changed} changes, {reads} queries")
        attack.services.pop("hostile")
        attack.live()
        attack.expect(whole.alive(), "a daemon has ended")
        attacker.kill()
        if hostile.alive():
            hostile.kill()
        attack.wait_until("the root is at warning", lambda: attack.root_health() == 3, 10)
        attack.all_works()
        attack.small({name: before[name] for name in attack.services})
        attack.quiet()
        return attack


def _faults(attack, word):
    status, text = attack.world.dump(COLLEAGUE)
    attack.expect(status == 0, f"a query ends with {status}: {text[-300:]}")
    return sorted(str(fault) for fault in content(text)["faults"] if word in fault["path"])


def leases(seconds):
    """A reporter holds leases on its files in the data cache: a blocking
    open() would wait for 45 seconds."""
    with Attack("leases") as attack:
        attacker = attack.world.attacker(REPORTER, "lease", CACHE)
        held = int(attacker.hear())
        attack.expect(held > 0, "no lease is granted")
        attack.number(f"{held} leases")
        attack.all_works()
        attack.live()
        attack.expect(attacker.alive(), "the attacker has ended")
        attacker.kill()
        return attack
