// SPDX-License-Identifier: Apache-2.0
#include "sel_entry_cache.hpp"

#include "../directories.hpp"
#include "../host_log.hpp"
#include "../storage/files.hpp"
#include "byte_codec.hpp"
#include "data_cache.hpp"
#include "segment.hpp"
#include "segment_reader.hpp"
#include "sel_entry_codec.hpp"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

constexpr const char* mirrorFile = "log";
constexpr std::size_t digitsOfId = 5;

std::string entryPath(uint16_t recordId)
{
    std::array<char, digitsOfId + 1> number{};
    std::snprintf(number.data(), number.size(), "%05d", recordId);
    return std::string(SELInterface::entryPrefix) + number.data();
}

/** The record identifier, if a prefix is the whole path of an entry. */
std::optional<uint16_t> parseEntryPath(std::string_view prefix)
{
    const std::string_view start = SELInterface::entryPrefix;
    uint16_t id = 0;
    if (prefix.size() != start.size() + digitsOfId ||
        !prefix.starts_with(start))
    {
        return std::nullopt;
    }
    const char* end = prefix.data() + prefix.size();
    const auto [stopped, error] =
        std::from_chars(prefix.data() + start.size(), end, id);
    return error == std::errc{} && stopped == end ? std::optional(id)
                                                  : std::nullopt;
}

/** Whether a prefix matches the log's own path, which selects all entries. */
bool selectsTheLog(const std::string& prefix)
{
    return std::string_view(SELInterface::logPath).starts_with(prefix);
}

/** Puts an entry into the mirror. Its payload is the entry followed by the
 *  sequence number. */
void put(Segment& segment, uint64_t sequence, const SELEntryProperties& entry)
{
    std::string payload = encodeSelEntry(entry);
    ByteWriter(payload).put(sequence);
    segment.putAt(entry.recordId, {.kind = RecordKind::selEntry,
                                   .path = entryPath(entry.recordId),
                                   .payload = payload});
}

uint64_t readSequence(std::string_view payload)
{
    const std::size_t size =
        payload.size() - std::min(payload.size(), sizeof(uint64_t));
    return ByteReader(payload.substr(size)).get<uint64_t>();
}

/** Opens the mirror for reading.
 *
 *  @return nothing when there is none
 *  @throws std::system_error when its folder cannot be read */
std::optional<SegmentReader> openMirror()
{
    const FileDescriptor folder(
        open(selMirrorFolder().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0)
    {
        if (errno == ENOENT)
        {
            return std::nullopt;
        }
        throw std::system_error(errno, std::generic_category(),
                                selMirrorFolder().string());
    }
    return SegmentReader::open(folder.get(), mirrorFile);
}

using Entries = std::map<std::string, SELEntry_gen>;

void keep(const ReadRecord& record, Entries& entries)
{
    entries.insert_or_assign(entries.end(), std::string(record.path),
                             SELEntry_gen(decodeSelEntry(record.payload)));
}

/** Entries by their sequence numbers. */
using EntriesInOrder = std::map<uint64_t, SELEntryProperties>;

void keep(const ReadRecord& record, EntriesInOrder& entries)
{
    entries.insert_or_assign(readSequence(record.payload),
                             decodeSelEntry(record.payload));
}

template <typename Found>
void take(const ReadRecord& record, Found& entries)
{
    try
    {
        keep(record, entries);
    }
    catch (const std::out_of_range& e)
    {
        HOST_LOG(log::warning, "%s.%d.%s: the entry %s was left out: %s",
                 std::string(record.path).c_str(), e.what());
    }
}

/** Reads the entries whose paths begin with any of the prefixes.
 *
 *  @return a DataAbstraction::ReadResult */
template <typename Found>
int readAll(const SegmentReader& mirror,
            const std::vector<std::string>& prefixes, Found& entries)
{
    ReadingBudget budget;
    const Coverage coverage =
        mirror.read(RecordQuery::below(RecordKind::selEntry, prefixes), budget,
                    [&entries](const ReadRecord& record) {
                        take(record, entries);
                    });
    return coverage.anyOfKind ? DataAbstraction::readOk
                              : DataAbstraction::readNoRecords;
}

/** Reads the entry with an identifier.
 *
 *  @return whether there is one */
bool readOne(const SegmentReader& mirror, uint16_t id, Entries& entries)
{
    ReadingBudget budget;
    return mirror.readSlot(id, budget, [&entries](const ReadRecord& record) {
        take(record, entries);
    });
}

} // namespace

SelMirror::SelMirror() = default;

SelMirror::~SelMirror() = default;

int SelMirror::replace(const std::function<void(const Sink& put)>& putAll)
{
    return useCache([&] {
        auto made = std::make_unique<Segment>(
            makeFolder(selMirrorFolder()) / mirrorFile, segmentCapacity());
        putAll([&made](uint64_t sequence, const SELEntryProperties& entry) {
            put(*made, sequence, entry);
        });
        made->publish();
        segment = std::move(made);
        return 0;
    });
}

bool SelMirror::isInPlace() const
{
    return segment != nullptr && segment->isInPlace();
}

std::size_t SelMirror::size() const
{
    return segment != nullptr ? segment->size() : 0;
}

bool SelMirror::isMostlyFree() const
{
    constexpr std::size_t share = 4;
    return segment != nullptr && segment->usedSize() < segment->size() / share;
}

int SelMirror::add(uint64_t sequence, const SELEntryProperties& entry,
                   const std::vector<uint16_t>& removed)
{
    return useCache([&] {
        put(*segment, sequence, entry);
        for (const uint16_t recordId : removed)
        {
            if (recordId != entry.recordId)
            {
                segment->remove(recordId);
            }
        }
        return 0;
    });
}

long readSelMirror(std::vector<SELEntryProperties>& entries)
{
    return useCache([&]() -> int {
        const auto mirror = openMirror();
        if (!mirror)
        {
            return DataAbstraction::readNoRecords;
        }
        EntriesInOrder found;
        const int result = readAll(*mirror, {}, found);
        for (auto& [sequence, entry] : found)
        {
            entries.push_back(std::move(entry));
        }
        return result;
    });
}

} // namespace healthintf::host

using namespace healthintf::host;

long DataAbstraction::SELEntry::get_map_by_path_prefixes(
    const std::vector<std::string>& /*services*/,
    const std::vector<std::string>& prefixes,
    std::map<std::string, SELEntry_gen>& entries)
{
    return useCache([&]() -> int {
        const auto mirror = openMirror();
        if (!mirror)
        {
            return readNoRecords;
        }
        const auto id = prefixes.size() == 1 ? parseEntryPath(prefixes.front())
                                             : std::nullopt;
        if (id && readOne(*mirror, *id, entries))
        {
            return readOk;
        }
        const bool all = std::ranges::any_of(prefixes, selectsTheLog);
        return readAll(*mirror, all ? std::vector<std::string>{} : prefixes,
                       entries);
    });
}
