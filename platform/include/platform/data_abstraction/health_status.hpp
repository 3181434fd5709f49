// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Health records of the data cache: one for each health node, under
 *  the node's object path. All functions may be called from several threads
 *  at once. */

#include <platform/api.h>
#include <platform/data_abstraction/results.hpp>

#include <sdbusplus/bus.hpp>

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

/** A value of a health record's property. */
using HealthStatusPropertyVariant = std::variant<uint32_t>;

/** Properties of a health record by their D-Bus names. */
using HealthStatusPropertyMap =
    std::map<std::string, HealthStatusPropertyVariant>;

/** Creates the record at @p path, replacing an existing one.
 *
 *  @return 0, or the platform's error number */
PLATFORM_API int
datacache_healthstatus_create(const std::string& path,
                              const HealthStatusPropertyMap& properties);

/** Changes one property of the record at @p path.
 *
 *  @return 0, or the platform's error number; nothing is changed then */
PLATFORM_API int
datacache_healthstatus_set_property(const std::string& path,
                                    const std::string& name,
                                    const HealthStatusPropertyVariant& value);

/** Removes the record at @p path.
 *
 *  @return 0, or the platform's error number; removing a missing record
 *          succeeds or does nothing */
PLATFORM_API int datacache_healthstatus_remove(const std::string& path);

/** Whether there is a record at @p path.
 *
 *  A platform may lack this function. get_map_by_path_prefixes() gives the same
 *  answer, but reads all records whose paths begin with this one.
 *
 *  @param[in] path the whole path of the record
 *  @param[out] exists the answer; unchanged on failure
 *  @return a DataAbstraction::ReadResult or the platform's error number
 *
 *  May be called from any thread. */
PLATFORM_API PLATFORM_OPTIONAL long
datacache_healthstatus_exists(const std::string& path, bool& exists);

/** Base of every object that publishes a health status. Hears of each change of
 *  a property. */
class PLATFORM_API healthstatus_cluster
{
  public:
    /** @param[in] bus the connection that the object lives on */
    explicit healthstatus_cluster(sdbusplus::bus_t& bus);
    healthstatus_cluster(const healthstatus_cluster&) = delete;
    healthstatus_cluster& operator=(const healthstatus_cluster&) = delete;
    ~healthstatus_cluster();

    /** Called after a property changed, before the change is announced on
     *  D-Bus. */
    void PropertyChanged(const std::string& path, const std::string& name,
                         const HealthStatusPropertyVariant& value);
};

/** One health record as it was read. */
class HealthStatus_gen
{
  public:
    HealthStatus_gen() = default;
    /** Makes a record with a health, 0 to 4. */
    explicit HealthStatus_gen(uint32_t health) : health(health)
    {}

    /** The stored health, 0 (none) to 4 (critical). */
    uint32_t healthStatus() const
    {
        return health;
    }

  private:
    uint32_t health = 0;
};

namespace DataAbstraction::HealthStatus
{

/** Reads health records.
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
                         std::map<std::string, HealthStatus_gen>& records);

} // namespace DataAbstraction::HealthStatus
