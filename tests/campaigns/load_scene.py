# SPDX-License-Identifier: Apache-2.0
"""A scene of scripts/campaigns/load."""

import contextlib
import pathlib
import shutil
import subprocess
import tempfile

import programs
from observation import Observation

# The limit of the installed bus configuration, and the usual one.
INSTALLED = '<limit name="max_match_rules_per_connection">4096</limit>'
USUAL = '<limit name="max_match_rules_per_connection">512</limit>'


class Scene(Observation):
    """A scene: its world, its measurements, and its broken expectations."""

    def __init__(self, build, name, limits=USUAL, environment=None, small=None):
        """@p small: sizes of filesystems in folders of the world."""
        self.happens = ""
        self.limit = ""
        self.told = ""
        self._folder = pathlib.Path(tempfile.mkdtemp(prefix=f"load-{name}.", dir="/tmp"))
        self._mounted = [self._folder / where for where in small or {}]
        for place, size in zip(self._mounted, (small or {}).values()):
            place.mkdir()
            mount = ["mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", place]
            subprocess.run(mount, check=True)
        super().__init__(name, programs.World(build, self._folder, limits, environment))

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.world.close()
        for place in self._mounted:
            subprocess.run(["umount", place], check=False)
        with contextlib.suppress(OSError):
            shutil.rmtree(self._folder)


def fault(key, number, severity=1):
    return f"add {key} M{number % 50} /sensors/s{number % 20} {severity} {number % 100 + 1}"
