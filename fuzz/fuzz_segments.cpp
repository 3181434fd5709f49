// SPDX-License-Identifier: Apache-2.0
/** @file Puts any segments into the folders of the data cache: every query must
 *  end. */

#include "data_cache/cache_space.hpp"
#include "data_cache/record_owners.hpp"
#include "data_cache/segment.hpp"
#include "data_cache/segment_reader.hpp"
#include "data_cache/withdrawal.hpp"
#include "fuzz_input.hpp"
#include "temporary_folder.hpp"

#include <platform/data_abstraction/fault_entry.hpp>
#include <platform/data_abstraction/health_status.hpp>
#include <platform/data_abstraction/sel.hpp>

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

namespace
{

using namespace healthintf::host;
using healthintf::test::FuzzInput;

namespace fs = std::filesystem;

const std::string root = "/com/vexa/olvar/health/";

/** The folder that holds the data cache and the log's mirror. */
const fs::path& runtimeFolder()
{
    static const healthintf::test::TemporaryFolder folder;
    static const bool prepared = [] {
        setenv("HEALTHINTF_RUNTIME_DIR", folder.path().c_str(), 1);
        setenv("HEALTHINTF_LOG_LEVEL", "0", 0);
        for (const char* each : {"datacache", "sel"})
        {
            fs::create_directory(folder.path() / each);
        }
        return true;
    }();
    static_cast<void>(prepared);
    return folder.path();
}

/** A valid segment with records of all kinds. */
const std::string& soundSegment()
{
    static const std::string bytes = [] {
        constexpr std::size_t capacity = 1UL << 20;
        const fs::path file = runtimeFolder() / "sound";
        Segment segment(file, capacity);
        segment.publish();
        for (int i = 0; i < 6; ++i)
        {
            const std::string key = root + "part" + std::to_string(i);
            segment.add({.kind = RecordKind::healthStatus,
                         .path = key,
                         .payload = {},
                         .live = 3});
            segment.add({.kind = RecordKind::faultEntry,
                         .path = key + "/entry/1",
                         .payload = std::string(100, '\1')});
            segment.add({.kind = RecordKind::selEntry,
                         .path = std::string(SELInterface::entryPrefix) +
                                 "0000" + std::to_string(i),
                         .payload = std::string(60, '\2')});
        }
        segment.setPayload(1, std::string(900, '\3'));
        segment.remove(3);
        std::ifstream stream(file, std::ios::binary);
        std::string read{std::istreambuf_iterator<char>(stream), {}};
        segment.unlink();
        return read;
    }();
    return bytes;
}

/** Changes a value at an offset of the bytes; does nothing past the end. */
template <typename Value, typename Change>
void change(std::string& bytes, std::size_t at, const Change& change)
{
    if (at > bytes.size() || bytes.size() - at < sizeof(Value))
    {
        return;
    }
    Value value{};
    std::memcpy(&value, bytes.data() + at, sizeof(value));
    change(value);
    std::memcpy(bytes.data() + at, &value, sizeof(value));
}

/** The offset of a slot of the first table. */
std::size_t placeOfSlot(std::size_t slot)
{
    return firstTable + slotsBehind(0) + slot * sizeof(Slot);
}

/** Corrects the checksum of a slot's block, as far as the bytes include the
 *  block. */
void mendBlock(std::string& bytes, std::size_t slot)
{
    change<Slot>(bytes, placeOfSlot(slot), [&bytes](Slot& found) {
        Place place;
        decodePlace(found.place, place);
        const std::size_t at = std::size_t{place.unit} * blockUnit;
        change<BlockHeader>(bytes, at, [&](BlockHeader& header) {
            const std::string_view rest =
                std::string_view(bytes).substr(at + sizeof(header));
            const std::string_view path = rest.substr(0, header.pathSize);
            const std::string_view payload =
                rest.substr(path.size()).substr(0, header.payloadSize);
            header.checksum = blockChecksum(header, path, payload);
        });
    });
}

/** Changes a slot and keeps its checksums right. */
void changeSlot(std::string& bytes, FuzzInput& input)
{
    const std::size_t number = input.below(slotsOfFirstTable);
    const uint32_t unit =
        input.coin() ? input.number<uint32_t>() : input.number<uint8_t>();
    const auto units = static_cast<uint16_t>(
        input.coin() ? input.number<uint16_t>() : input.number<uint8_t>());
    const Place place{.unit = unit, .units = units, .tag = 1};
    const auto live =
        LiveValue{.value = input.number<uint32_t>(),
                  .kind = static_cast<RecordKind>("fhsx"[input.below(4)]),
                  .tag = static_cast<uint8_t>(input.below(3))};
    change<Slot>(bytes, placeOfSlot(number), [&](Slot& slot) {
        slot.place = input.coin() ? encodePlace(place) : slot.place;
        slot.live = encodeLive(live);
    });
}

/** Changes a block and keeps its checksum right. */
void changeBlock(std::string& bytes, FuzzInput& input)
{
    const std::size_t number = input.below(slotsOfFirstTable);
    const std::size_t offset =
        input.below(sizeof(BlockHeader) + 2 * maxRecordPath);
    const auto byte = static_cast<char>(input.number<uint8_t>());
    change<Slot>(bytes, placeOfSlot(number), [&](const Slot& slot) {
        Place place;
        decodePlace(slot.place, place);
        change<char>(bytes, std::size_t{place.unit} * blockUnit + offset,
                     [byte](char& at) {
                         at = byte;
                     });
    });
    mendBlock(bytes, number);
}

/** Changes the header. */
void changeHeader(std::string& bytes, FuzzInput& input)
{
    change<SegmentHeader>(bytes, 0, [&input](SegmentHeader& header) {
        const uint64_t number =
            input.coin() ? input.number<uint64_t>() : input.number<uint16_t>();
        switch (input.below(5))
        {
            case 0:
                header.slotCount = static_cast<uint32_t>(number);
                break;
            case 1:
                header.tables.at(input.below(slotTables)) = number;
                break;
            case 2:
                header.usedBytes = number;
                break;
            case 3:
                header.capacity = number;
                break;
            default:
                header.placeholders = static_cast<uint32_t>(number);
        }
    });
}

void changeAnything(std::string& bytes, FuzzInput& input)
{
    const std::size_t at = input.number<uint16_t>();
    change<uint64_t>(bytes, at, [&input](uint64_t& value) {
        value = input.number<uint64_t>();
    });
}

/** The content of one file. */
std::string content(FuzzInput& input)
{
    if (input.below(8) == 0)
    {
        const auto bytes = input.bytes(input.number<uint16_t>());
        return {bytes.begin(), bytes.end()};
    }
    std::string bytes = soundSegment();
    for (std::size_t changes = input.below(16); changes > 0; --changes)
    {
        constexpr std::array kinds{changeSlot, changeBlock, changeHeader,
                                   changeAnything};
        kinds.at(input.below(kinds.size()))(bytes, input);
    }
    if (input.below(8) == 0)
    {
        bytes.resize(input.number<uint16_t>());
    }
    return bytes;
}

/** Locks a file as the process that owns it does. */
FileDescriptor hold(const fs::path& path)
{
    FileDescriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    struct flock whole
    {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (fcntl(file.get(), F_OFD_SETLK, &whole) != 0)
    {
        std::abort();
    }
    return file;
}

void write(const fs::path& file, const std::string& bytes)
{
    std::ofstream(file, std::ios::binary) << bytes;
}

/** Runs one query for all records, for a branch and for one path. */
template <typename Record>
void askFor(long (*question)(const std::vector<std::string>&,
                             const std::vector<std::string>&,
                             std::map<std::string, Record>&),
            const std::string& path)
{
    for (const auto& prefixes :
         {std::vector<std::string>{}, {root + "part1"}, {path}, {path, root}})
    {
        std::map<std::string, Record> found;
        question({}, prefixes, found);
        for (const auto& [key, record] : found)
        {
            const bool wanted =
                prefixes.empty() ||
                std::any_of(prefixes.begin(), prefixes.end(),
                            [&key = key](const std::string& prefix) {
                                return key.starts_with(prefix);
                            });
            if (!wanted || key.size() > maxRecordPath)
            {
                std::abort();
            }
        }
    }
}

void askEverything()
{
    askFor(DataAbstraction::FaultEntry::get_map_by_path_prefixes,
           root + "part2/entry/1");
    askFor(DataAbstraction::HealthStatus::get_map_by_path_prefixes,
           root + "part2");
    bool exists = false;
    datacache_healthstatus_exists(root + "part4", exists);
    RecordOwners owners;
    listNodeOwners(owners);
    if (!measureCache())
    {
        std::abort();
    }
    cacheUse(runtimeFolder() / "datacache");
    for (const char* prefix : {"", "/com/vexa/olvar/logmgr/selentry/00004"})
    {
        std::map<std::string, SELEntry_gen> entries;
        DataAbstraction::SELEntry::get_map_by_path_prefixes({}, {prefix},
                                                            entries);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const fs::path cache = runtimeFolder() / "datacache";
    const std::size_t count = 1 + input.below(4);
    std::vector<FileDescriptor> held;
    for (std::size_t i = 0; i < count; ++i)
    {
        const fs::path file = cache / std::to_string(i);
        const std::string bytes = content(input);
        write(file, bytes);
        write(runtimeFolder() / "sel" / "log", bytes);
        if (input.below(4) != 0)
        {
            held.push_back(hold(file));
        }
    }
    askEverything();
    const std::size_t living = held.size();
    Withdrawal withdrawal;
    const auto removeTheDead = [&withdrawal] {
        if (const auto nodes = withdrawal.removeTheDead())
        {
            withdrawal.noteAnnounced(*nodes);
        }
        withdrawal.removeTheDead();
    };
    removeTheDead();
    const auto left = std::distance(fs::directory_iterator(cache), {});
    if (static_cast<std::size_t>(left) != living)
    {
        std::abort();
    }
    held.clear();
    removeTheDead();
    return 0;
}
