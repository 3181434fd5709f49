// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How large the history may become. */

#include <cstdint>

namespace healthintf::history
{

/** How much the history may hold. */
struct HistoryLimits
{
    uint64_t records = 20'000;
    /** The size of the database in bytes; its journal takes some MiB more. */
    uint64_t bytes = 16UL << 20;
};

} // namespace healthintf::history
