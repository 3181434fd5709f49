#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Types a line and the Tab key into zsh, and prints what zsh offers.

    complete_in_zsh.py FOLDER LINE

FOLDER has the completions to try. Prints the words that are offered for the
line, one a line, then "line: " and what the line is afterwards."""

import os
import pty
import sys
import tempfile

SETTINGS = r"""
fpath=("$TRIED" $fpath)
autoload -Uz compinit
compinit -u -D
compadd()
{
    local -a offered
    builtin compadd -O offered "$@"
    print -rl -- $offered >>$ZDOTDIR/offered
    builtin compadd "$@"
}
finish()
{
    print -r -- "line: $BUFFER" >>$ZDOTDIR/offered
    BUFFER=exit
    zle accept-line
}
zle -N finish
bindkey '^Xf' finish
LISTMAX=1000
PS1='%{%}ready> '
"""


def main(folder, line):
    with tempfile.TemporaryDirectory() as settings:
        with open(os.path.join(settings, ".zshrc"), "w", encoding="utf-8") as rc:
            rc.write(SETTINGS)
        pid, terminal = pty.fork()
        if pid == 0:
            os.environ.update(
                ZDOTDIR=settings, TRIED=os.path.abspath(folder), TERM="xterm"
            )
            os.execvp("zsh", ["zsh", "-d", "-i"])
        output = b""
        typed = False
        while True:
            try:
                part = os.read(terminal, 4096)
            except OSError:
                # Linux reports EIO when the other end of the terminal is closed.
                break
            if not part:
                break
            output += part
            if not typed and b"ready> " in output:
                typed = True
                os.write(terminal, line.encode() + b"\t\x18f")
        os.waitpid(pid, 0)
        with open(os.path.join(settings, "offered"), encoding="utf-8") as offered:
            sys.stdout.write("".join(word for word in offered if word.strip()))


if __name__ == "__main__":
    main(sys.argv[1], sys.argv[2])
