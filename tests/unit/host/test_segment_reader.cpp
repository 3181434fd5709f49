// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "data_cache/segment_reader.hpp"
#include "file_content.hpp"
#include "segment_bytes.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <fcntl.h>
#include <unistd.h>

#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::readContent;
using test::segmentBytes;
using test::withBlock;
using test::withHeader;
using test::withSlot;

constexpr auto fault = RecordKind::faultEntry;

using Map = std::map<std::string, std::string>;

class SegmentReaderTest : public testing::Test
{
  protected:
    static NewRecord record(std::string_view path, std::string_view payload)
    {
        return {.kind = fault, .path = path, .payload = payload, .live = 0};
    }

    static std::string makePath(int number)
    {
        return "/" + std::to_string(1000 + number);
    }

    /** A segment of @p count records with payloads of equal size. */
    std::string findSegment(int count, std::size_t payload = 10) const
    {
        return segmentBytes(folder.path(), [&](Segment& segment) {
            for (int i = 0; i < count; ++i)
            {
                segment.add(record(makePath(i), std::string(payload, 'x')));
            }
        });
    }

    std::optional<SegmentReader> open(const char* name = "segment") const
    {
        const FileDescriptor opened(
            ::open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        return SegmentReader::open(opened.get(), name);
    }

    /** The paths that are read from a segment with these bytes. */
    std::vector<std::string> pathsIn(const std::string& bytes,
                                     ReadingBudget budget = {})
    {
        folder.write("segment", bytes);
        return listPaths(budget);
    }

    std::vector<std::string> listPaths(ReadingBudget& budget)
    {
        std::vector<std::string> paths;
        const auto reader = open();
        if (!reader)
        {
            return {"no segment"};
        }
        coverage = reader->read(RecordQuery::below(fault, {}), budget,
                                [&paths](const ReadRecord& each) {
                                    paths.emplace_back(each.path);
                                });
        return paths;
    }

    Coverage coverage;
    test::TemporaryFolder folder;
};

using Paths = std::vector<std::string>;
const Paths noSegment{"no segment"};

TEST_F(SegmentReaderTest, OpensNothingButRegularFiles)
{
    const auto at = [this](const char* name) {
        return folder.path() / name;
    };
    folder.write("good", findSegment(1));
    EXPECT_TRUE(open("good"));
    fs::create_symlink(at("good"), at("link"));
    fs::create_directory(at("folder"));
    ASSERT_EQ(mkfifo(at("pipe").c_str(), 0666), 0);
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    at("socket").string().copy(static_cast<char*>(address.sun_path),
                               sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(socket.get(), reinterpret_cast<sockaddr*>(&address),
                   sizeof(address)),
              0);
    for (const char* name : {"link", "folder", "pipe", "socket", "none"})
    {
        EXPECT_FALSE(open(name)) << name;
    }
    const FileDescriptor devices(::open("/dev", O_RDONLY | O_DIRECTORY));
    for (const char* name : {"null", "zero", "tty"})
    {
        EXPECT_FALSE(SegmentReader::open(devices.get(), name)) << name;
    }
}

TEST_F(SegmentReaderTest, OpensNoFileShorterThanItsFirstTable)
{
    const std::string whole = findSegment(1);
    constexpr std::size_t shortest = firstTable + countTableBytes(0);
    for (std::size_t size = 0; size < shortest; ++size)
    {
        EXPECT_EQ(pathsIn(whole.substr(0, size)), noSegment) << size;
    }
    EXPECT_EQ(pathsIn(whole.substr(0, shortest)), Paths{});
}

TEST_F(SegmentReaderTest, OpensNoFileOfAnotherVersionOrKind)
{
    const std::string whole = findSegment(1);
    EXPECT_EQ(pathsIn(withHeader(whole,
                                 [](SegmentHeader& header) {
                                     ++header.version;
                                 })),
              noSegment);
    EXPECT_EQ(pathsIn(withHeader(whole,
                                 [](SegmentHeader& header) {
                                     --header.version;
                                 })),
              noSegment);
    EXPECT_EQ(pathsIn(withHeader(whole,
                                 [](SegmentHeader& header) {
                                     ++header.magic;
                                 })),
              noSegment);
    EXPECT_EQ(pathsIn(std::string(100'000, '\0')), noSegment);
}

TEST_F(SegmentReaderTest, ReadsTheRestOfATruncatedFile)
{
    const std::string whole = findSegment(100, 500);
    for (std::size_t size = sizeof(SegmentHeader); size < whole.size();
         size += 997)
    {
        EXPECT_LE(pathsIn(whole.substr(0, size)).size(), 100U);
    }
    EXPECT_EQ(pathsIn(whole).size(), 100U);
}

TEST_F(SegmentReaderTest, ReadsNoSlotsBeyondTheFile)
{
    const std::string whole = findSegment(2);
    const auto claiming = [&whole](uint32_t slots) {
        return withHeader(whole, [slots](SegmentHeader& header) {
            header.slotCount = slots;
        });
    };
    EXPECT_EQ(pathsIn(claiming(64)).size(), 2U);
    EXPECT_EQ(pathsIn(claiming(65)).size(), 2U) << "the next table is missing";
    EXPECT_EQ(pathsIn(claiming(maxSlots)).size(), 2U);
    EXPECT_EQ(pathsIn(claiming(std::numeric_limits<uint32_t>::max())).size(),
              2U);
    EXPECT_FALSE(coverage.complete);
    EXPECT_EQ(pathsIn(claiming(1)), Paths{makePath(0)});
    EXPECT_EQ(pathsIn(claiming(0)), Paths{});
}

TEST_F(SegmentReaderTest, ReadsNoTablesAtWrongPlaces)
{
    const std::string whole = findSegment(66);
    for (const uint64_t at :
         {uint64_t{0}, uint64_t{1}, uint64_t{8}, whole.size() - 1, whole.size(),
          whole.size() + 4096, uint64_t{1} << 62, uint64_t{1} << 63,
          std::numeric_limits<uint64_t>::max(),
          std::numeric_limits<uint64_t>::max() - 31})
    {
        const auto moved = [&](std::size_t table) {
            return withHeader(whole, [&](SegmentHeader& header) {
                header.tables.at(table) = at;
            });
        };
        EXPECT_EQ(pathsIn(moved(0)), noSegment) << at;
        EXPECT_EQ(pathsIn(moved(1)).size(), slotsOfFirstTable) << at;
    }
    // Tables may overlap: the shared slots are read again for each.
    EXPECT_LE(pathsIn(withHeader(whole,
                                 [](SegmentHeader& header) {
                                     header.slotCount = maxSlots;
                                     header.tables.fill(header.tables.front());
                                 }))
                  .size(),
              slotsOfFirstTable);
}

TEST_F(SegmentReaderTest, LeavesOutSlotsThatPointToWrongPlaces)
{
    const std::string whole = findSegment(3);
    Place good;
    decodePlace(test::valueAt<Slot>(whole, test::placeOfSlot(whole, 0)).place,
                good);
    const auto pointing = [&](Place place) {
        place.tag = good.tag;
        return withSlot(whole, 1, [&place](Slot& slot) {
            slot.place = encodePlace(place);
        });
    };
    const Paths others{makePath(0), makePath(2)};
    const auto behind = static_cast<uint32_t>(whole.size() / blockUnit);
    for (const Place& place :
         {Place{.unit = 1, .units = 1}, Place{.unit = 3, .units = 2}, good,
          Place{.unit = good.unit, .units = 0},
          Place{.unit = good.unit, .units = 65535},
          Place{.unit = behind - 1, .units = 2},
          Place{.unit = behind, .units = 1},
          Place{.unit = 0xffffffff, .units = 1},
          Place{.unit = 0xffffffff, .units = 65535},
          Place{.unit = 0, .units = 1}})
    {
        EXPECT_EQ(pathsIn(pointing(place)), others)
            << place.unit << " " << place.units;
    }
}

TEST_F(SegmentReaderTest, LeavesOutTornSlots)
{
    const std::string whole = findSegment(3);
    const Paths others{makePath(0), makePath(2)};
    for (unsigned int bit = 0; bit < 64; ++bit)
    {
        const uint64_t flipped = uint64_t{1} << bit;
        EXPECT_EQ(pathsIn(withSlot(whole, 1,
                                   [flipped](Slot& slot) {
                                       slot.place ^= flipped;
                                   })),
                  others);
        EXPECT_EQ(pathsIn(withSlot(whole, 1,
                                   [flipped](Slot& slot) {
                                       slot.live ^= flipped;
                                   })),
                  others);
    }
}

TEST_F(SegmentReaderTest, FindsTheLiveValueThatBelongsToARecord)
{
    const std::string whole = findSegment(1);
    const auto tagged = [&whole](int difference) {
        return withSlot(whole, 0, [difference](Slot& slot) {
            LiveValue live;
            decodeLive(slot.live, live);
            live.tag = static_cast<uint8_t>(live.tag + difference);
            slot.live = encodeLive(live);
        });
    };
    EXPECT_EQ(pathsIn(tagged(0)).size(), 1U);
    EXPECT_EQ(pathsIn(tagged(-1)).size(), 1U)
        << "the record was replaced, and its live value follows";
    for (const int difference : {-2, 1, 2, 128})
    {
        EXPECT_EQ(pathsIn(tagged(difference)), Paths{}) << difference;
    }
}

TEST_F(SegmentReaderTest, LeavesOutIncompleteBlocks)
{
    const std::string whole = findSegment(3, 100);
    const Paths others{makePath(0), makePath(2)};
    const auto changed = [&](auto change, bool checked = true) {
        return pathsIn(withBlock(whole, 1, change, checked));
    };
    const auto wrongSum = [](BlockHeader& header) {
        ++header.checksum;
    };
    EXPECT_EQ(changed(wrongSum, false), others);
    EXPECT_EQ(changed([](BlockHeader& header) {
                  header.slot = 0;
              }),
              others);
    EXPECT_EQ(changed([](BlockHeader& header) {
                  ++header.tag;
              }),
              others);
    EXPECT_EQ(changed([](BlockHeader& header) {
                  header.payloadSize = 0xffffffff;
              }),
              others);
    EXPECT_EQ(changed([](BlockHeader& header) {
                  header.pathSize = 0xffff;
              }),
              others);
    EXPECT_EQ(changed([](BlockHeader& header) {
                  // One byte more than fits into the block.
                  header.payloadSize = static_cast<uint32_t>(
                      unitsFor(32 + 5 + 100) * blockUnit - sizeof(BlockHeader) -
                      header.pathSize + 1);
              }),
              others);
}

TEST_F(SegmentReaderTest, LeavesOutInvalidPaths)
{
    const std::string bytes = segmentBytes(folder.path(), [](Segment& segment) {
        segment.add(record("/good", ""));
        segment.add(record(std::string("/b\0d", 4), ""));
        segment.add(record(std::string(1, '\0'), ""));
        segment.add(record(std::string(maxRecordPath, 'a'), "x"));
    });
    EXPECT_EQ(pathsIn(bytes),
              (Paths{"/good", std::string(maxRecordPath, 'a')}));
    // The first byte of the payload becomes the last one of the path.
    EXPECT_EQ(pathsIn(withBlock(bytes, 3,
                                [](BlockHeader& header) {
                                    ++header.pathSize;
                                    --header.payloadSize;
                                })),
              Paths{"/good"})
        << "a path is never longer than it may be";
}

TEST_F(SegmentReaderTest, LimitsTheSlotsThatItReads)
{
    const std::string whole = findSegment(200);
    ReadingBudget budget;
    budget.slots = 200;
    EXPECT_EQ(pathsIn(whole, budget).size(), 200U);
    EXPECT_TRUE(coverage.complete);
    budget.slots = 199;
    EXPECT_EQ(pathsIn(whole, budget).size(), 199U);
    EXPECT_FALSE(coverage.complete);
    budget.slots = 0;
    EXPECT_EQ(pathsIn(whole, budget).size(), 0U);
    EXPECT_FALSE(coverage.complete);
}

TEST_F(SegmentReaderTest, LimitsTheRecordsThatItReads)
{
    const std::string whole = findSegment(200);
    ReadingBudget budget;
    budget.records = 200;
    EXPECT_EQ(pathsIn(whole, budget).size(), 200U);
    EXPECT_TRUE(coverage.complete);
    budget.records = 199;
    EXPECT_EQ(pathsIn(whole, budget).size(), 199U);
    EXPECT_FALSE(coverage.complete);
}

TEST_F(SegmentReaderTest, LimitsTheBytesThatItReads)
{
    const std::string whole = findSegment(200, 1000);
    ReadingBudget budget;
    const std::size_t block =
        unitsFor(sizeof(BlockHeader) + 5 + 1000) * blockUnit;
    budget.bytes = 200 * block;
    EXPECT_EQ(pathsIn(whole, budget).size(), 200U);
    EXPECT_TRUE(coverage.complete);
    --budget.bytes;
    EXPECT_EQ(pathsIn(whole, budget).size(), 199U);
    EXPECT_FALSE(coverage.complete);
}

TEST_F(SegmentReaderTest, SharesABudgetAmongSeveralReads)
{
    folder.write("segment", findSegment(10));
    ReadingBudget budget;
    budget.records = 15;
    EXPECT_EQ(listPaths(budget).size(), 10U);
    EXPECT_EQ(listPaths(budget).size(), 5U);
    EXPECT_EQ(listPaths(budget).size(), 0U);
}

TEST_F(SegmentReaderTest, LimitsItsRepetitions)
{
    std::string bytes = findSegment(200, 1000);
    for (uint32_t slot = 0; slot < 200; ++slot)
    {
        bytes = withBlock(
            bytes, slot,
            [](BlockHeader& header) {
                ++header.checksum;
            },
            false);
    }
    folder.write("segment", bytes);
    ReadingBudget budget;
    EXPECT_EQ(listPaths(budget), Paths{});
    EXPECT_EQ(budget.repetitions, 0U);
    // Rejected blocks count too: otherwise large invalid blocks could keep a
    // reader busy.
    const std::size_t block =
        unitsFor(sizeof(BlockHeader) + 5 + 1000) * blockUnit;
    EXPECT_LE(budget.bytes, ReadingBudget{}.bytes - 10'000 * block);
}

TEST_F(SegmentReaderTest, ReadsTheRecordOfOneSlot)
{
    folder.write("segment", findSegment(70));
    const auto reader = open();
    const auto at = [&reader](uint32_t slot) {
        std::string path;
        ReadingBudget budget;
        const bool found =
            reader->readSlot(slot, budget, [&path](const ReadRecord& each) {
                path = each.path;
            });
        return found ? path : "none";
    };
    EXPECT_EQ(at(0), makePath(0));
    EXPECT_EQ(at(69), makePath(69));
    EXPECT_EQ(at(70), "none");
    EXPECT_EQ(at(std::numeric_limits<uint32_t>::max()), "none");
    folder.write("segment",
                 withHeader(findSegment(1), [](SegmentHeader& header) {
                     header.slotCount = std::numeric_limits<uint32_t>::max();
                 }));
    const auto boasting = open();
    for (const uint32_t slot : {64U, static_cast<uint32_t>(maxSlots) - 1,
                                static_cast<uint32_t>(maxSlots),
                                std::numeric_limits<uint32_t>::max() - 1})
    {
        ReadingBudget budget;
        EXPECT_FALSE(
            boasting->readSlot(slot, budget, [](const ReadRecord&) {}));
    }
}

TEST_F(SegmentReaderTest, FindsTheRecordsThatAreWanted)
{
    const std::string root = "/com/vexa/olvar/health/";
    folder.write(
        "segment", segmentBytes(folder.path(), [&](Segment& segment) {
            for (const char* path : {"fan", "fan/1", "fan/2", "fans", "psu/1"})
            {
                segment.add(record(root + path, ""));
            }
            segment.add({.kind = RecordKind::healthStatus,
                         .path = root + "fan/1",
                         .payload = ""});
        }));
    const auto reader = open();
    const auto count = [&](const RecordQuery& query) {
        int found = 0;
        ReadingBudget budget;
        reader->read(query, budget, [&found](const ReadRecord&) {
            ++found;
        });
        return found;
    };
    const auto below = [&](const std::vector<std::string>& prefixes) {
        return count(RecordQuery::below(fault, prefixes));
    };
    EXPECT_EQ(below({}), 5);
    EXPECT_EQ(below({""}), 5);
    EXPECT_EQ(below({root + "fan"}), 4);
    EXPECT_EQ(below({root + "fan/"}), 2);
    EXPECT_EQ(below({root + "fan/1", root + "psu"}), 2);
    EXPECT_EQ(below({root + "fan", root + "fan/1"}), 4) << "each once";
    EXPECT_EQ(below({root + "x"}), 0);
    EXPECT_EQ(count(RecordQuery::exactly(fault, root + "fan")), 1);
    EXPECT_EQ(count(RecordQuery::exactly(fault, root + "fa")), 0);
    EXPECT_EQ(count(RecordQuery::exactly(fault, "")), 0);
    EXPECT_EQ(
        count(RecordQuery::exactly(RecordKind::healthStatus, root + "fan/1")),
        1);
    EXPECT_EQ(count(RecordQuery::below(RecordKind::selEntry, {})), 0);
}

TEST_F(SegmentReaderTest, KnowsWhetherThereIsAnyRecordOfTheKind)
{
    folder.write("segment", findSegment(1));
    ReadingBudget budget;
    const auto anyOf = [&](RecordKind kind) {
        return open()
            ->read(RecordQuery::below(kind, {"/none"}), budget,
                   [](const ReadRecord&) {})
            .anyOfKind;
    };
    EXPECT_TRUE(anyOf(fault));
    EXPECT_FALSE(anyOf(RecordKind::healthStatus));
}

TEST_F(SegmentReaderTest, ReadsRecordsOfEverySize)
{
    Map expected;
    folder.write("segment", segmentBytes(folder.path(), [&](Segment& segment) {
                     for (const std::size_t size :
                          {0UL, 1UL, 4096UL, 65'000UL, 65'536UL, 66'000UL,
                           500'000UL, maxBlock - sizeof(BlockHeader) - 8})
                     {
                         const std::string path = "/" + std::to_string(size);
                         const std::string payload(size, 'x');
                         expected[path] = payload;
                         segment.add(record(path, payload));
                     }
                 }));
    Map found;
    ReadingBudget budget;
    open()->read(RecordQuery::below(fault, {}), budget,
                 [&found](const ReadRecord& each) {
                     found[std::string(each.path)] = each.payload;
                 });
    EXPECT_EQ(found, expected);
}

TEST_F(SegmentReaderTest, KeepsNothingOfAnAbortedRead)
{
    folder.write("segment", findSegment(10));
    const auto reader = open();
    ReadingBudget budget;
    const RecordQuery query = RecordQuery::below(fault, {});
    EXPECT_THROW(reader->read(query, budget,
                              [](const ReadRecord&) {
                                  throw std::bad_alloc();
                              }),
                 std::bad_alloc);
    int found = 0;
    reader->read(query, budget, [&found](const ReadRecord&) {
        ++found;
    });
    EXPECT_EQ(found, 10);
}

TEST_F(SegmentReaderTest, SurvivesASegmentThatChangesItsSize)
{
    const std::string whole = findSegment(300, 500);
    const auto file = folder.write("segment", whole);
    test::Child owner([&](const test::Child::Parent& parent) {
        const FileDescriptor opened(::open(file.c_str(), O_RDWR | O_CLOEXEC));
        parent.tell("ready");
        for (std::size_t i = 0;; i += 1013)
        {
            const auto size = static_cast<off_t>(i % whole.size());
            if (ftruncate(opened.get(), size) != 0 ||
                pwrite(opened.get(), whole.data(), whole.size(), 0) < 0)
            {
                return 1;
            }
        }
    });
    owner.hear();
    std::size_t most = 0;
    for (int i = 0; i < 300; ++i)
    {
        ReadingBudget budget;
        const Paths paths = listPaths(budget);
        most = std::max(most, paths.size());
        ASSERT_LE(paths.size(), 300U);
    }
    EXPECT_GT(most, 0U);
}

/** A reader whose segment stays open, with limited room for copies. */
class RefreshedReader : public SegmentReaderTest
{
  protected:
    /** Writes a segment, opens it, and refreshes the reader. */
    void open(const std::string& bytes)
    {
        folder.write("segment", bytes);
        reader = SegmentReaderTest::open();
    }

    bool refresh()
    {
        return reader->refresh(room);
    }

    /** The number of records that are read after the file's blocks have been
     *  overwritten. */
    std::size_t countWithoutBlocks()
    {
        const std::string bytes =
            readContent(folder.path() / "segment")
                .substr(0, firstTable + countTableBytes(0));
        folder.write("segment", bytes);
        std::size_t count = 0;
        ReadingBudget budget;
        reader->read(RecordQuery::below(fault, {}), budget,
                     [&count](const ReadRecord&) {
                         ++count;
                     });
        return count;
    }

    std::size_t room = SegmentCopy::largest;
    std::optional<SegmentReader> reader;
};

TEST_F(RefreshedReader, CopiesASmallSegmentThatHasNotChanged)
{
    open(findSegment(10));
    EXPECT_TRUE(refresh());
    EXPECT_LT(room, SegmentCopy::largest);
    EXPECT_EQ(countWithoutBlocks(), 10U);
}

TEST_F(RefreshedReader, CopiesNothingWithoutRoom)
{
    open(findSegment(10));
    --room;
    EXPECT_TRUE(refresh());
    EXPECT_EQ(room, SegmentCopy::largest - 1);
    EXPECT_EQ(countWithoutBlocks(), 0U);
}

TEST_F(RefreshedReader, CopiesNoSegmentThatIsLarge)
{
    open(findSegment(60, 3000));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(countWithoutBlocks(), 0U);
}

TEST_F(RefreshedReader, CopiesNoSegmentLargerThanItsHeaderSays)
{
    open(withHeader(findSegment(60, 3000), [](SegmentHeader& header) {
        header.usedBytes = 1;
    }));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(countWithoutBlocks(), 0U);
}

TEST_F(RefreshedReader, DropsItsCopyWhenTheSegmentChanges)
{
    const std::string bytes = findSegment(10);
    open(bytes);
    EXPECT_TRUE(refresh());
    folder.write("segment", withHeader(bytes, [](SegmentHeader& header) {
                     ++header.generation;
                 }));
    EXPECT_TRUE(refresh());
    EXPECT_EQ(countWithoutBlocks(), 0U);
}

TEST_F(RefreshedReader, ReportsAFileThatIsNoLongerASegment)
{
    const std::string bytes = findSegment(10);
    open(bytes);
    folder.write("segment", withHeader(bytes, [](SegmentHeader& header) {
                     ++header.magic;
                 }));
    EXPECT_FALSE(refresh());
    folder.write("segment", "");
    EXPECT_FALSE(refresh());
}

} // namespace
} // namespace healthintf::host
