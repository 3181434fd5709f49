# SPDX-License-Identifier: Apache-2.0
"""Fixtures of the tests of scripts."""

import os
import pathlib
import shutil
import subprocess

import pytest

SCRIPTS = pathlib.Path(__file__).parents[3] / "scripts"


class Project:
    """A folder that looks like a project."""

    def __init__(self, path):
        self.path = path

    def write(self, name, text):
        file = self.path / name
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        return file

    def write_script(self, name, text):
        file = self.write(name, text)
        file.chmod(0o755)
        return file

    def read(self, name):
        return (self.path / name).read_text()

    def copy_scripts(self, *names):
        for name in names:
            copy = self.path / "scripts" / name
            copy.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(SCRIPTS / name, copy)


@pytest.fixture
def project(tmp_path):
    return Project(tmp_path)


def run(script, *arguments, **environment):
    """Runs a script, or one of the project's by its name. The result's output
    includes standard error."""
    return subprocess.run(
        [SCRIPTS / script, *arguments],
        env=os.environ | environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        text=True,
    )
