# SPDX-License-Identifier: Apache-2.0
"""Tests of how campaigns compare the history with what has happened."""

import pathlib
import sys

import pytest

sys.path.insert(0, str(pathlib.Path(__file__).parents[3] / "tests/campaigns"))
from chronicle import Chronicle, Moment, Occurrence  # noqa: E402
from history_check import Comparison, Watch  # noqa: E402
from history_view import HistoryView  # noqa: E402

FAN = "/com/vexa/olvar/health/fan"
BEGIN = 10_000


class Scene:
    """A chronicle and a history beside each other."""

    def __init__(self):
        self.chronicle = Chronicle()
        self.view = HistoryView()
        self.watch = Watch()
        self.watch.begin(0)
        self.comparison = Comparison(self.chronicle, self.view, self.watch)
        self._sequence = 0

    def happen(self, since, until=None, kinds=("cleared",), **more):
        ended = None if until is None else Moment(until, until + 20)
        self.chronicle.occurrences.append(
            Occurrence(
                FAN,
                "M1",
                "/sensors/s1",
                1,
                77,
                Moment(since, since + 20),
                args=("one",),
                health=4,
                ended=ended,
                kinds=frozenset(kinds),
                **more,
            )
        )

    def record(self, kind, time, entry, **more):
        self._sequence += 1
        record = {
            "Sequence": self._sequence,
            "Kind": kind,
            "Time": time,
            "Component": FAN,
            "Entry": f"{FAN}/entry/{entry}",
            "MessageID": "M1",
            "Args": ["one"],
            "Severity": 4,
            "SensorPath": "/sensors/s1",
            "SensorNumber": 1,
            "ProcessID": 77,
            "Occurrence": entry,
        }
        self.view.take([record | more])

    def tell(self, since, until, entry=1, kind="cleared", **more):
        self.record("appeared", since, entry)
        self.record(kind, until, entry, Lasted=until - since, **more)

    def differences(self):
        return self.view.wrong + list(self.comparison.differences(now=100_000))


@pytest.fixture
def scene():
    return Scene()


def test_agrees_when_the_history_has_what_happened(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + 10, BEGIN + 5010)
    scene.happen(BEGIN + 6000)
    scene.record("appeared", BEGIN + 6010, 2)
    assert scene.differences() == []
    assert scene.comparison.counts == {"lasting, recorded": 1}


def test_finds_that_a_lasting_occurrence_is_missing(scene):
    scene.happen(BEGIN, BEGIN + 1021)
    assert "has no" in scene.differences()[0]


def test_finds_that_one_of_two_equal_occurrences_is_missing(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + 10, BEGIN + 5010)
    assert len(scene.differences()) == 1


def test_needs_no_record_of_what_lasted_for_a_second_only(scene):
    scene.happen(BEGIN, BEGIN + 1020)
    assert scene.differences() == []


def test_needs_no_record_of_what_ended_while_logmgr_was_down(scene):
    scene.watch.end(BEGIN + 500)
    scene.watch.begin(BEGIN + 4500)
    scene.happen(BEGIN, BEGIN + 5000)
    assert scene.differences() == []


def test_needs_no_record_of_what_may_never_have_been(scene):
    scene.happen(BEGIN, BEGIN + 5000, certain=False)
    assert scene.differences() == []


def test_finds_that_an_occurrence_was_recorded_twice(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + 10, BEGIN + 5010, entry=1)
    scene.tell(BEGIN + 10, BEGIN + 5010, entry=2)
    assert "history: has record 3" in scene.differences()[0]


def test_finds_that_what_has_ended_is_still_open(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.record("appeared", BEGIN + 10, 1)
    assert len(scene.differences()) == 2


def test_finds_that_what_lasts_has_an_end(scene):
    scene.happen(BEGIN)
    scene.tell(BEGIN + 10, BEGIN + 5010)
    assert len(scene.differences()) == 2


@pytest.mark.parametrize("since, until", [(-3, 5000), (2021, 5000), (10, 4997), (10, 7021)])
def test_finds_wrong_times(scene, since, until):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + since, BEGIN + until)
    assert scene.differences() != []


def test_lets_a_missed_end_have_a_later_time(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + 10, BEGIN + 50_000, Missed=True)
    assert scene.differences() == []


def test_finds_a_wrong_kind_of_end(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + 10, BEGIN + 5010, kind="gave-way")
    assert scene.differences() != []


def test_takes_any_removal_for_one_that_logmgr_has_not_heard_of(scene):
    scene.watch.end(BEGIN + 4500)
    scene.watch.begin(BEGIN + 4900)
    scene.happen(BEGIN, BEGIN + 5000)
    scene.tell(BEGIN + 10, BEGIN + 5010, kind="gave-way")
    assert scene.differences() == []


def test_gives_each_of_equal_occurrences_the_record_that_fits(scene):
    scene.happen(BEGIN, BEGIN + 5000)
    scene.happen(BEGIN + 1000, BEGIN + 3000)
    scene.tell(BEGIN + 1010, BEGIN + 3010, entry=1)
    scene.tell(BEGIN + 10, BEGIN + 5010, entry=2)
    assert scene.differences() == []
