// SPDX-License-Identifier: Apache-2.0
#include "own_records.hpp"

#include "../host_log.hpp"
#include "../line_limit.hpp"
#include "../storage/files.hpp"

#include <sys/random.h>

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <exception>
#include <system_error>
#include <utility>

namespace healthintf::host
{
namespace
{

/** A file name that no other process uses or can guess. */
std::string newName()
{
    uint64_t random = 0;
    if (getrandom(&random, sizeof(random), 0) !=
        static_cast<ssize_t>(sizeof(random)))
    {
        throw std::system_error(errno, std::generic_category(), "getrandom");
    }
    std::array<char, 40> name{};
    std::snprintf(name.data(), name.size(), "%d-%016" PRIx64,
                  static_cast<int>(getpid()), random);
    return name.data();
}

} // namespace

OwnRecords::OwnRecords(const std::filesystem::path& folder,
                       std::size_t capacity) :
    folder(folder),
    capacity(capacity),
    segment(std::make_unique<Segment>(makeFolder(folder) / newName(), capacity))
{
    segment->publish();
}

/** Makes the segment again if its file was removed. After a failure the next
 *  change tries again. */
void OwnRecords::replaceRemoved() noexcept
{
    if (!segment->isRemoved())
    {
        return;
    }
    static constinit LineLimit lines;
    try
    {
        makeAnew();
        if (lines.admits())
        {
            HOST_LOG(log::warning,
                     "%s.%d.%s: somebody removed the file of this process from "
                     "the data cache %s: made it anew",
                     folder.c_str());
        }
    }
    catch (const std::exception& e)
    {
        if (lines.admits())
        {
            HOST_LOG(log::error,
                     "%s.%d.%s: somebody removed the file of this process from "
                     "the data cache %s, and it cannot be made anew: %s",
                     folder.c_str(), e.what());
        }
    }
}

void OwnRecords::makeAnew()
{
    auto made =
        std::make_unique<Segment>(makeFolder(folder) / newName(), capacity);
    if (placeholders)
    {
        made->makePlaceholders();
    }
    Slots entries = copy(RecordKind::faultEntry, *made);
    Slots nodes = copy(RecordKind::healthStatus, *made);
    made->publish();
    segment = std::move(made);
    faultEntries = std::move(entries);
    healthRecords = std::move(nodes);
}

OwnRecords::Slots OwnRecords::copy(RecordKind kind, Segment& to)
{
    Slots copied;
    for (const auto& [path, slot] : getSlots(kind))
    {
        copied.emplace(path, to.add({.kind = kind,
                                     .path = path,
                                     .payload = segment->readPayload(slot),
                                     .live = segment->readLive(slot),
                                     .created = segment->readCreation(slot)}));
    }
    return copied;
}

OwnRecords::Slots& OwnRecords::getSlots(RecordKind kind)
{
    return kind == RecordKind::faultEntry ? faultEntries : healthRecords;
}

void OwnRecords::put(const NewRecord& record)
{
    const std::lock_guard lock(mutex);
    replaceRemoved();
    Slots& slots = getSlots(record.kind);
    const auto [entry, isNew] = slots.try_emplace(std::string(record.path));
    if (!isNew)
    {
        segment->replace(entry->second, record);
        return;
    }
    try
    {
        entry->second = segment->add(record);
    }
    catch (...)
    {
        slots.erase(entry);
        throw;
    }
}

int OwnRecords::edit(RecordKind kind, std::string_view path,
                     const std::function<int(std::string& payload)>& edit)
{
    const std::lock_guard lock(mutex);
    replaceRemoved();
    const Slots& slots = getSlots(kind);
    const auto entry = slots.find(path);
    if (entry == slots.end())
    {
        return ENOENT;
    }
    std::string payload(segment->readPayload(entry->second));
    const int result = edit(payload);
    if (result == 0)
    {
        segment->setPayload(entry->second, payload);
    }
    return result;
}

int OwnRecords::setLive(RecordKind kind, std::string_view path, uint32_t value)
{
    const std::lock_guard lock(mutex);
    replaceRemoved();
    const Slots& slots = getSlots(kind);
    const auto entry = slots.find(path);
    if (entry == slots.end())
    {
        return ENOENT;
    }
    segment->setLive(entry->second, value);
    return 0;
}

int OwnRecords::remove(RecordKind kind, std::string_view path)
{
    const std::lock_guard lock(mutex);
    Slots& slots = getSlots(kind);
    const auto entry = slots.find(path);
    if (entry == slots.end())
    {
        return ENOENT;
    }
    segment->remove(entry->second);
    slots.erase(entry);
    if (kind == RecordKind::healthStatus)
    {
        // The node reports its end before its record is removed, so only this
        // tells watchers of the removal.
        segment->tellWatchers();
    }
    return 0;
}

void OwnRecords::makePlaceholders()
{
    const std::lock_guard lock(mutex);
    placeholders = true;
    segment->makePlaceholders();
}

void OwnRecords::removeFileIfEmpty() noexcept
{
    if (faultEntries.empty() && healthRecords.empty())
    {
        segment->unlink();
    }
}

void OwnRecords::abandon() noexcept
{
    segment->abandon();
}

} // namespace healthintf::host
