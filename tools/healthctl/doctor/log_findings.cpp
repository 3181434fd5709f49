// SPDX-License-Identifier: Apache-2.0
#include "log_findings.hpp"

namespace healthintf::healthctl
{

Finding makeFinding(const LogComparison& comparison)
{
    Finding finding{
        .check = "log.mirror", .grade = Grade::ok, .text = "", .remedy = ""};
    if (!comparison.failure.empty())
    {
        finding.grade = Grade::warning;
        finding.text =
            "the log was not compared with its mirror: " + comparison.failure;
        finding.remedy = "try again, or see the log of logmgr";
    }
    else if (comparison.different == 0 &&
             comparison.entries == comparison.mirrored)
    {
        finding.text = "the mirror has what the log has, entries: " +
                       std::to_string(comparison.entries);
    }
    else
    {
        finding.grade = Grade::problem;
        finding.text = "the log has " + std::to_string(comparison.entries) +
                       " entries and its mirror in the data cache " +
                       std::to_string(comparison.mirrored) + "; " +
                       std::to_string(comparison.different) +
                       " of the log are missing there or others";
        finding.remedy = "see the log of logmgr for why it cannot write "
                         "there, and whether HEALTHINTF_RUNTIME_DIR is set as "
                         "here; then restart it";
    }
    return finding;
}

Finding makeFinding(const services::LogStatus& log)
{
    Finding finding{.check = "log.room",
                    .grade = Grade::ok,
                    .text = "the log has " + std::to_string(log.entries) +
                            " of " + std::to_string(log.capacity) + " entries",
                    .remedy = ""};
    if (log.policy != "refuse" || !isNear(log.entries, log.capacity))
    {
        return finding;
    }
    if (log.entries >= log.capacity)
    {
        finding.grade = Grade::problem;
        finding.text += " and refuses events";
    }
    else
    {
        finding.grade = Grade::warning;
        finding.text += ", and refuses events when it is full";
    }
    finding.remedy = "export it by \"healthctl sel export\" and clear it, or "
                     "configure logmgr with overflow = \"wrap\"";
    return finding;
}

} // namespace healthintf::healthctl
