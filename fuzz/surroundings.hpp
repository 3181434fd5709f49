// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What the programs that are fuzzed have around them. */

#include "private_bus.hpp"

#include <cstdlib>

namespace healthintf::test
{

/** The registries and events of the project, and no log, which every input
 *  would fill. */
inline void haveShippedData()
{
    setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_DATA "/registries", 1);
    setenv("HEALTHINTF_EVENT_PATH", SHIPPED_DATA "/events", 1);
    setenv("HEALTHINTF_LOG_LEVEL", "0", 0);
}

/** The bus of this process, as long as it lives. */
inline const PrivateBus& surroundings()
{
    haveShippedData();
    static const PrivateBus bus;
    return bus;
}

} // namespace healthintf::test
