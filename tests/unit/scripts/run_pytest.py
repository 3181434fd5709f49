# SPDX-License-Identifier: Apache-2.0
"""Runs a test file by pytest, for Meson:

    run_pytest.py FILE --gtest_output=xml:RESULTS

Writes the result of each case as GoogleTest does, so that Meson and
scripts/lib/count-tests read both alike."""

import sys

import pytest

_, file, results = sys.argv
results = results.removeprefix("--gtest_output=xml:")
sys.exit(pytest.main(["-p", "no:cacheprovider", f"--junit-xml={results}", file]))
