# SPDX-License-Identifier: Apache-2.0
"""The result of a campaign, for the table of docs/evidence/reliability.md."""

import json
import pathlib

FOLDER = pathlib.Path("build/reliability")


def write_result(name, *, tried, times, found, details=""):
    """Keeps what a campaign saw where scripts/reliability looks for it.

    tried: what was tried, for a cell of a table
    times: how many times, with the unit: "500 rounds"
    found: the failures that this run met, a line each; none is a success
    details: Markdown for the campaign's section, headings from level 3 on
    """
    FOLDER.mkdir(parents=True, exist_ok=True)
    result = {"tried": tried, "times": times, "found": list(found), "details": details}
    path = FOLDER / f"{name}.json"
    path.write_text(json.dumps(result, indent=2, ensure_ascii=False) + "\n")
