// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Chooses and sorts faults. */

#include "../source/health_source.hpp"
#include "../time_argument.hpp"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace healthintf::healthctl
{

/** Which faults to choose by their visibility. */
enum class Visibility
{
    visible,
    hidden,
    all,
};

/** Which faults come first. */
enum class FaultOrder
{
    /** The oldest. */
    time,
    /** The most severe, of those the oldest. */
    severity,
    /** By the components' keys, then as by severity. */
    component,
};

/** Which faults to choose, and their order. */
struct FaultFilter
{
    /** The component that they are of or below; empty for all. */
    std::string key;
    /** The health values; empty for all. */
    std::set<uint32_t> severities;
    /** When the faults appeared. */
    Period period;
    /** Identifiers of messages as isSameMessage() takes them; empty for all. */
    std::vector<std::string> messages;
    /** A part of the message; letters of ASCII match small and large. */
    std::string text;
    Visibility visibility = Visibility::visible;
    FaultOrder order = FaultOrder::severity;
    bool reverse = false;
    /** How many at most; 0 for all. */
    std::size_t limit = 0;
};

/** How many faults there are of a visibility. */
std::size_t countFaults(const Faults& faults, Visibility visibility);

/** The faults that match a filter, sorted. */
Faults chooseFaults(const Faults& faults, const FaultFilter& filter);

} // namespace healthintf::healthctl
