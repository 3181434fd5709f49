// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds out from records of the history when faults lasted. */

#include "history_record.hpp"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

namespace healthintf::healthctl
{

/** A part of time in milliseconds since the epoch, without its end. */
struct TimeSpan
{
    int64_t begin = 0;
    int64_t end = 0;
};

/** Follows faults from their appearance to their end. It takes the records of
 *  faults in their order, from the first one of the history on. */
class FaultSpans
{
  public:
    /** Functions that are told what was found. */
    struct Handlers
    {
        /** A fault lasted so long, or lasts until the end of the reading. */
        std::function<void(const HistoryRecord& fault, TimeSpan span,
                           bool lasts)>
            lasted;
        /** A fault was not hidden for so long. */
        std::function<void(const HistoryRecord& fault, TimeSpan span)> visible;
    };

    /** The most faults that may last at one time. */
    static constexpr std::size_t mostOpen = 20'000;

    explicit FaultSpans(Handlers handlers);

    /** @throws Error when too many faults last */
    void take(const HistoryRecord& record);

    /** Tells of the faults that last.
     *
     *  @param[in] now milliseconds since the epoch */
    void finish(int64_t now);

  private:
    struct Open
    {
        HistoryRecord fault;
        /** Nothing while it is hidden. */
        std::optional<int64_t> visibleSince;
    };

    /** Two users' processes may have an entry of the same path. */
    using Key = std::pair<std::string, uint32_t>;
    using OpenFaults = std::map<Key, Open>;

    void appear(const HistoryRecord& record);
    void end(const HistoryRecord& record);
    void close(OpenFaults::iterator open, int64_t time, bool lasts);
    void setVisible(const HistoryRecord& record, bool visible);

    Handlers handlers;
    OpenFaults openFaults;
};

} // namespace healthintf::healthctl
