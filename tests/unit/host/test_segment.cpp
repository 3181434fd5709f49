// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "data_cache/segment.hpp"
#include "data_cache/segment_reader.hpp"
#include "file_content.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::expectOnSmallFilesystem;
using test::inChild;

constexpr std::size_t capacity = 1UL << 20;

NewRecord record(std::string_view path, std::string_view payload = "",
                 uint32_t live = 0)
{
    return {.kind = RecordKind::faultEntry,
            .path = path,
            .payload = payload,
            .live = live};
}

/** The error number of the exception that a call throws; 0 if it throws none.
 */
int makeError(const std::function<void()>& call)
{
    try
    {
        call();
    }
    catch (const std::system_error& e)
    {
        return e.code().value();
    }
    return 0;
}

std::optional<SegmentReader> opened(const fs::path& file)
{
    const FileDescriptor folder(
        open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return SegmentReader::open(folder.get(), file.filename().c_str());
}

/** Payloads and live values by path. */
using Records = std::map<std::string, std::pair<std::string, uint32_t>>;

/** The records that another process reads; no path may occur twice. */
Records readFrom(const fs::path& file)
{
    Records found;
    ReadingBudget budget;
    opened(file)->read(
        RecordQuery::below(RecordKind::faultEntry, {}), budget,
        [&found](const ReadRecord& each) {
            const bool isNew =
                found
                    .emplace(std::string(each.path),
                             std::pair(std::string(each.payload), each.live))
                    .second;
            EXPECT_TRUE(isNew) << each.path;
        });
    return found;
}

class SegmentTest : public testing::Test
{
  protected:
    static mode_t readMode(const fs::path& path)
    {
        struct stat status
        {};
        return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
    }

    /** Whether another process holds the file's lock. */
    static bool isLocked(const fs::path& path)
    {
        const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        struct flock whole
        {};
        whole.l_type = F_RDLCK;
        whole.l_whence = SEEK_SET;
        return fcntl(file.get(), F_OFD_GETLK, &whole) == 0 &&
               whole.l_type == F_WRLCK;
    }

    test::TemporaryFolder folder;
    fs::path file = folder.path() / "segment";
    fs::path hidden = folder.path() / ".new-segment";
};

TEST_F(SegmentTest, IsHiddenAndLockedUntilItIsPublished)
{
    Segment segment(file, capacity);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_TRUE(isLocked(hidden));
    segment.add(record("/a", "text", 7));
    segment.publish();
    EXPECT_FALSE(fs::exists(hidden));
    EXPECT_TRUE(isLocked(file));
    EXPECT_EQ(readFrom(file), (Records{{"/a", {"text", 7}}}));
}

TEST_F(SegmentTest, LeavesNothingWhenItIsNotPublished)
{
    {
        const Segment segment(file, capacity);
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(SegmentTest, StaysUnlockedAfterItsObjectsEnd)
{
    {
        Segment segment(file, capacity);
        segment.add(record("/a"));
        segment.publish();
    }
    EXPECT_FALSE(isLocked(file));
    EXPECT_EQ(readFrom(file).size(), 1U);
}

TEST_F(SegmentTest, IsReadableForEverybodyWhateverTheUmask)
{
    for (const mode_t mask : {0U, 022U, 077U, 0777U})
    {
        const mode_t before = umask(mask);
        Segment segment(file, capacity);
        umask(before);
        segment.publish();
        EXPECT_EQ(readMode(file), 0644U) << mask;
    }
}

TEST_F(SegmentTest, ReplacesAnExistingOne)
{
    Segment first(file, capacity);
    first.add(record("/first"));
    first.publish();
    const auto reader = opened(file);
    Segment second(file, capacity);
    second.add(record("/second"));
    EXPECT_EQ(readFrom(file).count("/first"), 1U);
    second.publish();
    EXPECT_EQ(readFrom(file).count("/second"), 1U);
    int visited = 0;
    ReadingBudget budget;
    reader->read(RecordQuery::below(RecordKind::faultEntry, {}), budget,
                 [&visited](const ReadRecord& each) {
                     visited += each.path == "/first" ? 1 : 100;
                 });
    EXPECT_EQ(visited, 1) << "an open reader still sees the old file";
}

TEST_F(SegmentTest, IsRemovedByItsOwner)
{
    Segment segment(file, capacity);
    segment.add(record("/a"));
    segment.publish();
    segment.unlink();
    EXPECT_TRUE(fs::is_empty(folder.path()));
    segment.setLive(0, 1);
    segment.add(record("/b"));
    EXPECT_EQ(segment.readLive(0), 1U);
}

TEST_F(SegmentTest, NeverWritesToAForeignFileAtItsHiddenName)
{
    const auto target = folder.write("target", "theirs");
    fs::create_symlink(target, hidden);
    Segment(file, capacity).publish();
    EXPECT_EQ(test::readContent(target), "theirs");
    EXPECT_TRUE(opened(file));
    EXPECT_FALSE(fs::is_symlink(file));

    fs::create_hard_link(target, hidden);
    Segment(file, capacity).publish();
    EXPECT_EQ(test::readContent(target), "theirs");
    EXPECT_TRUE(opened(file));

    ASSERT_EQ(mkfifo(hidden.c_str(), 0666), 0);
    Segment(file, capacity).publish();
    EXPECT_TRUE(opened(file));
}

TEST_F(SegmentTest, NeverFollowsALinkAtItsName)
{
    const auto target = folder.write("target", "theirs");
    fs::create_symlink(target, file);
    Segment(file, capacity).publish();
    EXPECT_EQ(test::readContent(target), "theirs");
    EXPECT_FALSE(fs::is_symlink(file));
    EXPECT_TRUE(opened(file));
}

TEST_F(SegmentTest, ReportsThatItCannotBeMade)
{
    EXPECT_EQ(makeError([this] {
                  Segment(folder.path() / "none" / "segment", capacity);
              }),
              ENOENT);
    fs::create_directory(hidden);
    EXPECT_NE(makeError([this] {
                  Segment(file, capacity);
              }),
              0);
    fs::remove(hidden);
    fs::create_directory(file);
    EXPECT_EQ(makeError([this] {
                  Segment(file, capacity).publish();
              }),
              EISDIR);
    EXPECT_FALSE(fs::exists(hidden));
}

TEST_F(SegmentTest, ChangesAndRemovesRecords)
{
    Segment segment(file, capacity);
    segment.publish();
    const uint32_t a = segment.add(record("/a", "one", 1));
    const uint32_t b = segment.add(record("/b", "two", 2));
    EXPECT_EQ(readFrom(file),
              (Records{{"/a", {"one", 1}}, {"/b", {"two", 2}}}));

    segment.setLive(a, 5);
    segment.setPayload(b, "three");
    EXPECT_EQ(segment.readLive(a), 5U);
    EXPECT_EQ(segment.readPayload(b), "three");
    EXPECT_EQ(readFrom(file),
              (Records{{"/a", {"one", 5}}, {"/b", {"three", 2}}}));

    segment.remove(a);
    segment.remove(a);
    EXPECT_EQ(readFrom(file), (Records{{"/b", {"three", 2}}}));
    EXPECT_EQ(segment.add(record("/c")), a) << "the free slot is used again";
    EXPECT_EQ(readFrom(file), (Records{{"/b", {"three", 2}}, {"/c", {"", 0}}}));
}

TEST_F(SegmentTest, PutsRecordsIntoTheGivenSlots)
{
    Segment segment(file, 8 * capacity);
    segment.publish();
    for (const uint32_t slot : {1U, 64U, 65534U})
    {
        segment.putAt(slot, record("/" + std::to_string(slot), "x"));
    }
    EXPECT_EQ(readFrom(file).size(), 3U);
    segment.putAt(64, record("/64", "another, and longer", 3));
    segment.remove(2);
    segment.remove(1);
    EXPECT_EQ(readFrom(file), (Records{{"/64", {"another, and longer", 3}},
                                       {"/65534", {"x", 0}}}));
}

TEST_F(SegmentTest, HoldsAsManyRecordsAsSeveralTablesHave)
{
    Segment segment(file, 8 * capacity);
    segment.publish();
    for (int i = 0; i < 1000; ++i)
    {
        segment.add(record("/" + std::to_string(i), "x"));
    }
    EXPECT_EQ(readFrom(file).size(), 1000U);
}

TEST_F(SegmentTest, ReusesSpace)
{
    Segment segment(file, capacity);
    segment.publish();
    const std::string large(5000, 'x');
    uintmax_t size = 0;
    for (int i = 0; i < 100'000; ++i)
    {
        const uint32_t first = segment.add(record("/a", "small"));
        const uint32_t second = segment.add(record("/b", large));
        segment.setPayload(first, large);
        segment.remove(second);
        segment.remove(first);
        if (i == 0)
        {
            size = fs::file_size(file);
        }
    }
    EXPECT_EQ(fs::file_size(file), size);
    EXPECT_TRUE(readFrom(file).empty());
}

TEST_F(SegmentTest, ReportsTheSpaceThatItUses)
{
    Segment segment(file, capacity);
    segment.publish();
    segment.add(record("/a"));
    const uint64_t before = opened(file)->usedBytes();
    const uint32_t slot = segment.add(record("/b", std::string(1000, 'x')));
    EXPECT_EQ(opened(file)->usedBytes(),
              before + unitsFor(sizeof(BlockHeader) + 2 + 1000) * blockUnit);
    segment.remove(slot);
    EXPECT_EQ(opened(file)->usedBytes(), before);
    EXPECT_EQ(opened(file)->capacity(), capacity);
}

TEST_F(SegmentTest, RefusesAPathOrARecordThatIsTooLong)
{
    Segment segment(file, 8 * capacity);
    segment.publish();
    const std::string path(maxRecordPath, 'a');
    const std::string payload(maxBlock - sizeof(BlockHeader) - path.size(),
                              'x');
    const uint32_t slot = segment.add(record(path, payload));
    const Records before = readFrom(file);
    EXPECT_EQ(before, (Records{{path, {payload, 0}}}));

    EXPECT_EQ(makeError([&] {
                  segment.add(record(path + "a"));
              }),
              ENAMETOOLONG);
    EXPECT_EQ(makeError([&] {
                  segment.putAt(9, record(path + "a"));
              }),
              ENAMETOOLONG);
    for (const auto& put : {std::function<void()>([&] {
                                segment.add(record(path, payload + "x"));
                            }),
                            std::function<void()>([&] {
                                segment.putAt(9, record(path, payload + "x"));
                            }),
                            std::function<void()>([&] {
                                segment.setPayload(slot, payload + "x");
                            })})
    {
        EXPECT_EQ(makeError(put), E2BIG);
    }
    EXPECT_EQ(readFrom(file), before);
}

TEST_F(SegmentTest, RefusesASlotBehindTheLast)
{
    Segment segment(file, 128 * capacity);
    segment.putAt(maxSlots - 1, record("/last"));
    segment.publish();
    EXPECT_EQ(makeError([&] {
                  segment.putAt(maxSlots, record("/behind"));
              }),
              EDQUOT);
    EXPECT_EQ(makeError([&] {
                  segment.add(record("/behind"));
              }),
              EDQUOT);
    bool found = false;
    ReadingBudget budget;
    EXPECT_TRUE(opened(file)->readSlot(maxSlots - 1, budget,
                                       [&found](const ReadRecord& each) {
                                           found = each.path == "/last";
                                       }));
    EXPECT_TRUE(found);
}

/** Fills a segment with records.
 *
 *  @param[out] count the number of records that fit
 *  @return the error number of the addition that failed */
int fill(Segment& segment, std::size_t payload, uint32_t& count)
{
    return makeError([&] {
        const std::string text(payload, 'x');
        for (count = 0;; ++count)
        {
            segment.add(record("/" + std::to_string(count), text));
        }
    });
}

/** Whether a full segment of so many records has lost none and still allows
 *  changes that need no room. */
bool worksWhenFull(Segment& segment, const fs::path& file, uint32_t count)
{
    const Records full = readFrom(file);
    const std::string longer(3000, 'y');
    for (const auto& grow : {std::function<void()>([&] {
                                 segment.setPayload(0, longer);
                             }),
                             std::function<void()>([&] {
                                 segment.add(record("/more", longer));
                             }),
                             std::function<void()>([&] {
                                 segment.putAt(0, record("/0", longer));
                             })})
    {
        if (makeError(grow) == 0)
        {
            return false;
        }
    }
    if (full.size() != count || readFrom(file) != full)
    {
        return false;
    }
    segment.setLive(count - 1, 9);
    if (readFrom(file).at("/" + std::to_string(count - 1)).second != 9)
    {
        return false;
    }
    for (uint32_t slot = 0; slot < count; ++slot)
    {
        segment.remove(slot);
    }
    uint32_t again = 0;
    fill(segment, full.at("/0").first.size(), again);
    return again >= count && readFrom(file).size() == again;
}

TEST_F(SegmentTest, IsFullAtItsCapacityAndStillUsable)
{
    Segment segment(file, capacity);
    segment.publish();
    uint32_t count = 0;
    EXPECT_EQ(fill(segment, 1000, count), EDQUOT);
    EXPECT_GT(count, 750U);
    EXPECT_LE(fs::file_size(file), capacity);
    EXPECT_TRUE(worksWhenFull(segment, file, count));
    EXPECT_LE(fs::file_size(file), capacity);
}

TEST_F(SegmentTest, GivesAnErrorOnAFullFilesystemAndStaysUsable)
{
    for (const char* size : {"size=64k", "size=256k", "size=300k"})
    {
        expectOnSmallFilesystem(folder.path(), size, [this] {
            Segment segment(file, capacity);
            segment.publish();
            uint32_t count = 0;
            if (fill(segment, 1000, count) != ENOSPC || count < 20)
            {
                return 1;
            }
            return worksWhenFull(segment, file, count) ? 0 : 2;
        });
    }
}

TEST_F(SegmentTest, CannotBeMadeOnAFullFilesystem)
{
    for (const char* size : {"size=4k", "size=12k"})
    {
        expectOnSmallFilesystem(folder.path(), size, [this] {
            const int failure = makeError([this] {
                Segment(file, capacity);
            });
            return failure == ENOSPC && fs::is_empty(folder.path()) ? 0 : 1;
        });
    }
}

TEST_F(SegmentTest, UsesAWholeFilesystemSmallerThanItsCapacity)
{
    expectOnSmallFilesystem(folder.path(), "size=1m", [this] {
        Segment segment(file, 64 * capacity);
        segment.publish();
        uint32_t count = 0;
        // A segment grows by a quarter at a time. It must use the last pages
        // even where a whole quarter no longer fits.
        return fill(segment, 1000, count) == ENOSPC && count > 750 ? 0 : 1;
    });
}

TEST_F(SegmentTest, UsesBlocksOfOtherSizesAsALastResort)
{
    Segment segment(file, capacity);
    segment.publish();
    uint32_t count = 0;
    fill(segment, 3000, count);
    for (uint32_t slot = 0; slot < count; ++slot)
    {
        segment.remove(slot);
    }
    uint32_t again = 0;
    EXPECT_EQ(fill(segment, 100, again), EDQUOT);
    EXPECT_GE(again, count) << "a larger block does, too";
    EXPECT_EQ(readFrom(file).size(), again);
}

TEST_F(SegmentTest, IsNoStandardStreamOfAProcessWithoutThem)
{
    EXPECT_EQ(inChild([this] {
                  close(STDIN_FILENO);
                  close(STDOUT_FILENO);
                  close(STDERR_FILENO);
                  const Segment segment(file, capacity);
                  return fcntl(STDIN_FILENO, F_GETFD) < 0 &&
                                 fcntl(STDOUT_FILENO, F_GETFD) < 0 &&
                                 fcntl(STDERR_FILENO, F_GETFD) < 0
                             ? 0
                             : 1;
              }),
              0);
}

} // namespace
} // namespace healthintf::host
