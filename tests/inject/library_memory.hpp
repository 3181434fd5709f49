// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The memory that libsystemd takes for itself. */

namespace healthintf::test
{

/** From now on libsystemd takes memory through the seam libraryMemory: the
 *  entries of malloc and the like in its table of imported functions are
 *  written anew. What it calls else, and what others call, stays as it is.
 *
 *  @return whether entries were found; not where the table has another form */
bool watchLibraryMemory();

} // namespace healthintf::test
