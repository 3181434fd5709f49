// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Values taken out of the bytes that a fuzzer makes up. */

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace healthintf::test
{

/** Hands the bytes out from the first to the last. Behind the last there are
 *  zeros, so that every input makes sense. */
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

    /** A number of as many bytes as its type has, the lowest first. */
    template <typename Number>
    Number number()
    {
        static_assert(std::is_arithmetic_v<Number>);
        Number value = 0;
        const std::string_view taken = take(sizeof(value));
        std::copy(taken.begin(), taken.end(), reinterpret_cast<char*>(&value));
        return value;
    }

    /** A number below @p end, of one byte. */
    std::size_t below(std::size_t end)
    {
        return number<uint8_t>() % end;
    }

    bool coin()
    {
        return below(2) == 1;
    }

    /** As many bytes as there are, but not more than @p size. */
    std::vector<uint8_t> bytes(std::size_t size)
    {
        const std::string_view taken = take(size);
        return {taken.begin(), taken.end()};
    }

    /** A text whose length comes first. */
    std::string text()
    {
        return std::string(take(number<uint8_t>()));
    }

    /** All that is left. */
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

/** Lets a reader read the whole input, which it may refuse.
 *
 *  @return what a fuzz target returns */
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
