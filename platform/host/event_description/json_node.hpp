// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A value in a JSON text, with the keys that lead to it. */

#include <nlohmann/json.hpp>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Reads values, and names the line of an invalid one. All functions throw
 *  EventTableError. */
class JsonNode
{
  public:
    /** Parses a text, which must hold an object without duplicate keys. The
     *  text and the result must outlive all nodes. */
    static nlohmann::json parse(std::string_view text);

    /** The root of a text. */
    JsonNode(const nlohmann::json& value, std::string_view text) :
        value(value), text(text)
    {}

    /** Throws an error with line, keys and cause. */
    [[noreturn]] void fail(const std::string& cause) const;

    /** The key of this value. */
    const std::string& key() const
    {
        return keys.back();
    }

    /** The value of a member. Throws when there is none. */
    JsonNode at(const std::string& name) const;

    bool has(const std::string& name) const
    {
        return value.contains(name);
    }

    /** The members of this value, which must be an object. */
    std::vector<JsonNode> members() const;

    /** Throws when this value is no object, or has a member with another
     *  name. */
    void allowOnly(std::initializer_list<std::string_view> names) const;

    /** This value as a text of 1 to @p longest bytes. */
    const std::string& asText(std::size_t longest) const;

    /** This value as a number from 0 to @p highest. */
    unsigned int asNumber(unsigned int highest) const;

  private:
    JsonNode child(const std::string& name, const nlohmann::json& what) const;

    const nlohmann::json& value;
    std::string_view text;
    std::vector<std::string> keys;
};

} // namespace healthintf::host
