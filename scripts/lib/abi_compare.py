#!/usr/bin/python3 -B
"""Compares the ABI of a library with the one that was announced:

    scripts/lib/abi_compare.py [--renew] LIBRARY FOLDER HEADERS ...

LIBRARY is a shared library with its debug information, HEADERS are the folders
of its public headers: types that they do not define may change at will. FOLDER
has, for a library libNAME.so:

  libNAME.abi       functions and types, as abidw describes them
  libNAME.symbols   what it exports, with the nodes of the version script
  libNAME.vtables   what stands in each slot of the virtual tables, if it has any

Ends with 1 when there is a difference. --renew writes the three files anew, which
announces what was added. It refuses what breaks a program that was built before,
as long as the library's soname is the same.
"""

import collections
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml

# Of these namespaces only the sizes are kept: their inside is not ours.
FOREIGN = {"std", "__gnu_cxx", "__cxxabiv1"}
INSIDE = "function-decl var-decl member-function data-member base-class".split()
INSIDE += ["member-template", "template-type-parameter"]
TYPES = """array-type-def class-decl enum-decl function-type pointer-to-member-type
    pointer-type-def qualified-type-def reference-type-def subrange type-decl
    typedef-decl union-decl""".split()
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
    """What abidw tells of a library, without what is not its own."""
    folders = [word for folder in headers for word in ("--headers-dir", folder)]
    root = xml.fromstring(output("abidw", *ABIDW, *folders, library))
    for unit in root.iter("abi-instr"):
        # Wherever this was built.
        unit.set("path", os.path.basename(unit.get("path")))
        for space in unit.findall("namespace-decl"):
            if space.get("name") in FOREIGN:
                empty(space)
    leave_inline_functions_out(root)
    while remove_unused(root):
        pass
    xml.indent(root, " ")
    return xml.tostring(root, encoding="unicode") + "\n"


def empty(node):
    """Takes out what the types in a namespace are made of."""
    for child in list(node):
        if child.tag in INSIDE:
            node.remove(child)
        else:
            empty(child)


def leave_inline_functions_out(root):
    """Which of the inline functions a library has hangs on the optimisation, and
    nobody needs them from it but the virtual tables."""
    virtual = set()
    for member in root.iter("member-function"):
        if "vtable-offset" in member.attrib:
            virtual.update(each.get("elf-symbol-id") for each in member)
    unneeded = set()
    for symbols in root.findall("elf-function-symbols"):
        for symbol in list(symbols):
            name = f"{symbol.get('name')}@@{symbol.get('version')}"
            if not symbol.get("version"):
                name = symbol.get("name")
            if symbol.get("binding") == "weak-binding" and name not in virtual:
                unneeded.add(name)
                symbols.remove(symbol)
    for function in root.iter("function-decl"):
        if function.get("elf-symbol-id") in unneeded:
            del function.attrib["elf-symbol-id"]


def remove_unused(root):
    """Takes out types that nothing mentions; says whether there were any."""
    used = set()
    for node in root.iter():
        used.update(
            value
            for name, value in node.attrib.items()
            if name != "id" and name.endswith("id")
        )
    return remove_unused_in(root, used)[1]


def remove_unused_in(node, used):
    """Whether something in a node is used, and whether any was removed."""
    needed = removed = False
    for child in list(node):
        inner, changed = remove_unused_in(child, used)
        removed = removed or changed
        unused = child.tag in TYPES and child.get("id") not in used and not inner
        hollow = child.tag in ("namespace-decl", "member-type") and not len(child)
        if unused or hollow:
            node.remove(child)
            removed = True
        elif inner or "elf-symbol-id" in child.attrib or child.get("id") in used:
            needed = True
    return needed, removed


def symbols(library):
    """The exported symbols without inline functions, a line each."""
    lines = output("nm", "-D", "--defined-only", library).splitlines()
    found = [line.split()[-2:] for line in lines]
    return sorted(name for kind, name in found if kind not in ("W", "A"))


