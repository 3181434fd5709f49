#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""A log manager that answers wrongly. Prints "ready" and ends when its input
ends.

    odd_log.py [gaps | late | once | always | dies | silent |
               masked]

Without an argument it announces further entries for ever without sending any,
and its numbers are texts. gaps: two of its entries cannot be decoded. late:
its first two cannot. once, always: it is cleared while it is listed, once or
each time. dies: it ends instead of answering. silent: it prints "asked" instead
of answering. masked: it answers with the error
of a bus whose systemd may not start it."""

import os
import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

INTERFACE = "com.vexa.olvar.logmgr.SEL"


NO_SEQUENCE = 2**64 - 1


class OldGeneration(dbus.DBusException):
    _dbus_error_name = "com.vexa.olvar.logmgr.Error.OldGeneration"


def entry(identifier):
    return dbus.Struct(
        (identifier, 5, ("", "", 0, 0), dbus.ByteArray(bytes(16))),
        signature="qu(ssyy)ay",
    )


class LogWithEntries(dbus.service.Object):
    """The entries 1 to 4; the log is cleared a given number of times while it
    is listed."""

    def __init__(self, bus, path, clears, identifiers):
        super().__init__(bus, path)
        self.clears = clears
        self.identifiers = identifiers

    @dbus.service.method(
        INTERFACE, in_signature="ttu", out_signature="ta(qu(ssyy)ay)tq"
    )
    def ListLog(self, generation, first, count):
        if generation == 0:
            return 7, [entry(self.identifiers[0])], 1, 4
        if self.clears > 0:
            self.clears -= 1
            raise OldGeneration("the log was cleared")
        return 7, [entry(each) for each in self.identifiers[1:]], NO_SEQUENCE, 4


    @dbus.service.method(
        "org.freedesktop.DBus.Properties", in_signature="s", out_signature="a{sv}"
    )
    def GetAll(self, interface):
        return {
            "Entries": dbus.UInt32(4),
            "Capacity": dbus.UInt32(4096),
            "OverflowPolicy": "refuse",
            "Overflow": dbus.Boolean(False),
            "LastAddition": dbus.UInt32(5),
            "LastErase": dbus.UInt32(0),
            "Generation": dbus.UInt64(7),
            "LastEntry": dbus.UInt16(4),
        }


class OddLog(dbus.service.Object):
    @dbus.service.method(
        INTERFACE, in_signature="ttu", out_signature="ta(qu(ssyy)ay)tq"
    )
    def ListLog(self, generation, first, count):
        return 1, dbus.Array([], signature="(qu(ssyy)ay)"), 1, 0

    @dbus.service.method(INTERFACE, in_signature="tq", out_signature="s")
    def ClearUpTo(self, generation, last):
        return "all"

    @dbus.service.method(
        "org.freedesktop.DBus.Properties", in_signature="s", out_signature="a{sv}"
    )
    def GetAll(self, interface):
        return {"Entries": "many"}


class LogThatDies(dbus.service.Object):
    """A log whose process ends when it is called."""

    @dbus.service.method(INTERFACE, in_signature="ttu", out_signature="t")
    def ListLog(self, generation, first, count):
        os._exit(1)

    @dbus.service.method(INTERFACE, in_signature="tq", out_signature="uq")
    def ClearUpTo(self, generation, last):
        os._exit(1)


class SilentLog(dbus.service.Object):
    """A log that tells of a call and never answers it."""

    @dbus.service.method(
        INTERFACE,
        in_signature="ttu",
        out_signature="t",
        async_callbacks=("answer", "fail"),
    )
    def ListLog(self, generation, first, count, answer, fail):
        print("asked", flush=True)

    @dbus.service.method(
        INTERFACE,
        in_signature="tq",
        out_signature="uq",
        async_callbacks=("answer", "fail"),
    )
    def ClearUpTo(self, generation, last, answer, fail):
        print("asked", flush=True)


class UnitMasked(dbus.DBusException):
    _dbus_error_name = "org.freedesktop.systemd1.UnitMasked"


class MaskedLog(dbus.service.Object):
    @dbus.service.method(INTERFACE, in_signature="ttu", out_signature="t")
    def ListLog(self, generation, first, count):
        raise UnitMasked("Unit logmgr.service is masked.")

    @dbus.service.method(INTERFACE, in_signature="tq", out_signature="uq")
    def ClearUpTo(self, generation, last):
        raise UnitMasked("Unit logmgr.service is masked.")


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SystemBus()
    name = dbus.service.BusName("com.vexa.olvar.logmgr", bus)
    path = "/com/vexa/olvar/logmgr/SEL"
    services = {
        "gaps": lambda: LogWithEntries(bus, path, 0, [1, 3]),
        "late": lambda: LogWithEntries(bus, path, 0, [3, 4]),
        "once": lambda: LogWithEntries(bus, path, 1, [1, 2, 3, 4]),
        "always": lambda: LogWithEntries(bus, path, 1000, [1, 2, 3, 4]),
        "dies": lambda: LogThatDies(bus, path),
        "silent": lambda: SilentLog(bus, path),
        "masked": lambda: MaskedLog(bus, path),
    }
    mode = sys.argv[1] if len(sys.argv) > 1 else ""
    service = services.get(mode, lambda: OddLog(bus, path))()
    loop = GLib.MainLoop()
    GLib.io_add_watch(sys.stdin, GLib.IO_HUP, lambda *_: loop.quit())
    print("ready", flush=True)
    loop.run()
    del service, name


if __name__ == "__main__":
    main()
