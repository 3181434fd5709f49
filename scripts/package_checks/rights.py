"""What users may do on the bus and with the files of the packages."""

from bus import BUS, LOG, MANAGER, NODE, RECORD, STATE, TREE
from places import Refused, eventually


class Rights:
    """Checks beside units that run; hostmon has a fault."""

    def check_stranger_reads_everything(self):
        assert TREE + "/packaged" in self.as_stranger("tree", "--list", MANAGER)
        self.busctl("call", *LOG, "AddSEL", "(ssyy)ay", "Fan 7", "/fan7", "4",
                    "0", *RECORD)
        assert "Fan 7" in self.as_stranger("call", *LOG, "ListEntries", "qu",
                                           "0", "0")
        assert "refuse" in self.as_stranger("introspect", *LOG)

    def check_stranger_changes_nothing(self):
        self.denied("call", *LOG, "Clear")
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

    def check_stranger_has_no_way_by_the_files(self):
        for command in [["touch", STATE + "/config/attributes.json"],
                        ["ls", STATE + "/sel"],
                        ["touch", "/run/healthintf/datacache/data.mdb"]]:
            try:
                self.root.run(*command, user="nobody")
            except Refused as refusal:
                assert "ermission denied" in str(refusal), refusal
                continue
            raise AssertionError(f"allowed: {command}")

    def check_member_hides_and_clears(self):
        self.as_member("emit", TREE, MANAGER, "HideFaultForSensor", "bssi",
                       "true", TREE + "/packaged/process", "", "0")
        eventually("hidden", lambda: self.health(TREE) == "u 3")
        assert self.as_member("call", *LOG, "Clear") == "u 1\n"
