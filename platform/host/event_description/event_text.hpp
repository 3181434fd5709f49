#pragma once

/** @file Texts of the event table, with placeholders such as {sensor}.
 *
 *  What stands in square brackets is left out when the record does not carry
 *  a value that it names: "too hot[, raw reading {reading}]". */

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Values of an event by the names of their placeholders. */
using EventValues = std::map<std::string, std::string, std::less<>>;

/** A text and the values that it was filled with: the sensor first, then its
 *  number, reading, threshold, detail, and the extensions. */
struct FilledText
{
    std::string text;
    std::vector<std::string> arguments;
};

/** What a text is for; each may have placeholders of its own. */
enum class TextUse
{
    id,
    message,
    lcd,
};

/** What is wrong with a text of the table, empty if nothing is. */
std::string textProblem(std::string_view text, TextUse use);

/** Fills in a text in which nothing is wrong. */
FilledText fillText(std::string_view text, const EventValues& values);

} // namespace healthintf::host
