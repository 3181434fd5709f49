// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges whether the history of faults is kept. */

#include "finding.hpp"

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{

/** What a running logmgr says of the history. */
struct HistoryState
{
    /** Whether logmgr offers one. */
    bool offered = false;
    /** Why it cannot be read; empty when it can. */
    std::string failure;
    uint64_t records = 0;
};

Finding makeFinding(const HistoryState& history);

} // namespace healthintf::healthctl
