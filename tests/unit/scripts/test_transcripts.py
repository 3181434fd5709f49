# SPDX-License-Identifier: Apache-2.0
import os
import select

from conftest import run


def check(project, document, *options):
    page = project.write("document.md", document)
    return run("checks/transcripts", *options, page, project.path)


def expect_good(project, document, *options):
    result = check(project, document, *options)
    assert result.returncode == 0, result.stdout


def expect_wrong(project, document, complaint, *options):
    result = check(project, document, *options)
    assert result.returncode == 1
    assert complaint in result.stdout


def test_accepts_what_the_commands_print(project):
    result = check(
        project,
        "Text.\n\n```console\n$ echo one; echo two >&2\none\ntwo\n$ true\n```\n",
    )
    assert result.stdout == "2 commands show what the document says\n"
    assert result.returncode == 0


def test_names_the_line_whose_output_differs(project):
    expect_wrong(
        project,
        "```console\n$ echo one\none\n$ echo two\nthree\n```\n",
        "line 4: $ echo two\nshall print\nthree\nand prints\ntwo\n",
    )


def test_refuses_output_that_is_missing_or_too_much(project):
    expect_wrong(project, "```console\n$ true\nthree\n```\n", "shall print\nthree\n")
    expect_wrong(project, "```console\n$ echo one\n```\n", "and prints\none\n")


def test_refuses_a_document_with_nothing_to_run(project):
    expect_wrong(project, "```sh\necho one\n```\n", "there is nothing to run")


def test_refuses_output_without_a_command(project):
    expect_wrong(
        project, "```console\none\n```\n", "line 2: output without a command"
    )


def test_uses_one_shell_for_all_blocks(project):
    expect_good(
        project,
        "```console\n$ word=one; mkdir below && cd below\n```\n"
        "Text.\n```console\n$ echo $word; basename $PWD\none\nbelow\n```\n",
    )


def test_takes_commands_of_several_lines(project):
    expect_good(project, "```console\n$ echo one \\\n    two\none two\n```\n")


def test_treats_a_run_of_blanks_as_one(project):
    expect_good(project, "```console\n$ echo 'a    b '\na b\n```\n")


def test_takes_blanks_exactly_when_asked(project):
    document = "```console\n$ echo 'a   b'\na   b\n```\n"
    expect_good(project, document, "--exact")
    for other in ("a  b", "a   b "):
        expect_wrong(
            project,
            document.replace("\na   b", "\n" + other),
            "and prints\na   b\n",
            "--exact",
        )


def test_writes_files_in_steps(project):
    expect_good(
        project,
        "<!-- file: sub/a.txt -->\n```text\none\n```\n"
        "<!-- added to: sub/a.txt -->\n\n```text\ntwo\n```\n"
        "```console\n$ cat sub/a.txt\none\ntwo\n```\n",
    )


def test_skips_blocks_that_are_marked_as_not_run(project):
    expect_good(
        project,
        "<!-- not run: needs another machine -->\n"
        "```console\n$ echo one\ntwo\n```\n"
        "```console\n$ echo one\none\n```\n",
    )


def test_ignores_a_marker_before_other_text(project):
    expect_wrong(
        project,
        "<!-- not run: not this block -->\nText.\n```console\n$ echo one\ntwo\n```\n",
        "shall print\ntwo\n",
    )


def test_repeats_a_command_until_its_output_appears(project):
    expect_good(
        project,
        "<!-- until seen -->\n```console\n$ echo x >>file; wc -l <file\n3\n```\n",
    )
    expect_wrong(
        project,
        "```console\n$ echo x >>other; wc -l <other\n3\n```\n",
        "and prints\n1\n",
    )


def test_accepts_any_value_of_a_varying_text(project):
    varies = "<!-- varies: 4711 = [0-9]+ -->\n"
    expect_good(project, varies + "```console\n$ echo $$ is $$\n4711 is 4711\n```\n")
    expect_wrong(
        project,
        varies + "```console\n$ echo 12 is 13\n4711 is 4711\n```\n",
        "and prints\n12 is 13\n",
    )
    expect_wrong(
        project, varies + "```console\n$ echo none\n4711\n```\n", "and prints\nnone\n"
    )


def test_expects_a_varying_text_to_stay_the_same(project):
    document = (
        "<!-- varies: :1.1 = :[0-9.]+ -->\n```console\n$ echo :2.7\n:1.1\n$ echo "
    )
    expect_good(project, document + ":1.1\n:1.1\n```\n")
    expect_wrong(project, document + ":2.8\n:1.1\n```\n", "and prints\n:2.8\n")


def test_refuses_a_varying_text_in_a_command_before_it_was_seen(project):
    expect_wrong(
        project,
        "<!-- varies: 4711 = [0-9]+ -->\n```console\n$ kill 4711\n```\n",
        "4711 has not been seen before",
    )


def test_ignores_output_of_background_programs(project):
    expect_good(
        project,
        "```console\n$ echo one & wait; echo two\none\ntwo\n"
        "$ echo three &\n$ wait\n$ echo four >file &\n$ wait; cat file\nfour\n```\n",
    )


def test_ends_the_programs_that_the_document_started(project):
    os.mkfifo(project.path / "alive")
    reader = os.open(project.path / "alive", os.O_RDONLY | os.O_NONBLOCK)
    expect_good(
        project,
        "```console\n$ sleep 1000 >alive &\n$ echo started >alive\n```\n",
    )
    assert os.read(reader, 100) == b"started\n"
    # The read ends when the last writer has gone.
    assert select.select([reader], [], [], 20)[0]
    assert os.read(reader, 100) == b""


def test_replaces_a_text_of_the_document_by_the_tests(project):
    expect_good(
        project,
        "```console\n$ echo /usr/there\n/usr/there\n$ basename /usr/there\nhere\n```\n",
        "--let",
        "/usr/there=/tmp/here",
    )
