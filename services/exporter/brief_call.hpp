#pragma once

/** @file Calls that keep a scrape waiting only shortly. */

#include <systemd/sd-bus.h>

#include <chrono>

#include <bus_calls.hpp>

namespace healthintf::exporter
{

/** One method of one service, which is called in each scrape. */
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
     *  @return null without a bus, a service, or an answer in time that is no
     *          error */
    MessagePtr make(sd_bus* bus);

  private:
    Method method;
    std::chrono::steady_clock::time_point silentUntil;
};

} // namespace healthintf::exporter
