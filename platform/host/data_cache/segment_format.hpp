// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The layout of a segment, the file that holds the records of one
 *  process. The owner writes it through a mapping; other processes read copies
 *  of its parts at any time, and check each of them.
 *
 *  A segment begins with a SegmentHeader. Slots are in tables, each twice as
 *  large as the one before, and never move. In front of a table's slots are the
 *  hashes of their paths, so that a path is found without reading all slots. A
 *  slot in use points to the block of its record. A block is written before its
 *  slot points to it, and is used again only after its slot points to another
 *  one. So the process may stop or die at any instruction, and the slots still
 *  point to complete blocks.
 *
 *  Numbers are in the byte order of the machine. */

#include "process_identity.hpp"

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

/** The version of this layout and of the records' codecs. */
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
    /** 1 when the records are placeholders, which count only at paths where no
     *  other process has a record. */
    uint32_t placeholders;
    /** The owner by its own account; see ProcessIdentity. */
    uint32_t pid;
    /** How many slots were ever used; readers ignore the others. */
    uint32_t slotCount;
    uint64_t startTime;
    /** The size in bytes that the file may grow to. */
    uint64_t capacity;
    /** Bytes of header, slots and blocks that are in use. */
    uint64_t usedBytes;
    /** Counts the changes of the records. A copy from the same generation is up
     *  to date. */
    uint64_t generation;
    /** Where the tables of slots begin, in bytes; 0 for a table that does not
     *  exist yet. */
    std::array<uint64_t, slotTables> tables;
    /** The owner's name by its own account, NUL-padded; see
     *  ownProcessName(). */
    ProcessName processName;
};

/** One record of a segment. The numbers `place` and `live` are each written in
 *  one store and have a check of their own. Their tag, which changes with each
 *  record of the slot, shows that both belong together. When a record is
 *  replaced, `place` is stored first; while `live` still has the tag of the old
 *  record, BlockHeader::live is valid. So a replacement is one store, too. */
struct Slot
{
    /** Where the record's block is, see Place; 0 for a free slot. */
    uint64_t place;
    /** The number of a record that changes most, and the kind; see
     *  LiveValue. */
    uint64_t live;
    /** The path's signature, see PathSignature. */
    uint64_t signature;
};

/** Blocks begin at multiples of this and have such sizes, in bytes. */
inline constexpr std::size_t blockUnit = 64;

/** The decoded Slot::place. */
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

/** @return false when the check is wrong, for example because the number was
 *          read while it was written */
bool decodePlace(uint64_t encoded, Place& place);

/** The decoded Slot::live. */
struct LiveValue
{
    uint32_t value = 0;
    RecordKind kind{};
    uint8_t tag = 0;

    friend bool operator==(const LiveValue&, const LiveValue&) = default;
};

uint64_t encodeLive(const LiveValue& live);

/** Decodes Slot::live; returns as decodePlace(). */
bool decodeLive(uint64_t encoded, LiveValue& live);

/** The start of a block; the bytes of the path and of the payload follow. */
struct BlockHeader
{
    /** The number of the slot that the block belongs to. */
    uint32_t slot;
    uint16_t pathSize;
    uint8_t tag;
    uint8_t reserved;
    uint32_t payloadSize;
    /** The live value when the record was written. */
    uint32_t live;
    /** When the record was created, in nanoseconds since boot: of two records
     *  of one path the younger one is valid. */
    uint64_t created;
    /** The checksum of everything else in the block, see blockChecksum(). */
    uint64_t checksum;
};

/** Detects a block that was read while it was written. No protection against
 *  forged blocks. */
uint64_t blockChecksum(const BlockHeader& header, std::string_view path,
                       std::string_view payload);

/** A hash of a path with few collisions. */
uint64_t pathHash(std::string_view path);

/** The part of pathHash() that is stored in front of the slots. */
using SlotHash = uint32_t;

SlotHash slotHash(std::string_view path);

/** Excludes most paths that do not begin with a text, without reading them:
 *  four bits each of the hashes of the path's first 24, 26, 28, ... bytes, as
 *  far as the path is long enough. */
struct PathSignature
{
    explicit PathSignature(std::string_view path);

    /** Whether a path with the signature @p path may begin with the path of
     *  this signature. */
    bool mayBegin(uint64_t path) const
    {
        return ((path ^ bits) & mask) == 0;
    }

    uint64_t bits = 0;
    /** The bits that the path is long enough for. */
    uint64_t mask = 0;
};

static_assert(sizeof(SegmentHeader) == 192);
static_assert(sizeof(Slot) == 24);
static_assert(sizeof(BlockHeader) == 32);

/** Where the first table of slots begins, in bytes. */
inline constexpr std::size_t firstTable = 192;
static_assert(firstTable == sizeof(SegmentHeader));

/** A slot's table and its index there. */
struct SlotPosition
{
    std::size_t table;
    std::size_t index;
};

SlotPosition slotPosition(uint32_t slot);

/** How many slots a table has. */
constexpr std::size_t slotsInTable(std::size_t table)
{
    return slotsOfFirstTable << table;
}

/** Where the slots of a table begin, in bytes from the begin of its hashes. */
constexpr std::size_t slotsBehind(std::size_t table)
{
    return slotsInTable(table) * sizeof(SlotHash);
}

/** The size of a table in bytes. */
constexpr std::size_t countTableBytes(std::size_t table)
{
    return slotsBehind(table) + slotsInTable(table) * sizeof(Slot);
}

/** The size in units of the smallest block that holds so many bytes. */
std::size_t unitsFor(std::size_t size);

} // namespace healthintf::host
