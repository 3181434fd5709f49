// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The data and the bus of fuzzed programs. */

#include "private_bus.hpp"

#include <cstdlib>

namespace healthintf::test
{

/** Uses the project's registries and event tables, and turns logging off: every
 *  input would log. */
inline void haveShippedData()
{
    setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_DATA "/registries", 1);
    setenv("HEALTHINTF_EVENT_PATH", SHIPPED_DATA "/events", 1);
    setenv("HEALTHINTF_LOG_LEVEL", "0", 0);
}

/** The private bus of this process. */
inline const PrivateBus& surroundings()
{
    haveShippedData();
    static const PrivateBus bus;
    return bus;
}

} // namespace healthintf::test
