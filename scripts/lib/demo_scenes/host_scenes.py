# SPDX-License-Identifier: Apache-2.0
"""Scenes of the machine that the daemons watch."""

import os
import subprocess
import sys

from health import NOTHING_FOUND, ROOT
from stage import DEMO
from unexpected import expect


def start(stage):
    terminal, health, daemons = stage.terminal, stage.health, stage.daemons
    terminal.title("A health manager and three daemons that watch this machine")
    for service in ("healthmgr", "logmgr"):
        daemons.start_service(
            service, [daemons.program(f"services/{service}/{service}")]
        )
    health.begin()
    stage.start_storage()
    stage.start_memory()
    stage.start_process()
    for kind in stage.kinds():
        health.wait_for(f"{DEMO}/{kind}", "OK")
    health.wait_for(ROOT, "OK")
    terminal.tell(
        "Each daemon holds a node of the health tree. The nodes above them "
        "are the health manager's; the daemons asked it for them."
    )
    terminal.line()
    stage.draw()
    health.show("doctor", "--brief")


def storage(stage):
    terminal, health = stage.terminal, stage.health
    terminal.title("A filesystem of 8 MiB fills up")
    stage.fill(7)
    health.wait_for(ROOT, "warning")
    terminal.line("7 MiB are written:")
    stage.draw()
    health.expect_faults("FilesystemFillingUp")
    stage.fill(9)
    health.wait_for(ROOT, "critical")
    terminal.line("It is full:")
    stage.draw()
    health.expect_faults("FilesystemFull")
    terminal.line("What there is to know of the fault:")
    health.show("faults")

    terminal.title("The file is removed")
    stage.empty()
    health.wait_for(ROOT, "OK")
    stage.draw()
    health.show("faults", "--all", answers=(NOTHING_FOUND,))


def memory(stage):
    terminal, health = stage.terminal, stage.health
    terminal.title("Memory crosses its limit")
    terminal.line("A process takes memory until it is beyond:")
    taker = subprocess.Popen(
        [sys.executable, os.path.join(os.path.dirname(__file__), "take_memory.py")]
        + [str(size) for size in stage.memory_to_take()],
        stdin=subprocess.PIPE,
    )
    try:
        health.wait_for(ROOT, "warning")
        stage.draw()
        health.expect_faults("MemoryLow")
    finally:
        taker.stdin.close()
        taker.wait()
    health.wait_for(ROOT, "OK")
    terminal.line("It ended, and all is well again.\n")


def process(stage):
    terminal, health = stage.terminal, stage.health
    terminal.title("A watched process is killed")
    stage.kill_worker()
    health.wait_for(ROOT, "critical")
    stage.draw()
    health.expect_faults("CriticalProcessMissing")
    terminal.line("It is started again:")
    stage.start_worker()
    health.wait_for(ROOT, "OK")
    stage.draw()
    health.expect_faults()


def crash(stage):
    terminal, health = stage.terminal, stage.health
    terminal.title("A daemon dies with kill -9 while it holds a fault")
    stage.kill_worker()
    health.wait_for(ROOT, "critical")
    terminal.line("Before:")
    stage.draw()
    stage.daemons.kill("hostmon process")
    health.wait(
        "its fault is gone",
        lambda: [fault["messageId"] for fault in health.faults()]
        == ["HealthManager.1.0.MonitorLost"],
    )
    terminal.line("After: nobody watches the component, so the root stays critical.")
    stage.draw()
    health.expect_faults("MonitorLost", registry="HealthManager")
    expect("the root stays critical", health.nodes()[ROOT] == "critical")
    terminal.line("The process and the daemon are started again:")
    stage.start_worker()
    stage.watch_worker()
    health.wait_for(ROOT, "OK")
    stage.draw()
    health.expect_faults()


def end(stage):
    terminal, health, daemons = stage.terminal, stage.health, stage.daemons
    terminal.title("Everything ends")
    for name in [n for n in daemons.running if n.startswith("hostmon")]:
        daemons.stop(name)
    health.wait_for(ROOT, "none")
    stage.draw()
    health.end()
    daemons.stop("logmgr")
    daemons.stop("healthmgr")
    expect("no node is left", not health.nodes())
    terminal.line("Everything was as expected.")
