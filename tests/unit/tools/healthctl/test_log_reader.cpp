// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "read_events.hpp"

#include <data_cache/sel_entry_cache.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sel/log_reader.hpp>

#include <cstdlib>
#include <vector>

#include <error.hpp>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::HasSubstr;

/** Reads the log where there is no bus, hence no logmgr. */
class LogReader : public test::CacheTest
{
  protected:
    LogReader()
    {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nowhere", 1);
    }
};

TEST_F(LogReader, ReportsThatItReadTheMirrorWithoutALogManager)
{
    host::SelMirror mirror;
    mirror.replace([](const host::SelMirror::Sink& put) {
        for (const uint16_t id : {65533, 65534, 1, 2})
        {
            SELEntryProperties entry;
            entry.recordId = id;
            put(id < 3 ? 65533 + id : id - 1, entry);
        }
    });
    testing::internal::CaptureStderr();
    const ReadLog log = readLog();
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("what follows is the mirror of the log"));
    EXPECT_TRUE(log.mirror);
    EXPECT_STREQ(log.source(), "mirror");
    EXPECT_EQ(log.last, 2);
    std::vector<uint16_t> ids;
    for (const SELEntry_gen& entry : log.entries)
    {
        ids.push_back(entry.recordId());
    }
    EXPECT_THAT(ids, ElementsAre(65533, 65534, 1, 2));
}

TEST_F(LogReader, FailsWhereThereIsNeither)
{
    EXPECT_THROW(readLog(), Error);
    EXPECT_TRUE(readMirror().empty());
    EXPECT_EQ(ReadLog().last, 0);
}

} // namespace
} // namespace healthintf::healthctl
