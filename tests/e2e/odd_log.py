#!/usr/bin/python3
"""A log manager that answers oddly: it always has more entries and sends none,
and its numbers are texts. Writes "ready", and ends with its input."""

import sys

import dbus
import dbus.mainloop.glib
import dbus.service
from gi.repository import GLib

INTERFACE = "com.vexa.olvar.logmgr.SEL"


class OddLog(dbus.service.Object):
    @dbus.service.method(
        INTERFACE, in_signature="ttu", out_signature="ta(qu(ssyy)ay)t"
    )
    def ListLog(self, generation, first, count):
        return 1, dbus.Array([], signature="(qu(ssyy)ay)"), 1

    @dbus.service.method(INTERFACE, in_signature="tq", out_signature="s")
    def ClearUpTo(self, generation, last):
        return "all"

    @dbus.service.method(
        "org.freedesktop.DBus.Properties", in_signature="s", out_signature="a{sv}"
    )
    def GetAll(self, interface):
        return {"Entries": "many"}


def main():
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    bus = dbus.SystemBus()
    name = dbus.service.BusName("com.vexa.olvar.logmgr", bus)
    service = OddLog(bus, "/com/vexa/olvar/logmgr/SEL")
    loop = GLib.MainLoop()
    GLib.io_add_watch(sys.stdin, GLib.IO_HUP, lambda *_: loop.quit())
    print("ready", flush=True)
    loop.run()
    del service, name


if __name__ == "__main__":
    main()
