// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Calls that delay a scrape only briefly. */

#include <systemd/sd-bus.h>

#include <chrono>

#include <bus_calls.hpp>

namespace healthintf::exporter
{

/** A method call that each scrape makes. */
class BriefCall
{
  public:
    /** How long an answer is waited for. */
    static constexpr std::chrono::milliseconds patience{300};
    /** How long a service that did not answer in time is not called again, so
     *  that many scrapes do not wait one after the other. */
    static constexpr std::chrono::seconds pause{5};

    /** What is called; the texts must outlive the object. */
    struct Method
    {
        const char* service;
        const char* path;
        const char* interface;
        const char* member;
        /** The only argument, a string; null for none. */
        const char* argument = nullptr;
    };

    explicit BriefCall(const Method& method) : method(method)
    {}

    /** Calls the service; none is started for it.
     *
     *  @param[in] bus the connection, or null
     *  @return the reply; null without a bus or a service, after an error, or
     *          when no reply came in time */
    MessagePtr make(sd_bus* bus);

  private:
    Method method;
    std::chrono::steady_clock::time_point silentUntil;
};

} // namespace healthintf::exporter
