#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Scrapes the exporter and parses the scrape with prometheus_client.

    scrape.py PORT|SOCKET [PARALLEL]

Prints one JSON object: the samples by name and labels, and the types of the
families. With PARALLEL, makes that many scrapes at once and prints how many
were complete and how long the last one took."""

import http.client
import json
import socket
import sys
import threading
import time

from prometheus_client.openmetrics.parser import text_string_to_metric_families


class LocalConnection(http.client.HTTPConnection):
    """HTTP over a Unix socket."""

    def __init__(self, path):
        super().__init__("localhost", timeout=20)
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(self.timeout)
        self.sock.connect(self.path)


def connection(where):
    if where.isdigit():
        return http.client.HTTPConnection("127.0.0.1", int(where), timeout=20)
    return LocalConnection(where)


def scrape(where):
    """The metric families of one scrape."""
    http_connection = connection(where)
    http_connection.request("GET", "/metrics")
    answer = http_connection.getresponse()
    kind = "application/openmetrics-text; version=1.0.0; charset=utf-8"
    if answer.status != 200 or answer.getheader("Content-Type") != kind:
        raise RuntimeError(f"{answer.status} {answer.getheaders()}")
    text = answer.read().decode("utf-8")
    if not text.endswith("\n# EOF\n"):
        raise RuntimeError("no end mark: " + text[-80:])
    return list(text_string_to_metric_families(text))


def name_of(sample):
    labels = ",".join(f"{name}={value}" for name, value in sample.labels.items())
    return f"{sample.name}{{{labels}}}" if labels else sample.name


def show(families):
    samples = {name_of(s): s.value for f in families for s in f.samples}
    types = {family.name: family.type for family in families}
    print(json.dumps({"samples": samples, "types": types}))


def scrape_at_once(where, number):
    whole = []

    def one():
        whole.append(len(scrape(where)))

    threads = [threading.Thread(target=one) for _ in range(number)]
    begin = time.monotonic()
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    print(json.dumps({"whole": len(whole), "seconds": time.monotonic() - begin}))


if __name__ == "__main__":
    if len(sys.argv) > 2:
        scrape_at_once(sys.argv[1], int(sys.argv[2]))
    else:
        show(scrape(sys.argv[1]))
