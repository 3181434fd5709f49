# SPDX-License-Identifier: Apache-2.0
"""A copy of the tree, built so that one changed source is soon in all tests.

The library's sources are compiled without optimisation and with a precompiled
header of what they include from elsewhere. The unit tests take them as a shared
library, which is linked anew for each change while the tests stay; the bus tests
take the real one, of the same objects.
"""

import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess

OBJECTS = "src/libhealthintf-objects.a"
LIBRARY = "src/libhealthintf.so.1.0.0"
SOURCES = ("src/", "include/", "com/")
CONFIGURED = "-Dtests=enabled -Dservices=enabled -Dc_args=-g1 -Dcpp_args=-g1".split()
FAST = "-O0 -g0 -fvisibility=default".split()
# A function that may end without its value is no mutant: what it gives is chance.
REFUSED = ["-Werror=return-type"]
INCLUDED = re.compile(r"^#include (<\S+>)", re.MULTILINE)
# Options of the build that a mutant does without: warnings, debug information,
# and the lists of what is included.
UNWANTED = re.compile(r"-W(?!l,).*|-g\d?|-M[DQF]|-O\d")


class Uncompiled(Exception):
    """A mutation is not C++."""


def run(command, **how):
    return subprocess.run(command, stdin=subprocess.DEVNULL, check=True, **how)


def output(command, folder):
    return run(command, cwd=folder, stdout=subprocess.PIPE, text=True).stdout


def tracked():
    """The files of the checkout, also new ones that were not committed yet."""
    command = "git ls-files --cached --others --exclude-standard".split()
    return [name for name in output(command, ".").splitlines() if os.path.exists(name)]


def copy_changed(names, folder):
    """Copies files; one that has not changed keeps its time, for ninja."""
    for name in names:
        there = folder / name
        here = pathlib.Path(name).read_bytes()
        if not there.exists() or there.read_bytes() != here:
            there.parent.mkdir(parents=True, exist_ok=True)
            there.write_bytes(here)
            shutil.copymode(name, there)


