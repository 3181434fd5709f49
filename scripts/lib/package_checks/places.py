# SPDX-License-Identifier: Apache-2.0
"""Debian roots in folders: their commands, users and units."""

import os
import re
import shutil
import signal
import socket
import subprocess
import time

PATIENCE = 20


class Skipped(Exception):
    """A check that cannot be made here, with the reason."""


class Refused(Exception):
    """A command that failed, with what it said and its exit status."""

    def __init__(self, said, status):
        super().__init__(said)
        self.status = status


def eventually(what, condition):
    """Waits until a condition holds."""
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"not in time: {what}")
        time.sleep(0.02)


def names_of(packages):
    """The names of packages, by their files."""
    return [os.path.basename(each).split("_")[0] for each in packages]


def settings_of(unit):
    """The settings of a unit file, each with all its values."""
    settings = {}
    with open(unit, encoding="utf-8") as lines:
        for line in lines:
            match = re.fullmatch(r"([A-Za-z]+)=(.*)\n", line)
            if match:
                settings.setdefault(match[1], []).append(match[2])
    return settings


class Place:
    """Where commands run that are entered by another command."""

    environment = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin",
                   "LC_ALL": "C.UTF-8", "DEBIAN_FRONTEND": "noninteractive"}

    def __init__(self, folder, enter):
        self.folder = folder
        self.enter = enter

    def at(self, path):
        """Where a path of the place really is."""
        return self.folder + path

    def write(self, path, text):
        os.makedirs(os.path.dirname(self.at(path)), exist_ok=True)
        with open(self.at(path), "w", encoding="utf-8") as file:
            file.write(text)

    def run(self, *command, user=None, groups=None):
        """Runs a command, as root or another user.

        Returns its output; raises Refused with it when the command fails."""
        words = list(self.enter)
        if user:
            words += ["setpriv", f"--reuid={user}", "--regid=nogroup",
                      f"--groups={groups}" if groups else "--clear-groups"]
        done = subprocess.run(words + list(command), env=self.environment,
                              stdout=subprocess.PIPE, text=True,
                              stderr=subprocess.STDOUT, check=False,
                              timeout=120)
        if done.returncode != 0:
            raise Refused(done.stdout, done.returncode)
        return done.stdout

    def start(self, *command, environment=None, umask=0o022, log=None):
        """Starts a command that goes on."""
        return subprocess.Popen(
            [*self.enter, *command], umask=umask,
            env={**self.environment, **(environment or {})},
            stderr=open(self.at(log), "w", encoding="utf-8") if log else None)

    def install(self, packages):
        # Not in /tmp, over which a machine mounts another.
        copies = ["/root/" + os.path.basename(each) for each in packages]
        for package, copy in zip(packages, copies):
            shutil.copy(package, self.at(copy))
        self.run("dpkg", "--install", *copies)
        for copy in copies:
            os.remove(self.at(copy))


class Root(Place):
    """A folder that commands take for the root of the machine. Must be used
    in mount and PID namespaces of its own."""

    def __init__(self, folder):
        super().__init__(folder, ["chroot", folder])
        for kind, place in [("proc", "proc"), ("tmpfs", "run")]:
            subprocess.run(["mount", "-t", kind, kind, self.at("/" + place)],
                           check=True)

    def files(self):
        """All paths but those of the kernel and of this run."""
        found = set()
        for folder, names, files in os.walk(self.folder):
            inside = folder[len(self.folder):]
            if inside in ("/proc", "/run", "/tmp", "/dev", "/sys"):
                names.clear()
                continue
            found.update(f"{inside}/{name}" for name in names + files)
        return found


class Machine(Place):
    """A root in which systemd runs as it does on a machine."""

    def __init__(self, folder):
        self.log = folder + ".log"
        self.process = subprocess.Popen(
            ["systemd-nspawn", "--quiet", "--register=no", "--keep-unit",
             "--machine=" + os.path.basename(folder).replace(".", "-"),
             "--directory=" + folder, "--boot"], stdin=subprocess.DEVNULL,
            stdout=open(self.log, "w", encoding="utf-8"),
            stderr=subprocess.STDOUT)
        super().__init__(folder, [])

    def __leader(self):
        """The number of the machine's first process."""
        number = self.process.pid
        with open(f"/proc/{number}/task/{number}/children",
                  encoding="utf-8") as file:
            return (file.read().split() or ["0"])[0]

    def booted(self):
        """Waits until systemd has started everything.

        Returns False when it cannot run here."""
        end = time.monotonic() + 3 * PATIENCE
        while self.process.poll() is None and time.monotonic() < end:
            self.enter = ["nsenter", "--target", self.__leader(), "--mount",
                          "--uts", "--ipc", "--net", "--pid", "--root", "--wd"]
            try:
                state = self.run("systemctl", "is-system-running", "--wait")
            except Refused as refusal:
                state = str(refusal)
            if state.strip() in ("running", "degraded"):
                return True
            time.sleep(0.1)
        return False

    def said(self):
        """The last line that it said of itself."""
        with open(self.log, encoding="utf-8", errors="replace") as log:
            return (log.read().split("\n")[:-1] or ["nothing"])[-1].strip()

    def end(self):
        self.process.kill()
        self.process.wait()


class Unit:
    """A service that is started as its unit says: program, user, environment,
    umask, folders and readiness. What the unit forbids is not forbidden."""

    def __init__(self, root, name, *arguments):
        unit = root.at(f"/lib/systemd/system/{name}.service")
        settings = settings_of(unit)
        self.name = name
        self.user = settings["User"][0]
        self.__make_folders(root, settings)
        self.log = f"/tmp/{name}.log"
        listener = self.__listen(root)
        self.process = root.start(
            "setpriv", f"--reuid={self.user}",
            f"--regid={settings['Group'][0]}", "--init-groups",
            "--no-new-privs", "--bounding-set=-all", "--inh-caps=-all",
            *settings["ExecStart"][0].split(), *arguments,
            environment=dict([value.split("=", 1)
                              for value in settings["Environment"]] +
                             [("NOTIFY_SOCKET", f"/run/{name}.notify"),
                              ("WATCHDOG_USEC", "1000000")]),
            umask=int(settings["UMask"][0], 8), log=self.log)
        self.heard = self.__hear(listener)

    def __make_folders(self, root, settings):
        for name in settings.get("StateDirectory", []):
            root.run("install", "-d", "-o", self.user, "-g",
                     settings["Group"][0], "-m",
                     settings["StateDirectoryMode"][0], "/var/lib/" + name)

    def __listen(self, root):
        listener = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        listener.settimeout(PATIENCE)
        path = root.at(f"/run/{self.name}.notify")
        listener.bind(path)
        os.chmod(path, 0o777)
        return listener

    def __hear(self, listener):
        heard = []
        while not {"READY=1", "WATCHDOG=1"} <= set(heard):
            heard.append(listener.recv(256).decode())
        return heard

    def stop(self):
        """Ends it as the service manager does.

        Returns its exit status."""
        self.process.send_signal(signal.SIGTERM)
        return self.process.wait(PATIENCE)
