// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The policies that the project installs, on a bus of the test, and
 *  their callers. */

#include "file_content.hpp"
#include "private_bus.hpp"
#include "process.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <array>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace healthintf::test
{

/** The rules of a system bus before its include files. */
inline const std::string systemRules =
    "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
    "<deny send_type=\"method_call\"/><allow send_type=\"signal\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
    "<allow receive_type=\"method_call\"/>"
    "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/>"
    "<allow receive_type=\"signal\"/>"
    "<allow send_destination=\"org.freedesktop.DBus\" "
    "send_interface=\"org.freedesktop.DBus\"/></policy>";

// A bus knows only users and groups of the machine. These exist on every
// machine and stand for those that the packages create.
inline const std::string healthmgrUser = "daemon";
inline const std::string logmgrUser = "bin";
inline const std::string hostMonitorsUser = "sys";
inline const std::string reportersGroup = "games";
inline const std::string operatorsGroup = "mail";

inline void replaceAll(std::string& text, const std::string& what,
                       const std::string& by)
{
    for (std::size_t at = text.find(what); at != std::string::npos;
         at = text.find(what, at + by.size()))
    {
        text.replace(at, what.size(), by);
    }
}

/** A configuration file of the bus as a part of another one, where the user who
 *  runs the test stands for root. */
inline std::string innerRules(const std::string& file)
{
    const std::string open = "<busconfig>";
    const std::size_t start = file.find(open) + open.size();
    std::string rules = file.substr(start, file.rfind("</") - start);
    const auto put = [&rules](const std::string& kind, const std::string& whom,
                              const std::string& standIn) {
        replaceAll(rules, kind + "=\"" + whom + "\"",
                   kind + "=\"" + standIn + "\"");
    };
    put("user", "root", std::to_string(getuid()));
    put("user", "healthintf", healthmgrUser);
    put("user", "healthintf-logmgr", logmgrUser);
    put("user", "healthintf-hostmon", hostMonitorsUser);
    put("group", "healthintf", reportersGroup);
    put("group", "healthintf-operators", operatorsGroup);
    return rules;
}

/** The rules of an installed file. */
inline std::string installedRules(const std::string& name)
{
    return innerRules(
        readContent(std::filesystem::path(BUS_POLICIES) / (name + ".conf")));
}

/** Users of a bus besides root. */
enum class Caller
{
    /** A user without special rights. */
    stranger,
    /** A user in the group of reporters. */
    reporter,
    /** A user in the group of operators. */
    operatorUser,
    /** The user that healthmgr runs as. */
    healthmgr,
    /** The user that logmgr runs as. */
    logmgr,
    /** The user that hostmon runs as. */
    hostMonitor,
};

/** A command that runs as another user. */
inline std::vector<std::string> as(Caller caller,
                                   const std::vector<std::string>& command)
{
    // User, group and supplementary groups.
    static const std::map<Caller, std::array<std::string, 3>> identities{
        {Caller::stranger, {"nobody", "nogroup", ""}},
        {Caller::reporter, {"nobody", "nogroup", reportersGroup}},
        {Caller::operatorUser, {"nobody", "nogroup", operatorsGroup}},
        {Caller::healthmgr, {healthmgrUser, reportersGroup, ""}},
        {Caller::logmgr, {logmgrUser, logmgrUser, ""}},
        {Caller::hostMonitor, {hostMonitorsUser, reportersGroup, ""}},
    };
    const auto& [user, group, further] = identities.at(caller);
    std::vector<std::string> whole{
        "setpriv", "--reuid=" + user, "--regid=" + group,
        further.empty() ? "--clear-groups" : "--groups=" + further};
    whole.insert(whole.end(), command.begin(), command.end());
    return whole;
}

/** Runs busctl as another user.
 *
 *  @throws std::runtime_error with busctl's errors when it fails */
inline std::string busctlAs(Caller caller, std::vector<std::string> command)
{
    command.insert(command.begin(), {"busctl", "--system"});
    return readOutput(as(caller, command));
}

/** Requests a bus name as another user.
 *
 *  @throws std::runtime_error with the bus's error when it refuses */
inline std::string requestNameAs(Caller caller, const std::string& name)
{
    return busctlAs(caller,
                    {"call", "org.freedesktop.DBus", "/org/freedesktop/DBus",
                     "org.freedesktop.DBus", "RequestName", "su", name, "0"});
}

/** Lets other users reach a bus's socket. */
inline void letOthersIn(const PrivateBus& bus)
{
    std::filesystem::permissions(bus.folder().path(),
                                 std::filesystem::perms::others_exec,
                                 std::filesystem::perm_options::add);
}

/** Creates the folders of the project's tmpfiles.d file inside a bus's folder,
 *  accessible to other users. */
inline void makeSharedFolders(const PrivateBus& bus)
{
    const std::filesystem::path& folder = bus.folder().path();
    std::string text = readContent(TMPFILES);
    replaceAll(text, "/run/healthintf", folder / "run");
    replaceAll(text, "/var/lib/healthintf", folder / "state");
    replaceAll(text, "healthintf-logmgr healthintf-logmgr",
               logmgrUser + " " + logmgrUser);
    replaceAll(text, "healthintf healthintf",
               healthmgrUser + " " + reportersGroup);
    readOutput({"systemd-tmpfiles", "--create",
                bus.folder().write("folders.conf", text)});
}

/** Prepares a bus and the shared folders for other users. Skips the test if
 *  this process cannot change its user, or if @p caller cannot run @p program.
 */
inline void openToOthers(const PrivateBus& bus, Caller caller,
                         const std::string& program)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to become another user";
    }
    Process reach(as(caller, {"test", "-x", program}));
    if (reach.wait() != 0)
    {
        GTEST_SKIP() << "needs a build folder that other users may enter";
    }
    letOthersIn(bus);
    makeSharedFolders(bus);
}

} // namespace healthintf::test
