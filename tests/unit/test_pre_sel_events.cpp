// SPDX-License-Identifier: Apache-2.0
#include "sel_test.hpp"

#include <lmi_sel_fault.hpp>

#include <cerrno>
#include <stdexcept>

namespace logmgr_interface
{
namespace
{

using namespace healthintf::test;
using SELInterface::SELRecord;
using Numbers = std::vector<int>;

const std::string log = "/com/vexa/olvar/logmgr/SEL";
const std::string handler = "BIOSSELEventCallbackHandler";
const std::string read16 = sel7 + handler + ": Read 16 size array of uint8_t";

class PreSelEvents : public SelTest
{
  protected:
    /** Registers a callback that records the sensor numbers of events. */
    int listen(uint32_t sensorNumber)
    {
        return object->RegisterForBIOSPreSELEvent(
            bus,
            [this](const SELRecord& record) {
                heard.push_back(record.sensorNumber);
                return 1;
            },
            sensorNumber);
    }

    /** Announces a record as logmgr does. */
    void announce(const Bytes& record, const std::string& path)
    {
        MessagePtr message;
        sd_bus_message* made = nullptr;
        ASSERT_GE(sd_bus_message_new_signal(connection.peer(), &made,
                                            path.c_str(), "com.example.Any",
                                            "SignalSELEvent"),
                  0);
        message.reset(made);
        ASSERT_GE(sd_bus_message_append_array(made, 'y', record.data(),
                                              record.size()),
                  0);
        ASSERT_GE(sd_bus_send(connection.peer(), made, nullptr), 0);
        connection.settle();
    }

    void announce(uint8_t sensorNumber)
    {
        announce(event(true, sensorNumber),
                 log + "/" + std::to_string(sensorNumber));
    }

    Numbers told()
    {
        return std::exchange(heard, {});
    }

