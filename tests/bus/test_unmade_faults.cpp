// SPDX-License-Identifier: Apache-2.0
/** @file Raised faults that could not be made anew on their node. */

#include "address_sanitizer.hpp"
#include "cache_view.hpp"
#include "raised_faults.hpp"
#include "service_on_bus.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

/** Lets this process open no files. */
class FileShortage
{
  public:
    FileShortage()
    {
        getrlimit(RLIMIT_NOFILE, &usual);
        const rlimit none{.rlim_cur = 0, .rlim_max = usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
    }

    ~FileShortage()
    {
        setrlimit(RLIMIT_NOFILE, &usual);
    }

    FileShortage(const FileShortage&) = delete;
    FileShortage& operator=(const FileShortage&) = delete;

  private:
    rlimit usual{};
};

const std::string key = "/com/vexa/olvar/health/pump";

RaisedFault missingProcess(const std::string& sensor)
{
    return {.message = "HostMonitor.1.0.ProcessMissing",
            .arguments = {"pumpd", "0", "1"},
            .sensorPath = sensor,
            .end = {}};
}

// The registries are read once in the life of a process, so one test has it
// all.
TEST(UnmadeFault, IsMadeLaterOrWhenItIsRaisedAgainUnlessItWasCleared)
{
    if (test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    setenv("HEALTHINTF_REGISTRY_PATH", SHIPPED_REGISTRIES, 1);
    test::ServiceOnBus& service = test::ServiceOnBus::instance();
    const test::TemporaryFolder folder;
    RaisedFault hot = missingProcess("/hot");
    hot.message = "HostMonitor.1.0.TemperatureCritical";
    const RaisedFaultMap kept{
        {key, {missingProcess("/s"), missingProcess("/t"), hot}}};
    HostedNodes nodes(service.connection.bus());
    ASSERT_EQ(nodes.host(key), HostedNodes::Outcome::there);
    RaisedFaults faults(service.loop, nodes,
                        folder.write("kept.toml", formatRaisedFaults(kept)));

    testing::internal::CaptureStderr();
    {
        const FileShortage shortage;
        faults.report(key, *nodes.find(key));
    }
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("unable to make the raised fault " + hot.message +
                          " of " + key + " anew"));
    EXPECT_THAT(test::recordedFaults(), IsEmpty());

    EXPECT_EQ(faults.clear(key, hot.message), 1U);
    faults.raise(key, missingProcess("/s"));
    EXPECT_THAT(test::recordedFaults(), SizeIs(1));
    service.runUntil("other fault", [] {
        return test::recordedFaults().size() == 2;
    });
    faults.raise(key, missingProcess("/t"));
    EXPECT_THAT(test::recordedFaults(), SizeIs(2));
    EXPECT_EQ(faults.clear("", ""), 2U);
    EXPECT_THAT(test::recordedFaults(), IsEmpty());
}

} // namespace
} // namespace healthintf::healthmgr
