# SPDX-License-Identifier: Apache-2.0
"""The command line of a campaign with named parts."""

import argparse
import sys


def parser(description):
    made = argparse.ArgumentParser(description=description)
    made.add_argument("--build", default="build/test", help="folder of the build")
    made.add_argument("--no-result", action="store_true", help="keep no result")
    made.add_argument("names", nargs="*", metavar="NAME")
    return made


def parse(made, known):
    """Parses the arguments, which name known parts; without names, returns all
    parts. Exits at an unknown name."""
    arguments = made.parse_args()
    unknown = set(arguments.names) - set(known)
    if unknown:
        sys.exit(f"unknown: {' '.join(sorted(unknown))}; known: {' '.join(known)}")
    arguments.names = arguments.names or list(known)
    return arguments
