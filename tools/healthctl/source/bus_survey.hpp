// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks all connections on the bus for their part of the health tree. */

#include "managed_objects.hpp"

#include <systemd/sd-bus.h>

#include <map>
#include <optional>
#include <set>
#include <string>

namespace healthintf::healthctl
{

/** The part of one connection. */
struct Shown
{
    ManagedObjects objects;
    /** The health of the tree's root, if it holds that. */
    std::optional<uint32_t> rootHealth;
};

/** The parts of all connections, by their unique names. */
struct Survey
{
    /** Those that have components. */
    std::map<std::string, Shown> shown;
    /** Those that did not answer in time, or have left meanwhile. */
    std::set<std::string> silent;
};

/** Asks all connections at once, so that several that hang take no longer than
 *  one.
 *
 *  @throws Error when the bus does not answer */
Survey surveyBus(sd_bus* bus);

} // namespace healthintf::healthctl
