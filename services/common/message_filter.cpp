// SPDX-License-Identifier: Apache-2.0
#include "message_filter.hpp"

#include "service_log.hpp"

#include <exception>
#include <system_error>
#include <utility>

namespace healthintf::services
{

MessageFilter::MessageFilter(sd_bus* bus, Refuses refuses) :
    refuses(std::move(refuses))
{
    sd_bus_slot* made = nullptr;
    if (const int result = sd_bus_add_filter(bus, &made, take, this);
        result < 0)
    {
        throw std::system_error(-result, std::generic_category(),
                                "sd_bus_add_filter");
    }
    slot.reset(made);
}

int MessageFilter::take(sd_bus_message* message, void* context,
                        sd_bus_error* /*error*/) noexcept
{
    int refused = 0;
    try
    {
        refused =
            static_cast<MessageFilter*>(context)->refuses(message) ? 1 : 0;
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::warning, "EXCEPTION %s.%d.%s: %s", e.what());
    }
    sd_bus_message_rewind(message, 1);
    return refused;
}

} // namespace healthintf::services
