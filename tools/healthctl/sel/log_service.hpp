#pragma once

/** @file The log manager as healthctl calls it. Every failure becomes an Error
 *  that says what to do. */

#include "raw_records.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <bus_handles.hpp>

namespace healthintf::healthctl
{

/** What the log manager says of the log as a whole. */
struct LogInfo
{
    uint32_t entries = 0;
    uint32_t capacity = 0;
    /** What happens to an event when the log is full: refuse or wrap. */
    std::string policy;
    /** Whether events were refused or dropped since the last clear. */
    bool overflow = false;
    /** Seconds since the epoch; 0 for never. */
    uint32_t lastAddition = 0;
    uint32_t lastErase = 0;
};

class LogService
{
  public:
    /** Connects to the operator's bus.
     *
     *  @throws Error when there is none */
    LogService();

    /** Stores a record.
     *
     *  @param[in] time seconds since the epoch, else the log manager's clock
     *  @return its identifier
     *  @throws Error */
    uint32_t add(const SELInterface::SensorInfo& sensor,
                 const RawRecord& record,
                 const std::optional<uint32_t>& time = std::nullopt);

    /** Removes all entries.
     *
     *  @return how many there were
     *  @throws Error */
    uint32_t clear();

    /** @throws Error */
    LogInfo info();

    /** All entries, the oldest first.
     *
     *  @throws Error */
    std::vector<SELEntry_gen> entries();

  private:
    host::BusPtr bus;
};

} // namespace healthintf::healthctl
