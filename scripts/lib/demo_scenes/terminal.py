# SPDX-License-Identifier: Apache-2.0
"""What the demo itself writes, for a person."""

import os
import sys
import textwrap

WIDTH = 80


class Terminal:
    """Colours on a terminal, and lines that fit."""

    def __init__(self):
        self.coloured = sys.stdout.isatty() and "NO_COLOR" not in os.environ

    def paint(self, text, colour):
        return f"\033[{colour}m{text}\033[0m" if self.coloured else text

    def line(self, text=""):
        print(text, flush=True)

    def title(self, text):
        self.line(self.paint(text, "1"))
        self.line(self.paint("─" * len(text), "2"))

    def tell(self, text):
        for line in textwrap.wrap(text, WIDTH):
            self.line(line)

    def command(self, words):
        lines = textwrap.wrap(
            "$ " + " ".join(words),
            WIDTH - 2,
            subsequent_indent="    ",
            break_long_words=False,
            break_on_hyphens=False,
        )
        self.line(self.paint(" \\\n".join(lines), "36"))
