// SPDX-License-Identifier: Apache-2.0
#include "operator_notes.hpp"

#include "../healthmgr_service.hpp"
#include "member_list.hpp"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include <bus_calls.hpp>
#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

namespace member = host::members;

constexpr ServiceMethod listSilencesMethod =
    healthmgrMethod(host::silencesInterface, host::listSilencesMethod, false);
constexpr ServiceMethod listAcknowledgementsMethod = healthmgrMethod(
    host::acknowledgementsInterface, host::listAcknowledgementsMethod, false);

Silence makeSilence(const host::Members& members)
{
    return {
        .id = host::getMember<uint64_t>(members, member::id),
        .target = {.key =
                       host::getMember<std::string>(members, member::component),
                   .sensorPath = host::getMember<std::string>(
                       members, member::sensorPath),
                   .sensorNumber = static_cast<int>(host::getMember<uint32_t>(
                       members, member::sensorNumber))},
        .comment = host::getMember<std::string>(members, member::comment),
        .user = host::getMember<uint32_t>(members, member::user),
        .since = host::getMember<int64_t>(members, member::since),
        .until = host::getMember<int64_t>(members, member::until)};
}

void noteAcknowledgements(Faults& faults)
{
    std::map<std::string, Acknowledgement> all;
    for (const host::Members& members : readList(listAcknowledgementsMethod))
    {
        all.emplace(
            host::getMember<std::string>(members, member::fault),
            Acknowledgement{
                .time = host::getMember<int64_t>(members, member::time),
                .user = host::getMember<uint32_t>(members, member::user),
                .comment =
                    host::getMember<std::string>(members, member::comment)});
    }
    for (Fault& fault : faults)
    {
        if (const auto found = all.find(fault.path); found != all.end())
        {
            fault.acknowledgement = found->second;
        }
    }
}

/** Whether healthmgr is among processes that did not answer. */
bool isKnownSilent(const SilentProcesses& silent)
{
    if (silent.empty())
    {
        return false;
    }
    // The source has asked on this bus.
    const BusPtr bus = host::openDefaultBus();
    sd_bus_creds* found = nullptr;
    const char* name = nullptr;
    sd_bus_get_name_creds(bus.get(), host::healthmgrService,
                          SD_BUS_CREDS_UNIQUE_NAME, &found);
    const std::unique_ptr<sd_bus_creds, decltype(&sd_bus_creds_unref)> owner(
        found, sd_bus_creds_unref);
    return found != nullptr &&
           sd_bus_creds_get_unique_name(found, &name) >= 0 &&
           silent.contains(name);
}

} // namespace

Silences readSilences()
{
    Silences silences;
    for (const host::Members& members : readList(listSilencesMethod))
    {
        silences.push_back(makeSilence(members));
    }
    return silences;
}

Silences addNotes(Faults& faults, const HealthSource& source)
{
    if (faults.empty() || isKnownSilent(source.silent()))
    {
        return {};
    }
    try
    {
        noteAcknowledgements(faults);
        Silences silences;
        if (std::ranges::any_of(faults, [](const Fault& fault) {
                return fault.record.hidden();
            }))
        {
            silences = readSilences();
            noteSilences(faults, silences);
        }
        return silences;
    }
    catch (const Error& e)
    {
        if (e.code() != ExitCode::unavailable)
        {
            std::cerr << "healthctl: silences and acknowledgements are "
                         "missing: "
                      << host::printable(e.what()) << '\n';
        }
        return {};
    }
}

} // namespace healthintf::healthctl
