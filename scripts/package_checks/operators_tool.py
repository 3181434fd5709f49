"""What the operator's tool tells and does beside the packaged services."""

from bus import LOG, MEMBER, TREE
from places import Refused, eventually

RECORD = "16000200000000200004040701000000"
NOT_PERMITTED = 4


class OperatorsTool:
    """Checks of healthctl beside units that run."""

    def tool(self, *command, **user):
        return self.root.run("healthctl", *command, **user)

    def refused(self, *command):
        """Expects that a stranger may not do it."""
        try:
            self.tool(*command, user="nobody")
        except Refused as refusal:
            assert refusal.status == NOT_PERMITTED, (command, refusal)
            return
        raise AssertionError(f"allowed: {command}")

    def check_operators_tool_shows_the_fault(self):
        shown = self.tool("tree", "--faults")
        assert "not-there" in shown and "critical" in shown, shown

    def check_doctor_finds_no_problem(self):
        # It ends with another status when there is one.
        for user in [{}, MEMBER]:
            said = self.tool("doctor", **user)
            assert "\n0 problems, 0 warnings, " in said, said

    def check_stranger_reads_everything_by_the_tool(self):
        self.tool("sel", "add", "--name", "Fan 8", RECORD)
        for command in ["tree --faults", "faults", "top", "count", "leds",
                        "sel list", "sel info", "lcd get"]:
            words = command.split()
            assert self.tool(*words, user="nobody") == self.tool(*words), \
                command
        assert "Fan 8" in self.tool("sel", "list", user="nobody")

    def check_stranger_changes_nothing_by_the_tool(self):
        before = self.tool("sel", "list"), self.tool("lcd", "get")
        for command in ["sel clear --yes", f"sel add {RECORD}",
                        "hide --component packaged/process",
                        "lcd set hideerrs 1"]:
            self.refused(*command.split())
        assert (self.tool("sel", "list"), self.tool("lcd", "get")) == before
        assert self.health(TREE) == "u 4"

    def check_member_hides_and_shows_by_the_tool(self):
        for name, health in [("hide", "u 3"), ("unhide", "u 4")]:
            self.tool(name, "--component", "packaged/process", **MEMBER)
            eventually(name, lambda health=health:
                       self.health(TREE) == health)

    def check_member_sets_attributes_by_the_tool(self):
        for value, health in [("0", "u 2"), ("1", "u 4")]:
            self.tool("lcd", "set", "hideerrs", value, **MEMBER)
            eventually(f"hideerrs {value}", lambda health=health:
                       self.health(TREE) == health)

    def check_member_and_root_clear_by_the_tool(self):
        for user in [MEMBER, {}]:
            self.tool("sel", "add", RECORD, **user)
            self.tool("sel", "clear", "--yes", **user)
            assert self.as_stranger("get-property", *LOG, "Entries") == "u 0\n"