def virtual_tables(library):
    """What stands in the slots of the exported virtual tables, a line each."""
    slots = {}
    for line in output("readelf", "-Wr", library).splitlines():
        words = line.split()
        if len(words) > 4 and re.fullmatch("[0-9a-f]{8,}", words[0]):
            slots[int(words[0], 16)] = words[4].split("@")[0]
    lines = []
    for line in output("nm", "-DS", "--defined-only", library).splitlines():
        words = line.split()
        if len(words) == 4 and words[3].startswith("_ZTV"):
            begin, size = int(words[0], 16), int(words[1], 16)
            lines.append(words[3].split("@")[0])
            lines += [
                f"  {(place - begin) // 8} {slots[place]}"
                for place in sorted(slots)
                if begin <= place < begin + size
            ]
    return lines


def soname(described):
    return xml.fromstring(described).get("soname")


def removed_and_added(old, new):
    return [line for line in old if line not in new], [
        line for line in new if line not in old
    ]


def abidiff(old, new, *options):
    """The report of what differs, or nothing."""
    command = ["abidiff", *options, old, new]
    done = subprocess.run(command, stdout=subprocess.PIPE, text=True)
    if done.returncode & FAILED:
        sys.exit(f"{' '.join(map(str, command))} ended with {done.returncode}")
    return done.stdout.strip().splitlines() if done.returncode & CHANGED else []


class Announced:
    """The files of one library."""

    def __init__(self, library, folder):
        name = pathlib.Path(library).name.partition(".so")[0]
        self.paths = [
            pathlib.Path(folder) / f"{name}.{kind}"
            for kind in ("abi", "symbols", "vtables")
        ]

    def exists(self):
        return self.paths[0].exists()

    def write(self, texts):
        self.paths[0].parent.mkdir(parents=True, exist_ok=True)
        for path, text in zip(self.paths, texts):
            if text:
                path.write_text(text)
            else:
                path.unlink(missing_ok=True)

    def lines(self):
        """What stands in each; one that would be empty does not exist."""
        return [
            path.read_text().splitlines() if path.exists() else []
            for path in self.paths
        ]

    def differences(self, texts):
        """How others differ from these files, in lines."""
        with tempfile.NamedTemporaryFile("w", suffix=".abi") as new:
            new.write(texts[0])
            new.flush()
            breaking = abidiff(self.paths[0], new.name, "--no-added-syms")
            added = [] if breaking else abidiff(self.paths[0], new.name)
        old = self.lines()
        gone, more = removed_and_added(old[1], texts[1].splitlines())
        breaking += [f"not exported any more: {name}" for name in gone]
        nodes = {name.rpartition("@")[2] for name in old[1]}
        for name in more:
            if name.rpartition("@")[2] in nodes and "@" in name:
                breaking.append(f"added to a node of the version script: {name}")
            else:
                added.append(f"exported: {name}")
        breaking += table_changes(old[2], texts[2].splitlines())
        return Differences(breaking, added)


def tables_of(lines):
    """The slots of each virtual table."""
    tables = {}
    slots = []
    for line in lines:
        if line.startswith(" "):
            slots.append(line.strip())
        else:
            slots = tables[line] = []
    return tables


def table_changes(old, new):
    """What differs in the tables that there were."""
    now = tables_of(new)
    lines = []
    for name, slots in tables_of(old).items():
        gone, more = removed_and_added(slots, now.get(name, []))
        lines += [f"{name}: no longer in slot {slot}" for slot in gone]
        lines += [f"{name}: now in slot {slot}" for slot in more]
    return lines


def described(library, headers):
    """The texts of the three files for a library."""
    lists = symbols(library), virtual_tables(library)
    listed = ["".join(f"{line}\n" for line in lines) for lines in lists]
    return [description(library, headers), *listed]


def compare(library, folder, headers, renew=False):
    """Compares, and renews if that is wanted and nothing breaks."""
    announced = Announced(library, folder)
    texts = described(library, headers)
    if not announced.exists():
        if not renew:
            sys.exit(f"{folder} does not have {announced.paths[0].name}: --renew")
        announced.write(texts)
        return Differences([], [])
    found = announced.differences(texts)
    next_one = soname(texts[0]) != soname(announced.paths[0].read_text())
    if renew and (next_one or not found.breaking):
        announced.write(texts)
        return Differences([], [])
    return found


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
