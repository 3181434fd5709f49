// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Judges the log and its mirror. */

#include "../../../services/common/log_status.hpp"
#include "finding.hpp"

#include <cstddef>
#include <string>

namespace healthintf::healthctl
{

/** The log beside its mirror in the data cache. */
struct LogComparison
{
    /** Why they could not be compared; empty when they could. */
    std::string failure;
    std::size_t entries = 0;
    std::size_t mirrored = 0;
    /** How many entries of the log the mirror lacks or has otherwise. */
    std::size_t different = 0;
};

Finding makeFinding(const LogComparison& comparison);

/** Judges how full the log is. */
Finding makeFinding(const services::LogStatus& log);

} // namespace healthintf::healthctl
