# SPDX-License-Identifier: Apache-2.0
"""Runs the script in a small project with a fake Meson."""

import os

import pytest
from conftest import run

# Records its calls. Its tests write $CASES to the log $LOG and end with
# $STATUS.
FAKE_MESON = """#!/bin/sh
case $1 in
compile)
    echo "$*" >>calls
    ;;
*)
    echo "$1 $2 $3" >>calls
    ;;
esac
case $1 in
setup)
    mkdir -p "$2/meson-logs"
    touch "$2/build.ninja"
    ;;
test)
    if [ -n "$LOG" ]; then
        echo "<testsuite>$CASES</testsuite>" >"$3/meson-logs/$LOG"
    fi
    exit "$STATUS"
    ;;
esac
"""
BUILT = "Compiling into build ...\nCompiling into build: done\n"
PASSED = '<testcase classname="S" name="A"/>'


@pytest.fixture(autouse=True)
def scripts(project):
    for name in "run-tests", "set-up", "count-tests", "progress.sh":
        project.copy_scripts(f"lib/{name}")
    project.write_script("bin/meson", FAKE_MESON)


@pytest.fixture
def run_tests(project):
    def run_them(log, cases, *tests, status=0):
        return run(
            project.path / "scripts/lib/run-tests",
            "build",
            "",
            *tests,
            PATH=f"{project.path}/bin:{os.environ['PATH']}",
            LOG=log,
            CASES=cases,
            STATUS=str(status),
        )

    return run_them


def test_sets_the_folder_up_once_and_builds_each_time(project, run_tests):
    assert run_tests("testlog.junit.xml", PASSED).returncode == 0
    assert run_tests("testlog.junit.xml", PASSED).returncode == 0
    assert project.read("calls") == (
        "setup build -Dwerror=true\n"
        "compile -C build\ntest -C build\n"
        "compile -C build\ntest -C build\n"
    )


def test_builds_what_the_selected_tests_need(project, run_tests):
    result = run_tests("testlog.junit.xml", PASSED, "--suite", "unit")
    assert result.returncode == 0
    assert project.read("calls") == "setup build -Dwerror=true\ntest -C build\n"


def test_counts_only_the_logs_of_this_run(run_tests):
    result = run_tests("testlog.junit.xml", PASSED + PASSED)
    assert result.stdout == f"{BUILT}2 passed, 0 failed\n"
    result = run_tests("testlog-valgrind.junit.xml", PASSED)
    assert result.stdout == f"{BUILT}1 passed, 0 failed\n"


def test_fails_without_a_log_of_this_run(run_tests):
    run_tests("testlog.junit.xml", PASSED)
    result = run_tests("", "")
    assert result.stdout.endswith("0 passed, 1 failed\n")
    assert result.returncode != 0


def test_fails_when_a_case_failed(run_tests):
    result = run_tests(
        "testlog.junit.xml",
        '<testcase classname="S" name="B"><failure/></testcase>' + PASSED,
    )
    assert result.stdout == f"{BUILT}failed: S.B\n1 passed, 1 failed\n"
    assert result.returncode != 0


def test_fails_when_meson_does(run_tests):
    result = run_tests("testlog.junit.xml", PASSED, status=3)
    assert result.stdout == f"{BUILT}1 passed, 0 failed\n"
    assert result.returncode == 3
