// SPDX-License-Identifier: Apache-2.0
#include "arguments.hpp"

#include "../sel/moment.hpp"

#include <ctime>

namespace healthintf::healthctl
{

std::optional<int64_t> givenMoment(const std::string& text)
{
    if (text.empty())
    {
        return std::nullopt;
    }
    return argument(
        [&] {
            return parseMoment(text, std::time(nullptr));
        },
        "write it as 2026-01-31, 10m or @1700000000");
}

} // namespace healthintf::healthctl
