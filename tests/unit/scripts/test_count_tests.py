# SPDX-License-Identifier: Apache-2.0
import pytest
from conftest import run


def one_case(name, content=""):
    return f'<testcase classname="S" name="{name}">{content}</testcase>'


@pytest.fixture
def log(project):
    """Writes a log with these test cases, or with other text."""

    def write(name, cases):
        suite = f'<testsuite name="S">{cases}</testsuite>'
        return project.write(name, f"<testsuites>{suite}</testsuites>")

    return write


def count(*files):
    return run("lib/count-tests", *files)


def test_counts_the_cases_of_all_files(log):
    result = count(
        log("a.xml", one_case("A") + one_case("B")), log("b.xml", one_case("C"))
    )
    assert result.stdout == "3 passed, 0 failed\n"
    assert result.returncode == 0


def test_names_each_failure_and_fails(log):
    result = count(
        log(
            "a.xml",
            one_case("Good")
            + one_case("Bad", '<failure message="m"/>')
            + one_case("Worse", '<error message="m"/>'),
        )
    )
    assert result.stdout == "failed: S.Bad\nfailed: S.Worse\n1 passed, 2 failed\n"
    assert result.returncode == 1


def test_names_skipped_cases_and_counts_them_neither_way(log):
    result = count(
        log(
            "a.xml",
            one_case("Good")
            + one_case("Left", '<skipped message="file.cpp:1&#x0A;why"/>')
            + '<testcase classname="S" name="DISABLED_Off" status="notrun"'
            ' result="suppressed"/>',
        )
    )
    assert result.stdout == (
        "skipped: S.Left file.cpp:1 why\nskipped: S.DISABLED_Off\n"
        "1 passed, 0 failed\n"
    )
    assert result.returncode == 0


@pytest.mark.parametrize("cases", [None, "", one_case("Left", "<skipped/>")])
def test_fails_when_no_case_ran(log, cases):
    result = count() if cases is None else count(log("a.xml", cases))
    assert "0 passed, 0 failed\n" in result.stdout
    assert result.returncode == 1


def test_counts_a_file_that_it_cannot_read_as_failed(project, log):
    broken = project.write("broken.xml", "<testsuites>")
    gone = project.path / "gone.xml"
    result = count(log("a.xml", one_case("Good")), broken, gone)
    assert f"failed: {broken}: " in result.stdout
    assert f"failed: {gone}: " in result.stdout
    assert result.stdout.endswith("\n1 passed, 2 failed\n")
    assert result.returncode == 1
