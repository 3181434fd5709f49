#include "read_events.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sel/log_reader.hpp>

#include <vector>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<uint16_t> inOrder(const std::vector<uint16_t>& ids)
{
    std::vector<SELEntry_gen> entries;
    for (const uint16_t id : ids)
    {
        entries.push_back(entryOf(recordOfEvent(id, 1, 0x04)));
    }
    std::vector<uint16_t> ordered;
    for (const SELEntry_gen& entry : inLogOrder(entries))
    {
        ordered.push_back(entry.recordId());
    }
    return ordered;
}

TEST(LogReader, KeepsTheOrderOfALogThatHasNotWrapped)
{
    EXPECT_THAT(inOrder({}), IsEmpty());
    EXPECT_THAT(inOrder({1, 2, 3}), ElementsAre(1, 2, 3));
    EXPECT_THAT(inOrder({65533, 65534}), ElementsAre(65533, 65534));
}

TEST(LogReader, BeginsWithTheOldestOfALogThatHasWrapped)
{
    EXPECT_THAT(inOrder({1, 2, 65533, 65534}), ElementsAre(65533, 65534, 1, 2));
    EXPECT_THAT(inOrder({1, 65534}), ElementsAre(65534, 1));
}

TEST(LogReader, IsNotMisledByAnEntryThatIsMissing)
{
    EXPECT_THAT(inOrder({1, 3, 65530, 65532, 65534}),
                ElementsAre(65530, 65532, 65534, 1, 3));
}

} // namespace
} // namespace healthintf::healthctl
