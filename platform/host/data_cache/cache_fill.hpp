#pragma once

/** @file How full the data cache is. */

#include <platform/api.h>

#include <cstdint>
#include <optional>

namespace healthintf::host
{

/** The data cache's space in bytes. */
struct CacheFill
{
    /** What records and the table over them take. */
    uint64_t used = 0;
    /** Where new records are refused. Changes may take a little more. */
    uint64_t capacity = 0;
};

/** Nothing when the data cache cannot be read, which is logged. */
PLATFORM_API std::optional<CacheFill> cacheFill();

} // namespace healthintf::host
