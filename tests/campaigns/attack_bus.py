# SPDX-License-Identifier: Apache-2.0
"""Attacks on the bus: unexpected messages, floods, and calls without the right
to make them."""

import time
import urllib.request

import bus_view
from attack_scene import ANSWERED, GROWTH, MANAGER, RECORD, Attack
from attack_world import COLLEAGUE, OPERATOR, OUTSIDER, REPORTER
from observation import ROOT, mib, own

NODE = f"{MANAGER}.HealthStatus"
LOG = bus_view.LOG
# Seconds until the records are right again: the bus may drop a reply during the
# flood, which is noticed after 5 seconds.
RIGHT_BY = 10.0


def forged_health(seconds):
    """A reporter reports made-up children, 40,000 keys, and 40 keys of 25 MiB,
    and disconnects. Earlier, the parents kept its values and healthmgr took a
    gigabyte."""
    with Attack("health") as attack:
        parent = attack.daemon([f"{ROOT}/a"])
        parent.collect()
        before = attack.memory()
        parent_before = own(parent)
        attacker = attack.world.attacker(REPORTER, "updates")
        attacker.hear(180)
        attack.manager_answers()
        attacker.kill()
        right = attack.wait_until(
            "the root is right", lambda: attack.root_health() == 3
            and attack.shown_health(f"{ROOT}/a") == 2, 30)
        attack.expect(right < RIGHT_BY, f"the parents are right after {right:.1f} s")
        attack.number(f"right {right:.2f} s after the last of 40,049 updates")
        attack.small(before)
        attack.expect(own(parent) - parent_before < GROWTH,
                      f"a component grows by {mib(own(parent) - parent_before)}")
        peak = attack.services["healthmgr"].status("VmHWM")
        attack.number(f"healthmgr had {mib(peak)} at most")
        attack.all_works()
        attack.quiet()
        attack.idle()
        attack.live()
        return attack


def many_requests(seconds):
    """A reporter requests 1,500 nodes and disconnects. Earlier, all slots
    stayed taken for ever."""
    with Attack("requests") as attack:
        attacker = attack.world.attacker(REPORTER, "requests", 1500)
        made = int(attacker.hear(60))
        attack.number(f"{made} of 1,500 nodes were made for one user")
        attack.all_works()
        attacker.kill()
        attack.all_works()
        attack.quiet()
        attack.live()
        return attack


def long_hide_texts(seconds):
    """An operator hides by texts of 25 MiB. Earlier, every component kept
    them."""
    with Attack("hide") as attack:
        daemons = {"a component": attack.colleague, **attack.services}
        before = {name: own(program) for name, program in daemons.items()}
        attacker = attack.world.attacker(OPERATOR, "hide", 25 << 20, 6)
        attacker.hear(120)
        # The bus has to deliver 300 MiB to each of them.
        for name in (attack.client.owner(MANAGER), attack.colleague_name):
            attack.client.ping(name, 60)
        attack.manager_answers()
        attack.fault_comes_and_goes()
        for name, program in daemons.items():
            grown = own(program) - before[name]
            attack.expect(grown < GROWTH, f"{name} grows by {mib(grown)}")
            attack.number(f"{name} grows by {mib(max(grown, 0))}")
        attacker.kill()
        attack.all_works()
        attack.live()
        return attack


def list_flood(seconds, entries=2000):
    """An outsider asks for the log over 200 connections, 20 times each at
    once. Earlier, a reporter's AddSEL failed after 25 s and logmgr took 317
    MiB."""
    with Attack("lists") as attack:
        for number in range(entries):
            attack.client.add_event("/s" * 100, bytes([0, 0, 2, *[0] * 13]))
        before = attack.memory()["logmgr"]
        attacker = attack.world.attacker(OUTSIDER, "lists", 200)
        attacker.hear(60)
        slowest, largest, asked = 0.0, 0, 0
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            slowest = max(slowest, attack.event_is_stored()[1])
            largest = max(largest, own(attack.services["logmgr"]))
            asked += 1
            time.sleep(0.05)
        attack.number(f"{asked} AddSEL, the slowest in {slowest:.2f} s with the start of busctl")
        attack.expect(largest - before < 150 * 1024, f"logmgr grows by {mib(largest - before)}")
        attack.number(f"logmgr grows by {mib(max(largest - before, 0))}")
        _colleague_lists(attack)
        attack.expect(attacker.alive(), "the flood has ended")
        attack.live()
        attacker.kill()
        attack.all_works()
        attack.quiet()
        return attack


