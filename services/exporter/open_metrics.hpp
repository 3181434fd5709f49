// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Metrics as text in the OpenMetrics format. */

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace healthintf::exporter
{

/** Names and values of labels; the names are the program's own. */
using Labels = std::vector<std::pair<std::string, std::string>>;

/** One number of a family. */
struct Sample
{
    Labels labels;
    double value = 0;
};

/** What the numbers of a family are. */
enum class Kind
{
    /** A number as it is now. */
    gauge,
    /** A number that only grows. */
    counter,
    /** Labels with information; the number is always 1. */
    info,
};

/** Numbers of one name. */
struct Family
{
    /** The name without what the kind appends to it. */
    std::string name;
    Kind kind = Kind::gauge;
    /** What the numbers count, as the name ends; empty for none. */
    std::string unit;
    /** One sentence for people. */
    std::string help;
    std::vector<Sample> samples;
};

/** The type of what render() makes, for HTTP. */
inline constexpr const char* openMetricsType =
    "application/openmetrics-text; version=1.0.0; charset=utf-8";

/** The text of all families, to its end mark. */
std::string render(const std::vector<Family>& families);

/** A text as the format has it between quotes: escaped, and with a
 *  replacement character for each byte that is not part of UTF-8. */
std::string escaped(std::string_view text);

} // namespace healthintf::exporter
