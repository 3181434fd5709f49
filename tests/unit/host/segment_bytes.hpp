// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Segments in which a test changes single bytes. */

#include "data_cache/living_owner.hpp"
#include "data_cache/segment.hpp"
#include "data_cache/segment_reader.hpp"
#include "file_content.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

/** The bytes of a segment that @p write has filled. */
inline std::string
segmentBytes(const std::filesystem::path& folder,
             const std::function<void(host::Segment& segment)>& write)
{
    constexpr std::size_t capacity = 64UL << 20;
    const auto file = folder / "whole-segment";
    host::Segment segment(file, capacity);
    segment.publish();
    write(segment);
    std::string bytes = readContent(file);
    segment.unlink();
    return bytes;
}

/** A value at an offset of the bytes. */
template <typename Value>
Value valueAt(const std::string& bytes, std::size_t at)
{
    Value value{};
    std::memcpy(&value, bytes.data() + at, sizeof(value));
    return value;
}

template <typename Value>
void putValue(std::string& bytes, std::size_t at, const Value& value)
{
    std::memcpy(bytes.data() + at, &value, sizeof(value));
}

/** The segment with a changed header. */
template <typename Change>
std::string withHeader(std::string bytes, const Change& change)
{
    auto header = valueAt<host::SegmentHeader>(bytes, 0);
    change(header);
    putValue(bytes, 0, header);
    return bytes;
}

/** The offset of a slot. */
inline std::size_t placeOfSlot(const std::string& bytes, uint32_t slot)
{
    const auto [table, index] = host::slotPosition(slot);
    return valueAt<host::SegmentHeader>(bytes, 0).tables.at(table) +
           host::slotsBehind(table) + index * sizeof(host::Slot);
}

/** The segment with a changed slot. */
template <typename Change>
std::string withSlot(std::string bytes, uint32_t slot, const Change& change)
{
    const std::size_t at = placeOfSlot(bytes, slot);
    auto changed = valueAt<host::Slot>(bytes, at);
    change(changed);
    putValue(bytes, at, changed);
    return bytes;
}

/** The segment with a changed block header of a slot. Corrects the checksum
 *  unless the header's sizes exceed the bytes. */
template <typename Change>
std::string withBlock(std::string bytes, uint32_t slot, const Change& change,
                      bool checked = true)
{
    host::Place place;
    host::decodePlace(
        valueAt<host::Slot>(bytes, placeOfSlot(bytes, slot)).place, place);
    const std::size_t at = std::size_t{place.unit} * host::blockUnit;
    auto header = valueAt<host::BlockHeader>(bytes, at);
    change(header);
    const std::size_t texts = at + sizeof(header);
    if (checked && texts + header.pathSize + header.payloadSize <= bytes.size())
    {
        const std::string_view all(bytes);
        header.checksum = host::blockChecksum(
            header, all.substr(texts, header.pathSize),
            all.substr(texts + header.pathSize, header.payloadSize));
    }
    putValue(bytes, at, header);
    return bytes;
}

/** A file that this process locks as a segment's owner does. */
class HeldFile
{
  public:
    explicit HeldFile(const std::filesystem::path& path) :
        file(open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        if (host::lockAsOwner(file.get()) != 0)
        {
            throw std::runtime_error("unable to lock a file");
        }
    }

  private:
    host::FileDescriptor file;
};

} // namespace healthintf::test
