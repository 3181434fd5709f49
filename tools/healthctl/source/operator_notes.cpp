// SPDX-License-Identifier: Apache-2.0
#include "operator_notes.hpp"

#include "../healthmgr_service.hpp"
#include "member_list.hpp"
#include "note_members.hpp"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <iostream>
#include <memory>

#include <bus_calls.hpp>
#include <printable.hpp>

namespace healthintf::healthctl
{
namespace
{

constexpr ServiceMethod listSilencesMethod =
    healthmgrMethod(host::silencesInterface, host::listSilencesMethod, false);
constexpr ServiceMethod listAcknowledgementsMethod = healthmgrMethod(
    host::acknowledgementsInterface, host::listAcknowledgementsMethod, false);

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
    return makeSilences(readList(listSilencesMethod));
}

Silences addNotes(Faults& faults, const HealthSource& source)
{
    if (faults.empty() || isKnownSilent(source.silent()))
    {
        return {};
    }
    try
    {
        noteAcknowledgements(
            faults, makeAcknowledgements(readList(listAcknowledgementsMethod)));
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
