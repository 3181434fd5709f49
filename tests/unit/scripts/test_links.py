# SPDX-License-Identifier: Apache-2.0
import pytest
from conftest import run


@pytest.fixture(autouse=True)
def other_page(project):
    project.write(
        "docs/other.md",
        "# Other\n\n## The way's end, `now`\n\n```sh\n# No heading\n```\n",
    )


def check(project, page):
    project.write("docs/page.md", page)
    return run("checks/links", project.path)


def expect_good(project, page):
    result = check(project, page)
    assert (result.returncode, result.stdout) == (0, "")


def expect_cause(project, page, cause):
    result = check(project, page)
    assert (result.returncode, result.stdout) == (1, cause + "\n")


def test_accepts_links_to_files_and_headings(project):
    project.write("README.md", "[docs](docs/page.md) and [it](docs)\n")
    expect_good(
        project,
        "# A page\n\n[this](#a-page), [other](other.md),\n"
        "[end](other.md#the-ways-end-now), [up](../README.md)\n",
    )


def test_names_a_link_to_no_file(project):
    expect_cause(
        project,
        "One.\n\n[gone](gone.md)\n",
        "docs/page.md:3: gone.md: is not there",
    )


def test_names_a_link_to_no_heading(project):
    expect_cause(
        project,
        "[end](other.md#the-end)\n",
        "docs/page.md:1: other.md#the-end: there is no such heading",
    )
    expect_cause(
        project,
        "# Page\n[me](#me)\n",
        "docs/page.md:2: #me: there is no such heading",
    )


def test_finds_no_headings_in_code_blocks(project):
    expect_cause(
        project,
        "[no](other.md#no-heading)\n",
        "docs/page.md:1: other.md#no-heading: there is no such heading",
    )


def test_ignores_links_in_code_blocks_and_to_other_sites(project):
    expect_good(
        project,
        "[other](other.md) [far](https://example.com/x)\n```c\na[0](gone.md)\n```\n",
    )


def test_fails_without_any_link(project):
    expect_cause(project, "None.\n", f"{project.path}: there are no links here")
