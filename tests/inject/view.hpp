// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A component as an observer sees it, on the bus or in the data cache.
 */

#include <cstdint>
#include <map>
#include <optional>
#include <ostream>
#include <string>

namespace healthintf::test
{

/** The properties of a fault that the tests compare. */
struct SeenFault
{
    std::string message;
    std::string sensor;
    uint32_t severity = 0;
    bool hidden = false;

    bool operator==(const SeenFault&) const = default;
};

/** A component: its faults by path, and its health if it has a node. */
struct View
{
    std::map<std::string, SeenFault> faults;
    std::optional<uint32_t> health;

    bool operator==(const View&) const = default;

    bool empty() const
    {
        return faults.empty() && !health;
    }

    /** The number of faults with a message, hidden or not. */
    std::size_t count(const std::string& message) const;

    std::size_t hidden() const;

    /** The worst health of @p base and the visible faults. */
    uint32_t worst(uint32_t base) const;
};

std::ostream& operator<<(std::ostream& out, const View& view);

/** A component in the data cache. */
View viewOfCache(const std::string& key);

} // namespace healthintf::test
