# SPDX-License-Identifier: Apache-2.0
"""Compares the history with the campaign's chronicle: each occurrence that had
to be recorded is there once, and everything that is recorded has happened.

What the history promises, and so what is expected of it, is in
docs/history.md: each fault that lasts for a second while logmgr runs."""

import collections

# What lasts longer than so many milliseconds has to be recorded.
LASTING = 1000
# How late, in milliseconds, logmgr may record something when the machine is
# busy: it compares the data cache every 0.4 seconds, and an end must be seen
# twice.
LATE = 2000
# How far the times of two processes may be apart although both mean the same:
# those of the history are whole milliseconds.
ROUNDING = 2
# Whoever hears no signal cannot tell these apart.
REMOVALS = frozenset({"cleared", "gave-way", "withdrawn", "monitor-back"})


class Watch:
    """When logmgr has certainly been running with its history."""

    def __init__(self):
        self._times = []

    def begin(self, time):
        """It answers."""
        if not self.running():
            self._times.append([time, float("inf")])

    def end(self, time):
        """It is about to end."""
        if self.running():
            self._times[-1][1] = time

    def running(self):
        return bool(self._times) and self._times[-1][1] == float("inf")

    def longest(self, since, until):
        """For how long it has been running at a stretch between two times."""
        common = (min(until, end) - max(since, begin) for begin, end in self._times)
        return max(common, default=0)

    def covers(self, since, until):
        return any(begin <= since and until <= end for begin, end in self._times)


class Comparison:
    """Compares what has ended in between, again and again."""

    def __init__(self, chronicle, view, watch):
        self._chronicle = chronicle
        self._view = view
        self._watch = watch
        self.counts = collections.Counter()

    def differences(self, now):
        """What is wrong. What has ended is not looked at again."""
        expected = grouped(self._chronicle.occurrences)
        shown = grouped(self._view.episodes)
        for group in sorted(expected.keys() | shown.keys()):
            yield from self._compare(expected[group], shown[group], now)
        self._chronicle.occurrences = self._lasting(self._chronicle.occurrences)
        self._view.episodes = self._lasting(self._view.episodes)

    def _compare(self, occurrences, episodes, now):
        # Those that are needed choose first, and keep a partner.
        occurrences = sorted(occurrences, key=lambda each: not self._is_needed(each, now))
        fits = [
            [number for number, episode in enumerate(episodes) if self._fits(each, episode)]
            for each in occurrences
        ]
        partners = pair(fits)
        recorded = set(partners.values())
        for number, occurrence in enumerate(occurrences):
            needed = self._is_needed(occurrence, now)
            if occurrence.ended:
                self._count(occurrence, needed, number in recorded)
            if needed and number not in recorded:
                shown = "; ".join(map(describe_episode, episodes)) or "nothing"
                yield f"history: has no {describe(occurrence)}, but {shown}"
        for number, episode in enumerate(episodes):
            if number not in partners:
                happened = "; ".join(map(describe, occurrences)) or "nothing"
                yield f"history: has {describe_episode(episode)}, but {happened} happened"

    def _count(self, occurrence, needed, recorded):
        sort = "lasting" if needed else "short" if occurrence.certain else "uncertain"
        self.counts[f"{sort}, {'recorded' if recorded else 'not recorded'}"] += 1

    def _is_needed(self, occurrence, now):
        until = occurrence.ended.earliest if occurrence.ended else now
        watched = self._watch.longest(occurrence.began.latest, until)
        return occurrence.certain and watched > LASTING

    def _fits(self, occurrence, episode):
        begun, ended = episode.begun, episode.ended
        if (
            occurrence.args not in (None, tuple(begun.get("Args", ())))
            or occurrence.health not in (None, begun["Severity"])
            or bool(ended) != bool(occurrence.ended)
            or not is_within(begun["Time"], occurrence.began, LATE)
        ):
            return False
        return not ended or self._fits_end(occurrence, ended)

    def _fits_end(self, occurrence, ended):
        if ended.get("Missed"):
            # Its time is the one when the end was found.
            return ended["Time"] >= occurrence.ended.earliest - ROUNDING
        if not is_within(ended["Time"], occurrence.ended, LATE):
            return False
        heard = self._watch.covers(
            occurrence.ended.earliest - LASTING, occurrence.ended.latest + LASTING
        )
        return ended["Kind"] in (occurrence.kinds if heard else REMOVALS)

    @staticmethod
    def _lasting(all_of_them):
        return [each for each in all_of_them if not each.ended]


def is_within(time, moment, late):
    return moment.earliest - ROUNDING <= time <= moment.latest + late


def grouped(all_of_them):
    groups = collections.defaultdict(list)
    for each in all_of_them:
        groups[each.group()].append(each)
    return groups


def describe(occurrence):
    ended = occurrence.ended
    end = f"{'/'.join(sorted(occurrence.kinds))} {span(ended)}" if ended else "lasts"
    sort = "" if occurrence.certain else ", perhaps"
    return (
        f"{occurrence.group()} {occurrence.args} {occurrence.health} "
        f"from {span(occurrence.began)}, {end}{sort}"
    )


def describe_episode(episode):
    times = [episode.begun["Time"]] + ([episode.ended["Time"]] if episode.ended else [])
    both = filter(None, (episode.begun, episode.ended))
    missed = [each["Sequence"] for each in both if "Missed" in each]
    return f"{episode} {episode.group()} at {times}, missed {missed}"


def span(moment):
    return f"{moment.earliest:.0f}..{moment.latest:.0f}"


def pair(fits):
    """Gives each left one, in their order, one of the right ones that fit it,
    so that as many as possible have a partner; who has one keeps having one.
    Returns the left ones by the right ones."""
    partner = {}

    def find(left, tried):
        for right in fits[left]:
            if right not in tried:
                tried.add(right)
                if right not in partner or find(partner[right], tried):
                    partner[right] = left
                    return True
        return False

    for left in range(len(fits)):
        find(left, set())
    return partner
