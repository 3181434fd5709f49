// SPDX-License-Identifier: Apache-2.0
#include "data_cache/segment_format.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace healthintf::host
{
namespace
{

constexpr uint64_t one = 1;
constexpr unsigned int bitsOfNumber = 64;

std::mt19937& randomNumbers()
{
    static std::mt19937 numbers(1);
    return numbers;
}

uint64_t random64()
{
    return uint64_t{randomNumbers()()} << 32 | randomNumbers()();
}

std::size_t below(std::size_t end)
{
    return random64() % end;
}

/** Sample places, including those at the ends of the ranges. */
std::vector<Place> places()
{
    constexpr uint32_t lastUnit = std::numeric_limits<uint32_t>::max();
    std::vector<Place> all{{},
                           {.unit = 1, .units = 1, .tag = 0},
                           {.unit = lastUnit, .units = 65535, .tag = 255},
                           {.unit = lastUnit, .units = 0, .tag = 0},
                           {.unit = 0, .units = 65535, .tag = 0},
                           {.unit = 0, .units = 0, .tag = 255}};
    for (int i = 0; i < 1000; ++i)
    {
        all.push_back({.unit = static_cast<uint32_t>(random64()),
                       .units = static_cast<uint16_t>(random64()),
                       .tag = static_cast<uint8_t>(random64())});
    }
    return all;
}

TEST(SegmentFormat, DecodesThePlacesThatItEncodes)
{
    for (const Place& place : places())
    {
        Place decoded;
        EXPECT_TRUE(decodePlace(encodePlace(place), decoded));
        EXPECT_EQ(decoded, place);
    }
    EXPECT_EQ(encodePlace({}), 0U) << "a slot that is free is no other";
}

TEST(SegmentFormat, DecodesTheLiveValuesThatItEncodes)
{
    for (const RecordKind kind :
         {RecordKind::faultEntry, RecordKind::healthStatus,
          RecordKind::selEntry, RecordKind{255}})
    {
        for (const uint32_t value :
             {0U, 1U, std::numeric_limits<uint32_t>::max()})
        {
            const LiveValue live{.value = value, .kind = kind, .tag = 255};
            LiveValue decoded;
            EXPECT_TRUE(decodeLive(encodeLive(live), decoded));
            EXPECT_EQ(decoded, live);
        }
    }
}

TEST(SegmentFormat, FindsEachFlippedBitOfAPlace)
{
    for (const Place& place : places())
    {
        const uint64_t encoded = encodePlace(place);
        for (unsigned int bit = 0; bit < bitsOfNumber; ++bit)
        {
            Place decoded;
            ASSERT_FALSE(decodePlace(encoded ^ one << bit, decoded))
                << encoded << ", bit " << bit;
        }
    }
}

TEST(SegmentFormat, FindsEachFlippedBitOfALiveValue)
{
    for (int i = 0; i < 1000; ++i)
    {
        const uint64_t encoded =
            encodeLive({.value = static_cast<uint32_t>(random64()),
                        .kind = RecordKind::healthStatus,
                        .tag = static_cast<uint8_t>(i)});
        for (unsigned int bit = 0; bit < bitsOfNumber; ++bit)
        {
            LiveValue decoded;
            ASSERT_FALSE(decodeLive(encoded ^ one << bit, decoded))
                << encoded << ", bit " << bit;
        }
    }
}

/** The checksum of a block with these texts and this header. */
uint64_t sumUp(const BlockHeader& header, const std::string& path,
               const std::string& payload)
{
    return blockChecksum(header, path, payload);
}

TEST(SegmentFormat, FindsEachFlippedBitOfABlock)
{
    BlockHeader header{};
    header.slot = 7;
    header.pathSize = 30;
    header.payloadSize = 41;
    header.created = 123456789;
    const std::string path(30, 'a');
    const std::string payload(41, 'b');
    const uint64_t sum = sumUp(header, path, payload);

    // The checksum field itself is not part of the sum.
    for (std::size_t bit = 0; bit < offsetof(BlockHeader, checksum) * 8; ++bit)
    {
        std::string bytes(sizeof(header), '\0');
        std::memcpy(bytes.data(), &header, sizeof(header));
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        BlockHeader changed{};
        std::memcpy(&changed, bytes.data(), sizeof(changed));
        EXPECT_NE(sumUp(changed, path, payload), sum) << bit;
    }
    for (std::size_t bit = 0; bit < path.size() * 8; ++bit)
    {
        std::string changed = path;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
        EXPECT_NE(sumUp(header, changed, payload), sum) << bit;
    }
    for (std::size_t bit = 0; bit < payload.size() * 8; ++bit)
    {
        std::string changed = payload;
        changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
        EXPECT_NE(sumUp(header, path, changed), sum) << bit;
    }
}

TEST(SegmentFormat, HasADifferentHashForEachPath)
{
    std::set<uint64_t> hashes;
    const int count = 20000;
    for (int i = 0; i < count; ++i)
    {
        hashes.insert(
            pathHash("/com/vexa/olvar/health/node" + std::to_string(i)));
    }
    // A trailing zero byte must change the hash.
    hashes.insert(pathHash(""));
    hashes.insert(pathHash(std::string(1, '\0')));
    hashes.insert(pathHash(std::string(8, '\0')));
    EXPECT_EQ(hashes.size(), count + 3U);
}

TEST(SegmentFormat, PutsEachSlotIntoOneTable)
{
    uint32_t slot = 0;
    for (std::size_t table = 0; table < slotTables; ++table)
    {
        const std::size_t size = slotsInTable(table);
        EXPECT_EQ(size, slotsOfFirstTable << table);
        const SlotPosition first = slotPosition(slot);
        EXPECT_EQ(first.table, table);
        EXPECT_EQ(first.index, 0U);
        const SlotPosition last =
            slotPosition(slot + static_cast<uint32_t>(size) - 1);
        EXPECT_EQ(last.table, table);
        EXPECT_EQ(last.index, size - 1);
        slot += static_cast<uint32_t>(size);
    }
    EXPECT_EQ(slot, maxSlots);
}

TEST(SegmentFormat, HasADifferentPositionForEachSlot)
{
    SlotPosition before{.table = 0, .index = 0};
    for (uint32_t slot = 1; slot < 100'000; ++slot)
    {
        const SlotPosition next = slotPosition(slot);
        const bool same =
            next.table == before.table && next.index == before.index + 1;
        const bool following = next.table == before.table + 1 &&
                               next.index == 0 &&
                               before.index + 1 == slotsInTable(before.table);
        ASSERT_TRUE(same || following) << slot;
        before = next;
    }
}

TEST(SegmentFormat, HasBlocksThatAreLargeEnoughAndNotMuchLarger)
{
    for (std::size_t size = 1; size <= maxBlock; ++size)
    {
        const std::size_t bytes = unitsFor(size) * blockUnit;
        ASSERT_GE(bytes, size);
        ASSERT_LT(bytes, size + size / 4 + blockUnit) << size;
    }
    EXPECT_LE(unitsFor(maxBlock), std::numeric_limits<uint16_t>::max());
}

TEST(SegmentFormat, HasFewSizesOfBlocks)
{
    std::set<std::size_t> sizes;
    for (std::size_t size = 1; size <= maxBlock; size += blockUnit)
    {
        sizes.insert(unitsFor(size));
    }
    EXPECT_LE(sizes.size(), 64U);
}

/** A random object path of a given length. */
std::string randomPath(std::size_t size)
{
    static const std::string letters = "abcdefghijklmnopqrstuvwxyz0123456789_/";
    std::string path = "/";
    while (path.size() < size)
    {
        path.push_back(letters[below(letters.size())]);
    }
    path.resize(size);
    return path;
}

TEST(PathSignature, MatchesEachPrefixOfThePath)
{
    for (int round = 0; round < 3000; ++round)
    {
        const std::string path = randomPath(below(maxRecordPath + 1));
        const uint64_t signature = PathSignature(path).bits;
        for (std::size_t size = 0; size <= path.size(); ++size)
        {
            ASSERT_TRUE(PathSignature(path.substr(0, size)).mayBegin(signature))
                << path << " " << size;
        }
    }
}

TEST(PathSignature, ExcludesNoShortText)
{
    const uint64_t signature = PathSignature(randomPath(100)).bits;
    for (const std::size_t size : {0U, 1U, 23U})
    {
        EXPECT_TRUE(PathSignature(std::string(size, '~')).mayBegin(signature));
        EXPECT_EQ(PathSignature(std::string(size, '~')).mask, 0U);
    }
    EXPECT_NE(PathSignature(std::string(24, '~')).mask, 0U);
}

/** For how many of 1,000 other texts a path's signature allows that the path
 *  begins with them. */
int mistakesAt(std::size_t size)
{
    int mistakes = 0;
    for (int i = 0; i < 1000; ++i)
    {
        // They differ in the last two bytes that the signature covers.
        const std::string path = randomPath(size);
        std::string other = path;
        other.back() = static_cast<char>(other.back() ^ 1);
        mistakes += PathSignature(other).mayBegin(PathSignature(path).bits);
    }
    return mistakes;
}

TEST(PathSignature, ExcludesMostOtherTexts)
{
    // The signature keeps four bits here: one of 16 other texts passes, or more
    // where a single bit differs.
    for (const std::size_t size : {24U, 26U, 40U, 54U})
    {
        EXPECT_LT(mistakesAt(size), 300) << size;
    }
    // The signature does not cover bytes beyond these.
    EXPECT_EQ(mistakesAt(55), 1000);
}

TEST(PathSignature, DistinguishesBranchesOfOneTree)
{
    const std::string root = "/com/vexa/olvar/health/";
    std::vector<std::string> branches;
    for (int i = 0; i < 200; ++i)
    {
        branches.push_back(root + "component" + std::to_string(1000 + i));
    }
    int mistakes = 0;
    for (const std::string& branch : branches)
    {
        const PathSignature wanted(branch + "/entry");
        for (const std::string& other : branches)
        {
            const PathSignature stored(other + "/entry/00001");
            const bool may = wanted.mayBegin(stored.bits);
            EXPECT_TRUE(may || branch != other);
            mistakes += may && branch != other ? 1 : 0;
        }
    }
    EXPECT_LT(mistakes, 200 * 200 / 100);
}

} // namespace
} // namespace healthintf::host
