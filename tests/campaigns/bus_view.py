# SPDX-License-Identifier: Apache-2.0
"""The health tree and the log as a D-Bus client sees them."""

import contextlib
import time

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

ROOT = "/com/vexa/olvar/health"
HEALTH = "com.vexa.olvar.healthmgr.HealthStatus"
FAULT = "com.vexa.olvar.healthmgr.FaultEntry"
LOG = ("com.vexa.olvar.logmgr", "/com/vexa/olvar/logmgr/SEL", "com.vexa.olvar.logmgr.SEL")
HISTORY = (
    "com.vexa.olvar.logmgr.History",
    "/com/vexa/olvar/logmgr/history",
    "com.vexa.olvar.logmgr.History",
)
MANAGER = "com.vexa.olvar.healthmgr"
BUS = ("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus")
NO_ENTRY = 65535
# As many records as a page of the history may have.
MOST_RECORDS = 1000


class Client:
    """A connection to a bus."""

    def __init__(self, address):
        flags = Gio.DBusConnectionFlags
        self._connection = Gio.DBusConnection.new_for_address_sync(
            address,
            flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION,
            None,
            None,
        )
        self._pids = {}

    def close(self):
        # The connection may be closed already if its bus has ended.
        with contextlib.suppress(GLib.Error):
            self._connection.close_sync(None)

    def call(self, name, path, interface, member, arguments=None, patience=20.0):
        """Calls a method; an error reply raises GLib.Error."""
        reply = self._connection.call_sync(
            name,
            path,
            interface,
            member,
            arguments,
            None,
            Gio.DBusCallFlags.NO_AUTO_START,
            int(patience * 1000),
            None,
        )
        return reply.unpack()

    @property
    def raw(self):
        return self._connection

    def signal(self, path, interface, member, signature, arguments, receiver=None):
        """Queues a signal for everybody or one receiver; flush() sends it."""
        packed = GLib.Variant(signature, arguments)
        self._connection.emit_signal(receiver, path, interface, member, packed)

    def flush(self):
        self._connection.flush_sync(None)

    def names(self):
        """The unique names of all other connections."""
        own = self._connection.get_unique_name()
        names = self.call(*BUS, "ListNames")[0]
        return [name for name in names if name.startswith(":") and name != own]

    def pid(self, name):
        """The process of a connection; 0 if the connection is gone."""
        if name not in self._pids:
            asked = GLib.Variant("(s)", (name,))
            try:
                self._pids[name] = self.call(*BUS, "GetConnectionUnixProcessID", asked)[0]
            except GLib.Error:
                return 0
        return self._pids[name]

    def owner(self, name):
        """The connection that owns a name; empty if nobody does."""
        try:
            return self.call(*BUS, "GetNameOwner", GLib.Variant("(s)", (name,)))[0]
        except GLib.Error:
            return ""

    def ping(self, name, patience=20.0):
        """Waits until a connection has processed all earlier messages, or is
        gone."""
        end = time.monotonic() + patience
        while True:
            try:
                self.call(name, "/", "org.freedesktop.DBus.Peer", "Ping", None, patience)
                return
            except GLib.Error as error:
                # The bus refuses a message to a connection for which it keeps
                # too many.
                full = error.matches(Gio.dbus_error_quark(), Gio.DBusError.LIMITS_EXCEEDED)
                late = error.matches(Gio.io_error_quark(), Gio.IOErrorEnum.TIMED_OUT)
                if late or (full and time.monotonic() > end):
                    raise
                if not full:
                    return
            time.sleep(0.05)

    def objects(self, name, patience=20.0):
        """The objects of a connection below the root; empty if it has no
        component."""
        try:
            return self.call(
                name,
                ROOT,
                "org.freedesktop.DBus.ObjectManager",
                "GetManagedObjects",
                None,
                patience,
            )[0]
        except GLib.Error as error:
            if error.matches(Gio.io_error_quark(), Gio.IOErrorEnum.TIMED_OUT):
                raise
            return {}

    def health(self, name, key):
        """The health of a connection's node; None if it has no such node."""
        asked = GLib.Variant("(ss)", (HEALTH, "HealthStatus"))
        try:
            return self.call(name, key, "org.freedesktop.DBus.Properties", "Get", asked)[0]
        except GLib.Error:
            return None

    def tree(self):
        """All nodes, as (key, process) to health, and all faults, as path to
        (process, properties)."""
        nodes = {}
        faults = {}
        for name in self.names():
            objects = self.objects(name)
            if not objects:
                # GetManagedObjects does not list the manager's own path.
                root = self.health(name, ROOT)
                if root is not None:
                    nodes[ROOT, self.pid(name)] = root
                continue
            pid = self.pid(name)
            for path, interfaces in objects.items():
                if HEALTH in interfaces:
                    nodes[path, pid] = interfaces[HEALTH]["HealthStatus"]
                if FAULT in interfaces:
                    faults[path] = (pid, interfaces[FAULT])
            root = self.health(name, ROOT)
            if root is not None:
                nodes[ROOT, pid] = root
        return nodes, faults

    def add_event(self, sensor, record):
        """Stores a record in the log; returns its identifier."""
        arguments = GLib.Variant("((ssyy)ay)", (("sensor", sensor, 0, 0), record))
        return self.call(*LOG, "AddSEL", arguments)[0]

    def clear_log(self):
        return self.call(*LOG, "Clear")[0]

    def log_entries(self):
        """All entries of the log, in order."""
        entries = []
        following = 0
        while following != NO_ENTRY:
            asked = GLib.Variant("(qu)", (following, 0))
            page, following = self.call(*LOG, "ListEntries", asked)
            entries += page
        return entries

    def history(self, first):
        """The records of the history from a sequence number on."""
        records = []
        while True:
            asked = GLib.Variant("(tbua{sv})", (first, False, MOST_RECORDS, {}))
            page, following = self.call(*HISTORY, "Read", asked)
            records += page
            if following == 0:
                return records
            first = following
