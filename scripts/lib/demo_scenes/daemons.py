# SPDX-License-Identifier: Apache-2.0
"""The daemons of the demo."""

import os
import socket
import subprocess

from unexpected import PATIENCE_SECONDS, Unexpected, expect


class Daemons:
    """Starts programs, each with a log of its own, and ends what is left."""

    def __init__(self, build, folder):
        self.build = build
        self.folder = folder
        self.running = {}

    def program(self, path):
        return os.path.join(self.build, path)

    def start(self, name, command, **options):
        with open(os.path.join(self.folder, name + ".log"), "wb") as log:
            options = {"stdout": log, "stderr": log, **options}
            self.running[name] = subprocess.Popen(command, **options)
        return self.running[name]

    def start_service(self, name, command):
        """Starts a program as a service manager does, and waits until it
        says that it is ready."""
        address = os.path.join(self.folder, "ready")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
            manager.bind(address)
            manager.settimeout(PATIENCE_SECONDS)
            try:
                service = self.start(
                    name, command, env={**os.environ, "NOTIFY_SOCKET": address}
                )
                while b"READY=1" not in manager.recv(4096).split(b"\n"):
                    pass
                return service
            except TimeoutError:
                raise Unexpected(f"{name} does not get ready") from None
            finally:
                os.remove(address)

    def stop(self, name):
        daemon = self.running.pop(name)
        daemon.terminate()
        expect(f"{name} ends cleanly", daemon.wait(PATIENCE_SECONDS) == 0)

    def kill(self, name):
        daemon = self.running.pop(name)
        daemon.kill()
        daemon.wait()

    def kill_all(self):
        for name in list(self.running):
            self.kill(name)

    def logs(self):
        """What each has written to its log, by its name."""
        for file in sorted(os.listdir(self.folder)):
            if file.endswith(".log"):
                path = os.path.join(self.folder, file)
                with open(path, encoding="utf-8", errors="replace") as log:
                    yield file.removesuffix(".log"), log.read()
