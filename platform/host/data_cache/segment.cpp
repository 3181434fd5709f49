// SPDX-License-Identifier: Apache-2.0
#include "segment.hpp"

#include "../storage/files.hpp"
#include "living_owner.hpp"
#include "process_identity.hpp"

#include <sys/mman.h>
#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <system_error>
#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t pageSize = 4096;
/** The size of a new file, enough for a daemon with a few faults. */
constexpr std::size_t firstSize = 4 * pageSize;

[[noreturn]] void fail(int code, const std::string& what)
{
    throw std::system_error(code, std::generic_category(), what);
}

void check(int result, const fs::path& file)
{
    if (result != 0)
    {
        fail(errno, file.string());
    }
}

/** Writes a number of the mapping in one store, ordered after all earlier
 *  writes. */
template <typename Number>
void store(Number& at, Number value)
{
    std::atomic_ref(at).store(value, std::memory_order_release);
}

uint64_t nanosecondsSinceBoot()
{
    constexpr uint64_t nanosecondsOfSecond = 1'000'000'000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * nanosecondsOfSecond +
           static_cast<uint64_t>(now.tv_nsec);
}

void checkSizes(const NewRecord& record)
{
    if (record.path.size() > maxRecordPath)
    {
        fail(ENAMETOOLONG, "the path of a record");
    }
    if (sizeof(BlockHeader) + record.path.size() + record.payload.size() >
        maxBlock)
    {
        fail(E2BIG, "a record");
    }
}

BlockHeader readHeader(const char* block)
{
    BlockHeader header{};
    std::memcpy(&header, block, sizeof(header));
    return header;
}

void writeBlock(char* at, BlockHeader header, std::string_view path,
                std::string_view payload)
{
    header.pathSize = static_cast<uint16_t>(path.size());
    header.payloadSize = static_cast<uint32_t>(payload.size());
    header.checksum = blockChecksum(header, path, payload);
    std::memcpy(at, &header, sizeof(header));
    path.copy(at + sizeof(header), path.size());
    payload.copy(at + sizeof(header) + path.size(), payload.size());
}

RecordKind readKind(const Slot& slot)
{
    LiveValue live;
    decodeLive(slot.live, live);
    return live.kind;
}

} // namespace

Segment::Segment(const fs::path& path, std::size_t capacity) :
    name(path),
    hiddenName(path.parent_path() / (".new-" + path.filename().string())),
    capacity(capacity)
{
    create();
    try
    {
        map();
    }
    catch (...)
    {
        discard();
        throw;
    }
}

Segment::~Segment()
{
    discard();
}

void Segment::discard() noexcept
{
    if (begin != nullptr)
    {
        munmap(begin, capacity);
    }
    if (!published)
    {
        ::unlink(hiddenName.c_str());
    }
}

void Segment::create()
{
    const auto open = [this] {
        // Until it is locked, only the owner may open the file.
        return FileDescriptor(
            ::open(hiddenName.c_str(),
                   O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                   S_IRUSR | S_IWUSR));
    };
    file = open();
    if (file.get() < 0 && errno == EEXIST)
    {
        // Left by a process that was killed before it published the file.
        check(::unlink(hiddenName.c_str()), hiddenName);
        file = open();
    }
    if (file.get() < 0)
    {
        fail(errno, hiddenName.string());
    }
    leaveStandardStreams();
}

/** Moves the file to another descriptor if it has that of a standard stream,
 *  which this process was started without: texts for the stream would be
 *  written into the file. */
void Segment::leaveStandardStreams()
{
    if (file.get() > STDERR_FILENO)
    {
        return;
    }
    FileDescriptor moved(fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    if (moved.get() < 0)
    {
        const int refused = errno;
        discard();
        fail(refused, hiddenName.string());
    }
    file = std::move(moved);
}

void Segment::map()
{
    if (const int refused = lockAsOwner(file.get()); refused != 0)
    {
        fail(refused, hiddenName.string());
    }
    check(fchmod(file.get(), S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH),
          hiddenName);
    allocate(std::min(firstSize, capacity));
    void* mapped = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_SHARED,
                        file.get(), 0);
    if (mapped == MAP_FAILED)
    {
        fail(errno, hiddenName.string());
    }
    begin = static_cast<char*>(mapped);
    // A child's mapping would keep the lock after the owner has ended.
    check(madvise(begin, capacity, MADV_DONTFORK), hiddenName);

    const ProcessIdentity self = ProcessIdentity::self();
    header() = {.magic = segmentMagic,
                .version = segmentVersion,
                .placeholders = 0,
                .pid = self.pid,
                .slotCount = 0,
                .startTime = self.startTime,
                .capacity = capacity,
                .usedBytes = end,
                .generation = 0,
                .tables = {},
                .processName = ownProcessName()};
}

void Segment::publish()
{
    check(rename(hiddenName.c_str(), name.c_str()), name);
    published = true;
}

