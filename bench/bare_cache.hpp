// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the records of the host's data cache by plain system calls and
 *  decodes them without any other work: the lower bound for queries. */

#include "data_cache/segment_format.hpp"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::bench
{

inline void require(bool done, const char* what)
{
    if (!done)
    {
        std::perror(what);
        std::exit(1);
    }
}

template <typename T>
void take(const char*& at, T& value)
{
    std::memcpy(&value, at, sizeof(value));
    at += sizeof(value);
}

inline void take(const char*& at, std::string& text)
{
    uint32_t size = 0;
    take(at, size);
    text.assign(at, size);
    at += size;
}

/** Calls @p visit with the path, the payload and the live value of a slot's
 *  record. */
template <typename Visit>
void readSlot(const char* segment, const host::Slot& slot, Visit&& visit)
{
    host::Place place;
    host::LiveValue live;
    if (slot.place == 0 || !host::decodePlace(slot.place, place) ||
        !host::decodeLive(slot.live, live))
    {
        return;
    }
    host::BlockHeader header{};
    const char* at = segment + std::size_t{place.unit} * host::blockUnit;
    std::memcpy(&header, at, sizeof(header));
    at += sizeof(header);
    const std::string_view path(at, header.pathSize);
    const std::string_view payload(at + header.pathSize, header.payloadSize);
    if (header.checksum == host::blockChecksum(header, path, payload))
    {
        visit(path, payload.data(), live.value);
    }
}

/** The content of a file, read into memory. */
inline std::vector<char> readContent(int folder, const char* name)
{
    const int file = openat(folder, name, O_RDONLY | O_CLOEXEC);
    require(file >= 0, name);
    host::SegmentHeader header{};
    require(pread(file, &header, sizeof(header), 0) == sizeof(header), name);
    std::vector<char> content(lseek(file, 0, SEEK_END));
    const auto size = static_cast<ssize_t>(content.size());
    require(pread(file, content.data(), content.size(), 0) == size, name);
    close(file);
    return content;
}

/** Calls @p visit for each record of a file. */
template <typename Visit>
void readSegment(int folder, const char* name, Visit&& visit)
{
    const std::vector<char> content = readContent(folder, name);
    const auto& header =
        *reinterpret_cast<const host::SegmentHeader*>(content.data());
    for (uint32_t number = 0; number < header.slotCount; ++number)
    {
        const auto [table, index] = host::slotPosition(number);
        readSlot(content.data(),
                 reinterpret_cast<const host::Slot*>(
                     content.data() + header.tables[table] +
                     host::slotsBehind(table))[index],
                 visit);
    }
}

/** Calls @p visit for each record of the segments in a folder. */
template <typename Visit>
void readFolder(const char* path, Visit&& visit)
{
    DIR* folder = opendir(path);
    require(folder != nullptr, path);
    while (const dirent* entry = readdir(folder))
    {
        if (entry->d_name[0] != '.')
        {
            readSegment(dirfd(folder), entry->d_name, visit);
        }
    }
    closedir(folder);
}

} // namespace healthintf::bench
