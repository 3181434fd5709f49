# SPDX-License-Identifier: Apache-2.0
"""Runs the attacks of scripts/campaigns/attack and writes their results.

    attack.py [--build FOLDER] [--data FOLDER] [--seconds N] [--no-result]
              [NAME ...]"""

import os
import sys
import traceback

import arguments
import attack_bus
import attack_files
import attack_records
import attack_world
import programs

sys.path.insert(0, str(programs.SOURCE / "scripts/lib"))
import campaign  # noqa: E402

ATTACKS = {
    "attributes": attack_files.attribute_locks,
    "locks": attack_files.cache_locks,
    "links": attack_files.links,
    "crowd": attack_files.crowd,
    "stopped-readers": attack_records.stopped_readers,
    "stopped-writers": attack_records.stopped_writers,
    "scribble": attack_records.scribbled_segments,
    "leases": attack_records.leases,
    "health": attack_bus.forged_health,
    "requests": attack_bus.many_requests,
    "hide": attack_bus.long_hide_texts,
    "lists": attack_bus.list_flood,
    "exporter": attack_bus.idle_connections,
    "forging": attack_bus.forging,
}
NEEDS_ROOT = 77


def run(name, seconds):
    """The table row of an attack, and the expectations that it broke."""
    attack = ATTACKS[name]
    try:
        seen = attack(seconds)
        broken, numbers = seen.broken, "; ".join(seen.numbers)
    except Exception as failure:  # noqa: BLE001 - is what the attack led to
        traceback.print_exc()
        broken = [f"{name}: {type(failure).__name__}: {failure}"]
        numbers = "it ended early"
    print(f"{name}: {'broken' if broken else 'held'}: {'; '.join(broken) or numbers}", flush=True)
    tried = " ".join(attack.__doc__.split())
    return [f"`{name}`: {tried}", "broken" if broken else "held", numbers], broken


def table(rows):
    cells = [["Attack, and what it did before", "Now", "Seen"], ["---"] * 3, *rows]
    lines = (" | ".join(" ".join(cell.split()).replace("|", "\\|") for cell in row)
             for row in cells)
    return "".join(f"| {line} |\n" for line in lines)


def main():
    parser = arguments.parser("Attacks by users of the machine.")
    parser.add_argument("--data", default=programs.SOURCE / "data",
                        help="folder of policies, modes and units")
    parser.add_argument("--seconds", type=float, default=10,
                        help="how long what has no end of its own goes on")
    given = arguments.parse(parser, ATTACKS)
    if os.geteuid() != 0:
        print("needs root, to become other users", file=sys.stderr)
        sys.exit(NEEDS_ROOT)
    attack_world.become_a_machine(given.build, given.data)
    rows, found, failed = [], [], 0
    for name in given.names:
        row, broken = run(name, given.seconds)
        rows.append(row)
        found += broken
        failed += bool(broken)
    if not given.no_result:
        campaign.write_result(
            "attack",
            tried="an outsider, a reporter and an operator on the system bus with the "
            "packages' policies, users and folders",
            times=f"{len(rows)} attacks",
            found=found,
            details=table(rows),
        )
    print(f"{len(rows) - failed} passed, {failed} failed")
    sys.exit(1 if failed else 0)


main()
