// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Filesystems that take no changes any more since they failed. */

#include <sys/types.h>

#include <istream>

namespace healthintf::healthctl
{

/** Whether a filesystem of ext4 has failed: newer kernels say so only in the
 *  list of mounts, and statvfs() has it as writable.
 *
 *  @param[in] mounts what /proc/self/mountinfo has
 *  @param[in] device the filesystem's */
bool isFailedMount(std::istream& mounts, dev_t device);

} // namespace healthintf::healthctl
