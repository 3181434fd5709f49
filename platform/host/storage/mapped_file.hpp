#pragma once

/** @file Where mapped memory stands in its file. */

#include <cstdint>
#include <optional>

namespace healthintf::host
{

/** The offset in its file of an address in this process, nothing when it is in
 *  no map of a file or the kernel does not tell. */
std::optional<uint64_t> offsetInFile(const void* address);

} // namespace healthintf::host
