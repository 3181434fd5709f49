// SPDX-License-Identifier: Apache-2.0
#include "address_sanitizer.hpp"
#include "data_cache/kept_segments.hpp"
#include "segment_folder_test.hpp"
#include "settled_folder.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::Child;
using test::readState;
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
    EXPECT_FALSE(kept.belongTo(cache));
    own.emplace_back(cache, capacity);
    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.belongTo(cache));
    EXPECT_EQ(kept.all().size(), 1U);
    EXPECT_FALSE(kept.belongTo(folder.path()));
}

TEST_F(KeptSegmentsTest, AreNotThoseOfAFolderThatWasChanged)
{
    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.belongTo(cache));
    own.emplace_back(cache, capacity);
    EXPECT_FALSE(kept.belongTo(cache));

    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.belongTo(cache));
    own.front().removeFileIfEmpty();
    EXPECT_FALSE(kept.belongTo(cache));
}

TEST_F(KeptSegmentsTest, AreNotThoseOfAReplacementOfTheFolder)
{
    waitUntilSettled(cache);
    list();
    fs::rename(cache, folder.path() / "old");
    fs::create_directory(cache);
    EXPECT_FALSE(kept.belongTo(cache));
}

TEST_F(KeptSegmentsTest, AreNoneWhileAChangeOfTheFolderMightNotShow)
{
    own.emplace_back(cache, capacity);
    list();
    EXPECT_FALSE(kept.belongTo(cache));
    EXPECT_TRUE(kept.all().empty());
}

TEST_F(KeptSegmentsTest, AreNoneOnceTheListingHasDroppedThem)
{
    own.emplace_back(cache, capacity);
    waitUntilSettled(cache);
    kept.beginListing(cache);
    kept.giveUp();
    kept.endListing();
    EXPECT_FALSE(kept.belongTo(cache));
    list();
    EXPECT_TRUE(kept.belongTo(cache));
}

TEST_F(KeptSegmentsTest, AreLimitedInNumber)
{
    for (std::size_t i = 0; i < KeptSegments::most; ++i)
    {
        own.emplace_back(cache, capacity);
    }
    waitUntilSettled(cache);
    list();
    EXPECT_TRUE(kept.belongTo(cache));
    EXPECT_EQ(kept.all().size(), KeptSegments::most);

    own.emplace_back(cache, capacity);
    waitUntilSettled(cache);
    list();
    EXPECT_FALSE(kept.belongTo(cache));
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
        EXPECT_FALSE(second.get().belongTo(cache));
    }
    LentSegments third;
    EXPECT_TRUE(third.get().belongTo(cache));
}

TEST(FolderStateTest, IsNoneForAMissingFolder)
{
    EXPECT_FALSE(FolderState::of(-1));
}

/** Queries that keep the segments of a folder open. */
class KeptOpen : public test::SegmentFolderTest
{
  protected:
    KeptOpen() : own(cache, capacity)
    {
        put("/a", "1");
        keepOpen();
    }

    void put(const std::string& path, const std::string& payload)
    {
        own.put({.kind = fault, .path = path, .payload = payload});
    }

    /** Queries until the segments stay open and are copied. */
    void keepOpen() const
    {
        test::waitUntilSettled(cache);
        for (int i = 0; i < 3; ++i)
        {
            read();
        }
    }

    OwnRecords own;
};

TEST_F(KeptOpen, AreReadWithTheirPresentContent)
{
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
    put("/b", "2");
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
    put("/a", "3");
    EXPECT_EQ(read(), (Map{{"/a", "3"}, {"/b", "2"}}));
    own.edit(fault, "/b", [](std::string& payload) {
        payload = "4";
        return 0;
    });
    EXPECT_EQ(read(), (Map{{"/a", "3"}, {"/b", "4"}}));
    own.remove(fault, "/a");
    EXPECT_EQ(read(), (Map{{"/b", "4"}}));
}

TEST_F(KeptOpen, ShowALiveValueThatWasChanged)
{
    const auto live = [this] {
        uint32_t value = 0;
        readLivingRecords(
            cache, RecordQuery::below(fault, {}),
            [&value](const ReadRecord& each, const ProcessIdentity&, bool) {
                value = each.live;
                return true;
            });
        return value;
    };
    EXPECT_EQ(live(), 0U);
    own.setLive(fault, "/a", 5);
    EXPECT_EQ(live(), 5U);
}

