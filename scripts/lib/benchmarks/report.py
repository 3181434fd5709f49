# SPDX-License-Identifier: Apache-2.0
"""What was measured, while it is measured and as one table."""

import collections

# counted: whether these are instructions, which repeat, or times
Row = collections.namedtuple("Row", "what counted library floor ratio mark")


def verdict(row):
    if row.mark is None:
        return ""
    return "missed" if missed(row) else "kept"


def missed(row):
    return row.mark is not None and row.ratio > row.mark


class Report:
    """Takes measurements of the library beside their floors."""

    def __init__(self, pictures):
        """PICTURES is the folder that curves are drawn into."""
        self.pictures = pictures
        self._rows = []
        self._title = ""
        self._counted = False
        self._width = 0

    def head(self, title, counted=False, width=40):
        """Begins a group; COUNTED says that its figures are instructions."""
        self._title, self._counted, self._width = title, counted, width
        print(
            f"\n{title:<{width}}{'bare':>9}{'library':>9}{'ratio':>7}{'mark':>7}"
        )

    def line(self, what, floor, library, mark=None, ratio=None):
        row = Row(
            f"{self._title}: {what}",
            self._counted,
            library,
            floor,
            ratio or library / floor,
            mark,
        )
        self._rows.append(row)
        text = f"  {what:<{self._width - 2}}{floor:>9.1f}{library:>9.1f}"
        text += f"{row.ratio:>7.3f}"
        if mark is not None:
            text += f"{mark:>7.2f}"
            if row.ratio > mark:
                text += f"  {verdict(row)}"
        print(text, flush=True)

    @property
    def rows(self):
        """Counted ones first."""
        return sorted(self._rows, key=lambda row: not row.counted)

    def found(self):
        """The ratios that are too large, a line each."""
        return [
            f"{row.what}: {row.ratio:.3f} times the floor, mark {row.mark:.2f}"
            for row in self.rows
            if missed(row)
        ]

    def table(self):
        """All measurements as Markdown."""
        lines = [
            "| Measurement | Library | Floor | Ratio | Mark | Verdict |",
            "|---|---:|---:|---:|---:|---|",
        ]
        for row in self.rows:
            mark = "" if row.mark is None else f"{row.mark:.2f}"
            lines.append(
                f"| {row.what} | {row.library:,.1f} | {row.floor:,.1f} "
                f"| {row.ratio:.3f} | {mark} | {verdict(row)} |"
            )
        return "\n".join(lines)
