# SPDX-License-Identifier: Apache-2.0
"""The measurements of scripts/bench.

    bench_runs.py FOLDER-OF-THE-PROGRAMS [instructions] [growth] [time] [hops]
                  [buses] [queries] [events] [sel-queries] [durability]
                  [history]
"""

import sys

from benchmarks import buses, events, faults, growth, history, plot, queries
from benchmarks.report import Report
from campaign import write_result

MEASUREMENTS = {
    "instructions": faults.measure_instructions,
    "growth": growth.measure_growth,
    "time": faults.measure_time,
    "hops": faults.measure_hops,
    "buses": buses.measure_buses,
    "queries": queries.measure_queries,
    "events": events.measure_events,
    "sel-queries": queries.measure_sel_queries,
    "durability": events.measure_durability,
    "history": history.measure_history,
}


def keep(report):
    """Writes the result of a whole run."""
    pictures = "".join(
        f"\n![{title}]({name}.svg)\n" for name, title in plot.PICTURES.items()
    )
    write_result(
        "bench",
        tried="costs beside bare programs, and how they grow",
        times=f"{len(report.rows)} ratios",
        found=report.found(),
        details="[performance.md](performance.md) says why each curve has its "
        f"shape.\n\n{report.table()}\n{pictures}",
    )


def main(programs, wanted):
    unknown = [name for name in wanted if name not in MEASUREMENTS]
    if unknown:
        print(f"bench: no measurement {unknown[0]}", file=sys.stderr)
        return 2
    # What a whole run has seen is for the documents.
    report = Report("build" if wanted else "docs/evidence")
    for name in wanted or MEASUREMENTS:
        MEASUREMENTS[name](programs, report)
    print(f"\n{report.table()}\n")
    found = report.found()
    for line in found:
        print(f"missed: {line}")
    if not found:
        print("No ratio is above its mark.")
    if not wanted:
        keep(report)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
