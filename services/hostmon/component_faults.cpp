// SPDX-License-Identifier: Apache-2.0
#include "component_faults.hpp"

#include "../common/service_log.hpp"
#include "fault_texts.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace healthintf::hostmon
{

namespace log = services::log;

namespace
{

constexpr std::size_t maxReports = health_namespace::FaultAndHealth::maxFaults;

/** Finds a fault by message and sensor path. */
template <typename Faults>
auto findSame(Faults& faults, const SourceFault& wanted)
{
    return std::ranges::find_if(faults, [&](const SourceFault& fault) {
        return fault.isSameFault(wanted);
    });
}

/** Whether a fault is reported again when its arguments change: one that counts
 *  faults. Others keep the reading that they began with. */
bool tracksArguments(const SourceFault& fault)
{
    return fault.messageId == moreFaultsId ||
           fault.messageId == moreCriticalFaultsId;
}

/** Makes the text of a fault whose message is in no registry. */
std::string makeFallbackText(const SourceFault& fault)
{
    std::string text = fault.messageId;
    for (const std::string& argument : fault.arguments)
    {
        text +=
            (&argument == &fault.arguments.front() ? " (" : ", ") + argument;
    }
    return text + ")";
}

/** A fault's severity by the numbers that registries use. */
uint32_t registrySeverity(const SourceFault& fault)
{
    constexpr uint32_t criticalSeverity = 1;
    constexpr uint32_t warningSeverity = 2;
    return fault.level == Level::critical ? criticalSeverity : warningSeverity;
}

} // namespace

ComponentFaults::ComponentFaults(std::string ownKey,
                                 health_namespace::FaultAndHealth& owner) :
    key(std::move(ownKey)),
    component(owner)
{}

void ComponentFaults::add(SourceFault fault)
{
    const auto known = findSame(allFaults, fault);
    if (known == allFaults.end())
    {
        allFaults.push_back(std::move(fault));
    }
    else
    {
        *known = std::move(fault);
    }
}

void ComponentFaults::remove(const std::string& messageId,
                             const std::string& sensorPath)
{
    std::erase_if(allFaults, [&](const SourceFault& fault) {
        return fault.messageId == messageId && fault.sensorPath == sensorPath;
    });
}

void ComponentFaults::report()
{
    const Faults wanted = chooseReports();
    Faults outdated = findOutdatedReports(wanted);
    std::set<std::string> failed;
    for (const SourceFault& fault : wanted)
    {
        if (isReported(fault))
        {
            continue;
        }
        makeRoom(fault, outdated);
        if (!addReport(fault))
        {
            failed.insert(fault.sensorPath);
        }
    }
    for (const SourceFault& fault : outdated)
    {
        if (!failed.contains(fault.sensorPath))
        {
            removeReport(fault);
        }
    }
}

ComponentFaults::Faults ComponentFaults::chooseReports() const
{
    Faults wanted = allFaults;
    std::ranges::stable_sort(wanted, std::greater(), &SourceFault::level);
    if (wanted.size() > maxReports)
    {
        const Faults waiting(wanted.begin() + maxReports - 1, wanted.end());
        wanted.resize(maxReports - 1);
        wanted.push_back(summarize(waiting));
    }
    return wanted;
}

SourceFault ComponentFaults::summarize(const Faults& waiting) const
{
    const Level worst =
        std::ranges::max(waiting, std::less(), &SourceFault::level).level;
    return {.messageId =
                worst == Level::critical ? moreCriticalFaultsId : moreFaultsId,
            .sensorPath = makeSensorPath("component", key),
            .arguments = {key, std::to_string(waiting.size())},
            .fqdd = "System.Host.1#component.0",
            .subSystem = "component",
            .sensorNumber = 0,
            .sensorType = ipmiSubsystemHealth,
            .level = worst};
}

bool ComponentFaults::isReported(const SourceFault& fault) const
{
    const auto found = findSame(reported, fault);
    return found != reported.end() &&
           (!tracksArguments(fault) || found->arguments == fault.arguments);
}

/** The reported faults that are to be removed, the least important one last. */
ComponentFaults::Faults
ComponentFaults::findOutdatedReports(const Faults& wanted) const
{
    Faults outdated;
    std::ranges::copy_if(reported, std::back_inserter(outdated),
                         [&](const SourceFault& fault) {
                             const auto found = findSame(wanted, fault);
                             return found == wanted.end() ||
                                    (tracksArguments(fault) &&
                                     found->arguments != fault.arguments);
                         });
    std::ranges::stable_sort(outdated, std::greater(), &SourceFault::level);
    return outdated;
}

/** Removes the outdated report of the same fault and, when the component shows
 *  as many faults as it can, the least important outdated one. */
void ComponentFaults::makeRoom(const SourceFault& fault, Faults& outdated)
{
    if (const auto same = findSame(outdated, fault); same != outdated.end())
    {
        removeReport(*same);
        outdated.erase(same);
    }
    if (reported.size() >= maxReports && !outdated.empty())
    {
        removeReport(outdated.back());
        outdated.pop_back();
    }
}

bool ComponentFaults::addReport(const SourceFault& fault)
{
    SourceFault report = fault;
    int status = component.addFault(
        report.messageId, report.sensorPath, report.arguments, report.fqdd,
        report.subSystem, report.sensorNumber, report.sensorType);
    if (status == health_namespace::statusNotRead)
    {
        // A missing registry must not hide what is wrong with the machine.
        status = component.addFault(
            fault.messageId, fault.sensorPath, fault.arguments, fault.fqdd,
            fault.subSystem, fault.sensorNumber, fault.sensorType,
            makeFallbackText(fault), registrySeverity(fault), "", 0);
    }
    if (status != health_namespace::statusOk)
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: unable to report %s for %s: "
                    "status %d",
                    fault.messageId.c_str(), fault.arguments.front().c_str(),
                    status);
        return false;
    }
    reported.push_back(fault);
    return true;
}

void ComponentFaults::removeReport(const SourceFault& fault)
{
    SourceFault report = fault;
    component.removeFault(report.messageId, report.sensorPath);
    std::erase_if(reported, [&](const SourceFault& each) {
        return each.isSameFault(report);
    });
}

} // namespace healthintf::hostmon
