// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Silences and acknowledgements as healthmgr tells them: maps of the
 *  members that protocol.hpp names. */

#include <cstdint>
#include <map>
#include <string>
#include <variant>

namespace healthintf::host
{

/** What healthmgr says of one thing. A value of another type is an empty
 *  text. */
using Members =
    std::map<std::string,
             std::variant<std::string, uint32_t, uint64_t, int64_t>>;

/** A member's value; its default where the member is missing or has another
 *  type. */
template <typename Value>
Value getMember(const Members& members, const char* name)
{
    const auto found = members.find(name);
    const auto* value =
        found == members.end() ? nullptr : std::get_if<Value>(&found->second);
    return value == nullptr ? Value{} : *value;
}

} // namespace healthintf::host