bool Segment::isInPlace() const noexcept
{
    const auto found = namedFile(file.get(), name);
    return found && static_cast<std::size_t>(found->st_size) >= allocated;
}

std::size_t Segment::usedSize() const noexcept
{
    return static_cast<std::size_t>(header().usedBytes);
}

bool Segment::isRemoved() const noexcept
{
    // Not by its name, which a process does not find after it changed its root.
    struct stat status
    {};
    return fstat(file.get(), &status) == 0 && status.st_nlink == 0;
}

void Segment::unlink() noexcept
{
    ::unlink((published ? name : hiddenName).c_str());
}

void Segment::abandon() noexcept
{
    file = FileDescriptor();
}

void Segment::makePlaceholders() noexcept
{
    store(header().placeholders, uint32_t{1});
    countChange();
}

SegmentHeader& Segment::header() const
{
    return *static_cast<SegmentHeader*>(static_cast<void*>(begin));
}

Slot& Segment::slotAt(uint32_t slot) const
{
    const auto [table, index] = slotPosition(slot);
    void* slots = begin + header().tables.at(table) + slotsBehind(table);
    return static_cast<Slot*>(slots)[index];
}

SlotHash& Segment::hashAt(uint32_t slot) const
{
    const auto [table, index] = slotPosition(slot);
    void* hashes = begin + header().tables.at(table);
    return static_cast<SlotHash*>(hashes)[index];
}

std::string_view Segment::readPath(const Place& place) const
{
    const char* block = blockAt(place);
    return {block + sizeof(BlockHeader), readHeader(block).pathSize};
}

Place Segment::findPlace(uint32_t slot) const
{
    Place place;
    decodePlace(slotAt(slot).place, place);
    return place;
}

char* Segment::blockAt(const Place& place) const
{
    return begin + std::size_t{place.unit} * blockUnit;
}

uint32_t Segment::add(const NewRecord& record)
{
    checkSizes(record);
    if (freeSlots != 0)
    {
        const auto slot = static_cast<uint32_t>(freeSlots - 1);
        const uint64_t next = slotAt(slot).signature;
        fill(slot, record);
        freeSlots = next;
        return slot;
    }
    const uint32_t slot = header().slotCount;
    reachSlot(slot);
    try
    {
        fill(slot, record);
    }
    catch (...)
    {
        slotAt(slot).signature = freeSlots;
        freeSlots = uint64_t{slot} + 1;
        throw;
    }
    return slot;
}

void Segment::putAt(uint32_t slot, const NewRecord& record)
{
    checkSizes(record);
    reachSlot(slot);
    const Place before = findPlace(slot);
    if (before.unit != 0 && readKind(slotAt(slot)) == record.kind &&
        readPath(before) == record.path)
    {
        replace(slot, record);
        return;
    }
    fill(slot, record);
    giveBack(before);
}

void Segment::replace(uint32_t slot, const NewRecord& record)
{
    checkSizes(record);
    const Place before = findPlace(slot);
    const Place place = writeRecord(slot, record);
    Slot& at = slotAt(slot);
    // Until the live value is stored, the one in the block is valid.
    store(at.place, encodePlace(place));
    store(at.live,
          encodeLive(
              {.value = record.live, .kind = record.kind, .tag = place.tag}));
    countChange();
    giveBack(before);
}

/** Makes the table of a slot, and includes the slot in those that readers
 *  read. */
void Segment::reachSlot(uint32_t slot)
{
    if (slot >= maxSlots)
    {
        fail(EDQUOT, name.string());
    }
    const std::size_t last = slotPosition(slot).table;
    for (std::size_t table = 0; table <= last; ++table)
    {
        if (header().tables.at(table) == 0)
        {
            store(header().tables.at(table),
                  uint64_t{extend(countTableBytes(table))});
        }
    }
    if (slot >= header().slotCount)
    {
        store(header().slotCount, slot + 1);
    }
}

/** Writes the block of a slot's next record.
 *
 *  @return its place, which is not stored in the slot yet */
Place Segment::writeRecord(uint32_t slot, const NewRecord& record)
{
    Place place = takeBlock(sizeof(BlockHeader) + record.path.size() +
                            record.payload.size());
    LiveValue live;
    decodeLive(slotAt(slot).live, live);
    place.tag = live.tag + 1;
    writeBlock(blockAt(place),
               {.slot = slot,
                .pathSize = 0,
                .tag = place.tag,
                .reserved = 0,
                .payloadSize = 0,
                .live = record.live,
                .created = record.created == 0 ? nanosecondsSinceBoot()
                                               : record.created,
                .checksum = 0},
               record.path, record.payload);
    return place;
}

/** Puts a record into a free slot, storing its place last. */
void Segment::fill(uint32_t slot, const NewRecord& record)
{
    const Place place = writeRecord(slot, record);
    Slot& at = slotAt(slot);
    store(at.place, uint64_t{0});
    store(at.live,
          encodeLive(
              {.value = record.live, .kind = record.kind, .tag = place.tag}));
    store(hashAt(slot), slotHash(record.path));
    store(at.signature, PathSignature(record.path).bits);
    store(at.place, encodePlace(place));
    countChange();
}

