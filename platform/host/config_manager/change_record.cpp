// SPDX-License-Identifier: Apache-2.0
#include "change_record.hpp"

#include <platform/config_manager.h>

#include <algorithm>
#include <cstddef>

namespace healthintf::host
{
namespace
{

/** The size of the fields in bytes; the source name follows them. */
constexpr std::size_t fieldsSize =
    CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET + sizeof(uint32_t);

constexpr unsigned int bitsOfByte = 8;

void put32(uint8_t* at, uint32_t value)
{
    for (std::size_t i = 0; i < sizeof(value); ++i)
    {
        at[i] = static_cast<uint8_t>(value >> (bitsOfByte * i));
    }
}

uint32_t get32(const uint8_t* at)
{
    uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof(value); ++i)
    {
        value |= static_cast<uint32_t>(at[i]) << (bitsOfByte * i);
    }
    return value;
}

} // namespace

std::vector<uint8_t> encodeChange(const AttributeChange& change,
                                  std::string_view source)
{
    const std::size_t sourceSize = source.empty() ? 0 : source.size() + 1;
    std::vector<uint8_t> record(fieldsSize + sourceSize);
    if (sourceSize != 0)
    {
        put32(record.data() + CFGMGR_CHANGE_SOURCE_OFFSET, fieldsSize);
        std::ranges::copy(source, record.begin() + fieldsSize);
    }
    put32(record.data() + CFGMGR_CHANGE_NEW_VALUE_OFFSET,
          static_cast<uint32_t>(change.value));
    put32(record.data() + CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET,
          static_cast<uint32_t>(change.previous));
    return record;
}

std::optional<AttributeChange> decodeChange(const uint8_t* data,
                                            uint64_t length)
{
    if (data == nullptr || length < fieldsSize)
    {
        return std::nullopt;
    }
    const auto read = [data](std::size_t offset) {
        return static_cast<int32_t>(get32(data + offset));
    };
    return AttributeChange{read(CFGMGR_CHANGE_NEW_VALUE_OFFSET),
                           read(CFGMGR_CHANGE_PREVIOUS_VALUE_OFFSET)};
}

const char* findSource(const uint8_t* data, uint64_t length)
{
    if (data == nullptr || length < fieldsSize)
    {
        return nullptr;
    }
    const uint32_t offset = get32(data + CFGMGR_CHANGE_SOURCE_OFFSET);
    if (offset == 0)
    {
        return "";
    }
    if (offset < fieldsSize || offset >= length)
    {
        return nullptr;
    }
    const uint8_t* end = data + length;
    return std::find(data + offset, end, 0) != end
               ? reinterpret_cast<const char*>(data + offset)
               : nullptr;
}

} // namespace healthintf::host
