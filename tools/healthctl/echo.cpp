// SPDX-License-Identifier: Apache-2.0
#include "echo.hpp"

#include "context.hpp"
#include "error.hpp"

#include <cstring>

namespace healthintf::healthctl
{
namespace
{

void checkAnswered(int result)
{
    if (result < 0)
    {
        throw Error(ExitCode::unavailable,
                    std::string("the bus does not answer: ") +
                        std::strerror(-result) + "; see its log");
    }
}

} // namespace

Echo::Echo(const std::string& signal)
{
    const auto kept = connectBus();
    sd_bus* opened = nullptr;
    checkAnswered(sd_bus_default(&opened));
    bus.reset(opened);
    const char* own = nullptr;
    checkAnswered(sd_bus_get_unique_name(opened, &own));
    const std::string rule =
        "type='signal',sender='" + std::string(own) + "'," + signal;
    sd_bus_slot* slot = nullptr;
    checkAnswered(sd_bus_add_match(opened, &slot, rule.c_str(), take, this));
    match.reset(slot);
}

int Echo::take(sd_bus_message* /*message*/, void* context,
               sd_bus_error* /*error*/)
{
    static_cast<Echo*>(context)->heard = true;
    return 0;
}

void Echo::expect()
{
    // The answer comes after what the bus had to pass on before.
    checkAnswered(sd_bus_call_method(
        bus.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
        "org.freedesktop.DBus", "GetId", nullptr, nullptr, ""));
    int result = 1;
    while (result > 0)
    {
        result = sd_bus_process(bus.get(), nullptr);
        checkAnswered(result);
    }
    if (!heard)
    {
        throw Error(ExitCode::notPermitted,
                    "the bus did not pass it on for this user; try again as "
                    "root or as a member of the group healthintf-operators");
    }
}

} // namespace healthintf::healthctl
