// SPDX-License-Identifier: Apache-2.0
#include "logmgr/history/history_writer.hpp"
#include "sample_records.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <cstddef>

namespace healthintf::history
{
namespace
{

class HistoryWriterTest : public testing::Test
{
  protected:
    void add(std::size_t records)
    {
        for (std::size_t i = 0; i < records; ++i)
        {
            writer.add(makeRecord(Kind::hidden, 1));
        }
    }

    test::TemporaryFolder folder;
    HistoryStore store{folder.path(), {}};
    HistoryWriter writer{store};
};

TEST_F(HistoryWriterTest, KeepsAGroupUntilItIsCommitted)
{
    add(HistoryWriter::mostInGroup - 1);
    EXPECT_TRUE(store.hasGroup());
    EXPECT_TRUE(writer.hasGroup());
    EXPECT_EQ(writer.commit().size(), HistoryWriter::mostInGroup - 1);
    EXPECT_FALSE(store.hasGroup());
    EXPECT_FALSE(writer.hasGroup());
}

TEST_F(HistoryWriterTest, CommitsALargeGroupByItselfAndTellsOfItLater)
{
    add(HistoryWriter::mostInGroup);
    EXPECT_FALSE(store.hasGroup());
    EXPECT_EQ(store.unsynced(), 0U);
    EXPECT_TRUE(writer.hasGroup());
    EXPECT_EQ(writer.commit().size(), HistoryWriter::mostInGroup);
    EXPECT_FALSE(writer.hasGroup());
}

TEST_F(HistoryWriterTest, CommitsAnAppearanceOnlyTogetherWithWhatIsFollowed)
{
    add(HistoryWriter::mostInGroup - 1);
    FollowedFault fault;
    fault.appeared = makeRecord(Kind::appeared, 1);
    writer.addAppearance(fault);
    EXPECT_FALSE(store.hasGroup());
    EXPECT_EQ(store.followed().size(), 1U);
}

} // namespace
} // namespace healthintf::history
