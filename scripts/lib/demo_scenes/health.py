# SPDX-License-Identifier: Apache-2.0
"""The health tree and its faults, as healthctl tells of them."""

import json
import os
import select
import subprocess
import time

from unexpected import PATIENCE_SECONDS, Unexpected, expect

ROOT = "/com/vexa/olvar/health"

DONE, NOTHING_FOUND, NOTHING_RUNS = 0, 1, 3


def flattened(trees):
    for node in trees:
        yield node
        yield from flattened(node["children"])


class Health:
    """Reads and changes what there is, and waits for changes."""

    def __init__(self, terminal):
        self.terminal = terminal
        self.watch = None

    def show(self, *words, answers=(DONE,)):
        """Runs a command of healthctl for a person to see."""
        self.terminal.command(["healthctl", *words])
        status = subprocess.run(["healthctl", *words], check=False).returncode
        expect(f"healthctl {words[0]} ends with {status}", status in answers)
        self.terminal.line()

    def ask(self, *words, answers=(DONE,)):
        """What a command of healthctl answers for programs; nothing when it
        has no answer."""
        done = subprocess.run(
            ["healthctl", *words, "--json"], capture_output=True, check=False
        )
        if done.returncode not in answers:
            raise Unexpected(done.stderr.decode().strip())
        return json.loads(done.stdout or "{}")

    def nodes(self):
        """The health of each node by its key."""
        found = self.ask("tree", answers=(DONE, NOTHING_FOUND, NOTHING_RUNS))
        return {
            node["key"]: node["health"] for node in flattened(found.get("trees", []))
        }

    def faults(self):
        """All faults, also the hidden ones."""
        return self.ask("faults", "--all", answers=(DONE, NOTHING_FOUND))["faults"]

    def counts(self):
        found = self.ask("count")
        return found["visible"], found["hidden"]

    def begin(self):
        """Follows the changes from now on."""
        self.watch = subprocess.Popen(
            ["healthctl", "watch", "--json"], stdout=subprocess.PIPE
        )

    def end(self):
        if self.watch:
            self.watch.terminate()
            self.watch.wait()
            self.watch.stdout.close()
            self.watch = None

    def wait(self, what, wanted):
        """Waits until something is so; looks again at every change."""
        late = time.monotonic() + PATIENCE_SECONDS
        changes = self.watch.stdout.fileno()
        while not wanted():
            ready, _, _ = select.select(
                [changes], [], [], max(0, late - time.monotonic())
            )
            expect(f"{what}: not so after {PATIENCE_SECONDS} seconds", ready)
            # One look is enough for all that have come.
            expect("healthctl watch goes on", os.read(changes, 1 << 20))

    def wait_for(self, key, health):
        self.wait(f"{key} {health}", lambda: self.nodes().get(key) == health)

    def expect_faults(self, *ids, registry="HostMonitor"):
        found = sorted(fault["messageId"] for fault in self.faults())
        wanted = sorted(f"{registry}.1.0.{i}" for i in ids)
        expect(f"faults {wanted}, found {found}", found == wanted)
