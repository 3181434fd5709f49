#pragma once

/** @file What all connections on the bus show of the health tree. */

#include "managed_objects.hpp"

#include <systemd/sd-bus.h>

#include <map>
#include <optional>
#include <set>
#include <string>

namespace healthintf::healthctl
{

/** What one connection shows. */
struct Shown
{
    ManagedObjects objects;
    /** The health of the tree's root, if it holds that. */
    std::optional<uint32_t> rootHealth;
};

/** What all connections show, by their unique names. */
struct Survey
{
    /** Those that have components. */
    std::map<std::string, Shown> shown;
    /** Those that did not answer in time, or have left meanwhile. */
    std::set<std::string> silent;
};

/** Asks all connections at once, so that one that hangs costs its time only
 *  once.
 *
 *  @throws Error when the bus does not answer */
Survey surveyBus(sd_bus* bus);

} // namespace healthintf::healthctl
