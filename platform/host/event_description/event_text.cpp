// SPDX-License-Identifier: Apache-2.0
#include "event_text.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace healthintf::host
{
namespace
{

/** The placeholders of messages, in the order of the arguments. */
constexpr std::array<std::string_view, 7> argumentNames{
    "sensor", "number",     "reading",   "threshold",
    "detail", "extension2", "extension3"};

bool isMessageName(std::string_view name)
{
    return std::ranges::find(argumentNames, name) != argumentNames.end();
}

/** Whether some records lack a value for a placeholder. */
bool isOptional(std::string_view name)
{
    return isMessageName(name) && name != "sensor" && name != "number";
}

bool isKnown(std::string_view name, TextUse use)
{
    switch (use)
    {
        case TextUse::id:
            return name == "category";
        case TextUse::lcd:
            return name == "category" || name == "number";
        case TextUse::message:
            break;
    }
    return isMessageName(name);
}

/** Removes the text up to the next brace or bracket and returns that; '\0' at
 *  the end of the text.
 *
 *  @param[out] before the removed text without the mark */
char nextMark(std::string_view& text, std::string_view& before)
{
    const std::size_t at = text.find_first_of("{}[]");
    before = text.substr(0, at);
    if (at == std::string_view::npos)
    {
        text = {};
        return '\0';
    }
    const char mark = text[at];
    text.remove_prefix(at + 1);
    return mark;
}

/** What is wrong with a placeholder; empty when it is valid. */
std::string nameProblem(std::string_view name, TextUse use, bool inBrackets)
{
    const std::string shown = "{" + std::string(name) + "}";
    if (!isKnown(name, use))
    {
        return "has the unknown placeholder " + shown;
    }
    if (isOptional(name) && !inBrackets)
    {
        return "has " + shown + ", which not every record carries, outside " +
               "square brackets";
    }
    return {};
}

/** A text that is being filled in, and the placeholders found so far. */
struct PartialText
{
    std::string text;
    std::vector<std::string_view> names;
};

/** Fills in a text without brackets.
 *
 *  @return whether there was a value for each placeholder */
bool fillPlain(std::string_view text, const EventValues& values,
               PartialText& partial)
{
    std::string_view before;
    while (nextMark(text, before) == '{')
    {
        partial.text += before;
        std::string_view name;
        nextMark(text, name);
        const auto value = values.find(name);
        if (value == values.end())
        {
            return false;
        }
        partial.text += value->second;
        partial.names.push_back(name);
    }
    partial.text += before;
    return true;
}

/** The values of the placeholders that a text has. */
std::vector<std::string>
collectArguments(const std::vector<std::string_view>& names,
                 const EventValues& values)
{
    std::vector<std::string> arguments;
    for (const std::string_view name : argumentNames)
    {
        if (std::ranges::find(names, name) != names.end())
        {
            arguments.push_back(values.find(name)->second);
        }
    }
    return arguments;
}

} // namespace

std::vector<Placeholder> findPlaceholders(std::string_view text)
{
    std::vector<Placeholder> found;
    for (const std::string_view name : argumentNames)
    {
        if (text.find("{" + std::string(name) + "}") != std::string_view::npos)
        {
            found.push_back({.name = name, .optional = isOptional(name)});
        }
    }
    return found;
}

std::string textProblem(std::string_view text, TextUse use)
{
    bool inBrackets = false;
    std::string_view before;
    for (char mark = nextMark(text, before); mark != '\0';
         mark = nextMark(text, before))
    {
        if (mark == '{')
        {
            std::string_view name;
            if (nextMark(text, name) != '}')
            {
                return "has a { without a }";
            }
            if (auto problem = nameProblem(name, use, inBrackets);
                !problem.empty())
            {
                return problem;
            }
        }
        else if (mark == '}')
        {
            return "has a } without a {";
        }
        else if ((mark == '[') == inBrackets)
        {
            return "has square brackets that do not match";
        }
        else
        {
            inBrackets = !inBrackets;
        }
    }
    return inBrackets ? "has square brackets that do not match" : "";
}

FilledText fillText(std::string_view text, const EventValues& values)
{
    PartialText partial;
    while (!text.empty())
    {
        const std::size_t open = std::min(text.find('['), text.size());
        fillPlain(text.substr(0, open), values, partial);
        text.remove_prefix(std::min(open + 1, text.size()));
        const std::size_t close = std::min(text.find(']'), text.size());
        PartialText with = partial;
        if (fillPlain(text.substr(0, close), values, with))
        {
            partial = std::move(with);
        }
        text.remove_prefix(std::min(close + 1, text.size()));
    }
    return {std::move(partial.text), collectArguments(partial.names, values)};
}

} // namespace healthintf::host
