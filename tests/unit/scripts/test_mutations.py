# SPDX-License-Identifier: Apache-2.0
import subprocess
import sys

from conftest import SCRIPTS

sys.path.insert(0, str(SCRIPTS / "lib"))
import mutations  # noqa: E402


def changes_of(code):
    """The mutations of a source, without the file's name."""
    return [str(each).removeprefix("a.cpp:") for each in mutations.of_file("a.cpp", code)]


def inside(statements):
    """The mutations of the statements in a function."""
    return changes_of(f"void f()\n{{\n{statements}\n}}\n")


def swapped(statements):
    return any("swapped" in each for each in inside(statements))


def test_invert_conditions():
    assert inside("if (a == b)\n{\n}") == ["3: condition: `==` becomes `!=`"]
    assert inside("if (!a && b)\n{\n}") == [
        "3: condition: no `!`",
        "3: condition: `&&` becomes `||`",
    ]
    assert "3: condition: `done(x)` becomes `!(done(x))`" in inside(
        "if (int x = 0; done(x))\n{\n}"
    )
    assert inside("if (auto* x = find())\n{\n}") == []


def test_shift_boundaries():
    assert inside("while (a < b)\n{\n}") == [
        "3: boundary: `<` becomes `<=`",
        "3: condition: `<` becomes `>=`",
    ]
    assert inside("int x = a + b;") == ["3: boundary: `+` becomes `-`"]


def test_do_not_take_template_brackets_for_comparisons():
    assert inside("std::map<int, std::vector<int>> x;") == []
    assert changes_of("template <typename T>\nstruct A;\n") == []


def test_change_constants():
    assert changes_of(
        "constexpr unsigned a = 0x0fu;\nconstexpr int b = 1'000;\n"
        "constexpr bool c = true;\n"
    ) == [
        "1: constant: `0x0fu` becomes `0x10u`",
        "2: constant: `1'000` becomes `1001`",
        "3: constant: `true` becomes `false`",
    ]
    assert changes_of("struct A\n{\n    virtual void f() = 0;\n};\n") == []


def test_remove_statements():
    assert inside("call(a);\nint x;\nx = a;\nHMI_LOG(a);\nreturn x;") == [
        "3: call: no `call(a);`",
        "5: assignment: no `x = a;`",
        "6: log line: no `HMI_LOG(a);`",
    ]
    assert inside("const A x(y);\nB z = f();\nauto [v, w] = g();") == []


def test_remove_jumps_from_blocks_only():
    assert inside("for (int i : a)\n{\ncontinue;\n}\nreturn;") == [
        "5: jump: no `continue;`"
    ]
    assert inside("if (auto* x = find())\n{\nreturn;\n}") == ["5: jump: no `return;`"]


def test_swap_consecutive_statements():
    assert "3: swapped: `a(); b();` becomes `b(); a();`" in inside("a();\nb();")
    assert not swapped("a();\nHMI_LOG(x);\nb();")
    assert not swapped("a();\na();")
    assert "3: swapped: `a = 1; a = 2;` becomes `a = 2; a = 1;`" in inside(
        "a = 1;\na = 2;"
    )
    assert swapped('put("a", 1);\nset("b", 2);')


def test_do_not_swap_statements_whose_order_does_not_matter():
    assert not swapped("a = 1;\nb = 2;")
    assert not swapped('put("a", x);\nput("b", y);')
    assert swapped('put("a", x);\nput("a", y);')


def test_go_into_lambdas_and_cases():
    assert inside("auto f = [](int x) {\ncall(x);\n};") == ["4: call: no `call(x);`"]
    assert {"6: call: no `call(x);`", "7: jump: no `break;`"} <= set(
        inside("switch (x)\n{\ncase A::b:\ncall(x);\nbreak;\n}")
    )


def test_skip_texts_comments_and_static_assertions():
    assert (
        inside(
            "// a == 1;\n/* call(); */\n#define A 5 \\\n    + 6\n"
            "static_assert(sizeof(a) == 4);\n"
            "auto* x = R\"(a(); 1 == 2)\";\nauto y = 'a';\n"
            'auto z = "\\" == 1";'
        )
        == []
    )


def test_match_all_recorded_explanations():
    listed = subprocess.run(
        [SCRIPTS / "mutate", "--list", "--count", "1"], capture_output=True, text=True
    )
    assert listed.returncode == 0, listed.stderr
