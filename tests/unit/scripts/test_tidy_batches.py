# SPDX-License-Identifier: Apache-2.0
import json
import pathlib
import subprocess

import pytest
from conftest import SCRIPTS


class Build:
    """The files that a build compiles, with a folder for each program."""

    def __init__(self, project):
        self.project = project
        self.entries = []

    def compiles(self, file, flag="-O2"):
        name = pathlib.Path(file).name
        self.entries.append(
            {
                "directory": str(self.project.path),
                "file": file,
                "command": f"launcher c++ {flag} -I{name}.p -MD -MQ {name}.o"
                f" -MF {name}.d -o {name}.o -c {file}",
            }
        )

    def compiles_source(self, name, flag="-O2", content="int x;\n"):
        self.project.write(f"room/{name}", content)
        self.compiles(f"room/{name}", flag)

    def read_together(self, *names):
        """Runs the script that groups sources."""
        self.project.write("compile_commands.json", json.dumps(self.entries))
        sources = [f"room/{name}" for name in names]
        return subprocess.run(
            [SCRIPTS / "lib/tidy_batches.py", ".", "batches", *sources],
            cwd=self.project.path,
            stdout=subprocess.PIPE,
            text=True,
        )

    def batches(self, *names):
        """The names of the sources that are read together."""
        files = self.read_together(*names).stdout.splitlines()
        texts = (pathlib.Path(file).read_text() for file in files)
        return [
            [pathlib.Path(line.split('"')[1]).name for line in text.splitlines()]
            for text in texts
        ]


@pytest.fixture
def build(project):
    return Build(project)


def test_group_sources_with_equal_flags(build):
    build.compiles_source("a.cpp")
    build.compiles_source("b.cpp", "-O0")
    build.compiles_source("c.cpp", "-O0")
    assert build.batches("a.cpp", "b.cpp", "c.cpp") == [["b.cpp", "c.cpp"], ["a.cpp"]]


def test_group_each_program_by_itself(build):
    build.compiles_source("a.cpp", content="int main()\n{}\n")
    build.compiles_source("b.cpp", content="int main()\n{}\n")
    build.compiles_source("c.cpp")
    build.compiles_source("d.cpp")
    assert build.batches("a.cpp", "b.cpp", "c.cpp", "d.cpp") == [
        ["c.cpp", "d.cpp"],
        ["a.cpp"],
        ["b.cpp"],
    ]


def test_separate_sources_with_different_macros_for_headers(build):
    build.compiles_source("a.cpp", content='#define NAME "a"\n')
    build.compiles_source("b.cpp", content='#define NAME "b"\n')
    assert build.batches("a.cpp", "b.cpp") == [["a.cpp"], ["b.cpp"]]


def test_compile_with_the_flags_of_their_sources(build, project):
    build.compiles_source("a.cpp", "-std=c++20")
    build.read_together("a.cpp")
    commands = project.read("batches/compile_commands.json")
    assert '"c++"' in commands
    assert '"-std=c++20"' in commands
    for name in "launcher", "a.cpp.o", "a.cpp.p":
        assert name not in commands


def test_accept_sources_of_unity_builds(build, project):
    source = project.write("room/a.cpp", "int a;\n")
    both = project.write("all-unity0.cpp", f"#include <{source}>\n")
    build.compiles(str(both))
    assert build.batches("a.cpp") == [["a.cpp"]]


def test_say_how_each_source_is_compiled_by_itself(build, project):
    source = project.write("room/a.cpp", "int a;\n")
    both = project.write("all-unity0.cpp", f"#include <{source}>\n")
    build.compiles(str(both), "-DROOM=1")
    build.read_together("a.cpp")
    commands = json.loads(project.read("batches/compile_commands.json"))
    alone = [each["arguments"] for each in commands if each["file"] == str(source)]
    assert alone == [["c++", "-DROOM=1", "-c", str(source)]]


def test_refuse_a_source_that_the_build_does_not_compile(build, project):
    project.write("room/a.cpp", "int a;\n")
    assert build.read_together("a.cpp").returncode != 0
