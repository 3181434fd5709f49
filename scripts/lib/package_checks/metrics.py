# SPDX-License-Identifier: Apache-2.0
"""What the exporter serves to whoever scrapes it."""

import re
import urllib.request

from bus import TREE
from places import Unit, eventually

ADDRESS = "http://127.0.0.1:9942/metrics"


def scrape():
    """The value of each series, by its name and labels."""
    with urllib.request.urlopen(ADDRESS, timeout=20) as answer:
        text = answer.read().decode()
    return {name: float(value) for name, value in
            re.findall(r"^([^#\s]+) (\S+)", text, re.MULTILINE)}


def expect_fault(component):
    """Expects that the exporter finds all that it asks, and serves a critical
    fault of a component."""
    sources = ["data_cache", "bus", "sel"]
    eventually("all sources", lambda: all(
        scrape()[f"healthintf_{source}_up"] == 1 for source in sources))
    series = scrape()
    assert series[f'healthintf_faults{{component="{component}",'
                  'severity="critical",hidden="false"}'] >= 1, series
    assert series[f'healthintf_node_health{{component="{TREE}"}}'] == 4, series


class Metrics:
    """Checks of the exporter beside units that run."""

    def check_exporter_serves_the_fault(self):
        self.units["health-exporter"] = Unit(self.root, "health-exporter")
        expect_fault(TREE + "/packaged/process")
