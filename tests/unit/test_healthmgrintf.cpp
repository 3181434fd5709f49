// SPDX-License-Identifier: Apache-2.0
#include "bus_client.hpp"
#include "child.hpp"
#include "component_test.hpp"
#include "private_bus.hpp"
#include "raw_bus.hpp"
#include "text.hpp"

#include <healthmgrintf.h>

#include <gmock/gmock.h>

#include <unistd.h>

#include <array>
#include <cstdio>
#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace health_namespace
{
namespace
{

using namespace healthintf::test;
using details::rawBus;
using testing::Contains;

static_assert(noexcept(FaultAndHealth_Initialization({}, {})));
static_assert(noexcept(FaultAndHealth_AddFault({}, {}, {}, {}, {}, {}, {}, {},
                                               {})));
static_assert(noexcept(FaultAndHealth_RemoveFault({}, {}, {})));
static_assert(noexcept(FaultAndHealth_Destuctor({})));
static_assert(noexcept(FaultAndHealth_GetVisibleHiddenMsgCount({}, {})));
static_assert(!noexcept(c_wrapper_hide_faults({}, {}, {}, {})),
              "lets sdbusplus' exceptions pass");

/** A line that a function of this interface logs. */
std::string logged(int level, const std::string& text)
{
    return "log " + std::to_string(level) + " 271 healthmgrintf.#." + text;
}

/** The arguments of FaultAndHealth_AddFault. */
struct Report
{
    FaultAndHealth* obj = nullptr;
    const char* msgId = nullptr;
    const char* sensorPath = nullptr;
    const char* const* args = nullptr;
    int32_t noofArgs = 0;
    const char* fqdd = nullptr;
    const char* subSystem = nullptr;

    int add() const
    {
        return FaultAndHealth_AddFault(obj, msgId, sensorPath, args, noofArgs,
                                       fqdd, subSystem, 0xFFFFFFFF, 4);
    }
};

class FlatFaults : public ComponentTest
{
  protected:
    FlatFaults() :
        object(make()), report{.obj = object.get(),
                               .msgId = "FAN0001",
                               .sensorPath = "/sensors/fan1",
                               .fqdd = "Fan.1",
                               .subSystem = "cooling"}
    {
        platform().messages["FAN0001"] = {1, "Fan %1 failed at %2 rpm."};
        journal().take();
    }

    /** A property of the only fault. */
    template <typename Value>
    static Value property(const char* name)
    {
        return std::get<Value>(
            platform().faultRecords.begin()->second.at(name));
    }

    std::unique_ptr<FaultAndHealth> object;
    Report report;
};

TEST_F(FlatFaults, AreAddedWithAllTheirProperties)
{
    const char* const args[] = {"7", "900", "beyond"};
    report.args = args;
    report.noofArgs = 2;
    EXPECT_EQ(report.add(), 0);
    ASSERT_EQ(messages(), Lines{"FAN0001"});
    EXPECT_EQ(property<Lines>("Args"), (Lines{"7", "900"}));
    EXPECT_EQ(property<std::string>("Message"), "Fan 7 failed at 900 rpm.");
    EXPECT_EQ(property<std::string>("SensorPath"), "/sensors/fan1");
    EXPECT_EQ(property<std::string>("FQDD"), "Fan.1");
    EXPECT_EQ(property<uint32_t>("SensorNumber"), 0xFFFFFFFF);
    EXPECT_EQ(property<uint32_t>("SensorType"), 4u);
    EXPECT_EQ(health(), 4u);
}

TEST_F(FlatFaults, NeedNoArguments)
{
    EXPECT_EQ(report.add(), 0);
    ASSERT_EQ(messages(), Lines{"FAN0001"});
    EXPECT_EQ(property<Lines>("Args"), Lines{});
}

TEST_F(FlatFaults, MayHaveFewerArgumentsThanTheArray)
{
    const char* const args[] = {"7"};
    report.args = args;
    EXPECT_EQ(report.add(), 0);
    ASSERT_EQ(messages(), Lines{"FAN0001"});
    EXPECT_EQ(property<Lines>("Args"), Lines{});
}

TEST_F(FlatFaults, TakeANullArgumentForAnEmptyOne)
{
    const char* const args[] = {nullptr, "900"};
    report.args = args;
    report.noofArgs = 2;
    EXPECT_EQ(report.add(), 0);
    ASSERT_EQ(messages(), Lines{"FAN0001"});
    EXPECT_EQ(property<Lines>("Args"), (Lines{"", "900"}));
}

TEST_F(FlatFaults, ReturnTheStatusOfTheObject)
{
    report.msgId = "UNKNOWN";
    EXPECT_EQ(report.add(), statusNotRead);
    report.msgId = "FAN0001";
    report.fqdd = "\xFF";
    EXPECT_EQ(report.add(), statusNotCreated);
}

TEST_F(FlatFaults, CheckTheirArgumentsInOrder)
{
    const Report valid = report;
    report = {.noofArgs = -1};
    const auto expect = [this](int level, const std::string& text) {
        EXPECT_EQ(report.add(), 1);
        EXPECT_EQ(journal().take(), Lines{logged(level, "FaultAndHealth_"
                                                        "AddFault: " +
                                                            text)});
    };
    expect(1, "obj is NULL");
    report.obj = valid.obj;
    expect(1, "msgId is NULL");
    report.msgId = valid.msgId;
    expect(1, "sensorPath is NULL");
    report.sensorPath = valid.sensorPath;
    expect(1, "fqdd is NULL");
    report.fqdd = valid.fqdd;
    expect(1, "subSystem is NULL");
    report.subSystem = valid.subSystem;
    expect(7, "Args null but noofArgs is -1");
    report.noofArgs = 3;
    expect(7, "Args null but noofArgs is 3");
    const char* const args[] = {"7"};
    report.args = args;
    report.noofArgs = -2;
    expect(1, "noofArgs is negative: -2");
    report.noofArgs = 1;
    EXPECT_EQ(report.add(), 0);
    EXPECT_EQ(messages(), Lines{"FAN0001"})
        << "the refused calls have added nothing";
}

TEST_F(FlatFaults, AreRemovedByMessageAndSensor)
{
    add(*object, 1, "A", "a");
    add(*object, 1, "A", "b");
    add(*object, 1, "A", "a");
    EXPECT_EQ(FaultAndHealth_RemoveFault(object.get(), "A", "a"), 0);
    EXPECT_EQ(messages(), Lines{"A"});
    EXPECT_EQ(property<std::string>("SensorPath"), "b");
    EXPECT_EQ(FaultAndHealth_RemoveFault(object.get(), "A", "unknown"), 0);
    EXPECT_EQ(messages(), Lines{"A"});
}

TEST_F(FlatFaults, AreNotRemovedByAnEmptyText)
{
    EXPECT_EQ(FaultAndHealth_RemoveFault(object.get(), "", "a"), 1);
    EXPECT_EQ(FaultAndHealth_RemoveFault(object.get(), "A", ""), 1);
    EXPECT_EQ(journal().take(),
              (Lines{"log 1 271 hmi_fault_health.#.removeFault: invalid msgid",
                     "log 1 271 hmi_fault_health.#.removeFault: invalid "
                     "sensorPath"}));
}

TEST_F(FlatFaults, AreGoneWithTheirObject)
{
    report.add();
    FaultAndHealth_Destuctor(object.release());
    EXPECT_EQ(messages(), Lines{});
    EXPECT_EQ(platform().healthRecords.count(key), 0u);
}

TEST_F(FlatFaults, IgnoreTheDestructionOfNull)
{
    FaultAndHealth_Destuctor(nullptr);
    EXPECT_EQ(journal().take(), Lines{});
}

class FlatCounts : public FlatFaults
{
  protected:
    int ask()
    {
        return FaultAndHealth_GetVisibleHiddenMsgCount(&visible, &hidden);
    }

    const std::string name = "FaultAndHealth_GetVisibleHiddenMsgCount: ";
    int32_t visible = 7;
    int32_t hidden = 8;
};

TEST_F(FlatCounts, CountVisibleAndHiddenFaults)
{
    add(*object, 1, "A", "a");
    add(*object, 1, "B", "b");
    add(*object, 1, "C", "b");
    object->hideFaults("a");
    journal().take();
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(visible, 2);
    EXPECT_EQ(hidden, 1);
    EXPECT_EQ(journal().take("log 1"), Lines{});
}

TEST_F(FlatCounts, AreZeroWithoutFaults)
{
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(hidden, 0);
}

TEST_F(FlatCounts, AreZeroAfterAnError)
{
    add(*object, 1);
    journal().take();
    journal().answer("FaultEntry.get_map_by_path_prefixes", -5);
    EXPECT_EQ(ask(), statusNotRead);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(hidden, 0);
    EXPECT_EQ(journal().take().back(),
              logged(1, name + "Error in fetching the Hidden Visible Count : " +
                            std::to_string(statusNotRead)));
}

TEST_F(FlatCounts, WriteNothingWhenAPointerIsNull)
{
    EXPECT_EQ(FaultAndHealth_GetVisibleHiddenMsgCount(&visible, nullptr), 1);
    EXPECT_EQ(FaultAndHealth_GetVisibleHiddenMsgCount(nullptr, &hidden), 1);
    EXPECT_EQ(FaultAndHealth_GetVisibleHiddenMsgCount(nullptr, nullptr), 1);
    EXPECT_EQ(visible, 7);
    EXPECT_EQ(hidden, 8);
    EXPECT_EQ(journal().take(), Lines(3, logged(1, name + "Args null ")));
}

/** Captures what is written to std::cout. */
class Output
{
  public:
    Output() : usual(std::cout.rdbuf(taken.rdbuf()))
    {}
    ~Output()
    {
        std::cout.rdbuf(usual);
    }
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    std::string take()
    {
        const std::string text = taken.str();
        taken.str("");
        return text;
    }

  private:
    std::ostringstream taken;
    std::streambuf* usual;
};

/** A pointer in the format of std::ostream. */
std::string written(const void* pointer)
{
    std::ostringstream text;
    text << pointer;
    return text.str();
}

/** A private connection to the bus of the test. */
class Connection
{
  public:
    Connection()
    {
        sd_bus* opened = nullptr;
        if (sd_bus_open(&opened) < 0 || sd_bus_get_unique_name(opened, &id) < 0)
        {
            throw std::runtime_error("unable to connect to the bus");
        }
        bus.reset(opened);
    }

    sd_bus* get() const
    {
        return bus.get();
    }

    const char* name() const
    {
        return id;
    }

  private:
    std::unique_ptr<sd_bus, Unref> bus;
    const char* id = nullptr;
};

/** A thread keeps the first connection that it is given. So each test uses new
 *  threads, one at a time. */
void inThread(const std::function<void()>& work)
{
    std::thread(work).join();
}

class FlatInitialization : public LibraryTest
{
  protected:
    FlatInitialization()
    {
        haveHealthRecord(root, 2);
    }

    /** Creates the component of a key; null on failure. */
    static std::unique_ptr<FaultAndHealth> init(sd_bus* connection,
                                                const std::string& at = key)
    {
        return std::unique_ptr<FaultAndHealth>(
            FaultAndHealth_Initialization(connection, at.c_str()));
    }

    /** The connection that withdraws a thread's component from the health tree.
     */
    std::string findSpeaker(std::unique_ptr<FaultAndHealth> object)
    {
        std::string speaker;
        sd_bus_slot* slot = nullptr;
        sd_bus_match_signal(
            client.get(), &slot, nullptr, nullptr, nullptr,
            "HealthStatusUpdate",
            [](sd_bus_message* message, void* heard, sd_bus_error*) {
                *static_cast<std::string*>(heard) =
                    sd_bus_message_get_sender(message);
                return 0;
            },
            &speaker);
        object.reset();
        client.waitUntil("signal", [&speaker] {
            return !speaker.empty();
        });
        sd_bus_slot_unref(slot);
        return speaker;
    }

    inline static const std::string root = "/com/vexa/olvar/health";
    inline static const std::string key = root + "/a";

    PrivateBus daemon;
    BusClient client;
    Output output;
};

TEST(FlatOutput, EndsNoProcessWhenNobodyReadsIt)
{
    EXPECT_EQ(inChild([] {
                  std::array<int, 2> ends{};
                  const bool made = pipe(ends.data()) == 0;
                  close(ends[0]);
                  dup2(ends[1], STDOUT_FILENO);
                  FaultAndHealth_Initialization(nullptr, "none");
                  // As at the end of the process.
                  return made ? std::fflush(stdout) : 1;
              }),
              0);
}

TEST_F(FlatInitialization, CreatesAComponentWithHealthOk)
{
    inThread([this] {
        const Connection first;
        const auto object = init(first.get());
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(std::get<uint32_t>(
                      platform().healthRecords.at(key).at("HealthStatus")),
                  2u);
        EXPECT_EQ(object->computeHealthStatusFromFaultList(), 2u);
    });
}

TEST_F(FlatInitialization, AsksTheHealthManagerForAMissingParent)
{
    inThread([] {
        const Connection first;
        const auto object = init(first.get(), root + "/parent/a");
        ASSERT_NE(object, nullptr);
        EXPECT_THAT(journal().take(),
                    Contains("AddHealthObject com.vexa.olvar.healthmgr "
                             "/com/vexa/olvar/healthmgr " +
                             root + "/parent"));
    });
}

TEST_F(FlatInitialization, PrintsOnlyThePointer)
{
    inThread([this] {
        const Connection first;
        const auto object = init(first.get());
        ASSERT_NE(object, nullptr);
        EXPECT_EQ(output.take(), written(object.get()));
        EXPECT_EQ(init(first.get(), "no path"), nullptr);
        EXPECT_EQ(output.take(), written(nullptr));
    });
}

TEST_F(FlatInitialization, TakesAReferenceOfItsOwn)
{
    inThread([this] {
        std::unique_ptr<FaultAndHealth> object;
        std::string name;
        {
            sd_bus* opened = nullptr;
            ASSERT_GE(sd_bus_open(&opened), 0);
            object = init(opened);
            name = gbus.get_unique_name();
            sd_bus_unref(opened);
        }
        EXPECT_EQ(findSpeaker(std::move(object)), name);
    });
}

TEST_F(FlatInitialization, StaysWithTheFirstConnectionOfItsThread)
{
    inThread([this] {
        EXPECT_EQ(rawBus(gbus), nullptr) << "empty at first";
        const Connection first;
        const Connection second;
        auto object = init(first.get());
        EXPECT_EQ(rawBus(gbus), first.get());
        auto other = init(second.get(), root + "/b");
        EXPECT_EQ(rawBus(gbus), first.get());
        object.reset();
        client.catchUp();
        EXPECT_EQ(findSpeaker(std::move(other)), first.name());

        object = init(second.get());
        EXPECT_EQ(rawBus(gbus), first.get()) << "also without any object";
        EXPECT_NE(init(nullptr, root + "/b"), nullptr)
            << "and it needs no other";
    });
}

TEST_F(FlatInitialization, StaysWithAConnectionAfterAFailedInit)
{
    inThread([] {
        const Connection first;
        const Connection second;
        EXPECT_EQ(init(first.get(), "no path"), nullptr);
        EXPECT_NE(init(second.get()), nullptr);
        EXPECT_EQ(rawBus(gbus), first.get());
    });
}

TEST_F(FlatInitialization, HasAConnectionForEachThread)
{
    inThread([this] {
        const Connection first;
        const auto object = init(first.get());
        inThread([this] {
            EXPECT_EQ(rawBus(gbus), nullptr);
            const Connection second;
            auto other = init(second.get(), root + "/b");
            EXPECT_EQ(rawBus(gbus), second.get());
            EXPECT_EQ(findSpeaker(std::move(other)), second.name());
        });
        EXPECT_EQ(rawBus(gbus), first.get());
    });
    inThread([] {
        EXPECT_EQ(rawBus(gbus), nullptr);
    });
}

TEST_F(FlatInitialization, ReturnsNullOnAClosedConnection)
{
    inThread([this] {
        const Connection closed;
        sd_bus_close(closed.get());
        EXPECT_EQ(init(closed.get()), nullptr);
        EXPECT_EQ(output.take(), written(nullptr));
        EXPECT_EQ(journal().take("log 1"),
                  Lines{logged(1, "bindBus: Unable to use the bus: "
                                  "sd_bus_get_unique_name: "
                                  "System.Error.ENOTCONN: Transport endpoint "
                                  "is not connected")});
        const Connection open;
        EXPECT_NE(init(open.get()), nullptr);
        EXPECT_EQ(rawBus(gbus), open.get());
    });
}

TEST_F(FlatInitialization, LogsThatTheConnectionOfItsThreadWasClosed)
{
    inThread([] {
        const Connection first;
        EXPECT_NE(init(first.get()), nullptr);
        sd_bus_close(first.get());
        EXPECT_EQ(init(first.get(), root + "/b"), nullptr);
        EXPECT_THAT(journal().take("log 2"),
                    Contains("log 2 271 EXCEPTION hmi_health.#.Init: "
                             "sd_bus_is_open: System.Error.ENOTCONN: "
                             "Transport endpoint is not connected"));
    });
}

TEST_F(FlatInitialization, ReturnsNullWithoutAConnection)
{
    inThread([this] {
        EXPECT_EQ(init(nullptr), nullptr);
        EXPECT_EQ(output.take(), written(nullptr));
        EXPECT_EQ(journal().take("log 1").size(), 1u);
    });
}

TEST_F(FlatInitialization, TakesTheFirstConnectionAfterNone)
{
    inThread([] {
        const Connection first;
        EXPECT_EQ(init(nullptr), nullptr);
        EXPECT_NE(init(first.get()), nullptr);
        EXPECT_EQ(rawBus(gbus), first.get());
    });
}

class FlatHiding : public FlatInitialization
{
  protected:
    FlatHiding()
    {
        sd_bus_match_signal(
            client.get(), nullptr, nullptr, root.c_str(),
            "com.vexa.olvar.healthmgr", "HideFaultForSensor",
            [](sd_bus_message* message, void* heard, sd_bus_error*) {
                static_cast<Lines*>(heard)->push_back(arguments(message));
                return 0;
            },
            &heard);
    }

    Lines heard;
};

TEST_F(FlatHiding, SendsAllItsArguments)
{
    EXPECT_EQ(c_wrapper_hide_faults(true, "/key", "/sensor", -3), 0);
    EXPECT_EQ(c_wrapper_hide_faults(false, "", "/sensor", 0), 0);
    client.catchUp();
    EXPECT_EQ(heard,
              (Lines{"true '/key' '/sensor' -3", "false '' '/sensor' 0"}));
}

TEST_F(FlatHiding, TakesNullForEmpty)
{
    EXPECT_EQ(c_wrapper_hide_faults(true, nullptr, "/sensor", 0), 0);
    EXPECT_EQ(c_wrapper_hide_faults(true, "/key", nullptr, 0), 0);
    EXPECT_EQ(c_wrapper_hide_faults(true, nullptr, nullptr, 48), 0);
    client.catchUp();
    EXPECT_EQ(heard, (Lines{"true '' '/sensor' 0", "true '/key' '' 0",
                            "true '' '' 48"}));
    EXPECT_EQ(c_wrapper_hide_faults(true, nullptr, nullptr, 0), 1);
    client.catchUp();
    EXPECT_EQ(heard.size(), 3u);
}

TEST_F(FlatHiding, LetsTheSameExceptionPassAfterTheBusWasLost)
{
    inThread([this] {
        sd_bus* own = nullptr;
        ASSERT_GE(sd_bus_default(&own), 0);
        const std::unique_ptr<sd_bus, Unref> held(own);
        ASSERT_EQ(c_wrapper_hide_faults(true, "/key", nullptr, 0), 0);
        daemon.kill();
        while (sd_bus_process(own, nullptr) >= 0)
        {
            sd_bus_wait(own, UINT64_MAX);
        }
        try
        {
            c_wrapper_hide_faults(true, "/key", nullptr, 0);
            FAIL() << "sent";
        }
        catch (const sdbusplus::exception::SdBusError& e)
        {
            EXPECT_STREQ(e.what(), "sd_bus_send: System.Error.ENOTCONN: "
                                   "Transport endpoint is not connected");
        }
    });
}

TEST_F(FlatHiding, LetsAnExceptionPassWithoutABus)
{
    daemon.kill();
    EXPECT_THROW(c_wrapper_hide_faults(true, "/key", nullptr, 0),
                 sdbusplus::exception::SdBusError);
}

} // namespace
} // namespace health_namespace
