#!/usr/bin/python3 -B
# SPDX-License-Identifier: Apache-2.0
"""Compares the ABI of a library with the one that was announced, by abidiff:

    scripts/lib/abi_compare.py [--renew] LIBRARY FOLDER HEADERS ...

LIBRARY is a shared library with its debug information, HEADERS are the folders
of its public headers: types that they do not define may change at will. FOLDER
has, for a library libNAME.so:

  libNAME.abi.gz    functions and types, as abidw describes them
  libNAME.symbols   what it exports, with the nodes of the version script

Ends with 1 when there is a difference. --renew writes both files anew, which
announces what was added. It refuses what breaks a program that was built before,
as long as the library's soname is the same.
"""

import collections
import gzip
import pathlib
import re
import subprocess
import sys
import tempfile

ABIDW = """--no-corpus-path --no-comp-dir-path --no-show-locs --no-parameter-names
    --no-elf-needed --exported-interfaces-only --type-id-style hash
    --drop-private-types""".split()
# What abidiff's exit status is made of.
FAILED = 1 | 2
CHANGED = 4

# What stands in the way of old programs, and what only adds to the library.
Differences = collections.namedtuple("Differences", "breaking added")


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def description(library, headers):
    folders = [word for folder in headers for word in ("--headers-dir", folder)]
    return output("abidw", *ABIDW, *folders, library)


def symbols(library):
    """The exported symbols without inline functions, of which the compiler
    decides."""
    lines = output("nm", "-D", "--defined-only", library).splitlines()
    found = [line.split()[-2:] for line in lines]
    return sorted(name for kind, name in found if kind not in ("W", "A"))


def soname(described):
    return re.search(r"<abi-corpus [^>]*soname='([^']*)'", described)[1]


def abidiff(old, new, *options):
    """The report of what differs, or nothing."""
    with tempfile.TemporaryDirectory() as folder:
        paths = [pathlib.Path(folder) / name for name in ("announced", "built")]
        for path, text in zip(paths, (old, new)):
            path.write_text(text)
        command = ["abidiff", *options, *paths]
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True)
    if done.returncode & FAILED:
        sys.exit(f"abidiff ended with {done.returncode}")
    return done.stdout.strip().splitlines() if done.returncode & CHANGED else []


def added_to_old_nodes(old, new):
    """Symbols that a program may need of a library which has the node, but not
    them."""
    nodes = {name.rpartition("@")[2] for name in old if "@" in name}
    added = [name for name in new if name not in old]
    return [name for name in added if name.rpartition("@")[2] in nodes]


def differences(old, new, old_symbols, new_symbols):
    breaking = abidiff(old, new, "--no-added-syms")
    breaking += [
        f"added to a node of the version script: {name}"
        for name in added_to_old_nodes(old_symbols, new_symbols)
    ]
    return Differences(breaking, [] if breaking else abidiff(old, new))


def compare(library, folder, headers, renew=False):
    """Compares, and renews if that is wanted and nothing breaks."""
    name = pathlib.Path(library).name.partition(".so")[0]
    described_in = pathlib.Path(folder) / f"{name}.abi.gz"
    listed_in = pathlib.Path(folder) / f"{name}.symbols"
    new, new_symbols = description(library, headers), symbols(library)
    if described_in.exists():
        old = gzip.decompress(described_in.read_bytes()).decode()
        found = differences(old, new, listed_in.read_text().split(), new_symbols)
        if not renew or (found.breaking and soname(old) == soname(new)):
            return found
    elif not renew:
        sys.exit(f"{folder} does not have {described_in.name}: --renew")
    described_in.parent.mkdir(parents=True, exist_ok=True)
    described_in.write_bytes(gzip.compress(new.encode(), mtime=0))
    listed_in.write_text("".join(f"{symbol}\n" for symbol in new_symbols))
    return Differences([], [])


def tell(library, found):
    """Prints what differs, and what to do about it."""
    name = pathlib.Path(library).name
    if found.breaking:
        print(f"{name} breaks programs that were built before:")
        print("".join(f"  {line}\n" for line in found.breaking), end="")
        print("This needs another soname: see Versions in CONTRIBUTING.md.")
    if found.added:
        print(f"{name} has more than was announced:")
        print("".join(f"  {line}\n" for line in found.added), end="")
        print("Announce it: see Versions in CONTRIBUTING.md.")


if __name__ == "__main__":
    arguments = [word for word in sys.argv[1:] if word != "--renew"]
    if len(arguments) < 3:
        sys.exit("usage: abi_compare.py [--renew] LIBRARY FOLDER HEADERS ...")
    result = compare(
        arguments[0], arguments[1], arguments[2:], renew="--renew" in sys.argv
    )
    tell(arguments[0], result)
    sys.exit(1 if result.breaking or result.added else 0)
