# SPDX-License-Identifier: Apache-2.0
"""What users may do on the bus and with the files of the packages."""

from bus import (BUS, DISMISS, LOG, MANAGER, NODE, OPERATOR, RECORD, REPORTER,
                 SILENCES, STATE, TREE)
from places import Refused, eventually


class Rights:
    """Checks beside units that run; hostmon has a fault."""

    def check_stranger_reads_everything(self):
        assert TREE + "/packaged" in self.as_stranger("tree", "--list", MANAGER)
        self.busctl("call", *LOG, "AddSEL", "(ssyy)ay", "Fan 7", "/fan7", "4",
                    "0", *RECORD)
        assert "Fan 7" in self.as_stranger("call", *LOG, "ListEntries", "qu",
                                           "0", "0")
        assert "Fan 7" in self.as_stranger("call", *LOG, "ListLog", "ttu", "0",
                                           "0", "0")
        assert "refuse" in self.as_stranger("introspect", *LOG)

    def check_stranger_changes_nothing(self):
        self.denied("call", *LOG, "Clear")
        self.denied("call", *LOG, "ClearUpTo", "tq", "0", "65535")
        self.denied("call", *DISMISS, TREE + "/packaged")
        self.denied("call", *SILENCES, "End", "t", "1")
        self.denied("call", *LOG, "AddSEL", "(ssyy)ay", "", "", "0", "0", "0")
        self.denied("call", MANAGER, TREE, MANAGER, "AddHealthObject", "s",
                    TREE + "/mine")
        for name in [MANAGER, LOG[0], "com.vexa.olvar.any"]:
            self.denied("call", *BUS, "RequestName", "su", name, "0")
        self.as_stranger("emit", "/x", NODE, "HealthStatusUpdate", "ssu", TREE,
                         TREE + "/packaged", "0")
        self.as_stranger("emit", TREE, MANAGER, "HideFaultForSensor", "bssi",
                         "true", TREE + "/packaged/process", "", "0")
        assert "Hidden\" b false" in self.objects_of(
            self.units["hostmon"].process.pid)
        assert self.health(TREE) == "u 4"
        assert self.as_stranger("get-property", *LOG, "Entries") == "u 1\n"

    def check_files_are_for_the_services_alone(self):
        stranger = {"user": "nobody"}
        for user in [stranger, REPORTER, OPERATOR]:
            for command in [["touch", STATE + "/config/attributes.json"],
                            ["touch", STATE + "/config/any"],
                            ["touch", STATE + "/healthmgr/any"],
                            ["touch", STATE + "/any"],
                            ["ls", STATE + "/sel"],
                            ["touch", "/run/healthintf/any"],
                            ["touch", "/run/healthintf/healthmgr/any"],
                            ["touch", "/run/healthintf/sel/any"]]:
                self.refused_by_the_files(command, user)
        for user in [stranger, OPERATOR]:
            self.refused_by_the_files(
                ["touch", "/run/healthintf/datacache/any"], user)
        self.root.run("touch", "/run/healthintf/datacache/any", **REPORTER)
        # healthmgr may have removed it already.
        self.root.run("rm", "--force", "/run/healthintf/datacache/any",
                      **REPORTER)

    def refused_by_the_files(self, command, user):
        try:
            self.root.run(*command, **user)
        except Refused as refusal:
            assert "ermission denied" in str(refusal), refusal
            return
        raise AssertionError(f"allowed to {user}: {command}")

    def check_reporter_does_not_operate(self):
        self.denied("call", *LOG, "Clear", **REPORTER)
        self.denied("call", MANAGER, "/com/vexa/olvar/healthmgr",
                    MANAGER + ".Attributes", "Set", "sis", "any", "1", "any",
                    **REPORTER)
        self.denied("call", *DISMISS, TREE + "/packaged", **REPORTER)
        self.as_reporter("emit", TREE, MANAGER, "HideFaultForSensor", "bssi",
                         "true", TREE + "/packaged/process", "", "0")
        assert "Hidden\" b false" in self.objects_of(
            self.units["hostmon"].process.pid)

    def check_operator_does_not_report(self):
        self.denied("call", *LOG, "AddSEL", "(ssyy)ay", "", "", "0", "0", "0",
                    **OPERATOR)
        self.denied("call", MANAGER, TREE, MANAGER, "AddHealthObject", "s",
                    TREE + "/mine", **OPERATOR)
        self.as_operator("emit", "/x", NODE, "HealthStatusUpdate", "ssu", TREE,
                         TREE + "/packaged", "0")
        assert self.health(TREE) == "u 4"

    def check_operator_hides_and_clears(self):
        self.as_operator("emit", TREE, MANAGER, "HideFaultForSensor", "bssi",
                         "true", TREE + "/packaged/process", "", "0")
        eventually("hidden", lambda: self.health(TREE) == "u 3")
        assert self.as_operator("call", *LOG, "Clear") == "u 1\n"

    def check_operator_silences(self):
        # Of no sensor that there is.
        number = self.as_operator(
            "call", *SILENCES, "Add", "a{sv}", "3", "SensorNumber", "u",
            "99999", "Seconds", "u", "600", "Comment", "s", "why").split()[1]
        assert "why" in self.as_stranger("call", *SILENCES, "List")
        self.as_operator("call", *SILENCES, "End", "t", number)
        assert "why" not in self.as_stranger("call", *SILENCES, "List")

    def check_operator_dismisses_lost_monitors(self):
        try:
            self.as_operator("call", *DISMISS, TREE + "/packaged")
        except Refused as refusal:
            assert "has no lost monitor" in str(refusal), refusal
            return
        raise AssertionError("dismissed what was not lost")
