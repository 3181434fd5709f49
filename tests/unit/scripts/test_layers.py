# SPDX-License-Identifier: Apache-2.0
import pytest
from conftest import run

# A small valid project with a file on every floor.
FILES = {
    "subprojects/sdbusplus-lite/include/sdbusplus/bus.hpp": "#include <systemd/sd-bus.h>\n",
    "subprojects/sdbusplus-lite/tests/test_bus.cpp": "#include <sdbusplus/bus.hpp>\n",
    "platform/include/platform/dlog.h": "",
    "platform/host/log.hpp": "#include <platform/dlog.h>\n",
    "platform/host/data_cache/cache.cpp": '#include "../log.hpp"\n\n#include <lmdb.h>\n',
    "com/vexa/names.hpp": "",
    "include/hmi.hpp": "#include <com/vexa/names.hpp>\n#include <sdbusplus/bus.hpp>\n",
    "src/detail.hpp": "",
    "src/hmi.cpp": '#include "hmi.hpp"\n#include "detail.hpp"\n',
    "services/common/loop.hpp": "",
    "services/healthmgr/nodes.hpp": '#include "../common/loop.hpp"\n#include "log.hpp"\n',
    "services/hostmon/main.cpp": '#include "../common/loop.hpp"\n',
    "tests/unit/test_nodes.cpp": '#include "detail.hpp"\n'
    '#include "services/healthmgr/nodes.hpp"\n',
    "bench/speed.cpp": "#include <hmi.hpp>\n",
}


@pytest.fixture(autouse=True)
def tree(project):
    for name, text in FILES.items():
        project.write(name, text)
    return project


def check(tree):
    return run("checks/layers", tree.path)


def complaint(tree):
    """The only complaint about the project."""
    result = check(tree)
    assert result.returncode == 1
    (line,) = result.stdout.splitlines()
    return line


def test_accepts_includes_that_run_downwards(tree):
    result = check(tree)
    assert (result.returncode, result.stdout) == (0, "")


def test_names_an_include_from_a_floor_above(tree):
    tree.write(
        "com/vexa/server.cpp", "#include <com/vexa/names.hpp>\n\n#include <hmi.hpp>\n"
    )
    assert complaint(tree) == (
        "com/vexa/server.cpp:3: include/hmi.hpp: floor 2 includes from floor 3"
    )


def test_names_each_include_against_the_direction(tree):
    lite = "subprojects/sdbusplus-lite/include/sdbusplus/low.hpp"
    tree.write(lite, "#include <platform/dlog.h>\n")
    tree.write(
        "platform/include/platform/up.hpp", '#  include "com/vexa/names.hpp"\n'
    )
    tree.write("include/up.hpp", '\t#include "../src/detail.hpp"\n')
    tree.write("src/up.cpp", '#include "../services/common/loop.hpp"\n')
    tree.write("services/common/up.cpp", '#include "../../bench/speed.cpp"\n')
    result = check(tree)
    assert result.returncode == 1
    assert set(result.stdout.splitlines()) == {
        f"{lite}:1: platform/include/platform/dlog.h: floor 0 includes from floor 1",
        "platform/include/platform/up.hpp:1: com/vexa/names.hpp: "
        "floor 1 includes from floor 2",
        "include/up.hpp:1: src/detail.hpp: floor 3 includes from floor 4",
        "src/up.cpp:1: services/common/loop.hpp: floor 4 includes from floor 5",
        "services/common/up.cpp:1: bench/speed.cpp: floor 5 includes from floor 6",
    }


