#include "text.hpp"

#include <locale.h> // NOLINT(modernize-deprecated-headers): newlocale()
#include <wchar.h> // NOLINT(modernize-deprecated-headers): wcwidth()

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>

namespace healthintf::healthctl
{
namespace
{

/** One sign of a text: its bytes and its number. */
struct Sign
{
    std::string_view bytes;
    uint32_t code;
};

constexpr uint32_t replacement = 0xFFFD;

/** How many bytes a sign has by its first one; 0 when none begins so. */
std::size_t lengthBy(unsigned char first)
{
    if (first < 0x80)
    {
        return 1;
    }
    if (first < 0xC2 || first > 0xF4)
    {
        return 0;
    }
    return first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
}

/** The sign that a text begins with. */
Sign firstSign(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = lengthBy(first);
    if (length == 0 || length > text.size())
    {
        return {text.substr(0, 1), replacement};
    }
    uint32_t code = length == 1 ? first : first & (0x7FU >> length);
    for (const char each : text.substr(1, length - 1))
    {
        const auto byte = static_cast<unsigned char>(each);
        if ((byte & 0xC0U) != 0x80)
        {
            return {text.substr(0, 1), replacement};
        }
        code = code << 6U | (byte & 0x3FU);
    }
    return {text.substr(0, length), code};
}

std::vector<Sign> signsOf(std::string_view text)
{
    std::vector<Sign> signs;
    while (!text.empty())
    {
        signs.push_back(firstSign(text));
        text.remove_prefix(signs.back().bytes.size());
    }
    return signs;
}

/** What the system knows of a sign's width, whatever the locale is. */
std::size_t takenBy(const Sign& sign)
{
    if (sign.code < 0x7F)
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
    const int width = wcwidth(static_cast<wchar_t>(sign.code));
    uselocale(before);
    return width < 0 ? 1 : static_cast<std::size_t>(width);
}

bool isControl(uint32_t code)
{
    // Also what changes the direction of a line.
    return code < 0x20 || (code >= 0x7F && code < 0xA0) ||
           (code >= 0x202A && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

std::string writtenOut(const Sign& sign)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(),
                  sign.code < 0x100 ? "\\x%02x" : "\\u%04x", sign.code);
    return text.data();
}

/** As many signs as fit, from the left or from the right. */
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

/** Whether a line may end between two signs: at a blank, and beside wide ones,
 *  which are written without blanks. */
bool mayBreak(const Sign& before, const Sign& after)
{
    return after.code == ' ' ||
           (takenBy(after) > 0 && (takenBy(before) > 1 || takenBy(after) > 1));
}

/** Takes a line off the front of a text. */
std::string takeLine(std::string_view& rest, std::size_t columns)
{
    const std::vector<Sign> signs = signsOf(rest);
    const std::size_t fit = std::max<std::size_t>(
        1, howManyFit(signs.begin(), signs.end(), columns));
    std::size_t bytes = 0;
    std::size_t lastBreak = 0;
    for (std::size_t i = 0; i < std::min(fit, signs.size()); ++i)
    {
        if (i > 0 && mayBreak(signs[i - 1], signs[i]))
        {
            lastBreak = bytes;
        }
        bytes += signs[i].bytes.size();
    }
    const bool breaksWord =
        fit < signs.size() && !mayBreak(signs[fit - 1], signs[fit]);
    const std::size_t end = breaksWord && lastBreak > 0 ? lastBreak : bytes;
    std::string line(rest.substr(0, end));
    rest.remove_prefix(end);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    for (const Sign& sign : signsOf(text))
    {
        if (sign.code == '\n' || sign.code == '\r' || sign.code == '\t')
        {
            result += ' ';
        }
        else if (isControl(sign.code))
        {
            result += writtenOut(sign);
        }
        else if (sign.code == replacement && sign.bytes.size() == 1)
        {
            result += '?';
        }
        else
        {
            result += sign.bytes;
        }
    }
    return result;
}

std::size_t columnsOf(std::string_view text)
{
    std::size_t columns = 0;
    for (const Sign& sign : signsOf(text))
    {
        columns += takenBy(sign);
    }
    return columns;
}

std::string shortened(std::string_view text, std::size_t columns,
                      std::string_view ellipsis)
{
    if (columnsOf(text) <= columns)
    {
        return std::string(text);
    }
    const std::size_t dots = std::min(columnsOf(ellipsis), columns);
    // The end of a name tells more than its beginning.
    const std::size_t front = (columns - dots) / 2;
    const std::vector<Sign> signs = signsOf(text);
    const std::size_t first = howManyFit(signs.begin(), signs.end(), front);
    const std::size_t last =
        howManyFit(signs.rbegin(), signs.rend(), columns - dots - front);
    std::string result;
    for (std::size_t i = 0; i < first; ++i)
    {
        result += signs[i].bytes;
    }
    result += dots < columnsOf(ellipsis) ? ellipsis.substr(0, dots) : ellipsis;
    for (std::size_t i = signs.size() - last; i < signs.size(); ++i)
    {
        result += signs[i].bytes;
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

} // namespace healthintf::healthctl
