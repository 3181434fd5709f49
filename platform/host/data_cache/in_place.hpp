#pragma once

/** @file Records that are made where they shall stand. */

#include <string_view>

namespace healthintf::host
{

/** Becomes a record where a map puts it, so that it is not moved.
 *
 *  @tparam decode gives the properties that a Record is made of */
template <typename Record, auto decode>
struct InPlace
{
    std::string_view payload;

    operator Record() const
    {
        return Record(decode(payload));
    }
};

} // namespace healthintf::host
