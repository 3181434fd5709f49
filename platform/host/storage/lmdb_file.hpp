#pragma once

/** @file What LMDB's data files look like inside. */

#include <filesystem>

namespace healthintf::host
{

/** Whether a data file can be given to LMDB, which believes what it reads and
 *  would end the process over a page that makes no sense. Looks at the
 *  structure of everything in use; keys and values may be any.
 *
 *  A file of another version of LMDB's format is left for LMDB to judge, and so
 *  is one that has not been begun. Only while nobody writes to the file.
 *
 *  @throws std::system_error when the file cannot be read */
bool isSound(const std::filesystem::path& dataFile);

} // namespace healthintf::host
