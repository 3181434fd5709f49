// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The fault entry: one fault on D-Bus and in the data cache. */

#include <com/vexa/olvar/api.hpp>
#include <com/vexa/olvar/healthmgr/FaultEntry/server.hpp>
#include <hmi_status.hpp>
#include <platform/data_abstraction/fault_entry.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace health_namespace
{

/** One fault of a component. Creating it publishes the fault, deleting it takes
 *  the fault back. Created and owned by FaultAndHealth; used from the thread
 *  that owns its bus.
 *
 *  The queries ask the data cache for the fault entries of all processes. They
 *  need no bus and no object, may be called from any thread, and throw nothing
 *  but std::bad_alloc. */
class HEALTHINTF_API FaultEntry
    : public sdbusplus::server::com::vexa::olvar::healthmgr::FaultEntry
{
  public:
    /** Puts the entry on the bus and into the data cache. Its creator must
     *  announce it by emit_added() and faultEntryAdded().
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

    /** Counts the fault entries of all processes.
     *
     *  @param[out] visible how many are not hidden; 0 after a failure
     *  @param[out] hidden how many are; 0 after a failure
     *  @return statusOk, also when there is none; statusNotRead when the data
     *          cache could not be read */
    static int GetNumberOfHiddenVisibleFaults(int& visible, int& hidden);

    /** Tells which LED states the fault entries below /com/vexa/olvar/health
     *  ask for, hidden ones too.
     *
     *  @param[in,out] ledStates seven elements. Element 1 to 6 becomes 1 when
     *                 an entry asks for this state, else 0; element 0 becomes
     *                 0. All are 0 when the data cache could not be read
     *  @return statusOk, also when there is no entry; statusInvalidArgument
     *          for another number of elements, which stay as they are;
     *          statusNotRead when the data cache could not be read */
    static int GetLEDStateFromFaultEntries(std::vector<int>& ledStates);

    /** Finds the most important of the visible fault entries: the most severe
     *  first, and of those the oldest first. Entries of the same severity and
     *  second are in no particular order.
     *
     *  @param[in] pathPrefix a text prefix of the entries' object paths; empty
     *             for all
     *  @param[in] n how many are wanted; all for 0 and for a negative number
     *  @param[in,out] entries the entries found are appended as object path and
     *                 record. Then all elements, also earlier ones, are sorted
     *                 and cut to @p n, or to the number of records below the
     *                 prefix when that is less; a negative @p n cuts nothing.
     *                 Without such records and after a failure the elements
     *                 stay as they are
     *  @param[in] severeOnly whether only severities above 2 count
     *  @return statusOk, also when nothing is found; statusNotRead when the
     *          data cache could not be read */
    static int GetNFaultEntries(
        std::string& pathPrefix, int n,
        std::vector<std::pair<std::string, FaultEntry_gen>>& entries,
        bool severeOnly);

    /** The entry's object path. */
    HEALTHINTF_LOCAL const std::string& objectPath() const
    {
        return path;
    }

  private:
    std::string path;
    [[maybe_unused]] bool flag = true;
};

} // namespace health_namespace
