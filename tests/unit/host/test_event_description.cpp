// SPDX-License-Identifier: Apache-2.0
#include "address_sanitizer.hpp"
#include "child.hpp"
#include "event_records.hpp"
#include "event_table_text.hpp"
#include "no_more_descriptors.hpp"
#include "temporary_folder.hpp"

#include <platform/event_description.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace healthintf::test
{
namespace
{

using testing::HasSubstr;

constexpr SensorEvent bladeEvent{
    .sensorType = 0xC0, .eventType = 0x6F, .offset = 1};

/** Each process reads the table once, so each test uses a process of its own.
 */
class EventDescriptions : public testing::Test
{
  protected:
    EventDescriptions()
    {
        setenv("HEALTHINTF_EVENT_PATH", folder.path().c_str(), 1);
    }

    void writeTable() const
    {
        folder.write("a.json",
                     sensorTypeFile("0xC0", "BLD",
                                    "\"0x01\": " + eventState("BLD", "31")));
    }

    /** Runs a part of a test in a process that has not read the table yet. */
    static void inNewProcess(const std::function<void()>& part)
    {
        std::string errors;
        const auto work = [&part] {
            part();
            return testing::Test::HasFailure() ? 1 : 0;
        };
        EXPECT_EQ(inChild(work, &errors), 0) << errors;
    }

    static int transform()
    {
        std::array<char, JNL_ENTRY_SIZE> entry{};
        return TransformSELEventToJNLEntry(makeRecord(bladeEvent).data(),
                                           entry.data());
    }

    TemporaryFolder folder;
};

TEST_F(EventDescriptions, AreReadAgainAfterAShortageOfDescriptors)
{
    if (healthintf::test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    writeTable();
    inNewProcess([] {
        {
            const NoMoreDescriptors none;
            EXPECT_EQ(IPMI_SELCSSDSELAttach(), ENOMEM);
        }
        EXPECT_EQ(IPMI_SELCSSDSELAttach(), 0);
    });
}

TEST_F(EventDescriptions, AreGivenToAttachedCallers)
{
    writeTable();
    inNewProcess([] {
        const Attached attached;
        EXPECT_EQ(attached.result, 0);
        const Described event = describe(bladeEvent);
        EXPECT_EQ(event.id, "BLD31");
        EXPECT_EQ(event.severity, 1u);
        EXPECT_EQ(event.lcd, "BLD 0x30 broke");
    });
}

TEST_F(EventDescriptions, AreRefusedToCallersThatAreNotAttached)
{
    writeTable();
    inNewProcess([] {
        EXPECT_EQ(transform(), ENOTCONN);
        std::array<char, LCD_ENTRY_SIZE> lcd{};
        EXPECT_EQ(
            TransformSELEventToLCD(makeRecord(bladeEvent).data(), lcd.data()),
            ENOTCONN);
        IPMI_SELCSSDSELAttach();
        EXPECT_EQ(IPMI_SELCSSDSELDetach(), 0);
        EXPECT_EQ(transform(), ENOTCONN);
    });
}

TEST_F(EventDescriptions, AreGivenUntilTheLastHasDetached)
{
    writeTable();
    inNewProcess([] {
        IPMI_SELCSSDSELAttach();
        IPMI_SELCSSDSELAttach();
        EXPECT_EQ(IPMI_SELCSSDSELDetach(), 0);
        EXPECT_EQ(transform(), 0);
        EXPECT_EQ(IPMI_SELCSSDSELDetach(), 0);
        EXPECT_EQ(IPMI_SELCSSDSELDetach(), EINVAL);
    });
}

TEST_F(EventDescriptions, NeedPlacesToReadAndWrite)
{
    writeTable();
    inNewProcess([] {
        const Attached attached;
        std::array<char, JNL_ENTRY_SIZE> entry{};
        EXPECT_EQ(TransformSELEventToJNLEntry(nullptr, entry.data()), EINVAL);
        EXPECT_EQ(
            TransformSELEventToLCD(makeRecord(bladeEvent).data(), nullptr),
            EINVAL);
    });
}

TEST_F(EventDescriptions, NeedATable)
{
    inNewProcess([] {
        testing::internal::CaptureStderr();
        for (int i = 0; i < 3; ++i)
        {
            const Attached attached;
            EXPECT_EQ(attached.result, ENOENT);
            EXPECT_EQ(transform(), ENOTCONN);
        }
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_THAT(log, HasSubstr("set HEALTHINTF_EVENT_PATH to its folder"));
        EXPECT_EQ(log.find('\n'), log.size() - 1) << log;
    });
}

TEST_F(EventDescriptions, AreTriedAgainAfterAFailure)
{
    inNewProcess([this] {
        folder.write("a.json", "{\n");
        testing::internal::CaptureStderr();
        EXPECT_EQ(Attached().result, ENOENT);
        writeTable();
        EXPECT_EQ(Attached().result, 0);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_THAT(log, HasSubstr("a.json: line 2: no valid JSON (install "
                                   "the event table"));
        const Attached attached;
        EXPECT_EQ(transform(), 0);
    });
}

TEST_F(EventDescriptions, LogOnceWhatTheTableLeavesOut)
{
    writeTable();
    folder.write("b.json", "{\n");
    inNewProcess([] {
        testing::internal::CaptureStderr();
        EXPECT_EQ(Attached().result, 0);
        const Attached attached;
        EXPECT_EQ(transform(), 0);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_THAT(log, HasSubstr("b.json: line 2: no valid JSON: left out"));
        EXPECT_EQ(std::ranges::count(log, '\n'), 1);
    });
}

TEST_F(EventDescriptions, AreReadOnce)
{
    writeTable();
    inNewProcess([this] {
        EXPECT_EQ(Attached().result, 0);
        folder.write("a.json", "damaged");
        const Attached attached;
        EXPECT_EQ(attached.result, 0);
        EXPECT_EQ(transform(), 0);
    });
}

TEST_F(EventDescriptions, LogEachFailureOnce)
{
    inNewProcess([this] {
        testing::internal::CaptureStderr();
        folder.write("a.json", "{\n");
        EXPECT_EQ(Attached().result, ENOENT);
        folder.write("a.json", "{\n\n");
        EXPECT_EQ(Attached().result, ENOENT);
        EXPECT_EQ(Attached().result, ENOENT);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_THAT(log, HasSubstr("line 2: no valid JSON"));
        EXPECT_THAT(log, HasSubstr("line 3: no valid JSON"));
        EXPECT_EQ(std::ranges::count(log, '\n'), 2);
    });
}

TEST_F(EventDescriptions, MayBeRequestedByManyThreads)
{
    writeTable();
    inNewProcess([] {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
        {
            threads.emplace_back([] {
                for (int n = 0; n < 200; ++n)
                {
                    const Attached attached;
                    EXPECT_EQ(attached.result, 0);
                    EXPECT_EQ(describe(bladeEvent).id, "BLD31");
                }
            });
        }
        for (std::thread& thread : threads)
        {
            thread.join();
        }
    });
}

} // namespace
} // namespace healthintf::test
