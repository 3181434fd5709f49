// SPDX-License-Identifier: Apache-2.0
/** @file The installed project: libraries, headers, programs, and the README's
 *  daemon. */

#include "bus_client.hpp"
#include "documents.hpp"
#include "file_content.hpp"
#include "installation.hpp"
#include "private_bus.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <regex>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;
namespace fs = std::filesystem;

const std::string root = "/com/vexa/olvar/health";

/** The lines of a text that match a pattern. */
std::vector<std::string> matching(const std::string& text,
                                  const std::string& pattern)
{
    const std::regex wanted(pattern);
    std::istringstream stream(text);
    std::vector<std::string> found;
    for (std::string line; std::getline(stream, line);)
    {
        if (std::regex_search(line, wanted))
        {
            found.push_back(line);
        }
    }
    return found;
}

TEST(Installed, LibraryHasItsSoname)
{
    const auto library =
        installation().at(LIBRARY_FOLDERS "/libhealthintf.so.1");
    EXPECT_THAT(readOutput({"readelf", "-d", library}),
                HasSubstr("Library soname: [libhealthintf.so.1]"));
    EXPECT_TRUE(fs::exists(
        installation().at(LIBRARY_FOLDERS "/libhealthintf-platform.so.1")));
}

TEST(Installed, LibraryExportsItsPublicInterfaceOnly)
{
    const std::string symbols =
        readOutput({"nm", "-DC", "--defined-only",
                    installation().at(LIBRARY_FOLDERS "/libhealthintf.so.1")});
    const std::string classes =
        "((vtable|typeinfo|typeinfo name) for )?"
        "(health_namespace::(FaultAndHealth|FaultEntry|HealthStatus)"
        "|logmgr_interface::SELAndFault|SelClientStub::SELClient"
        "|sdbusplus::(server|common)::com::vexa::olvar::"
        "(healthmgr::(FaultEntry|HealthStatus)|event_mgr::DummySensorCode))"
        "(::|@|$)";
    const std::string functions =
        "health_namespace::(_GetMessageContent|cfg_notif_handle_hide_err|"
        "cfg_notif_handle_oem_flags|cfg_notif_check_self_source|"
        "setLCDAttributeInt)";
    const std::string plain =
        "FaultAndHealth_(Initialization|AddFault|RemoveFault|Destuctor|"
        "GetVisibleHiddenMsgCount)@|c_wrapper_hide_faults@|"
        "(TLS init function for )?gbus@";
    for (const std::string& line : matching(symbols, "."))
    {
        EXPECT_TRUE(std::regex_search(
            line, std::regex("^[0-9a-f]+ [TVWABDR] (" + classes + "|" +
                             functions + "|" + plain + "|HEALTHINTF_1)")))
            << line;
    }
    for (const char* wanted :
         {"health_namespace::FaultAndHealth::Init(",
          "health_namespace::FaultAndHealth::addFault(",
          "health_namespace::HealthStatus::Init(",
          " FaultAndHealth_Initialization@", " FaultAndHealth_AddFault@",
          " FaultAndHealth_RemoveFault@", " FaultAndHealth_Destuctor@",
          " FaultAndHealth_GetVisibleHiddenMsgCount@",
          " c_wrapper_hide_faults@", " B gbus@",
          "vtable for sdbusplus::server::com::vexa::olvar::healthmgr::"
          "FaultEntry",
          "vtable for sdbusplus::server::com::vexa::olvar::event_mgr::"
          "DummySensorCode",
          "logmgr_interface::SELAndFault::addSELAndFault(",
          "SelClientStub::SELClient::addSEL("})
    {
        EXPECT_THAT(symbols, HasSubstr(wanted));
    }
}

