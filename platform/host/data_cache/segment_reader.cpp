// SPDX-License-Identifier: Apache-2.0
#include "segment_reader.hpp"

#include "living_owner.hpp"

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

namespace healthintf::host
{
namespace
{

/** The most bytes of neighbouring blocks that are read at once. */
constexpr std::size_t largestRun = 32UL << 10;
/** The largest gap between two blocks that are read at once, in bytes. */
constexpr std::size_t largestGap = 512;

/** Where a block begins and ends in the file, in bytes. */
uint64_t blockBegin(const Place& place)
{
    return uint64_t{place.unit} * blockUnit;
}

uint64_t blockEnd(const Place& place)
{
    return blockBegin(place) + std::size_t{place.units} * blockUnit;
}

bool isPath(std::string_view text)
{
    return text.size() <= maxRecordPath &&
           text.find('\0') == std::string_view::npos;
}

/** Whether the live value belongs to the record before that of the place: the
 *  owner has not written the new one yet. */
bool isReplaced(uint8_t tagOfLive, uint8_t tagOfPlace)
{
    return static_cast<uint8_t>(tagOfLive + 1) == tagOfPlace;
}

/** Decodes a slot in use.
 *
 *  @return false when the slot is invalid: it was read while it was written, or
 *          was made up */
bool decodeSlot(const Slot& slot, Place& place, LiveValue& live)
{
    const bool decoded =
        decodePlace(slot.place, place) && decodeLive(slot.live, live);
    const std::size_t size = blockEnd(place) - blockBegin(place);
    const bool together =
        place.tag == live.tag || isReplaced(live.tag, place.tag);
    return decoded && together && place.unit != 0 &&
           size >= sizeof(BlockHeader) && size <= 2 * maxBlock;
}

/** Parses the record of a block; nothing when the block belongs to another slot
 *  now, or is incomplete. */
std::optional<ReadRecord> parseBlock(std::span<const char> block, uint32_t slot,
                                     uint8_t tag, const LiveValue& live)
{
    BlockHeader header{};
    std::memcpy(&header, block.data(), sizeof(header));
    const std::size_t room = block.size() - sizeof(header);
    const bool replaced = isReplaced(live.tag, header.tag);
    if (header.slot != slot || header.tag != tag || header.pathSize > room ||
        header.payloadSize > room - header.pathSize)
    {
        return std::nullopt;
    }
    const char* at = block.data() + sizeof(header);
    const ReadRecord record{
        .kind = live.kind,
        .live = replaced ? header.live : live.value,
        .created = header.created,
        .path = {at, header.pathSize},
        .payload = {at + header.pathSize, header.payloadSize}};
    const bool whole =
        header.checksum == blockChecksum(header, record.path, record.payload);
    return whole && isPath(record.path) ? std::optional(record) : std::nullopt;
}

/** Memory for blocks that are read at once. The usual size is on the stack, to
 *  spare the allocator at each query. */
class Scratch // NOLINT(*-member-init): see usual
{
  public:
    /** @return so many bytes, valid until the next call */
    char* get(std::size_t size)
    {
        if (size <= usual.size())
        {
            return usual.data();
        }
        larger = std::make_unique_for_overwrite<char[]>(size);
        return larger.get();
    }

