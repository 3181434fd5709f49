// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks logmgr about the history of faults. */

#include "history_findings.hpp"

namespace healthintf::healthctl
{

/** Asks a running logmgr whether it can read its history. */
HistoryState askHistory();

} // namespace healthintf::healthctl
