#pragma once

/** @file The System Event Log: storing a record in it, and the records of the
 *  data cache that mirror its entries. */

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

/** The largest answer of AddSEL that is a record's identifier. */
inline constexpr uint32_t largestRecordId = 0xffff;

/** Stores a record and waits until the log manager has answered.
 *
 *  @param[in] service the log manager's bus name
 *  @param[in] path the log's object path
 *  @param[in] sensor the sensor that saw the event
 *  @param[in] record the record's bytes; a log manager takes 16
 *  @param[in] timestamp seconds since the epoch for the record; without one it
 *             is that of the log manager's clock
 *  @return the record's identifier, up to largestRecordId; a larger number is
 *          an error of the platform's own, and nothing was acknowledged
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
    /** 1 to 65534: IPMI has a meaning of its own for 0 and 65535. */
    uint16_t recordId = 0;
    /** Seconds since the epoch, as in the record; 0 for a record that has
     *  none. */
    uint32_t timestamp = 0;
    /** The sensor that saw the event, as its daemon described it. */
    SELInterface::SensorInfo sensor;
    /** The record as it is stored, with its identifier and timestamp. */
    std::array<uint8_t, SELInterface::recordSize> record{};
};

/** One entry of the log as it was read. */
class SELEntry_gen
{
  public:
    SELEntry_gen() = default;
    /** Makes an entry of properties. */
    explicit SELEntry_gen(SELEntryProperties properties) :
        held(std::move(properties))
    {}

    /** One of the properties; SELEntryProperties tells of each.
     *  @{ */
    uint16_t recordId() const
    {
        return held.recordId;
    }
    uint32_t timestamp() const
    {
        return held.timestamp;
    }
    const SELInterface::SensorInfo& sensor() const
    {
        return held.sensor;
    }
    const std::array<uint8_t, SELInterface::recordSize>& record() const
    {
        return held.record;
    }
    /** @} */

  private:
    SELEntryProperties held;
};

namespace DataAbstraction::SELEntry
{

/** Reads entries of the log.
 *
 *  @param[in] services the services whose entries are wanted; empty for all
 *  @param[in] prefixes what the entries' paths begin with, any one of them, or
 *             the path of the log for all of its entries; empty for all
 *  @param[in,out] entries the entries found are added, by path
 *  @return a ReadResult or the platform's error number
 *
 *  May be called from any thread. */
PLATFORM_API long
get_map_by_path_prefixes(const std::vector<std::string>& services,
                         const std::vector<std::string>& prefixes,
                         std::map<std::string, SELEntry_gen>& entries);

} // namespace DataAbstraction::SELEntry
