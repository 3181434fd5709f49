// SPDX-License-Identifier: Apache-2.0
/** @file Delivers alternating health reports of one child to a node. Beside the
 *  health of the other children, the reports either never or always change the
 *  node's health.
 *
 *  Usage: growth-recalculation silent|published CHILDREN ROUNDS */

#include "step_meter.hpp"

#include <hmi_health.hpp>
#include <hmi_health_value.hpp>

#include <sdbusplus/bus.hpp>
#include <systemd/sd-bus.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

using health_namespace::HealthStatus;

const std::string key = "/com/vexa/olvar/health/chassis";

std::string childKey(unsigned long number)
{
    return key + "/fan" + std::to_string(number);
}

/** The message that the bus delivers when the first child reports a health. */
sdbusplus::message_t report(sdbusplus::bus_t& bus, uint32_t health)
{
    auto message = bus.new_signal(childKey(0).c_str(), HealthStatus::interface,
                                  HealthStatus::HealthStatusUpdate::name);
    message.append(key, childKey(0), health);
    if (sd_bus_message_seal(message.get(), 1, 0) < 0)
    {
        throw std::runtime_error("unable to seal a message");
    }
    return message;
}

} // namespace

int main(int argc, char** argv)
{
    namespace health = health_namespace;

    if (argc != 4)
    {
        return 2;
    }
    const bool published = std::string_view(argv[1]) == "published";
    const unsigned long count = std::strtoul(argv[2], nullptr, 10);
    const long rounds = std::atol(argv[3]);
    auto bus = sdbusplus::bus::new_default();
    std::string name = key;
    const std::unique_ptr<HealthStatus> node(
        HealthStatus::Init(bus, name, health::healthOk));
    if (!node)
    {
        return 1;
    }
    for (unsigned long i = 0; i < count; ++i)
    {
        std::string child = childKey(i);
        node->healthStatusInternalCallbackHandler(child, health::healthOk);
    }
    std::array reports{
        report(bus, published ? health::healthWarning : health::healthUnknown),
        report(bus, health::healthOk)};
    healthintf::bench::StepMeter meter;
    for (long i = 0; i < rounds; ++i)
    {
        sdbusplus::message_t& next = reports[i % 2];
        sd_bus_message_rewind(next.get(), 1);
        meter.take([&] {
            node->healthStatusCallbackHandler(next);
        });
        bus.flush();
    }
    meter.print();
    return 0;
}
