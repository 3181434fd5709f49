// SPDX-License-Identifier: Apache-2.0
#include "data_cache/segment_copy.hpp"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace healthintf::host
{
namespace
{

constexpr auto fault = RecordKind::faultEntry;
constexpr auto health = RecordKind::healthStatus;

class SegmentCopyTest : public testing::Test
{
  protected:
    void add(RecordKind kind, const std::string& path,
             const std::string& payload, uint32_t live = 0,
             uint64_t created = 0)
    {
        copy.add({.kind = kind,
                  .live = live,
                  .created = created,
                  .path = path,
                  .payload = payload});
    }

    /** The records that are read, as text. */
    std::vector<std::string> read(RecordKind kind,
                                  const std::vector<std::string>& prefixes = {})
    {
        std::vector<std::string> found;
        coverage =
            copy.read(RecordQuery::below(kind, prefixes),
                      [&found](const ReadRecord& record) {
                          found.push_back(std::string(record.path) + "=" +
                                          std::string(record.payload));
                      });
        return found;
    }

    SegmentCopy copy;
    Coverage coverage;
};

using Found = std::vector<std::string>;

TEST_F(SegmentCopyTest, GivesTheRecordsOfAKindInTheOrderOfTheirPaths)
{
    add(fault, "/b", "2");
    add(health, "/c", "");
    add(fault, "/a", "1");
    copy.close();
    EXPECT_EQ(read(fault), (Found{"/a=1", "/b=2"}));
    EXPECT_EQ(read(fault, {"/b"}), Found{"/b=2"});
    EXPECT_EQ(read(health), Found{"/c="});
}

TEST_F(SegmentCopyTest, GivesRecordsAsTheyWereCopied)
{
    add(fault, "/a", "x", 7, 9);
    copy.close();
    copy.read(RecordQuery::below(fault, {}), [](const ReadRecord& record) {
        EXPECT_EQ(record.kind, fault);
        EXPECT_EQ(record.live, 7U);
        EXPECT_EQ(record.created, 9U);
    });
}

TEST_F(SegmentCopyTest, KnowsWhetherThereIsAnyRecordOfTheKind)
{
    add(fault, "/a", "1");
    copy.close();
    EXPECT_TRUE(read(fault, {"/none"}).empty());
    EXPECT_TRUE(coverage.anyOfKind);
    EXPECT_TRUE(coverage.complete);
    EXPECT_TRUE(read(health).empty());
    EXPECT_FALSE(coverage.anyOfKind);
}

TEST_F(SegmentCopyTest, IsWholeOnceItIsClosed)
{
    EXPECT_FALSE(copy.isWhole());
    copy.close();
    EXPECT_TRUE(copy.isWhole());
}

TEST_F(SegmentCopyTest, CountsItsMemory)
{
    const std::string payload(10'000, 'x');
    add(fault, "/a", payload);
    EXPECT_GE(copy.size(), payload.size());
    EXPECT_LE(copy.size(), 3 * payload.size());
}

} // namespace
} // namespace healthintf::host
