// SPDX-License-Identifier: Apache-2.0
/** @file Events of the host firmware on a bus, mixed with signals of other
 *  processes. */

#include "bus_client.hpp"
#include "own_bus.hpp"
#include "private_bus.hpp"

#include <lmi_sel_fault.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::test
{
namespace
{

using logmgr_interface::SELAndFault;
using Numbers = std::vector<int>;

const std::string log = "/com/vexa/olvar/logmgr/SEL";

class PreSelEvents : public testing::Test
{
  protected:
    void listen(uint32_t sensorNumber)
    {
        object->RegisterForBIOSPreSELEvent(
            connection,
            [this](const SELInterface::SELRecord& record) {
                heard.push_back(record.sensorNumber);
                if (record.sensorNumber == troublesome)
                {
                    throw std::runtime_error("broken");
                }
                return 0;
            },
            sensorNumber);
    }

    template <typename... Args>
    void send(const std::string& path, const char* types, Args... args)
    {
        ASSERT_GE(sd_bus_emit_signal(client.get(), path.c_str(),
                                     "com.vexa.olvar.logmgr.SEL",
                                     "SignalSELEvent", types, args...),
                  0);
    }

    /** Announces a record of @p size bytes. */
    void announce(uint8_t sensorNumber, std::size_t size = 16)
    {
        std::vector<uint8_t> record(16);
        record[11] = sensorNumber;
        record.resize(size);
        sd_bus_message* made = nullptr;
        const std::string path = log + "/" + std::to_string(sensorNumber);
        sd_bus_message_new_signal(client.get(), &made, path.c_str(),
                                  "com.vexa.olvar.logmgr.SEL",
                                  "SignalSELEvent");
        const MessagePtr message(made);
        sd_bus_message_append_array(made, 'y', record.data(), record.size());
        ASSERT_GE(sd_bus_send(client.get(), made, nullptr), 0);
    }

    /** Announces a record and waits until the callback has received it. */
    void announceAndTake(uint8_t sensorNumber)
    {
        announce(sensorNumber);
        while (heard.empty() || heard.back() != sensorNumber)
        {
            if (!connection.process_discard())
            {
                connection.wait();
            }
        }
    }

    /** Processes messages until the final event, sensor 200's, has arrived.
     *
     *  @return the sensor numbers received before it */
    Numbers takeReceived()
    {
        announceAndTake(200);
        heard.pop_back();
        return std::exchange(heard, {});
    }

    static constexpr uint8_t troublesome = 66;

    PrivateBus bus;
    BusClient client;
    sdbusplus::bus_t connection = openBus();
    Numbers heard;
    std::unique_ptr<SELAndFault> object = std::make_unique<SELAndFault>();
};

TEST_F(PreSelEvents, AreReceivedFromAnyProcess)
{
    listen(0);
    announce(5);
    announce(6);
    EXPECT_EQ(takeReceived(), (Numbers{5, 6}));
}

TEST_F(PreSelEvents, OfOtherSensorsAreNotReceived)
{
    SELAndFault narrow;
    Numbers narrowly;
    narrow.RegisterForBIOSPreSELEvent(
        connection,
        [&](const SELInterface::SELRecord& record) {
            narrowly.push_back(record.sensorNumber);
            return 0;
        },
        5);
    listen(0);
    announce(6);
    announce(5);
    announce(50);
    EXPECT_EQ(takeReceived(), (Numbers{6, 5, 50}));
    EXPECT_EQ(narrowly, Numbers{5});
}

TEST_F(PreSelEvents, StayFilteredAfterARegistrationForAll)
{
    listen(200);
    listen(0);
    announce(5);
    EXPECT_EQ(takeReceived(), Numbers{});
}

TEST_F(PreSelEvents, OfTheLatestRegisteredSensorAreReceived)
{
    for (const uint32_t sensorNumber : {5, 200, 5, 200})
    {
        listen(sensorNumber);
        announceAndTake(static_cast<uint8_t>(sensorNumber));
    }
    EXPECT_EQ(std::exchange(heard, {}), (Numbers{5, 200, 5, 200}));
    announce(5);
    EXPECT_EQ(takeReceived(), Numbers{});
}

TEST_F(PreSelEvents, OfOneSensorAreReceivedAfterARegistrationForAll)
{
    listen(0);
    listen(200);
    announce(5);
    EXPECT_EQ(takeReceived(), Numbers{});
}

TEST_F(PreSelEvents, AreReceivedAsBeforeAfterAFailedRegistration)
{
    listen(200);
    // A closed connection refuses the match rule.
    sdbusplus::bus_t closed = openBus();
    closed.close();
    EXPECT_THROW(object->RegisterForBIOSPreSELEvent(
                     closed,
                     [](const SELInterface::SELRecord&) {
                         return 0;
                     },
                     5),
                 sdbusplus::exception::exception);
    announce(5);
    EXPECT_EQ(takeReceived(), Numbers{});
}

/** Two objects on one connection; the test destroys one. */
struct Pair
{
    uint32_t goes;
    uint32_t stays;
    bool olderGoes;
};

class PreSelEventsOfTwo : public PreSelEvents,
                          public testing::WithParamInterface<Pair>
{};

TEST_P(PreSelEventsOfTwo, AreReceivedByTheRemainingObject)
{
    auto other = std::make_unique<SELAndFault>();
    const auto listenOther = [&] {
        other->RegisterForBIOSPreSELEvent(
            connection,
            [](const SELInterface::SELRecord&) {
                return 0;
            },
            GetParam().goes);
    };
    if (GetParam().olderGoes)
    {
        listenOther();
    }
    listen(GetParam().stays);
    if (!GetParam().olderGoes)
    {
        listenOther();
    }
    other.reset();
    EXPECT_EQ(takeReceived(), Numbers{});
}

INSTANTIATE_TEST_SUITE_P(
    EitherOrder, PreSelEventsOfTwo,
    testing::Values(Pair{200, 200, true}, Pair{200, 200, false},
                    Pair{5, 200, true}, Pair{5, 200, false}, Pair{0, 200, true},
                    Pair{0, 200, false}, Pair{200, 0, true},
                    Pair{200, 0, false}, Pair{5, 0, true}, Pair{5, 0, false}));

TEST_F(PreSelEvents, ReachOnceACallbackThatRegistersAgainAtEachEvent)
{
    const SELAndFault::PreSELCallback again =
        [&](const SELInterface::SELRecord& record) {
            heard.push_back(record.sensorNumber);
            // Ends the loop if the library would not.
            if (heard.size() < 10)
            {
                object->RegisterForBIOSPreSELEvent(connection, again, 0);
            }
            return 0;
        };
    object->RegisterForBIOSPreSELEvent(connection, again, 0);
    // One at a time: an event that is under way during a registration is lost.
    announceAndTake(5);
    announceAndTake(6);
    EXPECT_EQ(takeReceived(), (Numbers{5, 6}));
}

TEST_F(PreSelEvents, DoNotEndTheDaemonWhenTheyAreMalformed)
{
    listen(0);
    send(log, "");
    send(log, "s", "text");
    send(log, "u", 5U);
    send(log, "ai", 2, 1, 2);
    send(log, "a{sv}", 0);
    send(log, "v", "ay", 1, 1);
    announce(7, 0);
    announce(7, 15);
    announce(troublesome);
    announce(8, 16);
    EXPECT_EQ(takeReceived(), (Numbers{troublesome, 8}));
}

TEST_F(PreSelEvents, WithExtraBytesAreAccepted)
{
    listen(0);
    std::vector<uint8_t> many(100000, 9);
    sd_bus_message* made = nullptr;
    sd_bus_message_new_signal(client.get(), &made, log.c_str(), "com.example",
                              "SignalSELEvent");
    const MessagePtr message(made);
    sd_bus_message_append_array(made, 'y', many.data(), many.size());
    ASSERT_GE(sd_bus_send(client.get(), made, nullptr), 0);
    EXPECT_EQ(takeReceived(), Numbers{9});
}

} // namespace
} // namespace healthintf::test
