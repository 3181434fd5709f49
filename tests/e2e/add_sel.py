# SPDX-License-Identifier: Apache-2.0
"""Calls AddSEL of logmgr and prints the record's identifier, or an error's
name and, after a colon, its text.

    add_sel.py SIGNATURE ARGUMENTS-AS-JSON

An array of bytes is given as hexadecimal digits."""

import json
import sys

import dbus


def argument(signature, value):
    if signature == "ay":
        return dbus.ByteArray(bytes.fromhex(value))
    if signature.startswith("("):
        return dbus.Struct(value, signature=signature[1:-1])
    return value


log = dbus.SystemBus().get_object(
    "com.vexa.olvar.logmgr", "/com/vexa/olvar/logmgr/SEL", introspect=False
)
signatures = list(dbus.Signature(sys.argv[1]))
values = json.loads(sys.argv[2])
try:
    answer = log.get_dbus_method("AddSEL", "com.vexa.olvar.logmgr.SEL")(
        *map(argument, signatures, values), signature=sys.argv[1]
    )
    print(int(answer))
except dbus.DBusException as error:
    print(f"{error.get_dbus_name()}: {error.get_dbus_message()}")
