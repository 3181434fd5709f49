// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Checks and fills in texts of the event table, which have placeholders
 *  such as {sensor}.
 *
 *  A part in square brackets is left out when the record lacks one of its
 *  values: "too hot[, raw reading {reading}]". */

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Values of an event by the names of the placeholders. */
using EventValues = std::map<std::string, std::string, std::less<>>;

/** A text with its values filled in. The arguments are those values in the
 *  order sensor, number, reading, threshold, detail, extension2, extension3. */
struct FilledText
{
    std::string text;
    std::vector<std::string> arguments;
};

/** What a text is used for, which determines its placeholders. */
enum class TextUse
{
    id,
    message,
    lcd,
};

/** A placeholder of a message. */
struct Placeholder
{
    std::string_view name;
    /** Whether some records lack a value for it. */
    bool optional;
};

/** The placeholders of a valid message, in the order of the arguments. */
std::vector<Placeholder> findPlaceholders(std::string_view text);

/** What is wrong with a text of the table; empty when it is valid. */
std::string textProblem(std::string_view text, TextUse use);

/** Fills in a valid text. */
FilledText fillText(std::string_view text, const EventValues& values);

} // namespace healthintf::host
