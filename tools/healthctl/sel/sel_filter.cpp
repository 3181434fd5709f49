// SPDX-License-Identifier: Apache-2.0
#include "sel_filter.hpp"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace healthintf::healthctl
{
namespace
{

constexpr int decimal = 10;
constexpr int hexBase = 16;

std::optional<uint8_t> parseNumber(const std::string& text)
{
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    const char* begin = text.data() + (hex ? 2 : 0);
    const char* end = text.data() + text.size();
    uint8_t number = 0;
    const auto result =
        std::from_chars(begin, end, number, hex ? hexBase : decimal);
    const bool whole = result.ec == std::errc{} && result.ptr == end;
    return whole ? std::optional(number) : std::nullopt;
}

/** Letters and digits of a name, all small. */
std::string bareName(const std::string& name)
{
    std::string bare;
    for (const char c : name)
    {
        if (c >= 'A' && c <= 'Z')
        {
            bare += static_cast<char>(c - 'A' + 'a');
        }
        else if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'))
        {
            bare += c;
        }
    }
    return bare;
}

bool fitsSensorType(const ReadEvent& event, const SelFilter& filter)
{
    return filter.sensorTypes.empty() ||
           std::ranges::any_of(filter.sensorTypes,
                               [&](const SensorTypeChoice& type) {
                                   return type.fits(event);
                               });
}

bool fitsSeverity(const ReadEvent& event, const SelFilter& filter)
{
    return filter.severities.empty() ||
           (event.words && filter.severities.contains(event.words->severity));
}

} // namespace

SensorTypeChoice::SensorTypeChoice(const std::string& text) :
    given(text), number(parseNumber(text)), name(bareName(text))
{
    if (name.empty() || (!number && text.front() >= '0' && text.front() <= '9'))
    {
        throw std::invalid_argument("\"" + text + "\" is no sensor type");
    }
}

bool SensorTypeChoice::fits(const ReadEvent& event) const
{
    if (!isEvent(event.entry.record()))
    {
        return false;
    }
    if (number)
    {
        return parseFields(event.entry.record()).sensorType == *number;
    }
    // What an event is about begins with the type: PowerSupply.Sensor.0x63.
    return event.words && bareName(event.words->component.substr(
                              0, event.words->component.find('.'))) == name;
}

bool needsDescriptions(const SelFilter& filter)
{
    return !filter.severities.empty() ||
           std::ranges::any_of(filter.sensorTypes, &SensorTypeChoice::isName);
}

std::vector<ReadEvent> filtered(const std::vector<ReadEvent>& events,
                                const SelFilter& filter)
{
    std::vector<ReadEvent> wanted;
    std::ranges::copy_if(
        events, std::back_inserter(wanted), [&](const ReadEvent& event) {
            return filter.period.contains(event.entry.timestamp()) &&
                   fitsSensorType(event, filter) && fitsSeverity(event, filter);
        });
    if (filter.last && *filter.last < wanted.size())
    {
        wanted.erase(wanted.begin(),
                     wanted.end() - static_cast<std::ptrdiff_t>(*filter.last));
    }
    return wanted;
}

} // namespace healthintf::healthctl
