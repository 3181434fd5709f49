# SPDX-License-Identifier: Apache-2.0
"""Shows what the project does, scene after scene. scripts/demo runs this on a
private bus.

    run.py BUILD-FOLDER
"""

import os
import sys
import tempfile

import event_scenes
import host_scenes
import visibility_scenes
from daemons import Daemons
from health import Health
from stage import Stage
from terminal import Terminal
from unexpected import Unexpected


def play(stage):
    host_scenes.start(stage)
    if stage.mounted:
        host_scenes.storage(stage)
    host_scenes.memory(stage)
    host_scenes.process(stage)
    visibility_scenes.visibility(stage)
    event_scenes.events(stage)
    host_scenes.crash(stage)
    host_scenes.end(stage)


def complain(cause, daemons):
    print(f"\nNot as expected: {cause}", file=sys.stderr)
    for name, text in daemons.logs():
        print(f"--- {name}\n{text}", file=sys.stderr)


def main(build):
    # So that commands can be shown as an operator writes them.
    tools = os.path.abspath(os.path.join(build, "tools/healthctl"))
    os.environ["PATH"] = tools + os.pathsep + os.environ["PATH"]
    # Nobody presses keys for long output.
    os.environ["HEALTHCTL_PAGER"] = ""
    with tempfile.TemporaryDirectory(prefix="demo.") as folder:
        daemons = Daemons(build, folder)
        health = Health(Terminal())
        try:
            play(Stage(health.terminal, health, daemons))
            return 0
        except Unexpected as cause:
            complain(cause, daemons)
            return 1
        except KeyboardInterrupt:
            return 130
        finally:
            health.end()
            daemons.kill_all()


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
