// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Which component was in which health when. */

#include "fault_spans.hpp"
#include "time_slices.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** What is known of a component in a slice of time, the worst last. */
enum class SliceHealth : uint8_t
{
    /** It is not recorded, or yet to come. */
    notRecorded,
    ok,
    /** A fault of an unknown severity. */
    unknown,
    warning,
    critical,
};

/** A component's health in each slice. */
struct PictureRow
{
    /** Its key. */
    std::string component;
    std::vector<SliceHealth> slices;
};

/** Collects the worst health of each component in each slice: that of visible
 *  faults at the component and below it. */
class HealthPicture
{
  public:
    /** The most components with a row. */
    static constexpr std::size_t mostRows = 1000;

    /** @param[in] top the key whose row is the first one
     *  @param[in] recorded what the history covers, in milliseconds since the
     *             epoch */
    HealthPicture(std::string top, const TimeSlices& slices, TimeSpan recorded);

    /** Takes a time in which a fault was visible. */
    void take(const HistoryRecord& fault, TimeSpan span);

    /** A row for the top, and one for each component that had faults, by their
     *  keys. */
    std::vector<PictureRow> rows() const;

    /** Whether there were components that have no row because there are too
     *  many. Their faults are in the row of the top. */
    bool isCut() const
    {
        return cut;
    }

    const TimeSlices& timeSlices() const
    {
        return slices;
    }

  private:
    using Slices = std::vector<SliceHealth>;

    bool shows(TimeSpan span) const;
    void paint(Slices& row, TimeSpan span, SliceHealth health) const;
    std::size_t findSlice(int64_t time) const;

    std::string top;
    TimeSlices slices;
    /** What is seen where no fault is. */
    Slices background;
    /** All faults. */
    Slices whole;
    /** The faults of each component itself. */
    std::map<std::string, Slices> own;
    bool cut = false;
};

} // namespace healthintf::healthctl
