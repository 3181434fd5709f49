# SPDX-License-Identifier: Apache-2.0
"""What a campaign mounts, nobody else sees."""

import ctypes
import os
import subprocess


def in_own_namespace():
    """Has what is mounted here go with this process."""
    new_mounts = 0x20000
    if ctypes.CDLL(None, use_errno=True).unshare(new_mounts) != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))
    subprocess.run(["mount", "--make-rprivate", "/"], check=True)
