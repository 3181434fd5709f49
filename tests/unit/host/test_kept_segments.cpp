// SPDX-License-Identifier: Apache-2.0
#include "data_cache/kept_segments.hpp"
#include "data_cache/own_records.hpp"
#include "settled_folder.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <cstddef>
#include <filesystem>
#include <list>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::stateOf;
using test::waitUntilSettled;

constexpr std::size_t capacity = 1UL << 20;

class KeptSegmentsTest : public testing::Test
{
  protected:
    KeptSegmentsTest()
    {
        fs::create_directory(cache);
    }

    /** Lists the folder as a query does. */
    void list()
    {
        kept.beginListing(cache);
        const FileDescriptor opened(
            open(cache.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        for (const auto& entry : fs::directory_iterator(cache))
        {
            kept.add(SegmentReader::open(opened.get(),
                                         entry.path().filename().c_str())
                         .value());
        }
        kept.endListing();
    }

    test::TemporaryFolder folder;
    fs::path cache = folder.path() / "cache";
    std::list<OwnRecords> own;
    KeptSegments kept;
};

TEST_F(KeptSegmentsTest, AreThoseOfAFolderThatHasNotChanged)
{
    EXPECT_FALSE(kept.areThoseOf(cache));
    own.emplace_back(cache, capacity);
    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.areThoseOf(cache));
    EXPECT_EQ(kept.all().size(), 1U);
    EXPECT_FALSE(kept.areThoseOf(folder.path()));
}

TEST_F(KeptSegmentsTest, AreNotThoseOfAFolderThatWasChanged)
{
    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.areThoseOf(cache));
    own.emplace_back(cache, capacity);
    EXPECT_FALSE(kept.areThoseOf(cache));

    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.areThoseOf(cache));
    own.front().removeFileIfEmpty();
    EXPECT_FALSE(kept.areThoseOf(cache));
}

TEST_F(KeptSegmentsTest, AreNotThoseOfAFolderThatTookItsPlace)
{
    waitUntilSettled(cache);
    list();
    fs::rename(cache, folder.path() / "old");
    fs::create_directory(cache);
    EXPECT_FALSE(kept.areThoseOf(cache));
}

TEST_F(KeptSegmentsTest, AreNoneWhileAChangeOfTheFolderMightNotShow)
{
    own.emplace_back(cache, capacity);
    list();
    EXPECT_FALSE(kept.areThoseOf(cache));
    EXPECT_TRUE(kept.all().empty());
}

TEST_F(KeptSegmentsTest, AreNoneOnceTheListingHasGivenThemUp)
{
    own.emplace_back(cache, capacity);
    waitUntilSettled(cache);
    kept.beginListing(cache);
    kept.giveUp();
    kept.endListing();
    EXPECT_FALSE(kept.areThoseOf(cache));
    list();
    EXPECT_TRUE(kept.areThoseOf(cache));
}

TEST_F(KeptSegmentsTest, AreAsManyAsMayBe)
{
    for (std::size_t i = 0; i < KeptSegments::most; ++i)
    {
        own.emplace_back(cache, capacity);
    }
    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.areThoseOf(cache));
    EXPECT_EQ(kept.all().size(), KeptSegments::most);

    own.emplace_back(cache, capacity);
    waitUntilSettled(cache);
    list();
    EXPECT_FALSE(kept.areThoseOf(cache));
    EXPECT_TRUE(kept.all().empty());
}

TEST_F(KeptSegmentsTest, AreLentToOneQueryAtATime)
{
    waitUntilSettled(cache);
    {
        LentSegments first;
        first.get().beginListing(cache);
        first.get().endListing();
        LentSegments second;
        EXPECT_NE(&first.get(), &second.get());
        EXPECT_FALSE(second.get().areThoseOf(cache));
    }
    LentSegments third;
    EXPECT_TRUE(third.get().areThoseOf(cache));
}

TEST(FolderStateTest, IsNoneOfWhatIsNotThere)
{
    EXPECT_FALSE(FolderState::of(-1));
}

} // namespace
} // namespace healthintf::host
