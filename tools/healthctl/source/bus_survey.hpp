// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Asks all connections on the bus for their part of the health tree. */

#include "managed_objects.hpp"
#include "repeated_reading.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace healthintf::healthctl
{

/** The part of one connection. */
struct Shown
{
    ManagedObjects objects;
    /** The health of the tree's root, if it holds that. */
    std::optional<uint32_t> rootHealth;
};

/** Orders unique names as the bus gives them, the oldest first: ":1.9" comes
 *  before ":1.10". */
struct ByAge
{
    bool operator()(const std::string& a, const std::string& b) const
    {
        return std::pair(a.size(), std::string_view(a)) <
               std::pair(b.size(), std::string_view(b));
    }
};

/** The parts of all connections, by their unique names. */
struct Survey
{
    /** Those that have components. */
    std::map<std::string, Shown, ByAge> shown;
    /** Those that did not answer in time, or have left meanwhile. */
    std::set<std::string> silent;
    /** Those of whom not all could be asked: the bus lets a connection wait for
     *  so many replies only, and goes on waiting for those of silent ones. */
    std::set<std::string> refused;
};

/** @param[in] result what a call of libsystemd gave
 *  @throws Error saying that the bus does not answer when it failed */
void expectAnswer(int result);

/** @throws Error when the connection to the bus is lost */
void expectConnected(sd_bus* bus);

/** A call that asks a connection for its part of the tree. */
MessagePtr makeCallForObjects(sd_bus* bus, const std::string& connection);

/** Asks all connections at once, so that several that hang take no longer than
 *  one. Later calls on this connection have three seconds, too.
 *
 *  @throws Error when the bus does not answer, or ends meanwhile */
Survey surveyBus(sd_bus* bus, const RepeatedReading& reading = {});

/** Asks some connections as surveyBus() asks all. */
Survey surveyConnections(sd_bus* bus,
                         const std::vector<std::string>& connections,
                         const std::function<void()>& whileWaiting = {});

} // namespace healthintf::healthctl
