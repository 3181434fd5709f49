// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Calls logmgr. Every failure becomes an Error that says what to do. */

#include "../../../services/common/log_status.hpp"
#include "../service_client.hpp"
#include "raw_records.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** The content of the log. */
struct LogContent
{
    /** The oldest first, without those that cannot be read. */
    std::vector<SELEntry_gen> entries;
    /** The identifier of the last entry, also of one that cannot be read;
     *  0 without one. */
    uint16_t last = 0;
    /** As LogStatus has it. */
    uint64_t generation = 0;
};

/** The entries that clearing the log has removed. */
struct Clearing
{
    uint32_t erased = 0;
    /** The identifier of the last of them; 0 when there was none. */
    uint16_t last = 0;
};

class LogmgrClient
{
  public:
    /** Connects to the operator's bus.
     *
     *  @throws Error when there is none */
    LogmgrClient();

    /** Stores a record.
     *
     *  @param[in] time seconds since the epoch, else the clock of logmgr
     *  @return its identifier
     *  @throws Error */
    uint32_t add(const SELInterface::SensorInfo& sensor,
                 const RawRecord& record,
                 const std::optional<uint32_t>& time = std::nullopt);

    /** Removes all entries, unless the log has changed since it was read.
     *
     *  @param[in] last the identifier of its last entry, 0 for none; nothing
     *             when it does not matter
     *  @param[in] generation as LogStatus has it; nothing when it does not
     *             matter
     *  @throws Error; when the log is another or has grown, nothing was
     *          removed */
    Clearing clear(const std::optional<uint16_t>& last,
                   const std::optional<uint64_t>& generation);

    /** @throws Error */
    services::LogStatus status();

    /** All entries, the oldest first. When the log is cleared meanwhile, or
     *  drops what was to be read next, that begins anew.
     *
     *  @throws Error */
    LogContent content();

  private:
    LogContent readContent();

    ServiceClient client;
};

} // namespace healthintf::healthctl
