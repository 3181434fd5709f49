// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The metrics of a scrape; docs/exporter.md describes each. */

#include "open_metrics.hpp"
#include "snapshot.hpp"

#include <string>
#include <vector>

namespace healthintf::exporter
{

/** @param[in] version the program's */
std::vector<Family> makeFamilies(const Snapshot& snapshot,
                                 const std::string& version);

} // namespace healthintf::exporter
