# SPDX-License-Identifier: Apache-2.0
"""What ends the demo before its time."""

# Some machines get memory back only little by little.
PATIENCE_SECONDS = 120


class Unexpected(Exception):
    """Something was not as the demo says."""


def expect(what, so):
    if not so:
        raise Unexpected(what)
