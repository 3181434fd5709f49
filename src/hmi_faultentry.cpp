// SPDX-License-Identifier: Apache-2.0
#include "log_line.hpp"

#include <hmi_faultentry.hpp>
#include <platform/data_abstraction/fault_entry.hpp>

#include <atomic>
#include <exception>

namespace health_namespace
{

using namespace details;

namespace
{

/** Runs one step of the destructor; logs what it throws. */
template <typename Step>
void attempt(Step&& step) noexcept
{
    try
    {
        step();
    }
    catch (const std::exception& e)
    {
        HMI_LOG_AS("~FaultEntry", log::warning, "EXCEPTION %s.%d.%s: %s",
                   e.what());
    }
}

} // namespace

FaultEntry::FaultEntry(sdbusplus::bus_t& bus, const char* path,
                       const PropertyMap& properties) :
    sdbusplus::server::com::vexa::olvar::healthmgr::FaultEntry(
        bus, path, properties, false),
    path(path)
{
    HMI_LOG(log::trace, "%s.%d.%s Entry : FaultEntry constructor called");
}

FaultEntry::~FaultEntry()
{
    attempt([this] {
        HMI_LOG_AS("~FaultEntry", log::trace,
                   "%s.%d.%s Entry : %s destructor called, generate signal",
                   messageID().c_str());
        faultEntryRemoved(fqdd(), messageID(), sensorPath(), sensorNumber(),
                          sensorType());
    });
    attempt([this] {
        emit_removed();
    });
    HMI_LOG(log::trace, "%s.%d.%s Entry : %s key delete datacache",
            path.c_str());
    attempt([this] {
        datacache_faultentry_remove(path);
    });
}

uint16_t FaultEntry::GetUniqueFaultNumber()
{
    static std::atomic<uint16_t> counter{0};
    return counter.fetch_add(1);
}

} // namespace health_namespace