def _colleague_lists(attack):
    """Another user's list is answered in time."""
    service, path, interface = LOG
    _, took = attack.said("another user's ListEntries", COLLEAGUE, "busctl", "--system",
                          "--timeout=20", "call", service, path, interface, "ListEntries", "qu",
                          "0", "0", most=2 * ANSWERED)
    attack.number(f"another user's list takes {took:.2f} s")


def idle_connections(seconds):
    """An outsider holds 1,000 connections to the exporter and sends nothing or
    half a request. Earlier, no scrape got through."""
    with Attack("exporter") as attack:
        exporter = attack.world.start_service("health-exporter", "--listen", "127.0.0.1:0")
        attack.services["health-exporter"] = exporter
        port = exporter.hear().split()[-1]
        _scrape(attack, port)
        attacker = attack.world.attacker(OUTSIDER, "idle", port, 1000)
        held = int(attacker.hear(120))
        attack.expect(held > 500, f"only {held} connections were made")
        attack.number(f"{held} connections")
        slowest = 0.0
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            slowest = max(slowest, _scrape(attack, port))
            time.sleep(0.2)
        attack.number(f"the slowest scrape takes {slowest:.2f} s")
        attack.live()
        attack.quiet()
        attacker.kill()
        _scrape(attack, port)
        return attack


def _scrape(attack, port):
    def scrape():
        with urllib.request.urlopen(f"http://127.0.0.1:{port}/metrics", timeout=10) as answer:
            return answer.read().decode()

    text, took = attack.timed("a scrape", scrape, ANSWERED)
    attack.expect("healthintf_node_health" in text, f"a scrape gives {text[:100]!r}")
    return took


# Denied operations: calls, or the bus's reply to a request for a name.
CALLS = {
    "Clear": (*LOG, "Clear"),
    "AddSEL": (*LOG, "AddSEL", "(ssyy)ay", "", "", "4", "0", *RECORD),
    "AddHealthObject": (MANAGER, "/com/vexa/olvar/healthmgr", MANAGER, "AddHealthObject", "s",
                        f"{ROOT}/forged"),
    "Set": (MANAGER, "/com/vexa/olvar/healthmgr", f"{MANAGER}.Attributes", "Set", "sis", "any",
            "1", "any"),
    "Dismiss": (MANAGER, "/com/vexa/olvar/healthmgr", f"{MANAGER}.LostMonitors", "Dismiss", "s",
                ROOT),
    # Each of them is refused by healthmgr itself, if by anybody.
    "Add of silences": (MANAGER, "/com/vexa/olvar/healthmgr", f"{MANAGER}.Silences", "Add",
                        "a{sv}", "0"),
    "End of silences": (MANAGER, "/com/vexa/olvar/healthmgr", f"{MANAGER}.Silences", "End", "t",
                        "1"),
    "Acknowledge": (MANAGER, "/com/vexa/olvar/healthmgr", f"{MANAGER}.Acknowledgements",
                    "Acknowledge", "ss", ROOT, "why"),
    "Withdraw": (MANAGER, "/com/vexa/olvar/healthmgr", f"{MANAGER}.Acknowledgements",
                 "Withdraw", "s", ROOT),
    **{f"own {name}": (*bus_view.BUS, "RequestName", "su", name, "0")
       for name in (MANAGER, LOG[0])},
}
SIGNALS = {
    "HideFaultForSensor": (ROOT, MANAGER, "HideFaultForSensor", "(bssi)", (True, "", "/s", 0)),
    "HealthStatusUpdate": ("/x", NODE, "HealthStatusUpdate", "(ssu)", (ROOT, f"{ROOT}/x", 4)),
    "FaultEntryAdded": ("/x", f"{MANAGER}.FaultEntry", "FaultEntryAdded", "(s)", ("x",)),
    "InterfacesRemoved": (ROOT, "org.freedesktop.DBus.ObjectManager", "InterfacesRemoved",
                          "(oas)", (f"{ROOT}/colleague", [])),
    "Notified": ("/com/vexa/olvar/notification", "com.vexa.olvar.Notification", "Notified",
                 "(s)", ("any",)),
    "SignalSELEvent": (LOG[1], LOG[2], "SignalSELEvent", "(ay)", (bytes(16),)),
    "SignalSELEvent of any interface": (LOG[1], "any.Interface", "SignalSELEvent", "(ay)",
                                        (bytes(16),)),
    "SilenceEnded": ("/com/vexa/olvar/healthmgr", f"{MANAGER}.Silences", "SilenceEnded",
                     "(a{sv})", ({},)),
    "Withdrawn": ("/com/vexa/olvar/healthmgr", f"{MANAGER}.Acknowledgements", "Withdrawn",
                  "(a{sv})", ({},)),
    "ClearedSelEntries": (LOG[1], LOG[2], "ClearedSelEntries", "()", ()),
}
OWN_ANSWERS = ("has no lost monitor", "a silence is of one", "there is no silence",
               "there is no such fault", "is not acknowledged")
