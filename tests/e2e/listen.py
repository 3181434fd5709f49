# SPDX-License-Identifier: Apache-2.0
"""Prints "listening", waits for one signal FaultEntryAdded, and prints its
path, signature and arguments as JSON."""

import json
import sys

import dbus
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

DBusGMainLoop(set_as_default=True)
loop = GLib.MainLoop()


def take(*arguments, message):
    print(
        json.dumps(
            {
                "path": message.get_path(),
                "interface": message.get_interface(),
                "signature": message.get_signature(),
                "arguments": arguments,
            }
        )
    )
    sys.stdout.flush()
    loop.quit()


dbus.SystemBus().add_signal_receiver(
    take, signal_name="FaultEntryAdded", message_keyword="message"
)
print("listening")
sys.stdout.flush()
loop.run()
