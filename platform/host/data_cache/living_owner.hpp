// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Whether the process that wrote a segment lives: it holds a lock on the
 *  file, which the kernel releases when the process ends, also after a crash.
 */

namespace healthintf::host
{

/** Takes the lock that says that the owner of an open segment lives.
 *
 *  @param[in] file open for writing
 *  @return 0, or the error number when another open file holds a lock on it */
[[nodiscard]] int lockAsOwner(int file);

/** Whether the process that wrote an open segment lives. */
bool isOwnerAlive(int file);

} // namespace healthintf::host