NODES = {"HealthStatusUpdate", "FaultEntryAdded", "InterfacesRemoved"}
RIGHTS = {
    OUTSIDER: set(),
    REPORTER: {"AddSEL", "AddHealthObject"} | NODES,
    OPERATOR: {"Clear", "Set", "Dismiss", "HideFaultForSensor", "Add of silences",
               "End of silences", "Acknowledge", "Withdraw"},
}


def forging(seconds):
    """Outsider, reporter and operator try each other's rights and those of the
    services, with broadcasts and with messages to one receiver. Each must have
    his own rights and no other; everybody may read."""
    with Attack("forging") as attack:
        attempts = 0
        for user, rights in RIGHTS.items():
            for right, call in CALLS.items():
                status, text = attack.world.run_as(user, "busctl", "--system", "call", *call)
                # These answers are healthmgr's own.
                served = status == 0 or any(answer in text for answer in OWN_ANSWERS)
                attack.expect(served == (right in rights),
                              f"{user}: {right}: status {status}: {text[-200:]}")
                attack.expect(served or "ccess denied" in text or "not allowed" in text,
                              f"{user}: {right}: {text[-200:]}")
                attempts += 1
            heard = _heard(attack, user)
            attack.expect(heard == (rights & set(SIGNALS)),
                          f"{user}: heard are {sorted(heard)} instead of "
                          f"{sorted(rights & set(SIGNALS))}")
            attempts += 2 * len(SIGNALS)
        attack.number(f"{attempts} attempts of {len(RIGHTS)} users")
        attack.live()
        return attack


def _heard(attack, user):
    """The signals of a user that reach any receiver."""
    import gi.repository.GLib as GLib

    heard = set()
    listener = bus_view.Client(attack.world.address)
    for right, (path, interface, member, *_) in SIGNALS.items():
        listener.raw.signal_subscribe(
            None, interface, member, path, None, 0,
            lambda *message, right=right: heard.add((message[1], right)))
    listener.call(*bus_view.BUS, "GetId")
    sender = attack.world.attacker(user, "signals", listener.raw.get_unique_name())
    name = sender.hear()
    # The bus replies after it has delivered all earlier messages.
    listener.call(*bus_view.BUS, "GetId")
    while GLib.MainContext.default().iteration(False):
        pass
    sender.end()
    listener.close()
    return {right for who, right in heard if who == name}
