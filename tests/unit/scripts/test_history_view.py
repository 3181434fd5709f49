# SPDX-License-Identifier: Apache-2.0
"""Tests of how campaigns read the history."""

import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parents[3] / "tests/campaigns"))
from history_view import HistoryView  # noqa: E402

FAN = "/com/vexa/olvar/health/fan"
ENTRY = f"{FAN}/entry/1"
CACHED = {
    "path": ENTRY,
    "messageID": "M1",
    "args": [],
    "message": "",
    "severity": 3,
    "sensorPath": "",
    "sensorNumber": 0,
    "hidden": False,
}


def make(sequence, kind="appeared", time=1000, **more):
    return {
        "Sequence": sequence,
        "Kind": kind,
        "Time": time,
        "Component": FAN,
        "Entry": ENTRY,
        "MessageID": "M1",
        "Severity": 3,
        "Occurrence": 1,
    } | more


@pytest.fixture
def view():
    return HistoryView()


def differences(view, *cached):
    return list(view.differences(cached))


def test_agrees_with_a_data_cache_that_has_the_same(view):
    view.take([make(1), make(4, "hidden")])
    assert view.following() == 5
    assert differences(view, CACHED | {"hidden": True}) == []


def test_knows_when_a_fault_does_not_last_any_more(view):
    view.take([make(1), make(2, "cleared", 3000, Lasted=2000)])
    assert differences(view) == []
    assert [str(each) for each in view.episodes] == [f"record 1 of {ENTRY}, cleared (record 2)"]


def test_finds_a_fault_that_is_missing(view):
    assert differences(view, CACHED) != []


def test_finds_a_fault_that_is_gone(view):
    view.take([make(1)])
    assert differences(view) == [f"history: {ENTRY} lasts, but is gone"]


@pytest.mark.parametrize("other", [{"hidden": True}, {"severity": 4}, {"args": ["one"]}])
def test_finds_a_fault_with_another_content(view, other):
    view.take([make(1)])
    assert differences(view, CACHED | other) != []


@pytest.mark.parametrize(
    "records",
    [
        [make(2), make(2, "hidden")],
        [make(2), make(1, "hidden")],
        [make(1), make(2, Occurrence=2)],
        [make(1, Occurrence=2)],
        [make(1, "cleared", Lasted=0)],
        [make(1), make(2, "shown")],
        [make(1), make(2, "hidden"), make(3, "hidden")],
        [make(1), make(2, "cleared", 3000, Lasted=3000)],
        [make(1, "monitor-lost")],
        [make(1, MessageID="HealthManager.1.0.MonitorLost")],
    ],
)
def test_finds_what_no_history_may_say(view, records):
    view.take(records)
    assert view.wrong != []