void Segment::setPayload(uint32_t slot, std::string_view payload)
{
    const Place before = findPlace(slot);
    const char* old = blockAt(before);
    const BlockHeader header = readHeader(old);
    const NewRecord record{
        .kind = {}, .path = readPath(before), .payload = payload};
    checkSizes(record);
    Place place =
        takeBlock(sizeof(header) + record.path.size() + payload.size());
    place.tag = before.tag;
    writeBlock(blockAt(place), header, record.path, payload);
    store(slotAt(slot).place, encodePlace(place));
    countChange();
    giveBack(before);
}

void Segment::setLive(uint32_t slot, uint32_t value) noexcept
{
    uint64_t& at = slotAt(slot).live;
    LiveValue live;
    decodeLive(at, live);
    live.value = value;
    store(at, encodeLive(live));
    countChange();
}

void Segment::remove(uint32_t slot) noexcept
{
    const Place place = findPlace(slot);
    if (place.unit == 0)
    {
        return;
    }
    Slot& at = slotAt(slot);
    store(at.place, uint64_t{0});
    countChange();
    at.signature = freeSlots;
    freeSlots = uint64_t{slot} + 1;
    giveBack(place);
}

void Segment::tellWatchers() noexcept
{
    // The kernel does not report writes through a mapping, but it reports
    // changed times of a file.
    futimens(file.get(), nullptr);
}

std::string_view Segment::readPayload(uint32_t slot) const
{
    const char* block = blockAt(findPlace(slot));
    const BlockHeader header = readHeader(block);
    return {block + sizeof(header) + header.pathSize, header.payloadSize};
}

uint64_t Segment::readCreation(uint32_t slot) const
{
    return readHeader(blockAt(findPlace(slot))).created;
}

uint32_t Segment::readLive(uint32_t slot) const
{
    LiveValue live;
    decodeLive(slotAt(slot).live, live);
    return live.value;
}

/** Takes unused space at the end, in whole units.
 *
 *  @return where it begins, in bytes
 *  @throws std::system_error with EDQUOT at the segment's capacity, or with the
 *          filesystem's error number */
std::size_t Segment::extend(std::size_t size)
{
    if (size > capacity - end)
    {
        fail(EDQUOT, name.string());
    }
    allocate(end + size);
    const std::size_t at = std::exchange(end, end + size);
    store(header().usedBytes, header().usedBytes + size);
    return at;
}

/** Allocates the file's blocks up to a size, and some more if possible: writing
 *  to a page without blocks would end the process. */
void Segment::allocate(std::size_t size)
{
    if (size <= allocated)
    {
        return;
    }
    const auto wholePages = [this](std::size_t bytes) {
        return std::min(capacity, (bytes + pageSize - 1) / pageSize * pageSize);
    };
    constexpr std::size_t share = 4;
    std::size_t wanted = wholePages(size + allocated / share);
    try
    {
        allocateBlocks(file.get(), wanted, name);
    }
    catch (const std::system_error&)
    {
        wanted = wholePages(size);
        allocateBlocks(file.get(), wanted, name);
    }
    allocated = wanted;
}

/** Takes a free block of the size, or unused space, or a larger free block.
 *
 *  @throws as extend() */
Place Segment::takeBlock(std::size_t size)
{
    Place place;
    place.units = static_cast<uint16_t>(unitsFor(size));
    // The list is made here, so that giving the block back needs no memory.
    auto list = freeBlocks.try_emplace(place.units).first;
    if (list->second == 0)
    {
        try
        {
            const std::size_t at = extend(place.units * blockUnit);
            place.unit = static_cast<uint32_t>(at / blockUnit);
            return place;
        }
        catch (const std::system_error&)
        {
            const auto hasBlock = [](const auto& each) {
                return each.second != 0;
            };
            list = std::find_if(list, freeBlocks.end(), hasBlock);
            if (list == freeBlocks.end())
            {
                throw;
            }
        }
    }
    auto& [units, first] = *list;
    place = {.unit = first, .units = units, .tag = 0};
    std::memcpy(&first, blockAt(place), sizeof(first));
    store(header().usedBytes,
          header().usedBytes + std::size_t{units} * blockUnit);
    return place;
}

void Segment::giveBack(const Place& place) noexcept
{
    if (place.unit == 0)
    {
        return;
    }
    const auto list = freeBlocks.find(place.units);
    std::memcpy(blockAt(place), &list->second, sizeof(list->second));
    list->second = place.unit;
    store(header().usedBytes,
          header().usedBytes - std::size_t{place.units} * blockUnit);
}

/** Tells readers that their copies are out of date. */
void Segment::countChange() noexcept
{
    store(header().generation, header().generation + 1);
}

} // namespace healthintf::host