class Build:
    """The copy and what is built of it."""

    def __init__(self, folder):
        self.folder = pathlib.Path(folder).resolve()
        self.tree = self.folder / "tree"
        self.build = self.tree / "build/test"
        self.objects = self.folder / "objects"
        self.own = self.folder / "libmutated.so"

    def prepare(self):
        """Copies and configures, and returns the tests as meson lists them."""
        self.names = tracked()
        copy_changed(self.names, self.tree)
        for folder in self.objects, self.folder / "programs":
            shutil.rmtree(folder, ignore_errors=True)
            folder.mkdir(parents=True)
        if not (self.build / "build.ninja").exists():
            run(["meson", "setup", self.build, *CONFIGURED], cwd=self.tree)
        return json.loads(output(["meson", "introspect", "--tests"], self.build))

    def make(self, tests):
        """Builds what tests run, and all that a mutation changes."""
        listed = output(["meson", "introspect", "--targets"], self.build)
        files = {target["id"]: target["filename"] for target in json.loads(listed)}
        needed = {LIBRARY}
        for test in tests:
            for name in test["depends"]:
                needed.update(os.path.relpath(file, self.build) for file in files[name])
        run(["ninja", "-j1", *sorted(needed)], cwd=self.build)
        shutil.copy2(self.build / LIBRARY, self.folder / "library.so")
        self.read_commands()
        self.precompile()
        for source in self.compiled:
            self.compile(source, self.object_of(source))
        self.link_own({})

    def read_commands(self):
        """How each source is compiled, and what each object is made of."""
        entries = json.loads((self.build / "compile_commands.json").read_text())
        self.commands = {}
        self.compiled = {}
        self.sources = {}
        for entry in entries:
            path = (self.build / entry["file"]).resolve()
            if not path.is_relative_to(self.tree):
                continue
            source = str(path.relative_to(self.tree))
            self.commands[source] = shlex.split(entry["command"])
            self.sources[entry["output"]] = source
            if entry["output"].startswith(OBJECTS):
                self.compiled[source] = entry["output"]
        self.used = {}
        file = None
        for line in output(["ninja", "-t", "deps"], self.build).splitlines():
            if line.startswith("    "):
                self.used[file].add(os.path.normpath(self.build / line.strip()))
            elif line:
                file = line.split(":")[0]
                self.used[file] = set()

    def command(self, source, *options):
        """The compiler's words for a source, without those of files."""
        words = self.commands[source]
        first = next(i for i, word in enumerate(words) if word.startswith("-")) - 1
        kept = []
        skipped = False
        for word in words[first : words.index("-c")]:
            pair = word in ("-MQ", "-MF", "-o")
            if not skipped and not pair and not UNWANTED.fullmatch(word):
                kept.append(word)
            skipped = pair
        return [*kept, *options]

    def precompile(self):
        """The headers of others that the library's sources include."""
        own = [name for name in self.names if name.startswith((*SOURCES, "platform/include"))]
        found = set()
        for name in own:
            if name.endswith((".cpp", ".hpp")):
                found.update(INCLUDED.findall(pathlib.Path(name).read_text()))
        ours = tuple(name.split("/", depth)[-1] for name in own for depth in (0, 1, 2))
        headers = [each for each in sorted(found) if each[1:-1] not in ours]
        self.header = self.folder / "others.hpp"
        self.header.write_text("".join(f"#include {each}\n" for each in headers))
        words = self.command(next(iter(self.compiled)), *REFUSED, *FAST, "-x", "c++-header")
        run([*words, "-o", f"{self.header}.gch", self.header], cwd=self.build)

    def compile(self, source, target, *options):
        options = options or (*FAST, "-include", str(self.header))
        words = self.command(source, *REFUSED, *options)
        words += ["-o", str(target), "-c", str(self.tree / source)]
        done = subprocess.run(words, cwd=self.build, capture_output=True)
        if done.returncode != 0:
            raise Uncompiled(done.stderr.decode(errors="replace"))

    def compile_test(self, made, target):
        """A test, by its object in the build, with the tests' own header."""
        self.compile(self.sources[made], target, "-w", "-O0", "-g1")

    def object_of(self, source):
        return self.objects / pathlib.Path(self.compiled[source]).name

    def users(self, header):
        """The library's sources that include a header, or the source itself."""
        if header in self.compiled:
            return [header]
        return [each for each, made in self.compiled.items() if self.uses(made, header)]

    def uses(self, made, header):
        """Whether the source of an object includes a header."""
        return str(self.tree / header) in self.used.get(made, ())

    def link_own(self, changed):
        """The shared library of the unit tests.

        changed: other objects than those of the unchanged sources, by source
        """
        objects = [changed.get(each, self.object_of(each)) for each in self.compiled]
        run(["c++", "-shared", "-o", self.own, *objects, "-lsystemd"])

    def link_library(self, changed):
        """The real library; without changes, the one of the build."""
        target = self.build / LIBRARY
        target.unlink()
        if not changed:
            shutil.copy2(self.folder / "library.so", target)
            return
        words = self.link_command(LIBRARY)
        names = {self.compiled[each]: each for each in self.compiled}
        words = [
            str(changed.get(names[word], self.object_of(names[word])))
            if word in names
            else word
            for word in words
        ]
        run(words, cwd=self.build)

    def link_command(self, target):
        last = output(["ninja", "-t", "commands", target], self.build).splitlines()[-1]
        return shlex.split(last)

    def link_test(self, words, test_object=None):
        """A unit test's program over the shared library.

        words: how the build links it
        test_object: another object than that of the test's unchanged source
        """
        words = list(words)
        name = words.index("-o") + 1
        target = self.folder / "programs" / pathlib.Path(words[name]).name
        words[name] = str(target)
        words[words.index(OBJECTS)] = str(self.own)
        words.append(f"-Wl,-rpath,{self.folder}")
        if test_object:
            words[words.index(made_of(words))] = str(test_object)
        run(words, cwd=self.build)
        return target


def made_of(words):
    """The object of a test's own source, in the words that link it."""
    return next(word for word in words if word.endswith(".cpp.o"))
