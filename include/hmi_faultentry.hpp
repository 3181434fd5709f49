#pragma once

/** @file The fault entry: one fault on D-Bus and in the data cache. */

#include <com/vexa/olvar/api.hpp>
#include <com/vexa/olvar/healthmgr/FaultEntry/server.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <string>

namespace health_namespace
{

/** One fault of a component. Creating it publishes the fault, deleting it
 *  takes the fault back. Made and owned by FaultAndHealth; used from the
 *  thread that owns its bus. */
class HEALTHINTF_API FaultEntry
    : public sdbusplus::server::com::vexa::olvar::healthmgr::FaultEntry
{
  public:
    /** Puts the entry on the bus and into the data cache. Its creator then
     *  announces it: emit_added(), faultEntryAdded().
     *
     *  @param[in] bus the connection; a reference to it is kept
     *  @param[in] path the entry's object path
     *  @param[in] properties the twelve properties by their D-Bus names
     *  @throws sdbusplus::exception::SdBusError when the path is invalid or
     *          taken on this bus */
    FaultEntry(sdbusplus::bus_t& bus, const char* path,
               const PropertyMap& properties);

    /** Announces the removal and removes the record; does not throw. */
    ~FaultEntry() override;

    /** The next number of a fault in this process, 0 first, wrapping from
     *  0xFFFF to 0. May be called from any thread. */
    static uint16_t GetUniqueFaultNumber();

    /** The entry's object path. */
    const std::string& objectPath() const;

  private:
    std::string path;
    [[maybe_unused]] bool flag = true;
};

} // namespace health_namespace
