// SPDX-License-Identifier: Apache-2.0
#include "bus_match.hpp"

#include "log_line.hpp"
#include "raw_bus.hpp"

#include <platform/signal_blocker.hpp>

#include <sdbusplus/sdbus.hpp>
#include <systemd/sd-bus.h>

#include <exception>
#include <utility>

namespace health_namespace::details
{
namespace
{

int ignore(sd_bus_message* /*message*/, void* /*context*/,
           sd_bus_error* /*error*/)
{
    return 0;
}

/** Makes the bus refuse the rule here if it is going to refuse it.
 *
 *  The sdbusplus of early 2023 ignores the result of sd_bus_add_match: a match
 *  that the bus refuses, for example over its limit, would never get a message.
 *  That version is recognised by its SdBusInterface, which lacks the call. */
template <typename Interface>
void requireMatch([[maybe_unused]] sdbusplus::bus_t& bus,
                  [[maybe_unused]] const std::string& rule)
{
    if constexpr (!requires { &Interface::sd_bus_add_match; })
    {
        makeMatchWithoutHandler(bus, rule.c_str());
    }
}

/** A handler and its name for the log. */
class NamedHandler : public std::enable_shared_from_this<NamedHandler>
{
  public:
    using Handler = std::function<void(sdbusplus::message_t&)>;

    NamedHandler(HandlerName name, Handler handler) :
        name(name), handler(std::move(handler))
    {}

    /** Calls the handler; logs what it throws. */
    void call(sdbusplus::message_t& message) const
    {
        // The handler may end its own subscription, and this object with it.
        const auto kept = shared_from_this();
        try
        {
            handler(message);
        }
        catch (const std::exception& e)
        {
            logException(e.what(), __LINE__);
        }
        catch (...)
        {
            logException("of an unknown kind", __LINE__);
        }
    }

  private:
    void logException(const char* problem, int line) const
    {
        dlog_printf(log::warning, logModule, "EXCEPTION %s.%d.%s: %s",
                    name.file, line, name.function, problem);
    }

    HandlerName name;
    Handler handler;
};

} // namespace

std::unique_ptr<sdbusplus::bus::match_t>
makeMatch(sdbusplus::bus_t& bus, const std::string& rule, HandlerName name,
          std::function<void(sdbusplus::message_t&)> handler)
{
    const healthintf::SignalBlocker blocker;
    requireMatch<sdbusplus::SdBusInterface>(bus, rule);
    const auto shared =
        std::make_shared<const NamedHandler>(name, std::move(handler));
    return std::make_unique<sdbusplus::bus::match_t>(
        bus, rule, [shared](sdbusplus::message_t& message) {
            shared->call(message);
        });
}

std::string signalRule(const char* path, const char* interface,
                       const char* member)
{
    // Not sdbusplus' own functions for rules: they are noexcept and end the
    // process when memory runs out.
    return std::string("type='signal',path='") + path + "',interface='" +
           interface + "',member='" + member + "',";
}

healthintf::SlotPtr makeMatchWithoutHandler(sdbusplus::bus_t& bus,
                                            const char* rule)
{
    sd_bus_slot* slot = nullptr;
    requireDone(sd_bus_add_match(rawBus(bus), &slot, rule, ignore, nullptr),
                "sd_bus_match");
    return healthintf::SlotPtr(slot);
}

} // namespace health_namespace::details
