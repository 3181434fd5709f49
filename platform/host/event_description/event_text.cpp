#include "event_text.hpp"

#include <algorithm>
#include <array>

namespace healthintf::host
{
namespace
{

/** Placeholders that only some records have a value for. */
constexpr std::array<std::string_view, 5> optionalNames{
    "reading", "threshold", "extension2", "extension3", "detail"};

bool isOptional(std::string_view name)
{
    return std::ranges::find(optionalNames, name) != optionalNames.end();
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
    return name == "sensor" || name == "number" || isOptional(name);
}

/** The next of "{", "[" and their ends in a text, taken off with what stands
 *  before it; at the end of the text '\0'. */
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

/** What is wrong with a placeholder. */
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

/** Fills in a text without brackets.
 *
 *  @return whether there was a value for each placeholder */
bool fillPlain(std::string_view text, const EventValues& values,
               FilledText& filled)
{
    std::string_view before;
    while (nextMark(text, before) == '{')
    {
        filled.text += before;
        std::string_view name;
        nextMark(text, name);
        const auto value = values.find(name);
        if (value == values.end())
        {
            return false;
        }
        filled.text += value->second;
        if (std::ranges::find(filled.arguments, value->second) ==
            filled.arguments.end())
        {
            filled.arguments.push_back(value->second);
        }
    }
    filled.text += before;
    return true;
}

} // namespace

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
    FilledText filled;
    while (!text.empty())
    {
        const std::size_t open = std::min(text.find('['), text.size());
        fillPlain(text.substr(0, open), values, filled);
        text.remove_prefix(std::min(open + 1, text.size()));
        const std::size_t close = std::min(text.find(']'), text.size());
        FilledText with = filled;
        if (fillPlain(text.substr(0, close), values, with))
        {
            filled = std::move(with);
        }
        text.remove_prefix(std::min(close + 1, text.size()));
    }
    return filled;
}

} // namespace healthintf::host
