#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Runs a program on a terminal of its own and prints what the terminal got.

    on_terminal.py COLUMNS PROGRAM [ARGUMENT ...]"""

import fcntl
import os
import pty
import struct
import sys
import termios


def main(columns, command):
    pid, terminal = pty.fork()
    if pid == 0:
        # A pager would wait for keys.
        os.environ.setdefault("HEALTHCTL_PAGER", "")
        # The size must be set before the program reads it.
        size = struct.pack("HHHH", 24, columns, 0, 0)
        fcntl.ioctl(1, termios.TIOCSWINSZ, size)
        os.execvp(command[0], command)
    output = b""
    while True:
        try:
            part = os.read(terminal, 4096)
        except OSError:
            # Linux reports EIO when the other end of the terminal is closed.
            break
        if not part:
            break
        output += part
    # Replace in the whole output: "\r\n" may be split between two reads.
    sys.stdout.buffer.write(output.replace(b"\r\n", b"\n"))
    return os.waitstatus_to_exitcode(os.waitpid(pid, 0)[1])


if __name__ == "__main__":
    sys.exit(main(int(sys.argv[1]), sys.argv[2:]))
