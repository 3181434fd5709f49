# SPDX-License-Identifier: Apache-2.0
"""What a campaign of named parts is told on the command line."""

import argparse
import sys


def parser(description):
    made = argparse.ArgumentParser(description=description)
    made.add_argument("--build", default="build/test", help="folder of the build")
    made.add_argument("--no-result", action="store_true", help="keep no result")
    made.add_argument("names", nargs="*", metavar="NAME")
    return made


def parse(made, known):
    """The arguments; their names are those of parts that are known, all of them
    when none is given. Exits where one is not."""
    arguments = made.parse_args()
    unknown = set(arguments.names) - set(known)
    if unknown:
        sys.exit(f"unknown: {' '.join(sorted(unknown))}; known: {' '.join(known)}")
    arguments.names = arguments.names or list(known)
    return arguments
