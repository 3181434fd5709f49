// SPDX-License-Identifier: Apache-2.0
#include "examination.hpp"

#include "bus_probe.hpp"
#include "history_probe.hpp"
#include "holder_probe.hpp"
#include "host_probe.hpp"
#include "kept_folder.hpp"
#include "log_probe.hpp"
#include "match_limit.hpp"
#include "process_probe.hpp"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <set>
#include <string>

#include <inspection.hpp>

namespace healthintf::healthctl
{
namespace
{

/** The user that a service runs as, root when that is not known; nothing when
 *  it does not run. */
std::optional<uid_t> findUser(const std::vector<ServiceState>& services,
                              const std::string& program)
{
    for (const ServiceState& service : services)
    {
        if (service.program == program && service.pid != 0)
        {
            return readUser(service.pid).value_or(0);
        }
    }
    return std::nullopt;
}

bool isAnswering(const std::vector<ServiceState>& services,
                 const std::string& program)
{
    return std::ranges::any_of(services, [&](const ServiceState& service) {
        return service.program == program && service.pid != 0 &&
               service.answers;
    });
}

Finding examineMatchRules(const BusProbe& bus)
{
    const MatchQuotas quotas = bus.matchQuotas();
    if (!quotas.empty())
    {
        return makeFinding(quotas);
    }
    const MatchUses uses = bus.matchRules();
    const std::optional<uint32_t> enough = rulesToTry(uses);
    return makeFinding(uses, enough ? probeMatchLimit(*enough) : std::nullopt);
}

Findings examineBus(const BusProbe& bus,
                    const std::vector<ServiceState>& services)
{
    Findings findings;
    for (const ServiceState& service : services)
    {
        findings.push_back(makeFinding(service));
    }
    for (const Attempt& attempt : bus.attempts(services))
    {
        findings.push_back(makeFinding(attempt, geteuid() == 0));
    }
    findings.push_back(examineMatchRules(bus));
    for (const ServiceState& service : services)
    {
        if (const auto files = countOpenFiles(service.program, service.pid))
        {
            findings.push_back(makeFinding(*files));
        }
    }
    return findings;
}

/** Looks at the log and compares it with its mirror, if logmgr answers. */
Findings examineLog(const std::vector<ServiceState>& services)
{
    if (!isAnswering(services, "logmgr"))
    {
        return {};
    }
    Findings findings;
    if (const auto status = askLogStatus())
    {
        findings.push_back(makeFinding(*status));
    }
    findings.push_back(makeFinding(compareLogWithMirror()));
    return findings;
}

/** Looks whether the services can keep what they are to keep, and whether
 *  logmgr keeps the history. */
Findings examineState(const std::vector<ServiceState>& services)
{
    std::optional<HistoryState> history;
    if (isAnswering(services, "logmgr"))
    {
        history = askHistory();
    }
    Findings findings;
    for (const KeptFolder* kept : keptFolders)
    {
        // Nothing is written there without a history.
        if (kept != &historyFolder || !history || history->offered)
        {
            findings.push_back(makeFinding(
                probeStateFolder(*kept, findUser(services, kept->service))));
        }
    }
    if (history)
    {
        findings.push_back(makeFinding(*history));
    }
    return findings;
}

/** Asks the processes with nodes, but for the services, which have findings of
 *  their own. */
Findings examineHolders(const BusProbe& bus,
                        const std::vector<ServiceState>& services)
{
    std::set<uint32_t> pids;
    for (const ServiceState& service : services)
    {
        pids.insert(service.pid);
    }
    return makeFindings(probeCache().usable ? probeHolders(bus, pids)
                                            : probeConnections(bus, pids));
}

Findings examineHost()
{
    const CacheState cache = probeCache();
    Findings findings = makeFindings(cache);
    if (cache.space)
    {
        append(findings, missingParents(probeNodes()));
        append(findings, probeSharedKeys());
        findings.push_back(lostMonitors(probeLostMonitors()));
    }
    append(findings,
           makeFindings("files.registries", "message registry",
                        "HEALTHINTF_REGISTRY_PATH", host::inspectRegistries()));
    append(findings,
           makeFindings("files.events", "event table", "HEALTHINTF_EVENT_PATH",
                        host::inspectEventTable()));
    return findings;
}

} // namespace

Findings examine()
{
    Findings findings{makeFinding(probeLibrary())};
    const BusProbe bus;
    findings.push_back(makeFinding(bus.state()));
    std::vector<ServiceState> services;
    if (bus.connected())
    {
        services = bus.services();
        append(findings, examineBus(bus, services));
        append(findings, examineHolders(bus, services));
    }
    append(findings, examineHost());
    append(findings, examineState(services));
    append(findings, examineLog(services));
    return findings;
}

} // namespace healthintf::healthctl
