#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Puts sources together for clang-tidy, whose time goes into the headers that
they all include.

    scripts/lib/tidy_batches.py BUILD-FOLDER FOLDER SOURCE ...

Writes into FOLDER a file for the sources of each component, such as tools or
platform, that are compiled alike, which includes them, and the
compile_commands.json that clang-tidy needs to read it, or a single source.
BUILD-FOLDER has the one that the sources are in. Prints the names of the files,
the longest first. A source that is not compiled there is an error.
"""

import json
import os
import re
import shlex
import shutil
import sys

INCLUDED = re.compile(r"^#include *<(/.*)>$", re.MULTILINE)
MACRO = re.compile(r"^#define .*$", re.MULTILINE)
PROGRAM = re.compile(r"^int main\(", re.MULTILINE)

# What differs between two sources that are compiled alike.
OWN = re.compile(r"^-I\S*\.p$")
OWN_PAIRS = ("-MQ", "-MF", "-o", "-c")


def flags_of(command):
    """The command to compile, without what names the source."""
    # Before the compiler may stand a program that runs it.
    launched = shlex.split(command)
    compiler = next(i for i, word in enumerate(launched) if word.startswith("-")) - 1
    words = iter(launched[compiler:])
    kept = []
    for word in words:
        if word in OWN_PAIRS:
            next(words)
        elif word != "-MD" and not OWN.match(word):
            kept.append(word)
    return kept


def together_in(file):
    """The sources that the build itself compiles together in a file."""
    if "-unity" not in os.path.basename(file) or not os.path.exists(file):
        return []
    return [os.path.realpath(path) for path in INCLUDED.findall(read(file))]


def compiled(build):
    """How each file is compiled, by its path: the folder and the flags."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        entries = json.load(file)
    ways = {}
    for entry in entries:
        way = (entry["directory"], tuple(flags_of(entry["command"])))
        file = os.path.realpath(os.path.join(entry["directory"], entry["file"]))
        ways.update((source, way) for source in together_in(file) or [file])
    return ways


def read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def batches(build, sources):
    """The sources that are read together, by what they have in common. Where
    several are read at a time, all end soonest when the longest come first."""
    ways = compiled(build)
    together = {}
    for source in sources:
        path = os.path.realpath(source)
        if path not in ways:
            sys.exit(f"{source} is not compiled in {build}")
        text = read(path)
        # Two programs cannot be one, and the headers heed a source's macros.
        place = source if PROGRAM.search(text) else source.split(os.sep)[0]
        alike = (place, *ways[path], tuple(MACRO.findall(text)))
        together.setdefault(alike, []).append(path)
    return dict(sorted(together.items(), key=lambda batch: -len(batch[1])))


def write(folder, together):
    """Writes the files and how they are compiled, and returns their names."""
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    files, entries = [], []
    for number, ((place, directory, flags, _), paths) in enumerate(together.items()):
        name = f"{place.replace('/', '-')}-{number}.cpp"
        file = os.path.join(os.path.realpath(folder), name)
        with open(file, "w", encoding="utf-8") as out:
            out.writelines(f'#include "{path}"\n' for path in paths)
        files.append(file)
        entries.extend(
            {"directory": directory, "file": each, "arguments": [*flags, "-c", each]}
            for each in (file, *paths)
        )
    with open(os.path.join(folder, "compile_commands.json"), "w", encoding="utf-8") as out:
        json.dump(entries, out, indent=1)
    return files


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit("usage: tidy_batches.py BUILD-FOLDER FOLDER SOURCE ...")
    print(*write(sys.argv[2], batches(sys.argv[1], sys.argv[3:])), sep="\n")
