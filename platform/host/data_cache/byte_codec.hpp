// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Encodes numbers and texts as the bytes of a record. Records are read
 *  on the machine that wrote them, so numbers have its byte order. */

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

namespace healthintf::host
{

/** Appends values to a buffer. */
class ByteWriter
{
  public:
    explicit ByteWriter(std::string& buffer) : out(buffer)
    {}

    template <std::integral T>
    void put(T value)
    {
        out.append(reinterpret_cast<const char*>(&value), sizeof(value));
    }

    /** Appends bytes without their number, which the reader knows. */
    template <std::size_t N>
    void put(const std::array<uint8_t, N>& bytes)
    {
        out.append(bytes.begin(), bytes.end());
    }

    void put(std::string_view text)
    {
        put(static_cast<uint32_t>(text.size()));
        out.append(text);
    }

  private:
    std::string& out;
};

/** Reads values from a record one after the other; throws std::out_of_range at
 *  the end of the record. */
class ByteReader
{
  public:
    explicit ByteReader(std::string_view bytes) : left(bytes)
    {}

    template <std::integral T>
    T get()
    {
        T value{};
        std::memcpy(&value, take(sizeof(value)).data(), sizeof(value));
        return value;
    }

    template <std::size_t N>
    std::array<uint8_t, N> getBytes()
    {
        std::array<uint8_t, N> bytes{};
        std::memcpy(bytes.data(), take(N).data(), N);
        return bytes;
    }

    /** Reads a text, which is valid as long as the bytes. */
    std::string_view getText()
    {
        return take(get<uint32_t>());
    }

    /** The number of bytes that are left. */
    std::size_t size() const
    {
        return left.size();
    }

  private:
    std::string_view take(std::size_t size)
    {
        if (size > left.size())
        {
            throw std::out_of_range("a record of the data cache is too short");
        }
        const std::string_view taken = left.substr(0, size);
        left.remove_prefix(size);
        return taken;
    }

    std::string_view left;
};

} // namespace healthintf::host
