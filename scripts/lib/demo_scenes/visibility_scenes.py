# SPDX-License-Identifier: Apache-2.0
"""Scenes of an operator who hides faults."""

from health import ROOT
from stage import DEMO
from unexpected import expect


class Rest:
    """What is left to see while the process's fault is hidden."""

    def __init__(self, stage):
        self.visible = 1 if stage.mounted else 0
        self.health = "warning" if stage.mounted else "OK"


def count(stage, visible, hidden):
    """Shows what a front panel would count."""
    stage.health.show("count")
    found = stage.health.counts()
    expect(f"{visible} visible and {hidden} hidden, found {found}",
           found == (visible, hidden))


def wait_until_hidden(stage, number):
    stage.health.wait(
        f"{number} hidden",
        lambda: sum(fault["hidden"] for fault in stage.health.faults()) == number,
    )


def hide(stage):
    terminal, health, rest = stage.terminal, stage.health, Rest(stage)
    terminal.title("An operator hides a sensor")
    stage.kill_worker()
    if stage.mounted:
        stage.fill(7)
        health.wait_for(f"{DEMO}/filesystem", "warning")
    health.wait_for(ROOT, "critical")
    (sensor,) = (
        fault["sensorPath"]
        for fault in health.faults()
        if fault["severity"] == "critical"
    )
    health.show("hide", "--sensor-path", sensor)
    health.wait_for(ROOT, rest.health)
    stage.draw()
    count(stage, rest.visible, 1)
    return sensor


def hide_all(stage):
    terminal, health, rest = stage.terminal, stage.health, Rest(stage)
    terminal.title("The front panel's settings hide everything")
    health.show("lcd", "set", "hideerrs", "0")
    wait_until_hidden(stage, rest.visible + 1)
    health.wait_for(ROOT, "OK")
    stage.draw()
    count(stage, 0, rest.visible + 1)


def show_again(stage, sensor):
    terminal, health, rest = stage.terminal, stage.health, Rest(stage)
    terminal.title("Both are lifted")
    health.show("lcd", "set", "hideerrs", "1")
    wait_until_hidden(stage, 1)
    health.wait_for(ROOT, rest.health)
    terminal.line("What the operator hid stays hidden.")
    count(stage, rest.visible, 1)
    health.show("unhide", "--sensor-path", sensor)
    health.wait_for(ROOT, "critical")
    stage.draw()
    count(stage, rest.visible + 1, 0)
    if stage.mounted:
        stage.empty()
    stage.start_worker()
    health.wait_for(ROOT, "OK")
    health.expect_faults()


def visibility(stage):
    sensor = hide(stage)
    hide_all(stage)
    show_again(stage, sensor)
