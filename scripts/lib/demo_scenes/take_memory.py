# SPDX-License-Identifier: Apache-2.0
"""Takes memory until no more than so much is available, and gives it back when
its standard input ends:

    take_memory.py AVAILABLE MOST

Others give memory back meanwhile, so it goes on looking; it takes MOST bytes at
most.
"""

import select
import sys

from stage import memory

STEP = 16 << 20
LOOKS_SECONDS = 0.2


def main(wanted, most):
    held = []
    while not select.select([sys.stdin], [], [], LOOKS_SECONDS)[0]:
        while memory()[1] > wanted and len(held) * STEP < most:
            held.append(b"x" * STEP)


if __name__ == "__main__":
    main(int(sys.argv[1]), int(sys.argv[2]))