TEST(Installed, PackageNamesItsDependencies)
{
    EXPECT_THAT(readOutput({"pkg-config", "--modversion", "healthintf"}),
                testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+\n"));
    const std::string needs =
        readOutput({"pkg-config", "--print-requires", "healthintf"});
    EXPECT_THAT(needs, HasSubstr("libsystemd"));
    EXPECT_THAT(needs, HasSubstr("sdbusplus"));
    EXPECT_THAT(needs, HasSubstr("healthintf-platform"));
}

TEST(Installed, HeadersCanEachBeIncludedAlone)
{
    const fs::path headers = installation().at(PREFIX "/include/healthintf");
    int count = 0;
    for (const auto& file : fs::recursive_directory_iterator(headers))
    {
        if (!file.is_regular_file())
        {
            continue;
        }
        const std::string name = fs::relative(file.path(), headers);
        const auto source = installation().files().write(
            "include.cpp", "#include <" + name + ">\n");
        EXPECT_NO_THROW(installation().compile({"-fsyntax-only", source}))
            << name;
        ++count;
    }
    EXPECT_GT(count, 15);
}

TEST(Installed, HeadersForCAreSelfContained)
{
    const auto source = installation().files().write(
        "include.c", "#include <healthmgrintf.h>\n"
                     "#include <platform/config_manager.h>\n"
                     "#include <platform/dlog.h>\n"
                     "#include <platform/message_registry.h>\n"
                     "#include <platform/notification.h>\n"
                     "int main(void) { return 0; }\n");
    const auto include = installation().at(PREFIX "/include/healthintf");
    EXPECT_NO_THROW(readOutput({"cc", "-std=c99", "-Wall", "-Wextra",
                                "-Wpedantic", "-Werror", "-fsyntax-only",
                                "-I" + include.string(), source}));
}

/** Runs the README's daemon beside healthmgr and expects its fault, and then
 *  that of its end. */
void expectFaultOfDaemon(const std::string& program)
{
    const PrivateBus bus;
    BusClient client;
    Process manager(
        {installation().program("healthmgr"), "--config",
         installation().at(SYSCONF_FOLDER "/healthintf/healthmgr.toml")});
    Process daemon({program});
    client.waitForHealth(root + "/chassis", 4);
    client.waitForHealth(root, 4);
    daemon.kill();
    const char* const owner = "com.vexa.olvar.healthmgr";
    const std::string fan = root + "/chassis/fan7";
    client.waitUntil("lost monitor", [&] {
        return client.hasNode(owner, fan) && client.health(owner, fan) == 4;
    });
    EXPECT_EQ(client.health(owner, root), 4U);
}

TEST(Installed, DaemonOfTheReadmeReportsItsFault)
{
    const auto source = installation().files().write(
        "fand.cpp",
        firstProgram(readContent(SOURCE_FOLDER "/README.md"), "cpp"));
    const std::string program = installation().files().path() / "fand";
    installation().compile({source, "-o", program});
    expectFaultOfDaemon(program);
}

TEST(Installed, DaemonOfTheReadmeInCReportsItsFault)
{
    const auto source = installation().files().write(
        "fand.c", firstProgram(readContent(SOURCE_FOLDER "/README.md"), "c"));
    const std::string program = installation().files().path() / "fand_c";
    installation().compileC({source, "-o", program});
    expectFaultOfDaemon(program);
}

TEST(Installed, ConnectionOfAThreadIsSharedWithCxx)
{
    const auto source = installation().files().write(
        "shared.cpp", "#include <healthmgrintf.h>\n"
                      "#include <systemd/sd-bus.h>\n"
                      "int main()\n"
                      "{\n"
                      "    sd_bus* bus = nullptr;\n"
                      "    sd_bus_open(&bus);\n"
                      "    FaultAndHealth_Destuctor(\n"
                      "        FaultAndHealth_Initialization(bus, \"" +
                          root +
                          "\"));\n"
                          "    return gbus.get_unique_name().empty();\n"
                          "}\n");
    const std::string program = installation().files().path() / "shared";
    installation().compile({source, "-o", program});
    const PrivateBus bus;
    EXPECT_THAT(readOutput({program}), testing::StartsWith("0x"));
}

TEST(Installed, HostmonChecksTheConfigurationThatComesWithIt)
{
    const std::string config =
        installation().at(SYSCONF_FOLDER "/healthintf/hostmon.toml");
    EXPECT_THAT(readOutput({installation().program("hostmon"), "--config",
                            config, "--check"}),
                HasSubstr("to watch"));
}

TEST(Installed, ServicesAreStartedByTheBus)
{
    for (const std::string name : {"healthmgr", "logmgr"})
    {
        const std::string file = readContent(
            installation().at(PREFIX "/share/dbus-1/system-services/"
                                     "com.vexa.olvar." +
                              name + ".service"));
        EXPECT_THAT(file, HasSubstr("Name=com.vexa.olvar." + name + "\n"));
        EXPECT_THAT(file, HasSubstr("Exec=" LIBEXEC_FOLDER "/healthintf/" +
                                    name + "\n"));
    }
}

} // namespace
} // namespace healthintf::test
