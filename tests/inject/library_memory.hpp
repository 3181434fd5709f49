// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Makes allocations inside libsystemd fail. */

namespace healthintf::test
{

/** Redirects malloc() and the like in libsystemd's table of imported functions
 *  to the seam libraryMemory. Other functions and other callers keep theirs.
 *
 *  @return whether entries were found; false where the table has another form
 */
bool watchLibraryMemory();

} // namespace healthintf::test
