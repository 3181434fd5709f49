# SPDX-License-Identifier: Apache-2.0
import os
import subprocess

import pytest
from conftest import SCRIPTS

STEPS = "echo '[1/20] Compiling a.cpp'; echo '[12/20] Compiling b.cpp'"


@pytest.fixture
def show(tmp_path):
    """Runs a shell command and returns what a terminal shows of it."""

    def run(command, **how):
        script = f'. {SCRIPTS}/lib/progress.sh; with_progress Working logs/a.log "$@"'
        return subprocess.run(
            ["sh", "-euc", script, "sh", "sh", "-c", command],
            cwd=tmp_path,
            **how,
        )

    return run


def without_terminal(show, command):
    return show(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def on_terminal(show, command):
    ours, its = os.openpty()
    show(command, stdout=its)
    os.close(its)
    seen = b""
    try:
        while more := os.read(ours, 4096):
            seen += more
    except OSError:
        # Reading a terminal fails with EIO once the last writer is gone.
        os.close(ours)
    return seen.decode()


def test_shows_a_builds_steps_in_one_line(show):
    assert on_terminal(show, STEPS) == (
        "\rWorking: 1/20\x1b[K\rWorking: 12/20\x1b[K\rWorking: done\x1b[K\r\n"
    )


def test_shows_an_installation_of_packages_in_one_line(show):
    assert on_terminal(
        show, "echo dlstatus:2:40.5:Fetching; echo pmstatus:pkg:7:Unpacking"
    ) == (
        "\rWorking: 40 % fetched\x1b[K\rWorking: 7 % unpacked\x1b[K"
        "\rWorking: done\x1b[K\r\n"
    )


def test_shows_no_steps_where_there_is_no_terminal(show):
    result = without_terminal(show, STEPS)
    assert result.stdout == "Working ...\nWorking: done\n"
    assert result.returncode == 0


def test_writes_the_commands_output_to_a_file(show, tmp_path):
    show(f"{STEPS}; echo complaint >&2", stdout=subprocess.DEVNULL)
    assert (tmp_path / "logs/a.log").read_text() == (
        "[1/20] Compiling a.cpp\n[12/20] Compiling b.cpp\ncomplaint\n"
    )


def test_shows_the_end_of_the_file_and_its_name_when_the_command_fails(show):
    result = without_terminal(show, "seq 100; exit 3")
    assert result.stdout == (
        "Working ...\n"
        + "".join(f"{number}\n" for number in range(61, 101))
        + "Working failed; all of it is in logs/a.log\n"
    )
    assert result.returncode == 3


def test_forgets_the_failure_of_an_earlier_command(show):
    without_terminal(show, "exit 3")
    assert without_terminal(show, "true").returncode == 0
