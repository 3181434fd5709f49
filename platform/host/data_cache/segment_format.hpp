#pragma once

/** @file The layout of a segment, the file that holds the records of one
 *  process. The owner writes it through a mapping; everybody else reads copies
 *  of its parts, at any time, and believes none of them without a check.
 *
 *  A segment begins with a SegmentHeader. Slots stand in tables, each twice as
 *  large as the one before, and never move; the hashes of their paths stand in
 *  front of them, so that one path is found among many without reading all of
 *  each slot. A slot in use names the block that
 *  holds its record. A block is written before its slot names it, and is used
 *  again only after its slot names another. So a process may stop or die at any
 *  instruction: what the slots name is whole.
 *
 *  Numbers are in the byte order of the machine. */

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace healthintf::host
{

/** The kinds of records. */
enum class RecordKind : uint8_t
{
    faultEntry = 'f',
    healthStatus = 'h',
    selEntry = 's',
};

/** The longest path of a record, in bytes. */
inline constexpr std::size_t maxRecordPath = 510;

/** The largest block, in bytes: the path and the properties of one record. */
inline constexpr std::size_t maxBlock = 1UL << 20;

/** Changes with what is described here and with the codecs of the records. */
inline constexpr uint32_t segmentVersion = 1;
/** The first bytes of each segment. */
inline constexpr uint64_t segmentMagic = 0x31474553464e4948;

inline constexpr std::size_t slotTables = 15;
inline constexpr std::size_t slotsOfFirstTable = 64;
/** The most records of a segment. */
inline constexpr std::size_t maxSlots =
    slotsOfFirstTable * ((std::size_t{1} << slotTables) - 1);

struct SegmentHeader
{
    uint64_t magic;
    uint32_t version;
    /** 1 when these records count only where no other process has any. */
    uint32_t placeholders;
    /** The owner as it says itself; see ProcessIdentity. */
    uint32_t pid;
    /** How many slots were ever used: the others need not be read. */
    uint32_t slotCount;
    uint64_t startTime;
    /** The size in bytes that the owner lets the file grow to. */
    uint64_t capacity;
    /** Bytes of header, slots and blocks that are in use. */
    uint64_t usedBytes;
    /** Counts the changes of the records: a copy that was made at the same
     *  number is not out of date. */
    uint64_t generation;
    /** Where the tables of slots begin, in bytes; 0 for one that is not there
     *  yet. */
    std::array<uint64_t, slotTables> tables;
};

/** One record of a segment. Each of the two numbers is written in one store
 *  and has a check of its own; the tag, which changes with each record that a
 *  slot is used for, tells that both belong together. Where the live value is
 *  still that of the record before, which was replaced, BlockHeader::live
 *  counts: so a replacement takes place in one store, too. */
struct Slot
{
    /** Where the record's block is; 0 for a slot that is free. */
    uint64_t place;
    /** The one number of a record that changes most, and the kind. */
    uint64_t live;
    /** Of the path, see PathSignature. */
    uint64_t signature;
};

/** Blocks begin at multiples of this and have such sizes, in bytes. */
inline constexpr std::size_t blockUnit = 64;

/** What Slot::place says. */
struct Place
{
    /** Where the block begins, in units. */
    uint32_t unit = 0;
    /** Its size in units. */
    uint16_t units = 0;
    uint8_t tag = 0;

    friend bool operator==(const Place&, const Place&) = default;
};

uint64_t encodePlace(const Place& place);

/** @return whether the number is a place and not one that was read while it
 *          was written */
bool decodePlace(uint64_t encoded, Place& place);

/** What Slot::live says. */
struct LiveValue
{
    uint32_t value = 0;
    RecordKind kind{};
    uint8_t tag = 0;

    friend bool operator==(const LiveValue&, const LiveValue&) = default;
};

uint64_t encodeLive(const LiveValue& live);

/** The counterpart of encodeLive(), as decodePlace(). */
bool decodeLive(uint64_t encoded, LiveValue& live);

/** The begin of a block; the path's bytes and the payload's follow. */
struct BlockHeader
{
    /** The number of the slot that the block belongs to. */
    uint32_t slot;
    uint16_t pathSize;
    uint8_t tag;
    uint8_t reserved;
    uint32_t payloadSize;
    /** The live value that the record was written with. */
    uint32_t live;
    /** When the record was created, in nanoseconds since boot: of two records
     *  of one path the younger counts. */
    uint64_t created;
    /** Of all else in the block, see checksumOf(). */
    uint64_t checksum;
};

/** Finds what was read while it was written. It keeps out nobody who wants to
 *  be believed. */
uint64_t checksumOf(const BlockHeader& header, std::string_view path,
                    std::string_view payload);

/** A number of a path, equal for equal paths, which are hardly ever equal for
 *  others. */
uint64_t hashOf(std::string_view path);

/** What stands of hashOf() in front of the slots. */
using SlotHash = uint32_t;

SlotHash slotHashOf(std::string_view path);

/** Tells of most paths, without looking at them, that they do not begin with a
 *  text: four bits each of the hashes of the path's first 24, 26, 28, ...
 * bytes, as far as it goes. */
struct PathSignature
{
    explicit PathSignature(std::string_view path);

    /** Whether a path with this signature may begin with the one that this
     *  belongs to. */
    bool mayBegin(uint64_t path) const
    {
        return ((path ^ bits) & mask) == 0;
    }

    uint64_t bits = 0;
    /** The bits that the path is long enough for. */
    uint64_t mask = 0;
};

static_assert(sizeof(SegmentHeader) == 176);
static_assert(sizeof(Slot) == 24);
static_assert(sizeof(BlockHeader) == 32);

/** Where the first table of slots begins, in bytes. */
inline constexpr std::size_t firstTable = 192;
static_assert(firstTable >= sizeof(SegmentHeader));

/** A slot's table and its index there. */
struct SlotPosition
{
    std::size_t table;
    std::size_t index;
};

SlotPosition positionOf(uint32_t slot);

/** How many slots a table has. */
constexpr std::size_t sizeOfTable(std::size_t table)
{
    return slotsOfFirstTable << table;
}

/** Where the slots of a table begin, in bytes from the begin of its hashes. */
constexpr std::size_t slotsBehind(std::size_t table)
{
    return sizeOfTable(table) * sizeof(SlotHash);
}

/** The size of a table in bytes. */
constexpr std::size_t bytesOfTable(std::size_t table)
{
    return slotsBehind(table) + sizeOfTable(table) * sizeof(Slot);
}

/** The size in units of the smallest block that holds so many bytes. */
std::size_t unitsFor(std::size_t size);

} // namespace healthintf::host
