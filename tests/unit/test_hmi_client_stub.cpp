// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"
#include "text.hpp"

#include <hmi_client_stub.hpp>

#include <gmock/gmock.h>

#include <memory>
#include <stdexcept>

namespace SelClientStub
{
namespace
{

using namespace healthintf::test;

const std::string created = "log 5 271 hmi_client_stub.#.SELClient: SELCLient "
                            "constructor called";
const std::string ready =
    "log 7 271 hmi_client_stub.#.Init: Class SELClient Created:";
const std::string destroyed =
    "log 5 271 hmi_client_stub.#.~SELClient: FaultAndHealth destructor called";

class HmiClientStub : public LibraryTest
{};

TEST_F(HmiClientStub, IsMadeAndDeletedWithoutBusMessages)
{
    std::unique_ptr<SELClient> client(SELClient::Init(bus));
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(journal().take(), (Lines{created, ready}));
    client.reset();
    EXPECT_EQ(journal().take(), Lines{destroyed});
}

TEST_F(HmiClientStub, LogsItsFailedConstructionAndIsDestroyed)
{
    journal().fail(ready, [] {
        throw std::runtime_error("no log");
    });
    EXPECT_EQ(SELClient::Init(bus), nullptr);
    EXPECT_EQ(journal().take(),
              (Lines{created, ready, "log 1 271 hmi_client_stub.#.Init: no log",
                     destroyed}));
}

TEST_F(HmiClientStub, ReturnsTheBusErrorAndLeavesTheIdentifier)
{
    sdbusplus::bus_t none(nullptr);
    SELClient client(none);
    journal().clear();
    uint32_t recordId = 77;
    EXPECT_EQ(client.addSEL({"Fan 1", "/sensors/fan1", 1, 2}, {1}, recordId),
              10);
    EXPECT_EQ(recordId, 77u);
    const Lines lines = journal().take();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0],
                testing::StartsWith("log 1 271 hmi_client_stub.#.addSEL: "
                                    "sd_bus_message_new_method_call: "));
    EXPECT_TRUE(lines[0].ends_with("\n"));
}

TEST_F(HmiClientStub, SendsNothingThatDBusCannotCarry)
{
    SELClient client(bus);
    bool called = false;
    const auto note = [](sd_bus_message*, void* context, sd_bus_error*) {
        *static_cast<bool*>(context) = true;
        return 0;
    };
    sd_bus_slot* slot = nullptr;
    ASSERT_GE(sd_bus_add_filter(connection.peer(), &slot, note, &called), 0);
    const std::unique_ptr<sd_bus_slot, Unref> held(slot);
    uint32_t recordId = 77;
    EXPECT_EQ(client.addSEL({"\xff", "/sensors/fan1", 1, 2}, {1}, recordId),
              10);
    EXPECT_EQ(recordId, 77u);
    connection.settle();
    EXPECT_FALSE(called);
}

} // namespace
} // namespace SelClientStub
