// SPDX-License-Identifier: Apache-2.0
#include "common/supervision.hpp"
#include "notify_socket.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace healthintf::services
{
namespace
{

using test::NotifySocket;
using testing::HasSubstr;

/** A service whose service manager may have a watchdog. */
class SupervisedService : public testing::Test
{
  protected:
    SupervisedService()
    {
        putenv(setting.data());
    }

    ~SupervisedService() override
    {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
    }

    NotifySocket manager;
    std::string setting = manager.setting();
    EventLoop loop;
};

TEST_F(SupervisedService, ReportsReadyAndStopping)
{
    std::optional<Supervision> supervision(loop);
    EXPECT_EQ(manager.hear(), "READY=1");
    EXPECT_TRUE(manager.silent());
    supervision.reset();
    EXPECT_EQ(manager.hear(), "STOPPING=1");
}

TEST_F(SupervisedService, SendsWatchdogMessagesWhileItProgresses)
{
    setenv("WATCHDOG_USEC", "20000", 1);
    const Supervision supervision(loop);
    int signs = 0;
    const auto listening = loop.onReadable(manager.fd(), [&] {
        signs += manager.hear() == "WATCHDOG=1" ? 1 : 0;
        if (signs == 3)
        {
            loop.exit(0);
        }
    });
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(signs, 3);
}

TEST_F(SupervisedService, SendsNoWatchdogMessageWithoutProgress)
{
    setenv("WATCHDOG_USEC", "2000", 1);
    int checks = 0;
    const Supervision supervision(loop, [&] {
        if (++checks == 5)
        {
            loop.exit(0);
        }
        return checks == 3;
    });
    EXPECT_EQ(manager.hear(), "READY=1");
    EXPECT_EQ(loop.run(), 0);
    EXPECT_EQ(manager.hear(), "WATCHDOG=1");
    EXPECT_TRUE(manager.silent()) << "one check of five found progress";
}

TEST_F(SupervisedService, SendsNoWatchdogMessageWhenTheCheckThrows)
{
    setenv("WATCHDOG_USEC", "2000", 1);
    testing::internal::CaptureStderr();
    const Supervision supervision(loop, [&]() -> bool {
        loop.exit(0);
        throw std::runtime_error("broken");
    });
    EXPECT_EQ(manager.hear(), "READY=1");
    EXPECT_EQ(loop.run(), 0);
    EXPECT_TRUE(manager.silent());
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("broken"));
}

TEST_F(SupervisedService, SendsNoWatchdogMessageUnlessRequested)
{
    bool checked = false;
    const Supervision supervision(loop, [&] {
        checked = true;
        return true;
    });
    EXPECT_EQ(manager.hear(), "READY=1");
    auto ending = loop.every(std::chrono::milliseconds(5), [&] {
        loop.exit(0);
    });
    loop.run();
    EXPECT_FALSE(checked);
    EXPECT_TRUE(manager.silent());
}

TEST_F(SupervisedService, ContinuesWhenTheServiceManagerIsGone)
{
    setenv("NOTIFY_SOCKET", "/nowhere/notify", 1);
    testing::internal::CaptureStderr();
    {
        const Supervision supervision(loop);
    }
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        HasSubstr("unable to tell the service manager READY=1: No such file"));
}

TEST(ServiceWithoutAServiceManager, SendsNothing)
{
    EventLoop loop;
    testing::internal::CaptureStderr();
    {
        const Supervision supervision(loop);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

} // namespace
} // namespace healthintf::services
