// SPDX-License-Identifier: Apache-2.0
#include "text.hpp"

#include <platform/utf8.hpp>

#include <locale.h> // NOLINT(modernize-deprecated-headers): newlocale()
#include <wchar.h> // NOLINT(modernize-deprecated-headers): wcwidth()

#include <algorithm>

namespace healthintf::healthctl
{
namespace
{

std::vector<Character> splitCharacters(std::string_view text)
{
    std::vector<Character> characters;
    forEachCharacter(text, [&characters](const Character& character) {
        characters.push_back(character);
    });
    return characters;
}

/** What the system knows of a character's width, whatever the locale is. */
std::size_t takenBy(const Character& character)
{
    if (character.code < 0x7F)
    {
        return 1;
    }
    static const locale_t utf8 =
        newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    if (utf8 == nullptr)
    {
        return 1;
    }
    const locale_t before = uselocale(utf8);
    const int width = wcwidth(static_cast<wchar_t>(character.code));
    uselocale(before);
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

/** As many characters as fit, from the left or from the right. */
template <typename Iterator>
std::size_t howManyFit(Iterator at, Iterator end, std::size_t columns)
{
    std::size_t count = 0;
    for (; at != end && takenBy(*at) <= columns; ++at, ++count)
    {
        columns -= takenBy(*at);
    }
    return count;
}

/** Whether a line may end between two characters: at a blank, and beside wide
 *  ones, which are written without blanks. */
bool mayBreak(const Character& before, const Character& after)
{
    return after.code == ' ' ||
           (takenBy(after) > 0 && (takenBy(before) > 1 || takenBy(after) > 1));
}

void dropBlanks(std::string_view& rest)
{
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
}

/** Takes a line off the front of a text. */
std::string takeLine(std::string_view& rest, std::size_t columns)
{
    const std::vector<Character> characters = splitCharacters(rest);
    if (columns > 0 && takenBy(characters.front()) > columns)
    {
        rest.remove_prefix(characters.front().bytes.size());
        dropBlanks(rest);
        return "?";
    }
    const std::size_t fit = std::max<std::size_t>(
        1, howManyFit(characters.begin(), characters.end(), columns));
    std::size_t bytes = 0;
    std::size_t lastBreak = 0;
    for (std::size_t i = 0; i < std::min(fit, characters.size()); ++i)
    {
        if (i > 0 && mayBreak(characters[i - 1], characters[i]))
        {
            lastBreak = bytes;
        }
        bytes += characters[i].bytes.size();
    }
    const bool breaksWord = fit < characters.size() &&
                            !mayBreak(characters[fit - 1], characters[fit]);
    const std::size_t end = breaksWord && lastBreak > 0 ? lastBreak : bytes;
    std::string line(rest.substr(0, end));
    rest.remove_prefix(end);
    dropBlanks(rest);
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

std::size_t countColumns(std::string_view text)
{
    std::size_t columns = 0;
    for (const Character& character : splitCharacters(text))
    {
        columns += takenBy(character);
    }
    return columns;
}

std::string beginning(std::string_view text, std::size_t columns)
{
    const std::vector<Character> characters = splitCharacters(text);
    const std::size_t count =
        howManyFit(characters.begin(), characters.end(), columns);
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
    {
        result += characters[i].bytes;
    }
    return result;
}

std::string shortened(std::string_view text, std::size_t columns,
                      std::string_view ellipsis)
{
    if (countColumns(text) <= columns)
    {
        return std::string(text);
    }
    const std::size_t dots = std::min(countColumns(ellipsis), columns);
    // The end of a name says more than its beginning.
    const std::size_t front = (columns - dots) / 2;
    const std::vector<Character> characters = splitCharacters(text);
    const std::size_t last = howManyFit(characters.rbegin(), characters.rend(),
                                        columns - dots - front);
    std::string result = beginning(text, front);
    result +=
        dots < countColumns(ellipsis) ? ellipsis.substr(0, dots) : ellipsis;
    for (std::size_t i = characters.size() - last; i < characters.size(); ++i)
    {
        result += characters[i].bytes;
    }
    return result;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t columns)
{
    std::vector<std::string> lines;
    while (!text.empty())
    {
        lines.push_back(takeLine(text, columns));
    }
    return lines.empty() ? std::vector<std::string>{""} : lines;
}

std::string counted(std::size_t number, const std::string& noun)
{
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

} // namespace healthintf::healthctl
