#pragma once

/** @file The memory that libsystemd takes for itself. */

namespace healthintf::test
{

/** From now on libsystemd takes memory through the seam libraryMemory:
 *  the entries of malloc and the like in their tables of imported functions are
 *  written anew. What they call else, and what others call, stays as it is.
 *
 *  @return whether entries were found in both; not where these tables have
 *          another form */
bool watchLibraryMemory();

} // namespace healthintf::test
