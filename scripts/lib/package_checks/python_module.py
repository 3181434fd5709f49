# SPDX-License-Identifier: Apache-2.0
"""What a daemon in Python does with the packaged module and services."""

from bus import REPORTER, TREE

DAEMON = f"""
import healthintf

with healthintf.Bus() as bus:
    fan = bus.component("{TREE}/python")
    fan.add("HostMonitor.1.0.TemperatureCritical", ["fan 7", "101", "95"],
            sensor="/fan7")
    before = healthintf.count().visible
    fan.remove("HostMonitor.1.0.TemperatureCritical", "/fan7")
    print("faults", before - healthintf.count().visible)
"""


class PythonModule:
    """Checks of the module beside units that run."""

    def check_daemon_in_python_reports_a_fault(self):
        for user in [{}, REPORTER]:
            said = self.root.run("env", "HEALTHINTF_RUNTIME_DIR=/run/healthintf",
                                 "python3", "-c", DAEMON, **user)
            # The address of the component stands in front.
            assert said.endswith("faults 1\n"), said
