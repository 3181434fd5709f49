// SPDX-License-Identifier: Apache-2.0
/** @file The host platform's calls to logmgr. */

#include "bus_calls.hpp"
#include "child.hpp"
#include "log_client.hpp"
#include "private_bus.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <memory>

namespace healthintf::test
{
namespace
{

using testing::AllOf;
using testing::HasSubstr;

constexpr uint32_t failed = 0x10000;

uint32_t store(const Bytes& record,
               const std::optional<uint32_t>& timestamp = std::nullopt,
               const DataAbstraction::SEL::Sensor& sensor = {
                   "Fan 7", "/sensors/fan7", 20, 1})
{
    return DataAbstraction::SEL::AddSEL(logService, logPath, sensor, record,
                                        timestamp);
}

class AddSel : public testing::Test
{
  protected:
    PrivateBus bus;
    LogClient client;
};

TEST_F(AddSel, StoresTheRecord)
{
    const Process running = client.start();
    EXPECT_EQ(store(makeRecord(7)), 1u);
    EXPECT_EQ(store(makeRecord(8), 0x01020304), 2u);
    const ReadEntry first = client.entry(1);
    EXPECT_EQ(first.name, "Fan 7");
    EXPECT_EQ(first.path, "/sensors/fan7");
    EXPECT_EQ(first.firstByte, 20);
    EXPECT_EQ(first.secondByte, 1);
    EXPECT_EQ(first.record[11], 7);
    EXPECT_EQ(client.entry(2).timestamp, 0x01020304u);
}

TEST_F(AddSel, StartsTheLogManager)
{
    bus.activate(logService, LOGMGR);
    EXPECT_EQ(store(makeRecord(7)), 1u);
    // Services that the bus started end with it.
    bus.kill();
}

TEST_F(AddSel, LogsWhyARecordIsRefused)
{
    const Process running = client.start(
        {"--config", bus.folder().write("c.toml", "capacity = 1")});
    testing::internal::CaptureStderr();
    EXPECT_EQ(store(Bytes(15)), failed + EINVAL);
    EXPECT_EQ(store(Bytes(17)), failed + EINVAL);
    EXPECT_EQ(store(makeRecord(1)), 1u);
    EXPECT_EQ(store(makeRecord(2)), failed + ENOSPC);
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("the record has 15 bytes, not 16"));
    EXPECT_THAT(lines, Not(HasSubstr("17 bytes")))
        << "equal refusals in a row are logged once";
    EXPECT_THAT(lines, HasSubstr("it holds 1 of 1 entries"));
}

TEST_F(AddSel, RefusesInvalidTextsAndKeepsItsConnection)
{
    const Process running = client.start();
    const std::string nul("a\0b", 3);
    const std::string large((1UL << 20) + 1, 'x');
    for (const std::string& text : {std::string("\xff"), nul, large})
    {
        EXPECT_EQ(store(makeRecord(1), std::nullopt, {text, "", 0, 0}),
                  failed + EINVAL);
        EXPECT_EQ(store(makeRecord(1), std::nullopt, {"", text, 0, 0}),
                  failed + EINVAL);
    }
    EXPECT_EQ(store(Bytes((1UL << 20) + 1)), failed + EINVAL);
    EXPECT_EQ(DataAbstraction::SEL::AddSEL("no name", logPath, {}, {}, {}),
              failed + EINVAL);
    EXPECT_EQ(store(makeRecord(1)), 1u);
}

TEST_F(AddSel, ReportsThatThereIsNoLogManager)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(store(makeRecord(1)), failed + EHOSTUNREACH);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("check that the bus and logmgr run"));
}

TEST_F(AddSel, ConnectsAgainAfterTheBusWasLost)
{
    auto first = std::make_unique<PrivateBus>();
    EXPECT_GT(store(makeRecord(1)), failed) << "there is no logmgr";
    first.reset();
    const PrivateBus second;
    LogClient other;
    const Process running = other.start();
    EXPECT_EQ(store(makeRecord(1)), 1u);
    EXPECT_EQ(other.page(0, 0), (Ids{1, 65535}));
}

TEST_F(AddSel, AsksToRestartAProgramThatKeepsALostConnection)
{
    auto lost = std::make_unique<PrivateBus>();
    const auto kept = host::openDefaultBus();
    lost.reset();
    const PrivateBus second;
    store(makeRecord(1));
    testing::internal::CaptureStderr();
    EXPECT_EQ(store(makeRecord(1)), failed + ENOTCONN);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("restart this program"));
}

/** A log manager with scripted answers. */
class FakeLogManager
{
  public:
    explicit FakeLogManager(sd_bus_message_handler_t answer) :
        process([answer](const Child::Parent& parent) {
            BusClient client;
            sd_bus_add_object(client.get(), nullptr, logPath, answer, nullptr);
            sd_bus_request_name(client.get(), logService, 0);
            parent.tell("ready");
            while (sd_bus_process(client.get(), nullptr) > 0 ||
                   sd_bus_wait(client.get(), UINT64_MAX) >= 0)
            {}
            return 0;
        })
    {
        process.hear();
    }

  private:
    Child process;
};

TEST_F(AddSel, ReportsAReplyWithoutAnIdentifier)
{
    {
        const FakeLogManager large(
            [](sd_bus_message* message, void*, sd_bus_error*) {
                return sd_bus_reply_method_return(message, "u", 65536u);
            });
        EXPECT_EQ(store(makeRecord(1)), failed + EBADMSG);
    }
    {
        const FakeLogManager wrong(
            [](sd_bus_message* message, void*, sd_bus_error*) {
                return sd_bus_reply_method_return(message, "s", "1");
            });
        EXPECT_EQ(store(makeRecord(1)), failed + EBADMSG);
    }
    {
        const FakeLogManager empty(
            [](sd_bus_message* message, void*, sd_bus_error*) {
                return sd_bus_reply_method_return(message, "");
            });
        EXPECT_EQ(store(makeRecord(1)), failed + EBADMSG);
    }
}

TEST_F(AddSel, ReportsALogManagerThatDiesBeforeItAnswers)
{
    const FakeLogManager dying([](sd_bus_message*, void*, sd_bus_error*) {
        _exit(0);
        return 0;
    });
    testing::internal::CaptureStderr();
    EXPECT_EQ(store(makeRecord(1)), failed + ETIMEDOUT);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("it may be stored nevertheless"));
}

TEST_F(AddSel, ReportsThatSystemdCannotStartTheLogManager)
{
    const FakeLogManager masked([](sd_bus_message*, void*,
                                   sd_bus_error* error) {
        return sd_bus_error_set(error, "org.freedesktop.systemd1.UnitMasked",
                                "Unit logmgr.service is masked.");
    });
    testing::internal::CaptureStderr();
    EXPECT_EQ(store(makeRecord(1)), failed + EHOSTUNREACH);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                AllOf(HasSubstr("Unit logmgr.service is masked."),
                      HasSubstr("(check that the bus and logmgr run)")));
}

TEST_F(AddSel, ReturnsANumberForAnUnknownError)
{
    const FakeLogManager strange(
        [](sd_bus_message*, void*, sd_bus_error* error) {
            return sd_bus_error_set(error, "com.example.Strange", "so strange");
        });
    testing::internal::CaptureStderr();
    EXPECT_EQ(store(makeRecord(1)), failed + EIO);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("so strange"));
}

} // namespace
} // namespace healthintf::test
