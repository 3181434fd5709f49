# SPDX-License-Identifier: Apache-2.0
"""What the records of the history tell, read one after the other: which faults
lasted from when to when, and which last still."""

import collections
import dataclasses

BEGINS = {"appeared", "monitor-lost"}
ENDS = {"cleared", "gave-way", "withdrawn", "monitor-back"}
MONITOR_LOST = "HealthManager.1.0.MonitorLost"
# A fault is marked as hidden or not by these records.
VISIBILITY = {"hidden": True, "shown": False}
# How far the duration of a fault may be from the times of its records, which
# another clock gives.
SAME_TIME = 500


@dataclasses.dataclass(eq=False)
class Episode:
    """A fault from its first record to its last."""

    begun: dict
    ended: dict | None = None
    hidden: bool = False

    def group(self):
        record = self.begun
        return (
            record["Component"],
            record["MessageID"],
            record.get("SensorPath", ""),
            record.get("SensorNumber", 0),
            record.get("ProcessID", 0),
        )

    def __str__(self):
        end = self.ended
        told = f"{end['Kind']} (record {end['Sequence']})" if end else "lasting"
        return f"record {self.begun['Sequence']} of {self.begun['Entry']}, {told}"


class HistoryView:
    """The history as it was read so far."""

    def __init__(self):
        self.records = []
        self.lasting = {}
        self.episodes = []
        # What no history may say.
        self.wrong = []
        self._occurrences = collections.Counter()

    def following(self):
        """The lowest sequence number that was not read."""
        return self.records[-1]["Sequence"] + 1 if self.records else 0

    def take(self, records):
        for record in records:
            if record["Sequence"] < self.following():
                self._complain(record, "does not rise")
            self.records.append(record)
            self._take(record)

    def _take(self, record):
        kind = record["Kind"]
        if kind in BEGINS:
            self._begin(record)
        elif kind in ENDS:
            self._end(record)
        elif kind in VISIBILITY:
            self._hide(record, VISIBILITY[kind])

    def _complain(self, record, what):
        self.wrong.append(f"history: {record['Kind']} {record['Sequence']} {what}")

    def _begin(self, record):
        if record["Entry"] in self.lasting:
            self._complain(record, f"is the second of {record['Entry']}")
        if (record["Kind"] == "monitor-lost") != (record["MessageID"] == MONITOR_LOST):
            self._complain(record, f"is of the message {record['MessageID']}")
        episode = Episode(record)
        same = (*episode.group()[:4], tuple(record.get("Args", ())))
        self._occurrences[same] += 1
        if record["Occurrence"] != self._occurrences[same]:
            self._complain(
                record,
                f"is occurrence {record['Occurrence']}, not {self._occurrences[same]}",
            )
        self.lasting[record["Entry"]] = episode
        self.episodes.append(episode)

    def _end(self, record):
        episode = self.lasting.pop(record["Entry"], None)
        if episode is None:
            self._complain(record, f"ends {record['Entry']}, which does not last")
            return
        episode.ended = record
        duration = record["Time"] - episode.begun["Time"]
        if abs(record["Lasted"] - duration) > SAME_TIME:
            self._complain(record, f"lasted {record['Lasted']} ms, not {duration}")

    def _hide(self, record, hidden):
        episode = self.lasting.get(record["Entry"])
        if episode is None or episode.hidden == hidden:
            self._complain(record, f"changes nothing of {record['Entry']}")
        else:
            episode.hidden = hidden

    def differences(self, cached):
        """How the lasting faults differ from those of the data cache."""
        yield from self.wrong
        expected = {entry["path"]: content_of_entry(entry) for entry in cached}
        shown = {
            path: content_of_record(each.begun, each.hidden)
            for path, each in self.lasting.items()
        }
        for path in sorted(expected.keys() | shown.keys()):
            if path not in shown:
                yield f"history: lacks {path} {expected[path]}"
            elif path not in expected:
                yield f"history: {path} lasts, but is gone"
            elif expected[path] != shown[path]:
                yield f"history: {path} is {shown[path]}, should be {expected[path]}"


def content_of_entry(entry):
    return (
        entry["messageID"],
        entry["args"],
        entry["message"],
        entry["severity"],
        entry["sensorPath"],
        entry["sensorNumber"],
        entry["hidden"],
    )


def content_of_record(record, hidden):
    return (
        record["MessageID"],
        record.get("Args", []),
        record.get("Message", ""),
        record["Severity"],
        record.get("SensorPath", ""),
        record.get("SensorNumber", 0),
        hidden,
    )
