# SPDX-License-Identifier: Apache-2.0
"""What the operator's tool tells and does beside the packaged services."""

from bus import LOG, OPERATOR, REPORTER, TREE
from places import Refused, eventually

RECORD = "16000200000000200004040701000000"
NOT_PERMITTED = 4


class OperatorsTool:
    """Checks of healthctl beside units that run."""

    def tool(self, *command, **user):
        return self.root.run("healthctl", *command, **user)

    def refused(self, *command, **user):
        """Expects that a user may not do it, without one a stranger."""
        try:
            self.tool(*command, **(user or {"user": "nobody"}))
        except Refused as refusal:
            assert refusal.status == NOT_PERMITTED, (command, refusal)
            return
        raise AssertionError(f"allowed: {command}")

    def check_operators_tool_shows_the_fault(self):
        shown = self.tool("tree", "--faults")
        assert "not-there" in shown and "critical" in shown, shown

    def check_doctor_finds_no_problem(self):
        # It ends with another status when there is one.
        for user in [{}, REPORTER, OPERATOR]:
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
                        "dismiss packaged/process", "lcd set hideerrs 1",
                        "raise a HostMonitor.1.0.ProcessMissing x 0 1",
                        "clear --all"]:
            self.refused(*command.split())
        assert (self.tool("sel", "list"), self.tool("lcd", "get")) == before
        assert self.health(TREE) == "u 4"

    def check_tool_does_for_each_group_only_what_is_its(self):
        before = self.tool("sel", "list"), self.tool("lcd", "get")
        self.refused("sel", "add", RECORD, **OPERATOR)
        for command in ["sel clear --yes", "hide --component packaged/process",
                        "dismiss packaged/process", "lcd set hideerrs 1",
                        "raise a HostMonitor.1.0.ProcessMissing x 0 1"]:
            self.refused(*command.split(), **REPORTER)
        assert (self.tool("sel", "list"), self.tool("lcd", "get")) == before

    def check_operator_hides_and_shows_by_the_tool(self):
        for name, health in [("hide", "u 3"), ("unhide", "u 4")]:
            self.tool(name, "--component", "packaged/process", **OPERATOR)
            eventually(name, lambda health=health:
                       self.health(TREE) == health)

    def check_operator_raises_and_clears_by_the_tool(self):
        self.tool("raise", "--trial", "drill",
                  "HostMonitor.1.0.ProcessMissing", "x", "0", "1", **OPERATOR)
        assert "(trial)" in self.tool("tree", "--faults", user="nobody")
        self.tool("clear", "drill", **OPERATOR)
        assert "(trial)" not in self.tool("tree", "--faults", user="nobody")

    def check_operator_sets_attributes_by_the_tool(self):
        for value, health in [("0", "u 2"), ("1", "u 4")]:
            self.tool("lcd", "set", "hideerrs", value, **OPERATOR)
            eventually(f"hideerrs {value}", lambda health=health:
                       self.health(TREE) == health)

    def check_reporter_adds_and_operator_clears_by_the_tool(self):
        for reporter, operator in [(REPORTER, OPERATOR), ({}, {})]:
            self.tool("sel", "add", RECORD, **reporter)
            self.tool("sel", "clear", "--yes", **operator)
            assert self.as_stranger("get-property", *LOG, "Entries") == "u 0\n"