    Numbers heard;
    std::unique_ptr<SELAndFault> object =
        std::make_unique<SELAndFault>(nullptr, "fan daemon");
};

TEST_F(PreSelEvents, ReachTheCallbackByteForByte)
{
    Bytes seen;
    object->RegisterForBIOSPreSELEvent(
        bus,
        [&](const SELRecord& record) {
            const auto* first = reinterpret_cast<const uint8_t*>(&record);
            seen.assign(first, first + sizeof(record));
            return 0;
        },
        0);
    Bytes record(20);
    for (std::size_t i = 0; i < record.size(); ++i)
    {
        record[i] = static_cast<uint8_t>(i + 1);
    }
    announce(record, log);
    record.resize(16);
    EXPECT_EQ(seen, record);
    EXPECT_EQ(takeSel(),
              Lines{sel7 + handler + ": Read 20 size array of uint8_t"});
}

TEST_F(PreSelEvents, OfEverySensorReachACallbackWithoutANumber)
{
    EXPECT_EQ(listen(0), 0);
    for (const uint8_t sensorNumber : {0, 5, 255})
    {
        announce(sensorNumber);
    }
    announce(event(true, 9), log);
    EXPECT_EQ(told(), (Numbers{0, 5, 255, 9}));
}

TEST_F(PreSelEvents, SubscribeByMemberAndPathAlone)
{
    if constexpr (!seamSeesMatches<>)
    {
        GTEST_SKIP() << "this sdbusplus does not show its matches";
    }
    const std::string adding = "sd_bus_add_match ";
    const std::string rule = "type='signal',member='SignalSELEvent',"
                             "path_namespace='/com/vexa/olvar/logmgr/SEL";
    listen(0);
    EXPECT_EQ(journal().take(adding), Lines{adding + rule + "',"});
    listen(7);
    EXPECT_EQ(journal().take(adding), Lines{adding + rule + "/7',"});
    listen(4294967295U);
    EXPECT_EQ(journal().take(adding), Lines{adding + rule + "/4294967295',"});
}

TEST_F(PreSelEvents, OfOtherPathsAreNotReceived)
{
    listen(5);
    announce(event(true, 5), log);
    announce(event(true, 5), log + "/50");
    announce(event(true, 5), log + "/6");
    EXPECT_EQ(told(), Numbers{});
    announce(event(true, 5), log + "/5");
    announce(event(true, 5), log + "/5/a");
    EXPECT_EQ(told(), (Numbers{5, 5}));
}

TEST_F(PreSelEvents, OfAnotherSensorAreDroppedSilently)
{
    listen(5);
    announce(event(true, 6), log + "/5");
    EXPECT_EQ(told(), Numbers{});
    EXPECT_EQ(takeSel(), Lines{read16});
}

TEST_F(PreSelEvents, OfANumberThatNoSensorHasAreNotTakenForTheLowByte)
{
    listen(256 + 5);
    announce(event(true, 5), log + "/261");
    EXPECT_EQ(told(), Numbers{});
}

TEST_F(PreSelEvents, StayFilteredByAnEarlierNumberWhenSubscribedToAll)
{
    listen(5);
    listen(0);
    announce(event(true, 5), log);
    announce(6);
    announce(5);
    EXPECT_EQ(told(), (Numbers{5, 5}));
    listen(6);
    announce(5);
    announce(6);
    EXPECT_EQ(told(), Numbers{6});
}

TEST_F(PreSelEvents, ReachTheLatestCallbackAloneAndOnce)
{
    int first = 0;
    object->RegisterForBIOSPreSELEvent(
        bus,
        [&](const SELRecord&) {
            return ++first;
        },
        0);
    listen(0);
    announce(5);
    EXPECT_EQ(first, 0);
    EXPECT_EQ(told(), Numbers{5});
}

TEST_F(PreSelEvents, AreLoggedWhenNobodyRegistered)
{
    auto message = bus.new_signal("/a", "com.example", "SignalSELEvent");
    EXPECT_EQ(object->BIOSSELEventCallbackHandler(message), 0);
    EXPECT_EQ(takeSel(), Lines{sel7 + handler +
                               ": SELEvent received for fan daemon but no "
                               "registration"});
}

TEST_F(PreSelEvents, AreLoggedWhenTheCallbackIsEmpty)
{
    EXPECT_EQ(object->RegisterForBIOSPreSELEvent(bus, nullptr, 0), 0);
    announce(5);
    EXPECT_EQ(takeSel(), Lines{sel7 + handler +
                               ": SELEvent received for fan daemon but no "
                               "registration"});
}

TEST_F(PreSelEvents, WithTooFewBytesAreDroppedWithTheirSize)
{
    listen(0);
    for (const std::size_t size : {0U, 11U, 15U})
    {
        Bytes record = event(true);
        record.resize(size);
        announce(record, log);
        EXPECT_EQ(takeSel(),
                  (Lines{sel7 + handler + ": Read " + std::to_string(size) +
                             " size array of uint8_t",
                         sel2 + handler + ": Record size not valid " +
                             std::to_string(size)}));
    }
    EXPECT_EQ(told(), Numbers{});
}

TEST_F(PreSelEvents, WithAnotherContentAreLoggedAndDropped)
{
    listen(0);
    connection.signal(log.c_str(), "com.example", "SignalSELEvent", "s", "x");
    connection.signal(log.c_str(), "com.example", "SignalSELEvent", "");
    connection.signal(log.c_str(), "com.example", "SignalSELEvent", "as", 1,
                      "x");
    EXPECT_EQ(journal()
                  .take("log 2 271 EXCEPTION lmi_sel_fault.#." + handler + ": ")
                  .size(),
              3u);
    announce(5);
    EXPECT_EQ(told(), Numbers{5}) << "and the next is heard";
}

TEST_F(PreSelEvents, ReturnZeroWhenTheHandlerIsCalledDirectly)
{
    listen(0);
    for (const std::size_t size : {sizeof(SELRecord), sizeof(SELRecord) - 1})
    {
        auto message = bus.new_signal("/a", "com.example", "SignalSELEvent");
        message.append(std::vector<uint8_t>(size));
        ASSERT_GE(sd_bus_message_seal(message.get(), 1, 0), 0);
        EXPECT_EQ(object->BIOSSELEventCallbackHandler(message), 0) << size;
    }
    EXPECT_EQ(told(), Numbers{0}) << "the other one is too short";
}

TEST_F(PreSelEvents, ThrowWhenTheHandlerIsCalledDirectly)
{
    listen(0);
    auto message = bus.new_signal("/a", "com.example", "SignalSELEvent");
    message.append("text");
    ASSERT_GE(sd_bus_message_seal(message.get(), 1, 0), 0);
    EXPECT_THROW(object->BIOSSELEventCallbackHandler(message),
                 sdbusplus::exception::SdBusError);
}

TEST_F(PreSelEvents, SurviveACallbackThatThrows)
{
    int calls = 0;
    object->RegisterForBIOSPreSELEvent(
        bus,
        [&](const SELRecord&) -> int {
            ++calls;
            throw std::runtime_error("broken");
        },
        0);
    announce(5);
    announce(5);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION lmi_sel_fault.#." + handler +
                              ": broken"),
              2u);
}

