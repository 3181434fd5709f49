# SPDX-License-Identifier: Apache-2.0
"""A small library and its announced ABI; each test changes the library."""

import subprocess

import pytest
from conftest import run

# The parts of the library's source.
PARTS = {
    "members": "int number; char letter;",
    "inside": "int a;",
    "virtuals": "virtual void first(); virtual void second();",
    "pure": "virtual void third() = 0; virtual void fourth() = 0;",
    "functions": "int twice(const Shown& shown);",
    "code": "int twice(const Shown& shown) { return 2 * shown.number + Inner{}.a; }",
    "map": "ONE { global: *; };",
    "soname": "libfixture.so.1",
}
HEADER = """#pragma once
struct Inner;
struct Shown { %(members)s Inner* inner; };
class Base { public: Base(); virtual ~Base(); %(virtuals)s %(pure)s };
%(functions)s
"""
SOURCE = """#include "shown.hpp"
struct Inner { %(inside)s };
Base::Base() = default;
Base::~Base() = default;
void Base::first() {}
void Base::second() {}
%(code)s
"""


@pytest.fixture
def build(project):
    def build_it(**changed):
        parts = PARTS | changed
        project.write("include/shown.hpp", HEADER % parts)
        source = project.write("library.cpp", SOURCE % parts)
        script = project.write("library.map", parts["map"])
        subprocess.run(
            ["c++", "-g", "-shared", "-fPIC", "-I", project.path / "include"]
            + [f"-Wl,-soname,{parts['soname']}", f"-Wl,--version-script,{script}"]
            + ["-o", project.path / "libfixture.so", source],
            check=True,
        )

    return build_it


@pytest.fixture(autouse=True)
def announced(build, compare):
    build()
    assert compare("--renew").returncode == 0


@pytest.fixture
def compare(project):
    def compare_it(*options):
        places = [project.path / name for name in ("libfixture.so", "abi", "include")]
        return run("lib/abi_compare.py", *options, *places)

    return compare_it


@pytest.fixture
def expect_broken(build, compare):
    """Expects that a change breaks existing programs and cannot be announced.
    """

    def expect(what, **changed):
        build(**changed)
        result = compare()
        assert result.returncode == 1
        assert "breaks programs" in result.stdout
        assert what in result.stdout
        assert compare("--renew").returncode == 1
        assert compare().returncode == 1

    return expect


def test_accepts_the_announced_abi(compare):
    result = compare()
    assert (result.returncode, result.stdout) == (0, "")


def test_refuses_the_removal_of_a_function(expect_broken):
    expect_broken("[D] 'function int twice(const Shown&)'", code="")


def test_refuses_other_arguments(expect_broken):
    expect_broken(
        "[D] 'function int twice(const Shown&)'",
        functions="int twice(const Shown& shown, int = 2);",
        code="int twice(const Shown& shown, int times)"
        "{ return times * shown.number + Inner{}.a; }",
    )


def test_refuses_another_order_of_virtual_functions(expect_broken):
    expect_broken(
        "the vtable offset of method virtual void Base::first() changed from 2 to 3",
        virtuals="virtual void second(); virtual void first();",
    )


def test_refuses_another_order_of_virtual_functions_without_code(expect_broken):
    expect_broken(
        "the vtable offset of method virtual void Base::third() changed from 4 to 5",
        pure="virtual void fourth() = 0; virtual void third() = 0;",
    )


def test_refuses_another_virtual_function(expect_broken):
    expect_broken(
        "virtual void Base::fifth()",
        pure=PARTS["pure"] + " virtual void fifth() = 0;",
    )


def test_refuses_another_layout_of_a_public_type(expect_broken):
    expect_broken("'char letter' offset changed", members="char letter; int number;")


def test_ignores_types_that_no_header_defines(build, compare):
    build(inside="char before; int a; int after;")
    assert compare().returncode == 0


def test_refuses_an_addition_to_an_announced_version_node(expect_broken):
    expect_broken(
        "added to a node of the version script: _Z6thricev@@ONE",
        code=PARTS["code"] + "int thrice() { return 3; }",
    )


def test_reports_an_addition_until_it_is_announced(build, compare):
    build(
        code=PARTS["code"] + "int thrice() { return 3; }",
        map=PARTS["map"] + "TWO { global: _Z6thricev; };",
    )
    result = compare()
    assert result.returncode == 1
    assert "[A] 'function int thrice()'" in result.stdout
    assert "breaks" not in result.stdout
    assert compare("--renew").returncode == 0
    assert compare().returncode == 0


def test_allows_announcing_a_broken_abi_with_another_soname(build, compare):
    build(code="", soname="libfixture.so.2")
    assert compare().returncode == 1
    assert compare("--renew").returncode == 0
    assert compare().returncode == 0
