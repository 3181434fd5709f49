// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Extracts values from the bytes of a fuzzer. */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace healthintf::test
{

/** Hands the bytes out from first to last, then zeros, so that every input is
 *  usable. */
class FuzzInput
{
  public:
    FuzzInput(const uint8_t* bytes, std::size_t size) :
        left(reinterpret_cast<const char*>(bytes), size)
    {}

    bool empty() const
    {
        return left.empty();
    }

    /** An integer of its type's size, in little-endian order. */
    template <typename Number>
    Number number()
    {
        static_assert(std::is_arithmetic_v<Number>);
        Number value = 0;
        const std::string_view taken = take(sizeof(value));
        std::copy(taken.begin(), taken.end(), reinterpret_cast<char*>(&value));
        return value;
    }

    /** A number below @p end, from one byte. */
    std::size_t below(std::size_t end)
    {
        return number<uint8_t>() % end;
    }

    bool coin()
    {
        return below(2) == 1;
    }

    /** Up to @p size bytes, as far as there are any. */
    std::vector<uint8_t> bytes(std::size_t size)
    {
        const std::string_view taken = take(size);
        return {taken.begin(), taken.end()};
    }

    /** A text, with its length before it. */
    std::string text()
    {
        return std::string(take(number<uint8_t>()));
    }

    /** All remaining bytes. */
    std::string_view rest()
    {
        return take(left.size());
    }

  private:
    std::string_view take(std::size_t size)
    {
        const std::string_view taken = left.substr(0, size);
        left.remove_prefix(taken.size());
        return taken;
    }

    std::string_view left;
};

/** Passes the whole input to @p read, which may refuse it.
 *
 *  @return the value for LLVMFuzzerTestOneInput */
template <typename Refusal, typename Read>
int tryToRead(const uint8_t* bytes, std::size_t size, Read&& read)
{
    try
    {
        read(FuzzInput(bytes, size).rest());
    }
    catch (const Refusal&)
    {}
    return 0;
}

} // namespace healthintf::test