TEST_F(KeptOpen, DoNotHideANewSegment)
{
    const auto other = owner({{"/b", "2"}});
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
}

TEST_F(KeptOpen, ArePassedOverOnceTheirOwnersAreDead)
{
    const auto other = owner({{"/b", "2"}});
    keepOpen();
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
    other->kill();
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
}

TEST_F(KeptOpen, ArePassedOverWhenTheirOwnersDestroyThem)
{
    const test::HeldFile held = hold("held", bytesWith("/b"));
    keepOpen();
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "x"}}));
    fs::resize_file(cache / "held", 100);
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
}

TEST_F(KeptOpen, AreOpenedAgainByAChildThatHasFilesInTheirPlaces)
{
    const auto other = owner({{"/b", "2"}});
    keepOpen();
    EXPECT_EQ(test::inChild([this] {
                  constexpr int first = STDERR_FILENO + 1;
                  constexpr int end = 100;
                  for (int file = first; file < end; ++file)
                  {
                      close(file);
                  }
                  const int last = open("/dev/null", O_RDONLY | O_CLOEXEC);
                  for (int file = first; file < end; ++file)
                  {
                      dup2(last, file);
                  }
                  if (read() != Map{{"/a", "1"}, {"/b", "2"}})
                  {
                      return 1;
                  }
                  for (int file = first; file < end; ++file)
                  {
                      if (fcntl(file, F_GETFD) < 0)
                      {
                          return 2;
                      }
                  }
                  return 0;
              }),
              0);
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
}

TEST_F(KeptOpen, AreFewerThanAllWhereDescriptorsAreScarce)
{
    constexpr int others = 8;
    Map all{{"/a", "1"}};
    std::vector<std::unique_ptr<Child>> owners;
    for (int i = 0; i < others; ++i)
    {
        const std::string path = "/b" + std::to_string(i);
        all.emplace(path, "2");
        owners.push_back(owner({{path, "2"}}));
    }
    test::waitUntilSettled(cache);
    EXPECT_EQ(test::inChild([&] {
                  // For the folder, its kept copy, and a few segments.
                  constexpr rlim_t few = 5;
                  leaveFiles(few);
                  return read() == all && read() == all ? 0 : 1;
              }),
              0);
}

TEST_F(KeptOpen, AreNotTakenForAllWhenNoDescriptorIsLeft)
{
    if (test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    EXPECT_EQ(test::inChild([this] {
                  // For the folder only.
                  leaveFiles(1);
                  try
                  {
                      read();
                  }
                  catch (const std::system_error& e)
                  {
                      return e.code().value();
                  }
                  return 0;
              }),
              EMFILE);
}

TEST_F(KeptOpen, KeepTheirRank)
{
    const auto younger = owner({{"/a", "2"}});
    keepOpen();
    EXPECT_EQ(read(), (Map{{"/a", "2"}}));
    younger->kill();
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
}

TEST_F(KeptOpen, AgreeWithAModelAfterRandomChanges)
{
    std::list<OwnRecords> others;
    for (int i = 0; i < 4; ++i)
    {
        others.emplace_back(cache, capacity);
    }
    keepOpen();
    Map model{{"/a", "1"}};
    std::mt19937 random(7); // NOLINT(*-msc51-cpp): the same steps each time
    for (int step = 0; step < 5000; ++step)
    {
        const auto number = random() % 40;
        const std::string path = "/m" + std::to_string(number);
        OwnRecords& records = *std::next(others.begin(), number % 4);
        if (random() % 3 == 0)
        {
            records.remove(fault, path);
            model.erase(path);
        }
        else
        {
            const std::string payload = std::to_string(step);
            records.put({.kind = fault, .path = path, .payload = payload});
            model[path] = payload;
        }
        for (auto reads = random() % 4; reads > 0; --reads)
        {
            ASSERT_EQ(read(), model) << step;
        }
    }
}

} // namespace
} // namespace healthintf::host
