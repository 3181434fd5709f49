// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The bus as a source: what every process with components shows there.
 */

#include "health_source.hpp"
#include "repeated_reading.hpp"

#include <systemd/sd-bus.h>

#include <memory>
#include <string>

namespace healthintf::healthctl
{

/** Asks every connection on the bus for its nodes and entries, all at once,
 *  when it is made; its answers all stand for that moment. Everybody may. */
class BusSource : public HealthSource
{
  public:
    /** @throws Error when there is no bus */
    explicit BusSource(const RepeatedReading& reading = {});

    const char* name() const override;
    SilentProcesses silent() const override;
    Nodes nodes() override;
    Faults faults() override;
    Counts counts() override;
    LedStates leds() override;
    Faults top(const std::string& key, std::size_t n, bool severeOnly) override;

  private:
    Nodes foundNodes;
    Faults foundFaults;
    SilentProcesses silentProcesses;
};

} // namespace healthintf::healthctl
