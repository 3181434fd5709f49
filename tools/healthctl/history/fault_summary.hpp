// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file How often and how long each fault lasted. */

#include "fault_spans.hpp"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** What there is to say of a fault that came once or several times. Faults are
 *  the same when component, message, arguments and sensor are. */
struct FaultSummary
{
    /** Its last appearance, or end if nothing else is known. */
    HistoryRecord fault;
    uint64_t occurrences = 0;
    /** How long it lasted altogether, in milliseconds. */
    int64_t total = 0;
    /** Whether it lasts at the end of the period. */
    bool lasts = false;
    /** Whether it came as often as flappingOccurrences within flappingTime. */
    bool flapping = false;

    /** How long an occurrence lasted on average, in milliseconds. */
    int64_t mean() const
    {
        return total / static_cast<int64_t>(occurrences);
    }
};

inline constexpr std::size_t flappingOccurrences = 5;
inline constexpr std::chrono::milliseconds flappingTime = std::chrono::hours(1);

/** Sums up faults of a period. What lasted before or behind it does not
 *  count. */
class FaultSums
{
  public:
    /** The most faults to tell apart. */
    static constexpr std::size_t most = 10'000;

    explicit FaultSums(TimeSpan period);

    /** Takes a fault's occurrence as FaultSpans tells it. */
    void take(const HistoryRecord& fault, TimeSpan span, bool lasts);

    /** The faults, those with the most occurrences first, of these the one that
     *  lasted longest. */
    std::vector<FaultSummary> summaries() const;

    /** How many occurrences are in no summary, because there are too many
     *  faults. */
    uint64_t left() const
    {
        return leftOut;
    }

  private:
    struct Sum
    {
        FaultSummary summary;
        /** When it appeared last, in the order of the occurrences. */
        std::deque<int64_t> appearances;
    };

    TimeSpan period;
    std::map<std::string, Sum> sums;
    uint64_t leftOut = 0;
};

} // namespace healthintf::healthctl
