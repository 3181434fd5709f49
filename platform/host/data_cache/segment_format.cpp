// SPDX-License-Identifier: Apache-2.0
#include "segment_format.hpp"

#include <bit>
#include <cstring>

namespace healthintf::host
{
namespace
{

constexpr unsigned int tagShift = 48;
constexpr unsigned int checkShift = 56;

// Odd, so that the multiplication is reversible.
constexpr uint64_t factor = 0x9e3779b97f4a7c15;

/** Adds the check in the highest byte of the number. */
uint64_t addCheck(uint64_t value)
{
    // A number that is written in one store is seldom read in two halves. Eight
    // bits detect nearly all such cases, and the block has a checksum of its
    // own.
    const uint64_t check = (value * factor) >> checkShift;
    return value | check << checkShift;
}

bool hasValidCheck(uint64_t value)
{
    constexpr uint64_t rest = (uint64_t{1} << checkShift) - 1;
    return addCheck(value & rest) == value;
}

/** A checksum over words of eight bytes. Four sums run in parallel, so that no
 *  step waits for the one before. */
class Checksum
{
  public:
    void add(std::string_view text)
    {
        const char* at = text.data();
        std::size_t left = text.size();
        for (; left >= 4 * step; at += 4 * step, left -= 4 * step)
        {
            a = add(a, at, step);
            b = add(b, at + step, step);
            c = add(c, at + 2 * step, step);
            d = add(d, at + 3 * step, step);
        }
        for (; left >= step; at += step, left -= step)
        {
            a = add(a, at, step);
        }
        // An empty text may have a null address.
        if (left > 0)
        {
            b = add(b, at, left);
        }
    }

    uint64_t get() const
    {
        uint64_t sum = a;
        for (const uint64_t other : {b, c, d})
        {
            sum = (std::rotl(sum, rotation) ^ other) * factor;
        }
        return sum;
    }

  private:
    static constexpr std::size_t step = sizeof(uint64_t);
    static constexpr int rotation = 29;

    static uint64_t add(uint64_t sum, const char* at, std::size_t size)
    {
        uint64_t word = 0;
        std::memcpy(&word, at, size);
        return (std::rotl(sum, rotation) ^ word) * factor;
    }

    uint64_t a = 1;
    uint64_t b = 2;
    uint64_t c = 3;
    uint64_t d = 4;
};

} // namespace

uint64_t encodePlace(const Place& place)
{
    constexpr unsigned int unitsShift = 32;
    return addCheck(place.unit | uint64_t{place.units} << unitsShift |
                    uint64_t{place.tag} << tagShift);
}

bool decodePlace(uint64_t encoded, Place& place)
{
    constexpr unsigned int unitsShift = 32;
    place = {.unit = static_cast<uint32_t>(encoded),
             .units = static_cast<uint16_t>(encoded >> unitsShift),
             .tag = static_cast<uint8_t>(encoded >> tagShift)};
    return hasValidCheck(encoded);
}

uint64_t encodeLive(const LiveValue& live)
{
    constexpr unsigned int kindShift = 32;
    return addCheck(live.value |
                    uint64_t{static_cast<uint8_t>(live.kind)} << kindShift |
                    uint64_t{live.tag} << tagShift);
}

bool decodeLive(uint64_t encoded, LiveValue& live)
{
    constexpr unsigned int kindShift = 32;
    live = {.value = static_cast<uint32_t>(encoded),
            .kind = static_cast<RecordKind>(
                static_cast<uint8_t>(encoded >> kindShift)),
            .tag = static_cast<uint8_t>(encoded >> tagShift)};
    return hasValidCheck(encoded);
}

uint64_t blockChecksum(const BlockHeader& header, std::string_view path,
                       std::string_view payload)
{
    Checksum sum;
    sum.add({reinterpret_cast<const char*>(&header),
             offsetof(BlockHeader, checksum)});
    sum.add(path);
    sum.add(payload);
    return sum.get();
}

uint64_t pathHash(std::string_view path)
{
    Checksum sum;
    sum.add(path);
    return sum.get() ^ path.size();
}

SlotHash slotHash(std::string_view path)
{
    return static_cast<SlotHash>(pathHash(path));
}

PathSignature::PathSignature(std::string_view path)
{
    constexpr std::size_t first = 24;
    constexpr std::size_t step = 2;
    constexpr unsigned int bitsEach = 4;
    constexpr unsigned int bitsOfHash = 64;
    constexpr unsigned int secondByte = 8;

    if (path.size() < first)
    {
        return;
    }
    uint64_t hash = pathHash(path.substr(0, first));
    for (unsigned int at = 0; at < bitsOfHash; at += bitsEach)
    {
        bits |= (hash >> (bitsOfHash - bitsEach)) << at;
        mask |= uint64_t{(1U << bitsEach) - 1} << at;
        const std::size_t next = first + (at / bitsEach + 1) * step;
        if (next > path.size())
        {
            return;
        }
        const auto a = static_cast<uint8_t>(path[next - 2]);
        const auto b = static_cast<uint8_t>(path[next - 1]);
        hash = (hash ^ (a | b << secondByte)) * factor;
    }
}

SlotPosition slotPosition(uint32_t slot)
{
    const std::size_t table = std::bit_width(slot / slotsOfFirstTable + 1) - 1;
    return {.table = table,
            .index = slot - (slotsInTable(table) - slotsOfFirstTable)};
}

std::size_t unitsFor(std::size_t size)
{
    // Only a few sizes, so that a freed block fits the next record.
    constexpr std::size_t largestExact = 16;
    const std::size_t units = (size + blockUnit - 1) / blockUnit;
    if (units <= largestExact)
    {
        return units;
    }
    const std::size_t step = std::bit_floor(units) / 4;
    return (units + step - 1) / step * step;
}

} // namespace healthintf::host
