#include "json_place.hpp"

#include "../message_registry/json_lines.hpp"
#include "event_table_file.hpp"

#include <algorithm>
#include <set>

namespace healthintf::host
{
namespace
{

using nlohmann::json;

/** Throws an error such as "line 3: SensorTypes: 0x05: cause". */
[[noreturn]] void failAt(std::string_view text,
                         const std::vector<std::string>& keys,
                         const std::string& cause)
{
    std::string place = "line " + std::to_string(lineOfKeys(text, keys)) + ": ";
    for (const std::string& key : keys)
    {
        place += key + ": ";
    }
    throw EventTableError(place + cause);
}

/** Finds keys that an object has twice: the parser would keep only the last. */
class TwiceFinder
{
  public:
    explicit TwiceFinder(std::string_view text) : text(text)
    {}

    void note(json::parse_event_t event, const json& parsed)
    {
        switch (event)
        {
            case json::parse_event_t::object_start:
                seen.emplace_back();
                way.emplace_back();
                break;
            case json::parse_event_t::key:
                way.back() = parsed.get<std::string>();
                if (!seen.back().insert(way.back()).second)
                {
                    failAt(text, way, "is a duplicate key, first on this line");
                }
                break;
            case json::parse_event_t::object_end:
                seen.pop_back();
                way.pop_back();
                break;
            default:
                break;
        }
    }

  private:
    std::string_view text;
    std::vector<std::set<std::string>> seen;
    std::vector<std::string> way;
};

} // namespace

json JsonPlace::parse(std::string_view text)
{
    TwiceFinder twice(text);
    json parsed;
    try
    {
        parsed =
            json::parse(text, [&twice](int /*depth*/, json::parse_event_t event,
                                       json& value) {
                twice.note(event, value);
                return true;
            });
    }
    catch (const json::exception& e)
    {
        throw EventTableError(problemOf(text, e));
    }
    if (!parsed.is_object())
    {
        throw EventTableError("line 1: no JSON object");
    }
    return parsed;
}

void JsonPlace::fail(const std::string& cause) const
{
    failAt(text, keys, cause);
}

JsonPlace JsonPlace::below(const std::string& name, const json& what) const
{
    JsonPlace place(what, text);
    place.keys = keys;
    place.keys.push_back(name);
    return place;
}

JsonPlace JsonPlace::at(const std::string& name) const
{
    const auto found = value.find(name);
    if (found == value.end())
    {
        fail(name + " is missing");
    }
    return below(name, *found);
}

std::vector<JsonPlace> JsonPlace::members() const
{
    if (!value.is_object())
    {
        fail("is no object");
    }
    std::vector<JsonPlace> all;
    for (const auto& [name, member] : value.items())
    {
        all.push_back(below(name, member));
    }
    return all;
}

void JsonPlace::allowOnly(std::initializer_list<std::string_view> names) const
{
    for (const JsonPlace& member : members())
    {
        if (std::ranges::find(names, member.key()) == names.end())
        {
            member.fail("is an unknown key");
        }
    }
}

const std::string& JsonPlace::asText(std::size_t longest) const
{
    if (!value.is_string() || value.get_ref<const std::string&>().empty())
    {
        fail("is no text");
    }
    const auto& held = value.get_ref<const std::string&>();
    if (held.size() > longest)
    {
        fail("is longer than " + std::to_string(longest) + " bytes");
    }
    return held;
}

unsigned int JsonPlace::asNumber(unsigned int highest) const
{
    if (!value.is_number_unsigned() || value.get<uint64_t>() > highest)
    {
        fail("is no number from 0 to " + std::to_string(highest));
    }
    return value.get<unsigned int>();
}

} // namespace healthintf::host
