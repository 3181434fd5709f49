#include "refusals.hpp"

#include "context.hpp"
#include "error.hpp"

#include <cstring>
#include <string>

namespace healthintf::healthctl
{
namespace
{

void check(int result)
{
    if (result < 0)
    {
        throw Error(ExitCode::unavailable,
                    std::string("the bus does not answer: ") +
                        std::strerror(-result) + "; see its log");
    }
}

} // namespace

Refusals::Refusals()
{
    const auto kept = connectBus();
    sd_bus* opened = nullptr;
    check(sd_bus_default(&opened));
    bus.reset(opened);
    sd_bus_slot* slot = nullptr;
    check(sd_bus_add_filter(opened, &slot, take, this));
    filter.reset(slot);
}

Refusals::~Refusals() = default;

int Refusals::take(sd_bus_message* message, void* context,
                   sd_bus_error* /*error*/)
{
    if (sd_bus_message_is_method_error(
            message, "org.freedesktop.DBus.Error.AccessDenied") > 0)
    {
        static_cast<Refusals*>(context)->refused = true;
    }
    return 0;
}

void Refusals::throwIfAny()
{
    // The answer comes after what the bus had to say of the signals.
    check(sd_bus_call_method(bus.get(), "org.freedesktop.DBus",
                             "/org/freedesktop/DBus", "org.freedesktop.DBus",
                             "GetId", nullptr, nullptr, ""));
    int result = 1;
    while (result > 0)
    {
        result = sd_bus_process(bus.get(), nullptr);
        check(result);
    }
    if (refused)
    {
        throw Error(ExitCode::notPermitted,
                    "the bus did not pass it on for this user; try again as "
                    "root");
    }
}

} // namespace healthintf::healthctl
