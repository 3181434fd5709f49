# SPDX-License-Identifier: Apache-2.0
"""Checks the packages in roots of their own:

    run.py PACKAGES ROOT MACHINE

Run by scripts/checks/packages, in mount, PID and network namespaces of its own.
ROOT and MACHINE are folders with a fresh Debian each. Prints one line for each
check, and last how many passed and failed."""

import glob
import subprocess
import sys

from booted import Booted
from by_hand import ByHand
from places import Root, Skipped


def run(checks):
    """Makes all checks of an object: of its parts, each in the order in which
    they stand.

    Returns how many passed and how many failed."""
    passed = failed = 0
    for name in (name for part in checks.parts for name in vars(part)):
        if not name.startswith("check_"):
            continue
        words = name[len("check_"):].replace("_", " ")
        try:
            getattr(checks, name)()
            print(f"ok: {words}", flush=True)
            passed += 1
        except Skipped as reason:
            print(f"skipped: {words}: {reason}", flush=True)
        # Whatever goes wrong in one is told, and the others are tried.
        except Exception as failure:  # pylint: disable=broad-except
            print(f"failed: {words}: {failure!r}", flush=True)
            failed += 1
    if failed:
        checks.show_logs()
    return passed, failed


def main():
    packages = sorted(each for each in glob.glob(sys.argv[1] + "/*.deb")
                      if "-dbgsym_" not in each)
    subprocess.run(["mount", "--make-rprivate", "/"], check=True)
    # The exporter is asked there.
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    print("--- units by hand")
    counts = [run(ByHand(Root(sys.argv[2]), packages))]
    print("--- systemd")
    booted = Booted(sys.argv[3], packages)
    counts.append(run(booted))
    booted.machine.end()
    passed, failed = map(sum, zip(*counts))
    print(f"{passed} passed, {failed} failed")
    return failed != 0


sys.exit(main())
