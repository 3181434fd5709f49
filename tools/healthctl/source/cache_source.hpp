// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The data cache as a source. */

#include "health_source.hpp"

namespace healthintf::healthctl
{

/** Reads through the library's queries, and the records where there is no
 *  query. The cache must be in use. */
class CacheSource : public HealthSource
{
  public:
    const char* name() const override;
    Nodes nodes() override;
    Faults faults() override;
    Counts counts() override;
    LedStates leds() override;
    Faults top(const std::string& key, std::size_t n, bool severeOnly) override;
};

} // namespace healthintf::healthctl
