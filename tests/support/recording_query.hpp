// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Answers data cache queries on the recording platform. */

#include "journal.hpp"
#include "text.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace healthintf::test
{

inline bool selected(const std::string& path,
                     const std::vector<std::string>& prefixes)
{
    return prefixes.empty() ||
           std::ranges::any_of(prefixes, [&](const std::string& prefix) {
               return path.starts_with(prefix);
           });
}

/** Records a query and returns the records whose path satisfies @p wanted. */
template <typename Records, typename Wanted, typename Found, typename Convert>
long queryFor(const char* call, const std::vector<std::string>& services,
              const std::vector<std::string>& prefixes, const Records& records,
              Wanted&& wanted, Found& found, Convert&& convert)
{
    const long result =
        journal().called(call, text(services) + " " + text(prefixes));
    if (result == 0)
    {
        for (const auto& [path, properties] : records)
        {
            if (wanted(path))
            {
                found.emplace(path, convert(properties));
            }
        }
    }
    return result;
}

/** Records a query and returns the records whose path has one of the prefixes.
 */
template <typename Records, typename Found, typename Convert>
long query(const char* call, const std::vector<std::string>& services,
           const std::vector<std::string>& prefixes, const Records& records,
           Found& found, Convert&& convert)
{
    return queryFor(
        call, services, prefixes, records,
        [&](const std::string& path) {
            return selected(path, prefixes);
        },
        found, convert);
}

} // namespace healthintf::test