@pytest.mark.parametrize(
    "file, include, target, folder",
    [
        (
            "src/bad.cpp",
            '"../platform/host/log.hpp"',
            "platform/host/log.hpp",
            "platform/host",
        ),
        ("src/bad.cpp", "<log.hpp>", "platform/host/log.hpp", "platform/host"),
        (
            "platform/include/platform/bad.cpp",
            '"log.hpp"',
            "platform/host/log.hpp",
            "platform/host",
        ),
        ("services/hostmon/bad.cpp", '"detail.hpp"', "src/detail.hpp", "src"),
        (
            "services/hostmon/bad.cpp",
            '"../healthmgr/nodes.hpp"',
            "services/healthmgr/nodes.hpp",
            "services/healthmgr",
        ),
        (
            "services/common/bad.cpp",
            '"healthmgr/nodes.hpp"',
            "services/healthmgr/nodes.hpp",
            "services/healthmgr",
        ),
        ("bench/bad.cpp", '"../src/detail.hpp"', "src/detail.hpp", "src"),
    ],
)
def test_names_an_include_of_a_private_file(tree, file, include, target, folder):
    tree.write(file, f"#include {include}\n")
    assert complaint(tree) == f"{file}:1: {target}: {folder} is private"


def test_names_a_circle_of_includes(tree):
    tree.write("src/a.hpp", '#include "b.hpp"\n')
    tree.write("src/b.hpp", '\n#include "c.hpp"\n')
    tree.write("src/c.hpp", '#include "detail.hpp"\n\n#include "a.hpp"\n')
    assert complaint(tree) == (
        "src/c.hpp:3: src/a.hpp: a circle, src/a.hpp -> src/b.hpp -> "
        "src/c.hpp -> src/a.hpp"
    )


def test_names_every_circle(tree):
    tree.write("com/vexa/self.hpp", '#include "self.hpp"\n')
    tree.write("src/a.hpp", '#include "b.hpp"\n')
    tree.write("src/b.hpp", '#include "a.hpp"\n')
    assert check(tree).stdout == (
        "com/vexa/self.hpp:1: com/vexa/self.hpp: a circle, "
        "com/vexa/self.hpp -> com/vexa/self.hpp\n"
        "src/b.hpp:1: src/a.hpp: a circle, src/a.hpp -> src/b.hpp -> src/a.hpp\n"
    )


def test_does_not_take_two_ways_to_a_file_for_a_circle(tree):
    tree.write("src/a.hpp", '#include "b.hpp"\n#include "detail.hpp"\n')
    tree.write("src/b.hpp", '#include "detail.hpp"\n')
    assert check(tree).stdout == ""


def test_names_an_include_of_a_missing_file(tree):
    tree.write("src/a.cpp", '#include "gone.hpp"\n')
    assert complaint(tree) == "src/a.cpp:1: gone.hpp: is nowhere"


def test_treats_a_template_as_its_generated_file(tree):
    tree.write("platform/host/made.hpp.in", "#define MADE @made@\n")
    tree.write("platform/host/user.cpp", '#include "made.hpp"\n')
    assert check(tree).stdout == ""
    tree.write("src/user.cpp", '#include "made.hpp"\n')
    assert complaint(tree) == (
        "src/user.cpp:1: platform/host/made.hpp.in: platform/host is private"
    )


def test_names_a_file_on_no_floor(tree):
    tree.write("extra/a.cpp", "")
    assert complaint(tree) == "extra/a.cpp:1: has no place in scripts/checks/layers"


def test_ignores_files_of_other_projects_and_builds(tree):
    for folder in "build/test", "build-arm", ".cache", "subprojects/other":
        tree.write(f"{folder}/a.cpp", '#include "gone.hpp"\n')
    assert check(tree).stdout == ""


def test_checks_its_own_project_unless_told_another(tree):
    tree.copy_scripts("checks/layers")
    copy = tree.path / "scripts/checks/layers"
    assert run(copy).returncode == 0
    tree.write("src/a.cpp", '#include "gone.hpp"\n')
    result = run(copy)
    assert result.stdout == "src/a.cpp:1: gone.hpp: is nowhere\n"
    assert result.returncode == 1


def test_fails_where_there_are_no_sources(tree):
    empty = tree.path / "data"
    empty.mkdir()
    for folder in empty, empty / "gone":
        result = run("checks/layers", folder)
        assert result.stdout == f"{folder}: no sources here\n"
        assert result.returncode == 1
