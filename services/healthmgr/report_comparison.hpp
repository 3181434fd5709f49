// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Finds nodes whose reported health is not the recorded one. */

#include "reported_health.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace healthintf::healthmgr
{

/** Compares reports with the records repeatedly. One difference may be an
 *  update under way. A difference that stays the same was reported by an older
 *  holder of the node's key, or was made up. */
class ReportComparison
{
  public:
    /** @param[in] reports the reported health of nodes where it differs from
     *             the recorded health
     *  @param[in] records the recorded health of these nodes and others
     *  @return the nodes whose recorded health is to be sent to their parents,
     *          each once until its next update */
    std::vector<std::string> compare(const ReportedHealth::Healths& reports,
                                     const ReportedHealth::Healths& records);

    /** Notes that the parent of a node heard an update of it, which may have
     *  undone a correction. */
    void noteUpdate(const std::string& key);

  private:
    struct Difference
    {
        uint32_t reported = 0;
        uint32_t recorded = 0;
        std::size_t times = 0;
    };

    std::map<std::string, Difference> differing;
};

} // namespace healthintf::healthmgr
