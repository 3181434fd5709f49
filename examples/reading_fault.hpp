// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file An example: the fault of a component whose temperature is read. The
 *  daemons of this folder share it; each has an event loop of another kind. */

#include <hmi_component.hpp>

#include <cstdio>
#include <string>
#include <string_view>

/** Keeps the fault that fits the last reading. */
class ReadingFault
{
  public:
    explicit ReadingFault(health_namespace::Component& component) :
        component(component)
    {}

    /** @param[in] text the temperature, in degrees; a text that is no number is
     *             passed over */
    void take(const std::string& text)
    {
        float degrees = 0;
        if (std::sscanf(text.c_str(), "%f", &degrees) != 1)
        {
            std::fprintf(stderr, "no reading: %s\n", text.c_str());
            return;
        }
        const bool hot = degrees > limit;
        if (hot != reported && (hot ? report(text) : takeBack()))
        {
            reported = hot;
        }
    }

  private:
    static constexpr float limit = 95;
    static constexpr std::string_view message =
        "HostMonitor.1.0.TemperatureCritical";
    static constexpr std::string_view sensor =
        "/com/vexa/olvar/sensors/example";

    bool report(std::string_view reading)
    {
        const auto status =
            component.add({.message = message,
                           .arguments = {"the example", reading, "95"},
                           .sensorPath = sensor,
                           .sensorNumber = 1,
                           .sensorType = 1,
                           .fqdd = "Example.1"});
        return told(status);
    }

    bool takeBack()
    {
        return told(component.remove(message, sensor));
    }

    /** What failed is tried again at the next reading. */
    static bool told(health_namespace::Status status)
    {
        if (status != health_namespace::statusOk)
        {
            std::fprintf(stderr, "fault not changed: status %d\n", status);
        }
        return status == health_namespace::statusOk;
    }

    health_namespace::Component& component;
    bool reported = false;
};
