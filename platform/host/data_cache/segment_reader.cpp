#include "segment_reader.hpp"

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

/** So much is read at once of blocks that stand together, in bytes. */
constexpr std::size_t largestRun = 32UL << 10;
/** So much between two blocks is read along rather than left out, in bytes. */
constexpr std::size_t largestGap = 512;

/** Where a block begins and ends in the file, in bytes. */
uint64_t beginOf(const Place& place)
{
    return uint64_t{place.unit} * blockUnit;
}

uint64_t endOf(const Place& place)
{
    return beginOf(place) + std::size_t{place.units} * blockUnit;
}

bool isPath(std::string_view text)
{
    return text.size() <= maxRecordPath &&
           text.find('\0') == std::string_view::npos;
}

/** Whether a live value is that of the record before the one that the place is
 *  of: the owner has not written the new one yet. */
bool isReplaced(uint8_t tagOfLive, uint8_t tagOfPlace)
{
    return static_cast<uint8_t>(tagOfLive + 1) == tagOfPlace;
}

/** Takes a slot in use apart.
 *
 *  @return whether it makes sense: it does not when it was read while it was
 *          written, or when somebody made it up */
bool decodeSlot(const Slot& slot, Place& place, LiveValue& live)
{
    const bool decoded =
        decodePlace(slot.place, place) && decodeLive(slot.live, live);
    const std::size_t size = endOf(place) - beginOf(place);
    const bool together =
        place.tag == live.tag || isReplaced(live.tag, place.tag);
    return decoded && together && place.unit != 0 &&
           size >= sizeof(BlockHeader) && size <= 2 * maxBlock;
}

/** The record of a block, unless the block is another slot's by now, or not
 *  whole. */
std::optional<ReadRecord> recordIn(std::span<const char> block, uint32_t slot,
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
        header.checksum == checksumOf(header, record.path, record.payload);
    return whole && isPath(record.path) ? std::optional(record) : std::nullopt;
}

/** Memory for what is read at once: on the stack what usually does, as a
 *  query shall not ask the allocator for so much. */
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
    // Written as far as it is read.
    std::array<char, largestRun> usual; // NOLINT(*-member-init)
    std::unique_ptr<char[]> larger;
};

} // namespace

std::optional<SegmentReader> SegmentReader::open(int folder, const char* name)
{
    // A pipe that nobody writes, or a device, must not hold anybody up.
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

/** Reads the begin of a segment.
 *
 *  @return whether the file is one */
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

/** Copies the records, or makes a copy that is not whole where there are too
 *  many: until they change, that is not tried again. */
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

bool isHeldByOwner(int file)
{
    // Asks whether a read lock would be refused: nobody but the owner of the
    // file can hold one that refuses it.
    struct flock whole
    {};
    whole.l_type = F_RDLCK;
    whole.l_whence = SEEK_SET;
    return fcntl(file, F_OFD_GETLK, &whole) == 0 && whole.l_type == F_WRLCK;
}

bool SegmentReader::isOwned() const
{
    return isHeldByOwner(file.get());
}

/** Reads bytes at a place of the file.
 *
 *  @return whether all of them are there */
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

/** Reads slots of a table, or hashes, from an index on.
 *
 *  @return whether they are there */
template <typename Element>
bool SegmentReader::fetchOfTable(std::span<Element> elements, std::size_t table,
                                 std::size_t index) const
{
    const uint64_t begin = header().tables.at(table);
    const std::size_t behind =
        std::is_same_v<Element, Slot> ? slotsBehind(table) : 0;
    return begin != 0 && fetch(elements.data(), elements.size_bytes(),
                               begin + behind + index * sizeof(Element));
}

/** Visits the first slots, or hashes, some at a time, as far as they are there.
 *
 *  @tparam Element Slot or SlotHash
 *  @param[in] visit gets a span, and the number of its first slot; returns
 *             whether to go on */
template <typename Element, typename Visit>
void SegmentReader::forEachPiece(std::size_t count, Visit&& visit) const
{
    constexpr std::size_t atOnce = largestRun / sizeof(Element);
    // Written as far as it is read.
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
        const auto [table, index] = positionOf(next);
        const std::size_t size = std::min(
            {atOnce, sizeOfTable(table) - index, std::size_t{count} - next});
        if (table != 0)
        {
            if (!fetchOfTable(std::span(read).first(size), table, index))
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

/** Visits the records that are wanted among the first slots. */
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

/** Whether one of the first slots has a record of a kind. */
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

/** Looks whether the record of a slot may be wanted. */
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
    const std::size_t size = endOf(candidate.place) - beginOf(candidate.place);
    if (budget.records == 0 || budget.bytes < size)
    {
        coverage.complete = false;
        return;
    }
    --budget.records;
    budget.bytes -= size;
    selection.candidates.push_back(candidate);
}

/** Visits the records of a selection, and empties it. Blocks that stand
 * together are read at once. */
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
        const std::size_t size = sizeOfRun(left);
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

/** How many of the candidates, the first ones, are read at once. */
std::size_t SegmentReader::sizeOfRun(std::span<const Candidate> candidates)
{
    const uint64_t begin = beginOf(candidates.front().place);
    uint64_t end = begin;
    std::size_t size = 0;
    for (const Candidate& each : candidates)
    {
        if (size > 0 && (beginOf(each.place) > end + largestGap ||
                         endOf(each.place) - begin > largestRun))
        {
            break;
        }
        end = std::max(end, endOf(each.place));
        ++size;
    }
    return size;
}

/** Visits the records whose blocks stand next to each other.
 *
 *  @param[in,out] torn the slots are added whose blocks are not theirs or not
 *                 whole */
void SegmentReader::readRun(std::span<const Candidate> run,
                            const RecordQuery& query,
                            std::vector<uint32_t>& torn,
                            const VisitReadRecord& visit) const
{
    const uint64_t begin = beginOf(run.front().place);
    uint64_t end = begin;
    for (const Candidate& each : run)
    {
        end = std::max(end, endOf(each.place));
    }
    Scratch scratch;
    char* const read = scratch.get(end - begin);
    const bool fetched = fetch(read, end - begin, begin);
    for (const auto& [slot, place, live] : run)
    {
        const std::span block(read + (beginOf(place) - begin),
                              endOf(place) - beginOf(place));
        const auto record =
            fetched ? recordIn(block, slot, place.tag, live) : std::nullopt;
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

/** What a slot says now; nothing when it is free. */
std::optional<SegmentReader::Candidate>
SegmentReader::candidateAt(uint32_t slot) const
{
    const auto [table, index] = positionOf(slot);
    Slot read{};
    Candidate candidate{.slot = slot, .place = {}, .live = {}};
    if (!fetchOfTable(std::span(&read, 1), table, index) || read.place == 0)
    {
        return std::nullopt;
    }
    if (!decodeSlot(read, candidate.place, candidate.live))
    {
        candidate.place = {};
    }
    return candidate;
}

/** Visits the record of a slot that was changed while it was read. A record
 * that stays torn is not being written: its owner made it up.
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
        const uint64_t begin = beginOf(candidate->place);
        const std::size_t size = endOf(candidate->place) - begin;
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
        if (const auto record = recordIn({read, size}, slot,
                                         candidate->place.tag, candidate->live))
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