  private:
    // Not initialised: only written elements are read.
    std::array<char, largestRun> usual; // NOLINT(*-member-init)
    std::unique_ptr<char[]> larger;
};

} // namespace

std::optional<SegmentReader> SegmentReader::open(int folder, const char* name)
{
    // Opening a pipe without a writer, or a device, must not block.
    FileDescriptor opened(
        openat(folder, name,
               O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    struct stat status
    {};
    Begin begin{};
    if (opened.get() < 0 || fstat(opened.get(), &status) != 0 ||
        !S_ISREG(status.st_mode) || !readBegin(opened.get(), begin))
    {
        return std::nullopt;
    }
    return SegmentReader(std::move(opened), begin, status.st_uid,
                         status.st_ino);
}

/** Reads the header and the first table of a segment.
 *
 *  @return whether the file is a segment */
bool SegmentReader::readBegin(int file, Begin& begin)
{
    const SegmentHeader& header = begin.header;
    return pread(file, &begin, sizeof(begin), 0) ==
               static_cast<ssize_t>(sizeof(begin)) &&
           header.magic == segmentMagic && header.version == segmentVersion &&
           (header.slotCount == 0 || header.tables.front() == firstTable);
}

bool SegmentReader::refresh(std::size_t& room)
{
    const uint64_t before = header().generation;
    if (!readBegin(file.get(), start))
    {
        return false;
    }
    if (header().generation != before)
    {
        copy.reset();
    }
    else if (!copy && room >= SegmentCopy::largest)
    {
        copyRecords();
    }
    room -= copy ? std::min(room, copy->size()) : 0;
    return true;
}

/** Copies the records. If there are too many, the copy stays empty and
 *  incomplete, and copying is not tried again until they change. */
void SegmentReader::copyRecords()
{
    copy.emplace();
    if (header().usedBytes > SegmentCopy::largest)
    {
        return;
    }
    ReadingBudget budget{.segments = 1,
                         .slots = SegmentCopy::mostRecords,
                         .records = SegmentCopy::mostRecords,
                         .bytes = SegmentCopy::largest,
                         .repetitions = SegmentCopy::mostRecords};
    bool complete = true;
    for (const auto kind : {RecordKind::faultEntry, RecordKind::healthStatus})
    {
        budget.slots = SegmentCopy::mostRecords;
        complete &= readFile(RecordQuery::below(kind, {}), budget,
                             [this](const ReadRecord& record) {
                                 copy->add(record);
                             })
                        .complete;
    }
    if (complete)
    {
        copy->close();
        return;
    }
    copy.emplace();
}

std::string_view SegmentReader::processName() const
{
    const ProcessName& name = header().processName;
    return {name.data(), strnlen(name.data(), name.size())};
}

bool SegmentReader::isOwned() const
{
    return isOwnerAlive(file.get());
}

/** Reads bytes of the file.
 *
 *  @return whether all of them could be read */
bool SegmentReader::fetch(void* into, std::size_t size, uint64_t at) const
{
    auto* next = static_cast<char*>(into);
    if (at > static_cast<uint64_t>(std::numeric_limits<off_t>::max()) - size)
    {
        return false;
    }
    while (size > 0)
    {
        const ssize_t got =
            pread(file.get(), next, size, static_cast<off_t>(at));
        if (got == 0 || (got < 0 && errno != EINTR))
        {
            return false;
        }
        const std::size_t taken = std::max<ssize_t>(got, 0);
        next += taken;
        at += taken;
        size -= taken;
    }
    return true;
}

/** Reads slots or hashes of a table, starting at an index.
 *
 *  @return whether they could be read */
template <typename Element>
bool SegmentReader::fetchTablePart(std::span<Element> elements,
                                   std::size_t table, std::size_t index) const
{
    const uint64_t begin = header().tables.at(table);
    const std::size_t behind =
        std::is_same_v<Element, Slot> ? slotsBehind(table) : 0;
    return begin != 0 && fetch(elements.data(), elements.size_bytes(),
                               begin + behind + index * sizeof(Element));
}

/** Visits the first @p count slots or hashes in pieces, until one cannot be
 *  read.
 *
 *  @tparam Element Slot or SlotHash
 *  @param[in] visit called with a piece and the number of its first slot;
 *             returns whether to go on */
template <typename Element, typename Visit>
void SegmentReader::forEachPiece(std::size_t count, Visit&& visit) const
{
    constexpr std::size_t atOnce = largestRun / sizeof(Element);
    // Not initialised: only written elements are read.
    std::array<Element, atOnce> read; // NOLINT(*-member-init)
    std::span<const Element> piece;
    if constexpr (std::is_same_v<Element, Slot>)
    {
        piece = start.slots;
    }
    else
    {
        piece = start.hashes;
    }
    for (uint32_t next = 0; next < count;)
    {
        const auto [table, index] = slotPosition(next);
        const std::size_t size = std::min(
            {atOnce, slotsInTable(table) - index, std::size_t{count} - next});
        if (table != 0)
        {
            if (!fetchTablePart(std::span(read).first(size), table, index))
            {
                return;
            }
            piece = read;
        }
        if (!visit(piece.first(size), next))
        {
            return;
        }
        next += static_cast<uint32_t>(size);
    }
}

Coverage SegmentReader::read(const RecordQuery& query, ReadingBudget& budget,
                             const VisitReadRecord& visit) const
{
    return copy && copy->isWhole() ? copy->read(query, visit)
                                   : readFile(query, budget, visit);
}

Coverage SegmentReader::readFile(const RecordQuery& query,
                                 ReadingBudget& budget,
                                 const VisitReadRecord& visit) const
{
    const auto count =
        std::min<std::size_t>({header().slotCount, maxSlots, budget.slots});
    budget.slots -= count;
    Coverage coverage = query.wantedHash()
                            ? readByHash(count, query, budget, visit)
                            : readSlots(count, query, budget, visit);
    coverage.complete = coverage.complete && count == header().slotCount;
    return coverage;
}

/** Visits the matching records of the first @p count slots. */
Coverage SegmentReader::readSlots(std::size_t count, const RecordQuery& query,
                                  ReadingBudget& budget,
                                  const VisitReadRecord& visit) const
{
    Coverage coverage;
    Selection selection;
    forEachPiece<Slot>(
        count, [&](std::span<const Slot> slots, uint32_t number) {
            const auto concerns = [&](const Slot& slot) {
                return query.mayMatch(slot) || !coverage.anyOfKind;
            };
            for (auto at = slots.begin();
                 (at = std::find_if(at, slots.end(), concerns)) != slots.end();
                 ++at)
            {
                select(*at, number + (at - slots.begin()), query, budget,
                       selection, coverage);
            }
            readSelected(selection, query, budget, visit);
            return coverage.complete;
        });
    return coverage;
}

/** The same for a query of one whole path. */
Coverage SegmentReader::readByHash(std::size_t count, const RecordQuery& query,
                                   ReadingBudget& budget,
                                   const VisitReadRecord& visit) const
{
    const SlotHash wanted = *query.wantedHash();
    Coverage coverage;
    const auto take = [&](const ReadRecord& record) {
        if (query.matches(record))
        {
            coverage.anyOfKind = true;
            visit(record);
        }
    };
    forEachPiece<SlotHash>(count, [&](std::span<const SlotHash> hashes,
                                      uint32_t number) {
        for (auto at = hashes.begin();
             (at = std::find(at, hashes.end(), wanted)) != hashes.end(); ++at)
        {
            readAgain(number + (at - hashes.begin()), budget, take);
        }
        return budget.repetitions > 0;
    });
    coverage.complete = budget.repetitions > 0;
    coverage.anyOfKind =
        coverage.anyOfKind || hasKind(query.recordKind(), count);
    return coverage;
}

/** Whether one of the first @p count slots has a record of a kind. */
bool SegmentReader::hasKind(RecordKind kind, std::size_t count) const
{
    bool found = false;
    forEachPiece<Slot>(count, [&](std::span<const Slot> slots, uint32_t) {
        found = std::ranges::any_of(slots, [kind](const Slot& slot) {
            Place place;
            LiveValue live;
            return slot.place != 0 && decodeSlot(slot, place, live) &&
                   live.kind == kind;
        });
        return !found;
    });
    return found;
}

/** Adds a slot to the selection if its record may match. */
void SegmentReader::select(const Slot& slot, uint32_t number,
                           const RecordQuery& query, ReadingBudget& budget,
                           Selection& selection, Coverage& coverage)
{
    Candidate candidate{.slot = number, .place = {}, .live = {}};
    if (slot.place == 0)
    {
        return;
    }
    if (!decodeSlot(slot, candidate.place, candidate.live))
    {
        selection.torn.push_back(number);
        return;
    }
    if (candidate.live.kind != query.recordKind())
    {
        return;
    }
    coverage.anyOfKind = true;
    if (!query.mayMatch(slot))
    {
        return;
    }
    const std::size_t size =
        blockEnd(candidate.place) - blockBegin(candidate.place);
    if (budget.records == 0 || budget.bytes < size)
    {
        coverage.complete = false;
        return;
    }
    --budget.records;
    budget.bytes -= size;
    selection.candidates.push_back(candidate);
}

/** Visits the records of a selection, and empties it. Neighbouring blocks are
 *  read at once. */
void SegmentReader::readSelected(Selection& selection, const RecordQuery& query,
                                 ReadingBudget& budget,
                                 const VisitReadRecord& visit) const
{
    auto& [candidates, torn] = selection;
    const auto unit = [](const Candidate& candidate) {
        return candidate.place.unit;
    };
    if (!std::ranges::is_sorted(candidates, {}, unit))
    {
        std::ranges::sort(candidates, {}, unit);
    }
    for (std::span<const Candidate> left(candidates); !left.empty();)
    {
        const std::size_t size = countRun(left);
        readRun(left.first(size), query, torn, visit);
        left = left.subspan(size);
    }
    for (const uint32_t slot : torn)
    {
        readAgain(slot, budget, [&](const ReadRecord& record) {
            if (query.matches(record))
            {
                visit(record);
            }
        });
    }
    candidates.clear();
    torn.clear();
}

/** How many of the first candidates are read at once. */
std::size_t SegmentReader::countRun(std::span<const Candidate> candidates)
{
    const uint64_t begin = blockBegin(candidates.front().place);
    uint64_t end = begin;
    std::size_t size = 0;
    for (const Candidate& each : candidates)
    {
        if (size > 0 && (blockBegin(each.place) > end + largestGap ||
                         blockEnd(each.place) - begin > largestRun))
        {
            break;
        }
        end = std::max(end, blockEnd(each.place));
        ++size;
    }
    return size;
}

/** Visits the records of neighbouring blocks.
 *
 *  @param[in,out] torn slots with an invalid block are added */
void SegmentReader::readRun(std::span<const Candidate> run,
                            const RecordQuery& query,
                            std::vector<uint32_t>& torn,
                            const VisitReadRecord& visit) const
{
    const uint64_t begin = blockBegin(run.front().place);
    uint64_t end = begin;
    for (const Candidate& each : run)
    {
        end = std::max(end, blockEnd(each.place));
    }
    Scratch scratch;
    char* const read = scratch.get(end - begin);
    const bool fetched = fetch(read, end - begin, begin);
    for (const auto& [slot, place, live] : run)
    {
        const std::span block(read + (blockBegin(place) - begin),
                              blockEnd(place) - blockBegin(place));
        const auto record =
            fetched ? parseBlock(block, slot, place.tag, live) : std::nullopt;
        if (!record)
        {
            torn.push_back(slot);
        }
        else if (query.matches(*record))
        {
            visit(*record);
        }
    }
}

/** Reads and decodes a slot; nothing when it is free. */
std::optional<SegmentReader::Candidate>
SegmentReader::candidateAt(uint32_t slot) const
{
    const auto [table, index] = slotPosition(slot);
    Slot read{};
    Candidate candidate{.slot = slot, .place = {}, .live = {}};
    if (!fetchTablePart(std::span(&read, 1), table, index) || read.place == 0)
    {
        return std::nullopt;
    }
    if (!decodeSlot(read, candidate.place, candidate.live))
    {
        candidate.place = {};
    }
    return candidate;
}

/** Visits the record of a slot that was changed while it was read. Gives up
 *  after some attempts: a record that stays invalid was made up by its owner.
 *
 *  @return whether there is one */
bool SegmentReader::readAgain(uint32_t slot, ReadingBudget& budget,
                              const VisitReadRecord& visit) const
{
    for (int attempts = 100; attempts > 0 && budget.repetitions > 0; --attempts)
    {
        --budget.repetitions;
        const auto candidate = candidateAt(slot);
        if (!candidate)
        {
            return false;
        }
        const uint64_t begin = blockBegin(candidate->place);
        const std::size_t size = blockEnd(candidate->place) - begin;
        if (size > budget.bytes)
        {
            return false;
        }
        budget.bytes -= size;
        Scratch scratch;
        char* const read = scratch.get(size);
        if (size == 0 || !fetch(read, size, begin))
        {
            continue;
        }
        if (const auto record = parseBlock(
                {read, size}, slot, candidate->place.tag, candidate->live))
        {
            visit(*record);
            return true;
        }
    }
    return false;
}

bool SegmentReader::readSlot(uint32_t slot, ReadingBudget& budget,
                             const VisitReadRecord& visit) const
{
    return slot < std::min<std::size_t>(header().slotCount, maxSlots) &&
           readAgain(slot, budget, visit);
}

} // namespace healthintf::host
