#pragma once

/** @file What all connections on the bus show of the health tree. */

#include "managed_objects.hpp"

#include <systemd/sd-bus.h>

#include <map>
#include <optional>
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

/** Asks all connections at once, so that one that hangs costs its time only
 *  once. Those that do not answer, or have no components, are left out.
 *
 *  @return what they show by their unique names
 *  @throws Error when the bus does not answer */
std::map<std::string, Shown> surveyBus(sd_bus* bus);

} // namespace healthintf::healthctl
