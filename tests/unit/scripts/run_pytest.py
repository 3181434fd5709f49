# SPDX-License-Identifier: Apache-2.0
"""Runs the tests of a file by pytest, for Meson:

    run_pytest.py FILE --gtest_output=xml:RESULTS

Meson reads the results of each case, as it does those of GoogleTest, so that
scripts/lib/count-tests counts them.
"""

import sys

import pytest

_, file, results = sys.argv
results = results.removeprefix("--gtest_output=xml:")
sys.exit(pytest.main(["-p", "no:cacheprovider", f"--junit-xml={results}", file]))
