// SPDX-License-Identifier: Apache-2.0
/** @file A daemon in C calls the plain functions on a real bus and the host
 *  platform. */

#include "bus_client.hpp"
#include "cache_view.hpp"
#include "private_bus.hpp"

#include <healthmgrintf.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace healthintf::test
{
namespace
{

const std::string root = "/com/vexa/olvar/health";
const std::string key = root + "/fan7";

class FlatClient : public testing::Test
{
  protected:
    FlatClient()
    {
        bus.folder().write(
            "Flat.json",
            R"({"RegistryPrefix": "Flat", "RegistryVersion": "1.0.0",
                "Language": "en",
                "Messages": {
                  "Failed": {"Message": "Fan %1 failed.",
                             "MessageSeverity": "Critical",
                             "NumberOfArgs": 1},
                  "Slow": {"Message": "A fan is slow.",
                           "MessageSeverity": "Warning",
                           "NumberOfArgs": 0}}})");
        setenv("HEALTHINTF_REGISTRY_PATH", bus.folder().path().c_str(), 1);
    }

    static std::vector<std::string> splitWords(const std::string& line)
    {
        std::istringstream words(line);
        return {std::istream_iterator<std::string>(words), {}};
    }

    PrivateBus bus;
    BusClient client;
};

TEST_F(FlatClient, ReportsHidesAndRemovesItsFaults)
{
    Process daemon({FLAT_CLIENT, key, "Flat.1.0.Failed", "Flat.1.0.Slow"});

    const auto words = splitWords(daemon.hear());
    ASSERT_EQ(words.size(), 4u);
    EXPECT_EQ(words[0], "init");
    EXPECT_EQ(words[1], words[2]) << "the pointer, written by the library";
    const std::string& owner = words[3];
    EXPECT_EQ(client.health(owner, key), 2u);
    EXPECT_EQ(client.objects(owner).size(), 1u);

    EXPECT_EQ(daemon.ask("go on"), "add 0 0 1 count 0 2 0");
    EXPECT_EQ(client.health(owner, key), 4u);
    EXPECT_EQ(client.objects(owner).size(), 3u);
    const auto faults = recordedFaults();
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0].messageID, "Flat.1.0.Failed");
    EXPECT_EQ(faults[0].message, "Fan seven failed.");
    EXPECT_EQ(faults[0].args, std::vector<std::string>{"seven"});
    EXPECT_EQ(faults[1].messageID, "Flat.1.0.Slow");
    EXPECT_EQ(faults[1].message, "A fan is slow.");
    EXPECT_EQ(faults[1].args, std::vector<std::string>{});

    EXPECT_EQ(daemon.ask("go on"), "hide 0 count 0 1 1");
    EXPECT_EQ(client.health(owner, key), 3u) << "that of the other fault";
    EXPECT_EQ(client.objects(owner).size(), 3u);
    EXPECT_TRUE(recordedFaults().at(0).hidden);

    EXPECT_EQ(daemon.ask("go on"), "remove 0 count 0 0 1");
    EXPECT_EQ(client.health(owner, key), 2u);
    EXPECT_EQ(client.objects(owner).size(), 2u);

    EXPECT_EQ(daemon.ask("go on"), "destroy count 0 0 0");
    EXPECT_EQ(recordedHealth(key), std::nullopt);
    daemon.tell("go on");
    EXPECT_EQ(daemon.wait(), 0) << daemon.errors();
    EXPECT_EQ(daemon.output(), "");
}

TEST_F(FlatClient, GetsTheConnectionOfEachThreadFromTheLibrary)
{
    const auto haveOwnConnection = [] {
        EXPECT_ANY_THROW(gbus.get_unique_name()) << "there is none yet";
        sd_bus* opened = nullptr;
        const char* name = nullptr;
        ASSERT_GE(sd_bus_open(&opened), 0);
        ASSERT_GE(sd_bus_get_unique_name(opened, &name), 0);
        auto* object = FaultAndHealth_Initialization(opened, root.c_str());
        EXPECT_EQ(gbus.get_unique_name(), name);
        FaultAndHealth_Destuctor(object);
        sd_bus_unref(opened);
        EXPECT_EQ(gbus.get_unique_name(), name) << "and keeps it";
    };
    std::thread first(haveOwnConnection);
    first.join();
    std::thread second(haveOwnConnection);
    second.join();
}

} // namespace
} // namespace healthintf::test
