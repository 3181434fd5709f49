// SPDX-License-Identifier: Apache-2.0
#include "json_node.hpp"

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
    std::string place =
        "line " + std::to_string(findLineOfKeys(text, keys)) + ": ";
    for (const std::string& key : keys)
    {
        place += key + ": ";
    }
    throw EventTableError(place + cause);
}

/** Finds keys that an object has twice: the parser would keep only the last. */
class DuplicateKeyFinder
{
  public:
    explicit DuplicateKeyFinder(std::string_view text) : text(text)
    {}

    void note(json::parse_event_t event, const json& parsed)
    {
        switch (event)
        {
            case json::parse_event_t::object_start:
                seen.emplace_back();
                path.emplace_back();
                break;
            case json::parse_event_t::key:
                path.back() = parsed.get<std::string>();
                if (!seen.back().insert(path.back()).second)
                {
                    failAt(text, path,
                           "is a duplicate key, first on this line");
                }
                break;
            case json::parse_event_t::object_end:
                seen.pop_back();
                path.pop_back();
                break;
            default:
                break;
        }
    }

  private:
    std::string_view text;
    std::vector<std::set<std::string>> seen;
    std::vector<std::string> path;
};

} // namespace

json JsonNode::parse(std::string_view text)
{
    DuplicateKeyFinder finder(text);
    json parsed;
    try
    {
        parsed = json::parse(
            text,
            [&finder](int /*depth*/, json::parse_event_t event, json& value) {
                finder.note(event, value);
                return true;
            });
    }
    catch (const json::exception& e)
    {
        throw EventTableError(describeJsonError(text, e));
    }
    if (!parsed.is_object())
    {
        throw EventTableError("line 1: no JSON object");
    }
    return parsed;
}

void JsonNode::fail(const std::string& cause) const
{
    failAt(text, keys, cause);
}

JsonNode JsonNode::child(const std::string& name, const json& what) const
{
    JsonNode node(what, text);
    node.keys = keys;
    node.keys.push_back(name);
    return node;
}

JsonNode JsonNode::at(const std::string& name) const
{
    const auto found = value.find(name);
    if (found == value.end())
    {
        fail(name + " is missing");
    }
    return child(name, *found);
}

std::vector<JsonNode> JsonNode::members() const
{
    if (!value.is_object())
    {
        fail("is no object");
    }
    std::vector<JsonNode> all;
    for (const auto& [name, member] : value.items())
    {
        all.push_back(child(name, member));
    }
    return all;
}

void JsonNode::allowOnly(std::initializer_list<std::string_view> names) const
{
    for (const JsonNode& member : members())
    {
        if (std::ranges::find(names, member.key()) == names.end())
        {
            member.fail("is an unknown key");
        }
    }
}

const std::string& JsonNode::asText(std::size_t longest) const
{
    if (!value.is_string() || value.get_ref<const std::string&>().empty())
    {
        fail("is no text");
    }
    const auto& content = value.get_ref<const std::string&>();
    if (content.size() > longest)
    {
        fail("is longer than " + std::to_string(longest) + " bytes");
    }
    return content;
}

unsigned int JsonNode::asNumber(unsigned int highest) const
{
    if (!value.is_number_unsigned() || value.get<uint64_t>() > highest)
    {
        fail("is no number from 0 to " + std::to_string(highest));
    }
    return value.get<unsigned int>();
}

} // namespace healthintf::host
