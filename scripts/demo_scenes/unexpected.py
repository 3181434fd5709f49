"""What ends the demo before its time."""

PATIENCE_SECONDS = 30


class Unexpected(Exception):
    """Something was not as the demo says."""


def expect(what, so):
    if not so:
        raise Unexpected(what)
