#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Runs a program on a terminal of its own, controlled by a test.

    watch_on_terminal.py PROGRAM [ARGUMENT ...]

Prints each line that the terminal gets, without cursor movements, and reads
commands from standard input, one a line:

    size COLUMNS LINES   sets the terminal's size
    keys TEXT            types the text
    keys-when-drawn TEXT types the text once a screen was drawn
    enter TEXT           types the text and the Enter key
    signal NAME          sends the signal to the program

At the end prints how the program ended, and whether it restored the terminal.
"""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import sys
import termios

OTHER_SCREEN, FIRST_SCREEN = b"\033[?1049h", b"\033[?1049l"
HIDE_CURSOR, SHOW_CURSOR = b"\033[?25l", b"\033[?25h"


def set_size(terminal, columns, lines):
    size = struct.pack("HHHH", lines, columns, 0, 0)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, size)


class Terminal:
    def __init__(self, command):
        self.master, slave = pty.openpty()
        set_size(self.master, 80, 24)
        self.slave = slave
        self.keyboard = termios.tcgetattr(slave)
        self.everything = b""
        self.line = b""
        self.keys_when_drawn = b""
        self.pid = os.fork()
        if self.pid == 0:
            os.setsid()
            fcntl.ioctl(slave, termios.TIOCSCTTY, 0)
            for stream in (0, 1, 2):
                os.dup2(slave, stream)
            os.environ["TERM"] = "xterm"
            # Tests may run with these signals ignored, as a shell's background
            # jobs do.
            for number in (signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM):
                signal.signal(number, signal.SIG_DFL)
            os.execvp(command[0], command)

    def take(self):
        part = os.read(self.master, 4096)
        self.everything += part
        self.line += part
        # Each drawing ends by clearing the rest of the screen.
        *lines, self.line = re.split(rb"\r\n|\033\[J", self.line)
        for line in lines:
            self.tell(re.sub(rb"\033\[[0-9;?]*[a-zA-Z]", b"", line))
        self.type_when_drawn()

    def type_when_drawn(self):
        if self.keys_when_drawn and b"\033[J" in self.everything:
            os.write(self.master, self.keys_when_drawn)
            self.keys_when_drawn = b""

    def tell(self, line):
        sys.stdout.buffer.write(line + b"\n")
        sys.stdout.buffer.flush()

    def obey(self, command):
        verb, *arguments = command.split()
        if verb == "size":
            set_size(self.master, *map(int, arguments))
        elif verb == "keys":
            os.write(self.master, arguments[0].encode())
        elif verb == "keys-when-drawn":
            self.keys_when_drawn = arguments[0].encode()
            self.type_when_drawn()
        elif verb == "enter":
            os.write(self.master, arguments[0].encode() + b"\n")
        elif verb == "signal":
            os.kill(self.pid, getattr(signal, "SIG" + arguments[0]))

    def restored(self):
        """Which settings of the terminal the program restored, in words."""
        screens = all(
            self.everything.count(on) == self.everything.count(off) > 0
            and self.everything.index(on) < self.everything.index(off)
            for on, off in (
                (OTHER_SCREEN, FIRST_SCREEN),
                (HIDE_CURSOR, SHOW_CURSOR),
            )
        )
        keyboard = termios.tcgetattr(self.slave) == self.keyboard
        return (
            f"screens {'' if screens else 'not '}restored, "
            f"keyboard {'' if keyboard else 'not '}restored"
        )

    def run(self):
        """Continues until the program has ended and all its output was read.
        """
        child = os.pidfd_open(self.pid)
        sources = [self.master, child, sys.stdin.buffer.raw]
        while True:
            ready, _, _ = select.select(sources, [], [])
            if self.master in ready:
                self.take()
            elif child in ready:
                break
            else:
                commands = os.read(sys.stdin.fileno(), 4096)
                for command in commands.splitlines():
                    self.obey(command.decode())
                if not commands:
                    sources.pop()
        status = os.waitstatus_to_exitcode(os.waitpid(self.pid, 0)[1])
        self.tell(f"ended {status}, {self.restored()}".encode())


if __name__ == "__main__":
    Terminal(sys.argv[1:]).run()
