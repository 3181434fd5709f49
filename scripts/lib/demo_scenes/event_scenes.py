# SPDX-License-Identifier: Apache-2.0
"""Scenes of sensors whose events go into the System Event Log."""

import subprocess

from health import ROOT
from stage import DEMO
from unexpected import PATIENCE_SECONDS, expect

# Which threshold a sensor crosses upwards, as IPMI numbers them.
NON_CRITICAL, CRITICAL = 7, 9

STORM = [(sensor, NON_CRITICAL) for sensor in range(1, 37)]
STORM += [(sensor, CRITICAL) for sensor in range(3, 36, 9)]


class Sensors:
    """A daemon that reports what it is told as its sensors' events."""

    def __init__(self, daemons):
        self.daemon = daemons.start(
            "sensor-events",
            [daemons.program("examples/sensor-events"), f"{DEMO}/cooling"],
            text=True,
            bufsize=1,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
        )
        self.expect_line("ready")

    def expect_line(self, wanted):
        line = self.daemon.stdout.readline().rstrip("\n")
        expect(f'sensor-events says "{line}", not "{wanted}"', line == wanted)

    def report(self, sensor, offset, deasserted=False):
        """A temperature that crosses one of its sensor's thresholds, or is
        back."""
        temperature, threshold_based, values_given = 0x01, 0x01, 0x50
        limit = 60 + 3 * offset
        direction = 0x80 if deasserted else 0
        record = bytes([0, 0, 2, 0, 0, 0, 0, 0x20, 0, 4, temperature, sensor])
        record += bytes([threshold_based | direction, values_given | offset])
        record += bytes([limit + sensor, limit])
        self.daemon.stdin.write(f"/sensors/temperature{sensor} {record.hex()}\n")
        self.expect_line("0")

    def end(self, daemons):
        del daemons.running["sensor-events"]
        self.daemon.stdin.close()
        self.daemon.stdout.close()
        expect("sensor-events ends cleanly", self.daemon.wait(PATIENCE_SECONDS) == 0)


def expect_logged(stage, number):
    found = stage.health.ask("sel", "info")["entries"]
    expect(f"{number} records in the log, found {found}", found == number)


def storm(stage, sensors):
    terminal, health = stage.terminal, stage.health
    terminal.title("A storm of events: 36 sensors find it too warm, 4 much too warm")
    for sensor, offset in STORM:
        sensors.report(sensor, offset)
    health.wait_for(ROOT, "critical")
    stage.draw()
    severities = sorted(fault["severity"] for fault in health.faults())
    expect("ten faults", severities == 4 * ["critical"] + 6 * ["warning"])
    expect_logged(stage, len(STORM))
    terminal.tell(
        f"Of {len(STORM)} events the component keeps the ten most important "
        "faults. The System Event Log keeps every event, these last:"
    )
    health.show("sel", "list", "--last", "3")


def calm(stage, sensors):
    terminal, health = stage.terminal, stage.health
    terminal.title("Every sensor finds it right again")
    for sensor, offset in STORM:
        sensors.report(sensor, offset, deasserted=True)
    health.wait_for(ROOT, "OK")
    stage.draw()
    health.expect_faults()
    expect_logged(stage, 2 * len(STORM))
    health.show("sel", "info")


def events(stage):
    sensors = Sensors(stage.daemons)
    storm(stage, sensors)
    calm(stage, sensors)
    sensors.end(stage.daemons)
