# SPDX-License-Identifier: Apache-2.0
"""Runs the scenes of scripts/campaigns/load and writes their results.

    load.py [--build FOLDER] [--no-result] [SCENE ...]"""

import sys
import traceback

import arguments
import load_full
import load_size
import load_slow
import namespaces
import programs

sys.path.insert(0, str(programs.SOURCE / "scripts/lib"))
import campaign  # noqa: E402

SCENES = {
    "components": load_size.many_components,
    "storm": load_size.storm,
    "children": load_size.many_children,
    "listing": load_size.long_listing,
    "deaf-receiver": load_slow.deaf_receiver,
    "stopped-parent": load_slow.stopped_parent,
    "stopped-manager": load_slow.stopped_manager,
    "full-cache": load_full.full_cache,
    "full-disk-cache": load_full.full_disk_of_cache,
    "full-disk-log": load_full.full_disk_of_log,
    "descriptors-healthmgr": load_full.no_descriptors_of_manager,
    "descriptors-daemon": load_full.no_descriptors_of_daemon,
}


def run(name, build):
    """The table row of a scene, and the expectations that it broke."""
    play = SCENES[name]
    try:
        scene = play(build)
        broken, numbers = scene.broken, "; ".join(scene.numbers)
        row = [scene.happens, scene.limit, scene.told, numbers]
        print(f"{name}: {scene.happens}; met: {scene.limit}; told: {scene.told}", flush=True)
    except Exception as failure:  # noqa: BLE001 - is what the scene met
        traceback.print_exc()
        broken = [f"{name}: {type(failure).__name__}: {failure}"]
        row = ["it ended early", "", "", ""]
    return [f"`{name}`: {play.__doc__.strip()}", *row], broken


def shown(text):
    """The text as a table cell, without this machine's paths."""
    text = text.replace(f"{programs.SOURCE}/", "")
    return " ".join(text.split()).replace("|", "\\|")


def table(rows):
    head = ["Scene", "What happens", "Limit met", "What the user is told", "Numbers"]
    cells = [head, ["---"] * len(head), *rows]
    lines = (" | ".join(map(shown, line)) for line in cells)
    return "".join(f"| {line} |\n" for line in lines)


def main():
    given = arguments.parse(
        arguments.parser("Load, up to the limits and over."), SCENES
    )
    namespaces.in_own_namespace()
    rows = []
    found = []
    for name in given.names:
        row, broken = run(name, given.build)
        rows.append(row)
        found += broken
    if not given.no_result:
        campaign.write_result(
            "load",
            tried="many components, storms, receivers that do not read, full stores",
            times=f"{len(rows)} scenes",
            found=found,
            details=table(rows),
        )
    print(f"{len(rows)} scenes, {len(found)} expectations broken")
    sys.exit(1 if found else 0)


main()
