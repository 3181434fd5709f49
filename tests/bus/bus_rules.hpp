#pragma once

/** @file The rules of a system bus, and what the project installs for it. */

#include "file_content.hpp"
#include "private_bus.hpp"

#include <unistd.h>

#include <filesystem>
#include <string>

namespace healthintf::test
{

/** What a system bus says before it includes anything. */
inline const std::string systemRules =
    "<policy context=\"default\"><allow user=\"*\"/><deny own=\"*\"/>"
    "<deny send_type=\"method_call\"/><allow send_type=\"signal\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"method_return\"/>"
    "<allow send_requested_reply=\"true\" send_type=\"error\"/>"
    "<allow receive_type=\"method_call\"/>"
    "<allow receive_type=\"method_return\"/><allow receive_type=\"error\"/>"
    "<allow receive_type=\"signal\"/>"
    "<allow send_destination=\"org.freedesktop.DBus\"/></policy>";

/** An installed policy as part of a configuration, with whoever runs the test
 *  in the place of root. */
inline std::string
installedRules(const std::string& service = "com.vexa.olvar.healthmgr")
{
    const std::string file =
        contentOf(std::filesystem::path(BUS_POLICIES) / (service + ".conf"));
    const std::string open = "<busconfig>";
    const std::size_t start = file.find(open) + open.size();
    std::string rules = file.substr(start, file.rfind("</") - start);
    const std::string rootRules = "user=\"root\"";
    rules.replace(rules.find(rootRules), rootRules.size(),
                  "user=\"" + std::to_string(getuid()) + "\"");
    return rules;
}

/** Lets other users come to a bus. */
inline void letOthersIn(const PrivateBus& bus)
{
    std::filesystem::permissions(bus.folder().path(),
                                 std::filesystem::perms::others_exec,
                                 std::filesystem::perm_options::add);
}

} // namespace healthintf::test
