// SPDX-License-Identifier: Apache-2.0
#include "json_lines.hpp"

#include <algorithm>

namespace healthintf::host
{
namespace
{

constexpr std::string_view blanks = " \t\r\n";

/** The end of the string that begins at @p at. */
std::size_t findClosingQuote(std::string_view text, std::size_t at)
{
    for (++at; at < text.size() && text[at] != '"'; ++at)
    {
        at += text[at] == '\\' ? 1 : 0;
    }
    return at;
}

/** Whether the string that ends at @p end is a key: a colon follows it. */
bool isKey(std::string_view text, std::size_t end)
{
    const auto next = text.find_first_not_of(blanks, end + 1);
    return next != std::string_view::npos && text[next] == ':';
}

/** Finds a key of the outermost object; its first byte, or npos. */
std::size_t findKey(std::string_view text, const std::string& key)
{
    const std::string quoted = '"' + key + '"';
    std::size_t depth = 0;
    for (std::size_t at = 0; at < text.size(); ++at)
    {
        switch (text[at])
        {
            case '{':
            case '[':
                ++depth;
                break;
            case '}':
            case ']':
                --depth;
                break;
            case '"':
            {
                const std::size_t end = findClosingQuote(text, at);
                if (depth == 1 && text.substr(at, end + 1 - at) == quoted &&
                    isKey(text, end))
                {
                    return at;
                }
                at = end;
                break;
            }
            default:
                break;
        }
    }
    return std::string_view::npos;
}

/** The text of a key and its value: to the end of an object, or to the next
 *  comma. */
std::string_view valueAfter(std::string_view text)
{
    std::size_t depth = 0;
    for (std::size_t at = findClosingQuote(text, 0) + 1; at < text.size(); ++at)
    {
        switch (text[at])
        {
            case '"':
                at = findClosingQuote(text, at);
                break;
            case '{':
                ++depth;
                break;
            case '}':
                if (depth <= 1)
                {
                    return text.substr(0, at);
                }
                --depth;
                break;
            case ',':
                if (depth == 0)
                {
                    return text.substr(0, at);
                }
                break;
            default:
                break;
        }
    }
    return text;
}

} // namespace

std::size_t countLinesUpTo(std::string_view text, std::size_t byte)
{
    const std::string_view before = text.substr(0, byte);
    return 1 + std::ranges::count(before, '\n');
}

std::size_t findLineOfKeys(std::string_view text,
                           const std::vector<std::string>& keys)
{
    std::size_t lastKey = 0;
    std::size_t at = 0;
    std::string_view scope = text;
    for (const std::string& key : keys)
    {
        const std::size_t found = findKey(scope, key);
        if (found == std::string_view::npos)
        {
            break;
        }
        at += found;
        const std::string_view value = valueAfter(scope.substr(found));
        // The search for the next key begins after this one.
        const std::size_t keySize = key.size() + 2;
        scope = value.substr(keySize);
        lastKey = at;
        at += keySize;
    }
    return countLinesUpTo(text, lastKey);
}

std::string describeJsonError(std::string_view text,
                              const nlohmann::json::exception& found)
{
    const auto* place =
        dynamic_cast<const nlohmann::json::parse_error*>(&found);
    if (place == nullptr)
    {
        return "a number is too large";
    }
    const std::size_t before = place->byte > 0 ? place->byte - 1 : 0;
    return "line " + std::to_string(countLinesUpTo(text, before)) +
           ": no valid JSON";
}

} // namespace healthintf::host
