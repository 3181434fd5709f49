// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Stores a record in the System Event Log, and reads the copies of its
 *  entries in the data cache. */

#include <platform/api.h>
#include <platform/data_abstraction/results.hpp>
#include <platform/sel_interface.hpp>

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace DataAbstraction::SEL
{

/** The fields of a SELInterface::SensorInfo, in order. */
using Sensor = std::tuple<std::string, std::string, uint8_t, uint8_t>;

/** AddSEL returns a record's identifier up to this number, and an error above
 *  it. */
inline constexpr uint32_t largestRecordId = 0xffff;

/** Stores a record and waits until logmgr has answered.
 *
 *  @param[in] service logmgr's bus name
 *  @param[in] path the log's object path
 *  @param[in] sensor the sensor that saw the event
 *  @param[in] record the record's bytes; logmgr accepts 16
 *  @param[in] timestamp the record's timestamp in seconds since the epoch;
 *  without one logmgr uses its clock
 *  @return the record's identifier, up to largestRecordId; a larger number is
 *          an error of the platform, and the record may not be stored
 *
 *  May be called from any thread. */
PLATFORM_API uint32_t AddSEL(const std::string& service,
                             const std::string& path, const Sensor& sensor,
                             const std::vector<uint8_t>& record,
                             const std::optional<uint32_t>& timestamp);

} // namespace DataAbstraction::SEL

/** The properties of an entry of the log. */
struct SELEntryProperties
{
    /** 1 to 65534: 0 and 65535 have a special meaning in IPMI. */
    uint16_t recordId = 0;
    /** Seconds since the epoch, as in the record; 0 for a record that has
     *  none. */
    uint32_t timestamp = 0;
    /** The sensor that saw the event, as its daemon described it. */
    SELInterface::SensorInfo sensor;
    /** The stored record, with its identifier and timestamp filled in. */
    std::array<uint8_t, SELInterface::recordSize> record{};
};

/** One entry of the log as it was read. */
class SELEntry_gen
{
  public:
    SELEntry_gen() = default;
    /** Makes an entry with these properties. */
    explicit SELEntry_gen(SELEntryProperties properties) :
        properties(std::move(properties))
    {}

    /** The properties, which SELEntryProperties documents.
     *  @{ */
    uint16_t recordId() const
    {
        return properties.recordId;
    }
    uint32_t timestamp() const
    {
        return properties.timestamp;
    }
    const SELInterface::SensorInfo& sensor() const
    {
        return properties.sensor;
    }
    const std::array<uint8_t, SELInterface::recordSize>& record() const
    {
        return properties.record;
    }
    /** @} */

  private:
    SELEntryProperties properties;
};

namespace DataAbstraction::SELEntry
{

/** Reads entries of the log.
 *
 *  @param[in] services reads only entries of these services; empty for all
 *  @param[in] prefixes reads only entries whose path begins with one of these;
 *  empty, or the path of the log, for all
 *  @param[in,out] entries the entries found are added, by path
 *  @return a ReadResult or the platform's error number
 *
 *  May be called from any thread. */
PLATFORM_API long
get_map_by_path_prefixes(const std::vector<std::string>& services,
                         const std::vector<std::string>& prefixes,
                         std::map<std::string, SELEntry_gen>& entries);

} // namespace DataAbstraction::SELEntry