TEST_F(PreSelEvents, LetTheCallbackRegisterAnotherOne)
{
    // Too long for the short-string buffer, so it is on the heap with the
    // callback.
    const std::string kept(100, 'x');
    std::string seen;
    object->RegisterForBIOSPreSELEvent(
        bus,
        [this, kept, &seen](const SELRecord&) -> int {
            listen(0);
            seen = kept;
            throw std::runtime_error("after it");
        },
        0);
    announce(5);
    EXPECT_EQ(seen, kept);
    EXPECT_EQ(journal().count("log 2 271 EXCEPTION lmi_sel_fault.#." + handler +
                              ": after it"),
              1u);
    announce(6);
    EXPECT_EQ(told(), Numbers{6}) << "the first event was the other one's";
}

TEST_F(PreSelEvents, ReachOnceACallbackThatRegistersAgainAtEachEvent)
{
    const SELAndFault::PreSELCallback again = [&](const SELRecord& record) {
        heard.push_back(record.sensorNumber);
        // Ends the loop if the library would not.
        if (heard.size() < 10)
        {
            object->RegisterForBIOSPreSELEvent(bus, again, 0);
        }
        return 0;
    };
    object->RegisterForBIOSPreSELEvent(bus, again, 0);
    announce(5);
    announce(6);
    EXPECT_EQ(told(), (Numbers{5, 6}));
}

TEST_F(PreSelEvents, LetTheCallbackDestroyTheObject)
{
    object->RegisterForBIOSPreSELEvent(
        bus,
        [this](const SELRecord& record) -> int {
            object.reset();
            heard.push_back(record.sensorNumber);
            return 0;
        },
        0);
    announce(5);
    announce(6);
    EXPECT_EQ(told(), Numbers{5});
}

TEST_F(PreSelEvents, AreNotReceivedAfterTheObjectsEnd)
{
    listen(0);
    object.reset();
    announce(5);
    EXPECT_EQ(told(), Numbers{});
}

TEST_F(PreSelEvents, StayAsTheyWereWhenTheBusRefuses)
{
    if constexpr (!seamSeesMatches<>)
    {
        GTEST_SKIP() << "this sdbusplus does not show its matches";
    }
    listen(5);
    journal().answer("sd_bus_add_match", -ENOBUFS);
    EXPECT_THROW(object->RegisterForBIOSPreSELEvent(bus, nullptr, 6),
                 sdbusplus::exception::SdBusError);
    announce(6);
    announce(5);
    EXPECT_EQ(told(), Numbers{5});
}

} // namespace
} // namespace logmgr_interface
