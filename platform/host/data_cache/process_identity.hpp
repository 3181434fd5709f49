#pragma once

/** @file Who a record belongs to. */

#include <platform/api.h>

#include <compare>
#include <cstdint>

namespace healthintf::host
{

/** A process, told apart from a later one of the same id by when it
 *  started. */
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

} // namespace healthintf::host
