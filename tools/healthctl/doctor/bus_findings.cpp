// SPDX-License-Identifier: Apache-2.0
#include "bus_findings.hpp"

namespace healthintf::healthctl
{
namespace
{

std::string wakeUp(const ServiceState& service)
{
    return "busctl call " + service.name +
           " / org.freedesktop.DBus.Peer Ping starts it, or says that it does "
           "not start; see its log then";
}

} // namespace

Finding makeFinding(const BusState& bus)
{
    if (bus.failure.empty())
    {
        return {.check = "bus",
                .grade = Grade::ok,
                .text = "connected to " + bus.address,
                .remedy = ""};
    }
    if (bus.hangs)
    {
        return {.check = "bus",
                .grade = Grade::problem,
                .text = "the bus at " + bus.address +
                        " does not answer: " + bus.failure,
                .remedy = "see whether the D-Bus daemon is stopped"};
    }
    return {.check = "bus",
            .grade = Grade::problem,
            .text = "no bus at " + bus.address + ": " + bus.failure,
            .remedy = "start dbus-daemon, or set DBUS_SYSTEM_BUS_ADDRESS to "
                      "its address"};
}

Finding makeFinding(const ServiceState& service)
{
    const std::string check = "service." + service.program;
    if (service.pid != 0 && !service.answers)
    {
        return {.check = check,
                .grade = Grade::problem,
                .text = service.program + " runs as process " +
                        std::to_string(service.pid) + " and does not answer",
                .remedy =
                    "see whether it is stopped, or restart " + service.program};
    }
    if (service.pid != 0)
    {
        return {.check = check,
                .grade = Grade::ok,
                .text = service.program + " runs as process " +
                        std::to_string(service.pid),
                .remedy = ""};
    }
    if (service.activatable)
    {
        return {.check = check,
                .grade = Grade::warning,
                .text = service.program +
                        " does not run; the bus knows how to start it",
                .remedy = wakeUp(service)};
    }
    return {.check = check,
            .grade = Grade::problem,
            .text = service.program +
                    " does not run, and the bus does not know how to start it",
            .remedy = "start " + service.program +
                      ", or install its D-Bus activation file"};
}

Finding makeFinding(const Attempt& attempt, bool root)
{
    Finding finding{.check = "policy." + attempt.check,
                    .grade = Grade::ok,
                    .text = "",
                    .remedy = ""};
    switch (attempt.result)
    {
        case Attempt::Result::allowed:
            finding.text = "this user may " + attempt.what;
            break;
        case Attempt::Result::notTried:
            finding.text = "whether this user may " + attempt.what +
                           " was not tried: " + attempt.why;
            break;
        case Attempt::Result::failed:
            finding.grade = Grade::warning;
            finding.text = "unable to find out whether this user may " +
                           attempt.what + ": " + attempt.why;
            finding.remedy = "see the service's log";
            break;
        case Attempt::Result::denied:
            finding.text = "this user may not " + attempt.what;
            if (root || attempt.reservedFor == nullptr)
            {
                finding.grade = Grade::problem;
                finding.remedy = "install the policies com.vexa.olvar.*.conf "
                                 "and reload the bus";
            }
            else
            {
                // That is what the policy is for.
                finding.text += ", which is for ";
                finding.text += attempt.reservedFor;
            }
            break;
    }
    return finding;
}

Finding makeFinding(const OpenFiles& files)
{
    const bool near = isNear(files.open, files.limit);
    return {.check = "limits.open-files." + files.program,
            .grade = near ? Grade::warning : Grade::ok,
            .text = files.program + " has " + std::to_string(files.open) +
                    " of " + std::to_string(files.limit) + " files open",
            .remedy = near ? "raise the limit of open files of " +
                                 files.program + " (LimitNOFILE= of its unit)"
                           : ""};
}

} // namespace healthintf::healthctl
