# SPDX-License-Identifier: Apache-2.0
"""Runs the script in a small project whose campaign prints given results."""

import pytest
from conftest import run

FINDINGS = """
[[mended]]
campaign = "abi"
what = "a leak"
test = "Some.Test"
[[mended]]
campaign = "load"
what = "a hang"
test = "Other.Test"
[[left]]
campaign = "abi"
what = "a delay"
why = "the bus"
"""
FINDS = """
campaign.write_result('abi', tried='all', times='7 rounds',
    found=['one', 'two'], details='### More')
"""


@pytest.fixture(autouse=True)
def scripts(project):
    project.copy_scripts("reliability", "lib/campaign.py")
    project.write("docs/evidence/reliability/findings.toml", FINDINGS)
    have_campaign(project, FINDS)


def have_campaign(project, body):
    project.write_script(
        "scripts/checks/abi",
        "#!/usr/bin/python3 -B\nimport sys\n"
        f"sys.path.insert(0, 'scripts/lib')\nimport campaign\n{body}",
    )


def status_of(project, argument):
    return run(project.path / "scripts/reliability", argument).returncode


def page(project):
    return project.read("docs/evidence/reliability.md")


def test_puts_the_result_of_a_campaign_into_the_page(project):
    assert status_of(project, "abi") == 0
    assert "| [ABI](#abi) | all | 7 rounds | 2 | 1 | 1 |" in page(project)
    assert "\n### More\n" in page(project)
    assert "- one\n- two\n" in page(project)


def test_lists_fixed_and_remaining_findings_of_the_campaign(project):
    status_of(project, "abi")
    assert "- a leak (`Some.Test`)\n" in page(project)
    assert "- a delay: the bus\n" in page(project)
    assert "a hang" not in page(project)


def test_reports_that_the_page_differs_from_the_results(project):
    status_of(project, "abi")
    assert status_of(project, "--check") == 0
    project.write(
        "docs/evidence/reliability/abi.json",
        '{"tried": "", "times": "", "found": [], "details": ""}',
    )
    assert status_of(project, "--check") != 0
    assert status_of(project, "--keep") == 0
    assert status_of(project, "--check") == 0


def test_leaves_the_page_alone_when_a_campaign_has_no_result(project):
    status_of(project, "abi")
    before = page(project)
    have_campaign(project, "raise SystemExit(3)\n")
    assert status_of(project, "abi") != 0
    assert page(project) == before


def test_refuses_an_unknown_campaign(project):
    assert status_of(project, "other") != 0
    assert not (project.path / "docs/evidence/reliability.md").exists()
