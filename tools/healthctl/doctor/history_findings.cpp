// SPDX-License-Identifier: Apache-2.0
#include "history_findings.hpp"

namespace healthintf::healthctl
{

Finding makeFinding(const HistoryState& history)
{
    Finding finding{
        .check = "history", .grade = Grade::ok, .text = "", .remedy = ""};
    if (!history.offered)
    {
        finding.text = "logmgr keeps no history of faults, as when it is "
                       "configured with history = false";
    }
    else if (!history.failure.empty())
    {
        finding.grade = Grade::problem;
        finding.text =
            "the history of faults cannot be read: " + history.failure;
        finding.remedy = "see the log of logmgr for why, and make it the owner "
                         "of the history's folder and of the files there";
    }
    else
    {
        finding.text = "the history of faults is kept, records: " +
                       std::to_string(history.records);
    }
    return finding;
}

} // namespace healthintf::healthctl
