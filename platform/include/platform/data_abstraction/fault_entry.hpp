// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Fault-entry records of the data cache: one for each fault entry,
 *  under the entry's object path. All functions may be called from several
 *  threads at once. */

#include <platform/api.h>
#include <platform/data_abstraction/results.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/** A value of a fault-entry record's property. */
using FaultEntryPropertyVariant =
    std::variant<bool, int32_t, std::string, std::vector<std::string>, uint32_t,
                 uint64_t>;

/** Properties of a fault-entry record by their D-Bus names. */
using FaultEntryPropertyMap = std::map<std::string, FaultEntryPropertyVariant>;

/** Creates the record at @p path, replacing an existing one.
 *
 *  @return 0, or the platform's error number */
PLATFORM_API int
datacache_faultentry_create(const std::string& path,
                            const FaultEntryPropertyMap& properties);

/** Changes one property of the record at @p path.
 *
 *  @return 0, or the platform's error number; nothing is changed then */
PLATFORM_API int
datacache_faultentry_set_property(const std::string& path,
                                  const std::string& name,
                                  const FaultEntryPropertyVariant& value);

/** Removes the record at @p path.
 *
 *  @return 0, or the platform's error number; removing a missing record
 *          succeeds or does nothing */
PLATFORM_API int datacache_faultentry_remove(const std::string& path);

/** Base of every object that publishes a fault entry. Hears of each change of a
 *  property. */
class PLATFORM_API faultentry_cluster
{
  public:
    /** @param[in] bus the connection that the object lives on */
    explicit faultentry_cluster(sdbusplus::bus_t& bus);
    faultentry_cluster(const faultentry_cluster&) = delete;
    faultentry_cluster& operator=(const faultentry_cluster&) = delete;
    ~faultentry_cluster();

    /** Called after a property changed, before the change is announced on
     *  D-Bus. */
    void PropertyChanged(const std::string& path, const std::string& name,
                         const FaultEntryPropertyVariant& value);
};

/** The properties of a fault entry; docs/dbus.md gives their meanings. */
struct FaultEntryProperties
{
    /** Identifier of the component that the fault is on. */
    std::string fqdd;
    /** Identifier of the message. */
    std::string messageID;
    /** The text with its arguments filled in. */
    std::string message;
    /** The arguments, in order. */
    std::vector<std::string> args;
    /** Seconds since the epoch. */
    uint64_t timestamp = 0;
    /** The health value of the entry, 1 to 4. */
    uint32_t severity = 0;
    /** The sensor that saw the fault. */
    std::string sensorPath;
    /** The sensor's IPMI number. */
    uint32_t sensorNumber = 0;
    /** The sensor's IPMI type. */
    uint32_t sensorType = 0;
    /** The LED state that the fault asks for, 1 to 6; 0 for none. */
    int32_t ledState = 0;
    /** The text for the front-panel LCD; may be empty. */
    std::string lcdMessage;
    /** Whether the fault is hidden, so that it does not affect the health. */
    bool hidden = false;
};

/** One fault-entry record as it was read. */
class FaultEntry_gen
{
  public:
    FaultEntry_gen() = default;
    /** Makes a record with these properties. */
    explicit FaultEntry_gen(FaultEntryProperties properties) :
        properties(std::move(properties))
    {}

    /** The properties, which FaultEntryProperties documents.
     *  @{ */
    const std::string& fqdd() const
    {
        return properties.fqdd;
    }
    const std::string& messageID() const
    {
        return properties.messageID;
    }
    const std::string& message() const
    {
        return properties.message;
    }
    const std::vector<std::string>& args() const
    {
        return properties.args;
    }
    uint64_t timestamp() const
    {
        return properties.timestamp;
    }
    uint32_t severity() const
    {
        return properties.severity;
    }
    const std::string& sensorPath() const
    {
        return properties.sensorPath;
    }
    uint32_t sensorNumber() const
    {
        return properties.sensorNumber;
    }
    uint32_t sensorType() const
    {
        return properties.sensorType;
    }
    int32_t ledState() const
    {
        return properties.ledState;
    }
    const std::string& lcdMessage() const
    {
        return properties.lcdMessage;
    }
    bool hidden() const
    {
        return properties.hidden;
    }
    /** @} */

  private:
    FaultEntryProperties properties;
};

namespace DataAbstraction::FaultEntry
{

/** Reads fault-entry records.
 *
 *  @param[in] services reads only records of these services; empty for all
 *  @param[in] prefixes reads only records whose path begins with one of these;
 *  empty for all
 *  @param[in,out] records the records found are added, by path
 *  @return a ReadResult or the platform's error number
 *
 *  May be called from any thread. */
PLATFORM_API long
get_map_by_path_prefixes(const std::vector<std::string>& services,
                         const std::vector<std::string>& prefixes,
                         std::map<std::string, FaultEntry_gen>& records);

} // namespace DataAbstraction::FaultEntry
