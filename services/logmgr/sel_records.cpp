// SPDX-License-Identifier: Apache-2.0
#include "sel_records.hpp"

#include "data_cache/byte_codec.hpp"
#include "data_cache/sel_entry_codec.hpp"
#include "storage/damaged_file.hpp"

#include <platform/utf8.hpp>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace healthintf::logmgr
{
namespace
{

/** Another number for each format of the file's content. */
constexpr uint32_t formatVersion = 1;

/** Whether D-Bus can carry a text. */
bool isText(std::string_view text)
{
    return isUtf8(text) && text.find('\0') == std::string_view::npos;
}

} // namespace

std::string encodeKey(uint64_t sequence)
{
    std::string key(sizeof(sequence), '\0');
    for (std::size_t at = key.size(); at > 0; --at)
    {
        key[at - 1] = static_cast<char>(sequence);
        sequence >>= 8;
    }
    return key;
}

uint64_t decodeKey(std::string_view key)
{
    if (key.size() != sizeof(uint64_t))
    {
        throw host::DamagedFile("an entry has no sequence number");
    }
    uint64_t sequence = 0;
    for (const char byte : key)
    {
        sequence = sequence << 8 | static_cast<uint8_t>(byte);
    }
    return sequence;
}

std::string encodeState(const StoredState& stored)
{
    std::string value;
    host::ByteWriter writer(value);
    writer.put(formatVersion);
    writer.put(stored.state.lastAddition);
    writer.put(stored.state.lastErase);
    writer.put(static_cast<uint8_t>(stored.state.overflow));
    writer.put(stored.generation);
    return value;
}

StoredState decodeState(std::string_view value)
{
    host::ByteReader reader(value);
    if (const auto version = reader.get<uint32_t>(); version != formatVersion)
    {
        throw std::system_error(ENOTSUP, std::generic_category(),
                                "it is of version " + std::to_string(version) +
                                    " and this program needs version " +
                                    std::to_string(formatVersion));
    }
    StoredState stored;
    stored.state.lastAddition = reader.get<uint32_t>();
    stored.state.lastErase = reader.get<uint32_t>();
    stored.state.overflow = reader.get<uint8_t>() != 0;
    if (reader.size() > 0)
    {
        stored.generation = reader.get<uint64_t>();
    }
    return stored;
}

SELEntryProperties decodeEntry(uint64_t sequence, std::string_view value)
{
    SELEntryProperties entry = host::decodeSelEntry(value);
    if (entry.recordId != toIdentifier(sequence))
    {
        throw std::runtime_error("it has the identifier " +
                                 std::to_string(entry.recordId));
    }
    if (!isText(entry.sensor.name) || !isText(entry.sensor.path))
    {
        throw std::runtime_error("a text of its sensor is damaged");
    }
    return entry;
}

} // namespace healthintf::logmgr
