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

constexpr std::size_t places = health_namespace::FaultAndHealth::maxFaults;

/** Finds a fault by its name. */
template <typename Faults>
auto findNamed(Faults& faults, const SourceFault& wanted)
{
    return std::ranges::find_if(faults, [&](const SourceFault& fault) {
        return fault.isNamedAs(wanted);
    });
}

/** Whether a fault is reported anew when its arguments change: how many faults
 *  have no place. Others keep the reading that they began with. */
bool followsArguments(const SourceFault& fault)
{
    return fault.messageId == moreFaultsId ||
           fault.messageId == moreCriticalFaultsId;
}

/** A fault's text where the registry has none. */
std::string ownTextOf(const SourceFault& fault)
{
    std::string text = fault.messageId;
    for (const std::string& argument : fault.arguments)
    {
        text +=
            (&argument == &fault.arguments.front() ? " (" : ", ") + argument;
    }
    return text + ")";
}

/** A fault's severity as registries count it. */
uint32_t severityOf(const SourceFault& fault)
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
    const auto known = findNamed(present, fault);
    if (known == present.end())
    {
        present.push_back(std::move(fault));
    }
    else
    {
        *known = std::move(fault);
    }
}

void ComponentFaults::remove(const std::string& messageId,
                             const std::string& sensorPath)
{
    std::erase_if(present, [&](const SourceFault& fault) {
        return fault.messageId == messageId && fault.sensorPath == sensorPath;
    });
}

void ComponentFaults::report()
{
    const Faults wanted = wantedReports();
    Faults outdated = outdatedReports(wanted);
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

ComponentFaults::Faults ComponentFaults::wantedReports() const
{
    Faults wanted = present;
    std::ranges::stable_sort(wanted, std::greater(), &SourceFault::level);
    if (wanted.size() > places)
    {
        const Faults waiting(wanted.begin() + places - 1, wanted.end());
        wanted.resize(places - 1);
        wanted.push_back(moreFaults(waiting));
    }
    return wanted;
}

SourceFault ComponentFaults::moreFaults(const Faults& waiting) const
{
    const Level worst =
        std::ranges::max(waiting, std::less(), &SourceFault::level).level;
    return {.messageId =
                worst == Level::critical ? moreCriticalFaultsId : moreFaultsId,
            .sensorPath = sensorPathOf("component", key),
            .arguments = {key, std::to_string(waiting.size())},
            .fqdd = "System.Host.1#component.0",
            .subSystem = "component",
            .sensorNumber = 0,
            .sensorType = ipmiSubsystemHealth,
            .level = worst};
}

bool ComponentFaults::isReported(const SourceFault& fault) const
{
    const auto found = findNamed(reported, fault);
    return found != reported.end() &&
           (!followsArguments(fault) || found->arguments == fault.arguments);
}

/** What is reported and should not be, the least important one last. */
ComponentFaults::Faults
ComponentFaults::outdatedReports(const Faults& wanted) const
{
    Faults outdated;
    std::ranges::copy_if(reported, std::back_inserter(outdated),
                         [&](const SourceFault& fault) {
                             const auto found = findNamed(wanted, fault);
                             return found == wanted.end() ||
                                    (followsArguments(fault) &&
                                     found->arguments != fault.arguments);
                         });
    std::ranges::stable_sort(outdated, std::greater(), &SourceFault::level);
    return outdated;
}

/** Removes what has the fault's name and, when all places are taken, the
 *  least important one that is outdated. */
void ComponentFaults::makeRoom(const SourceFault& fault, Faults& outdated)
{
    if (const auto same = findNamed(outdated, fault); same != outdated.end())
    {
        removeReport(*same);
        outdated.erase(same);
    }
    if (reported.size() >= places && !outdated.empty())
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
        // Without the registry the machine must not seem to be well.
        status = component.addFault(
            fault.messageId, fault.sensorPath, fault.arguments, fault.fqdd,
            fault.subSystem, fault.sensorNumber, fault.sensorType,
            ownTextOf(fault), severityOf(fault), "", 0);
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
        return each.isNamedAs(report);
    });
}

} // namespace healthintf::hostmon
