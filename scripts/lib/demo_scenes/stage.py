# SPDX-License-Identifier: Apache-2.0
"""What all scenes share: the daemons that watch this machine."""

import os
import shutil
import subprocess

from health import ROOT

DEMO = ROOT + "/demo"


def memory():
    """What the machine has, and what is available of it, in bytes."""
    with open("/proc/meminfo", encoding="utf-8") as file:
        sizes = dict(line.split(":") for line in file)
    return [int(sizes[name].split()[0]) * 1024 for name in ("MemTotal", "MemAvailable")]


class Stage:
    """Three daemons: of a small filesystem, the memory, and a process."""

    def __init__(self, terminal, health, daemons):
        self.terminal = terminal
        self.health = health
        self.daemons = daemons
        self.folder = daemons.folder
        self.mounted = False
        self.disk = None
        self.ballast = 0
        self.memory_limit = 0

    def start_monitor(self, name, config, before=()):
        path = os.path.join(self.folder, name + ".toml")
        with open(path, "w", encoding="utf-8") as file:
            file.write(f'interval = 0.2\ncomponent = "{DEMO}"\n{config}')
        program = self.daemons.program("services/hostmon/hostmon")
        return self.daemons.start_service(
            f"hostmon {name}", [*before, program, "--config", path]
        )

    def start_storage(self):
        """A daemon with a small filesystem that nobody else sees."""
        mount = os.path.join(self.folder, "disk")
        os.mkdir(mount)
        script = 'mount -t tmpfs -o size=8m demo "$1" && shift && exec "$@"'
        unshare = ["unshare", "--mount"]
        if os.geteuid() != 0:
            unshare += ["--user", "--map-root-user"]
        before = [*unshare, "sh", "-c", script, "sh", mount]
        self.mounted = (
            subprocess.run([*before, "true"], capture_output=True, check=False)
            .returncode == 0
        )
        if not self.mounted:
            self.terminal.tell(
                "(No filesystem can be mounted here: the scene with a full one "
                "is left out.)"
            )
            return
        daemon = self.start_monitor(
            "storage",
            f'[[filesystem]]\npath = "{mount}"\n'
            "warning = 80\ncritical = 95\nhysteresis = 2\n",
            before,
        )
        # The filesystem as the daemon sees it.
        self.disk = f"/proc/{daemon.pid}/root{mount}"

    def start_memory(self):
        """A daemon whose limit lies just below what is available now."""
        total, available = memory()
        self.ballast = max(64 << 20, total // 64)
        self.memory_limit = available - self.ballast // 2
        share = 100 * self.ballast / total
        self.start_monitor(
            "memory",
            f"[[memory]]\nwarning = {100 * self.memory_limit / total:.2f}\n"
            f"critical = 1\nhysteresis = {share / 8:.2f}\n",
        )

    def memory_to_take(self):
        """What may stay available, so that the limit is crossed, and what must
        not be taken for it."""
        return self.memory_limit - self.ballast // 4, 8 * self.ballast

    def start_process(self):
        """A daemon that watches a process by its name."""
        os.symlink(shutil.which("sleep"), os.path.join(self.folder, "demo-worker"))
        self.start_worker()
        self.watch_worker()

    def watch_worker(self):
        self.start_monitor(
            "process", '[[process]]\nname = "demo-worker"\nseverity = "critical"\n'
        )

    def start_worker(self):
        self.daemons.start(
            "worker", [os.path.join(self.folder, "demo-worker"), "600"]
        )

    def kill_worker(self):
        self.daemons.kill("worker")

    def kinds(self):
        return (["filesystem"] if self.mounted else []) + ["memory", "process"]

    def fill(self, mebibytes):
        """Writes to the small filesystem until it is full or enough is
        there."""
        with open(f"{self.disk}/data", "wb", buffering=0) as file:
            try:
                for _ in range(mebibytes * 16):
                    file.write(bytes(1 << 16))
            except OSError:
                pass

    def empty(self):
        os.remove(f"{self.disk}/data")

    def draw(self):
        self.health.show("tree", "--faults")
