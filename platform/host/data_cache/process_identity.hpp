// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Identifies the process that owns a record. */

#include <platform/api.h>

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>

namespace healthintf::host
{

/** A process. Its start time distinguishes it from a later process with the
 *  same id. */
struct PLATFORM_API ProcessIdentity
{
    uint32_t pid = 0;
    /** Clock ticks between boot and the start of the process. */
    uint64_t startTime = 0;

    // NOLINTBEGIN(modernize-use-nullptr): there is no pointer
    friend auto operator<=>(const ProcessIdentity&,
                            const ProcessIdentity&) = default;
    // NOLINTEND(modernize-use-nullptr)

    /** This process.
     *
     *  @throws std::runtime_error when /proc cannot be read */
    static ProcessIdentity self();
};

/** How many bytes the kernel keeps of a process's name, the NUL included. */
inline constexpr std::size_t processNameSize = 16;

using ProcessName = std::array<char, processNameSize>;

/** The name of this process as "ps" shows it, NUL-padded. Zeros when /proc
 *  cannot be read. */
ProcessName ownProcessName();

} // namespace healthintf::host
