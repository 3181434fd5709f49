# SPDX-License-Identifier: Apache-2.0
"""What the queries cost that read records of the data cache."""

import collections
import statistics

from . import plot
from .turns import in_filled_cache, median_ratio

RECORDS_OF_A_TURN = 20_000
QUERY_COUNTS = (100, 300, 1_000, 3_000, 10_000, 30_000, 100_000)
# What is asked, by the name that the program knows it by.
Query = collections.namedtuple("Query", "title name mark")
QUERIES = {
    "counts": Query("Hidden and visible counted", "counts", 1.2),
    "leds": Query("LED states collected", "LED states", 1.2),
    "top": Query("Ten most important found", "top ten", 1.2),
}
SEL_COUNTS = (100, 3_000, 65_535)
SEL_QUERIES = {
    "list": Query("All entries of the log listed", "list", 1.2),
    # Of so little work, what is logged is a large part.
    "id": Query("An entry of the log found", "id", 4.0),
}


def timed_queries(programs, count):
    """Microseconds of each turn of the bare scan and of each query."""
    library = f"{programs}/queries-library"
    commands = {which: [library, which, str(count)] for which in QUERIES}

    def commands_of(cache):
        return {"floor": [f"{programs}/queries-floor", cache, str(count)], **commands}

    return in_filled_cache(
        f"{programs}/queries-fill",
        count,
        commands_of,
        max(1, RECORDS_OF_A_TURN // count),
    )


class QueryTimes:
    """The times of one query over the numbers of records."""

    def __init__(self, samples, which):
        self.times = [statistics.median(times[which]) for times in samples]
        self.ratios = [
            median_ratio(times[which], times["floor"]) for times in samples
        ]


def measure_queries(programs, report):
    samples = [timed_queries(programs, count) for count in QUERY_COUNTS]
    bare = QueryTimes(samples, "floor")
    curves = {which: QueryTimes(samples, which) for which in QUERIES}
    for which, query in QUERIES.items():
        report.head(f"{query.title}, CPU us")
        curve = curves[which]
        for row in zip(QUERY_COUNTS, bare.times, curve.times, curve.ratios):
            count, floor, time, ratio = row
            report.line(f"{count:,} records", floor, time, query.mark, ratio)
    plot.draw_queries(
        report.pictures,
        QUERY_COUNTS,
        bare.times,
        [(query.name, curves[which]) for which, query in QUERIES.items()],
        sorted({query.mark for query in QUERIES.values()}),
    )


def measure_sel_queries(programs, report):
    for which, query in SEL_QUERIES.items():
        report.head(f"{query.title}, CPU us")
        for count in SEL_COUNTS:
            samples = in_filled_cache(
                f"{programs}/sel-fill",
                count,
                lambda cache, count=count, which=which: {
                    "floor": [f"{programs}/sel-queries-floor", which, cache, str(count)],
                    "library": [f"{programs}/sel-queries-library", which, str(count)],
                },
                max(1, RECORDS_OF_A_TURN // count) if which == "list" else 2000,
                "sel",
            )
            report.line(
                f"{count:,} records",
                statistics.median(samples["floor"]),
                statistics.median(samples["library"]),
                query.mark,
                median_ratio(samples["library"], samples["floor"]),
            )
