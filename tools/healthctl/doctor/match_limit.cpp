// SPDX-License-Identifier: Apache-2.0
#include "match_limit.hpp"

#include <platform/bus_handles.hpp>

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace healthintf::healthctl
{
namespace
{

/** What the bus answered to a rule. */
enum class Outcome
{
    made,
    refused,
    failed,
};

/** Adds a rule that no signal matches. */
Outcome makeRule(sd_bus* bus, uint32_t number)
{
    const std::string rule = "type='signal',interface='com.vexa.olvar.none',"
                             "arg0='" +
                             std::to_string(number) + "'";
    sd_bus_error error = SD_BUS_ERROR_NULL;
    const int result = sd_bus_call_method(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "AddMatch", &error, nullptr, "s", rule.c_str());
    const bool limit =
        sd_bus_error_has_name(&error, SD_BUS_ERROR_LIMITS_EXCEEDED) != 0;
    sd_bus_error_free(&error);
    return result >= 0 ? Outcome::made
           : limit     ? Outcome::refused
                       : Outcome::failed;
}

} // namespace

std::optional<MatchLimit> probeMatchLimit(uint32_t enough)
{
    sd_bus* opened = nullptr;
    if (sd_bus_open(&opened) < 0)
    {
        return std::nullopt;
    }
    const ClosedBusPtr bus(opened);
    for (uint32_t made = 0; made < enough; ++made)
    {
        const Outcome outcome = makeRule(bus.get(), made);
        if (outcome == Outcome::failed)
        {
            return std::nullopt;
        }
        if (outcome == Outcome::refused)
        {
            return MatchLimit{.made = made, .isLimit = true};
        }
    }
    return MatchLimit{.made = enough, .isLimit = false};
}

} // namespace healthintf::healthctl
