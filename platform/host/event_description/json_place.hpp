#pragma once

/** @file A value in a JSON text, with the way to it. */

#include <nlohmann/json.hpp>

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** Reads values, and says where one stands that is not as it should be. All
 *  throws are EventTableError. */
class JsonPlace
{
  public:
    /** Parses a text, which must hold an object; both must outlive all places
     *  in it. Throws when an object has a key twice, too. */
    static nlohmann::json parse(std::string_view text);

    /** The whole of a text. */
    JsonPlace(const nlohmann::json& value, std::string_view text) :
        value(value), text(text)
    {}

    /** Throws with line, way and cause. */
    [[noreturn]] void fail(const std::string& cause) const;

    /** The key that it stands under. */
    const std::string& key() const
    {
        return keys.back();
    }

    /** What stands under a key. Throws when there is nothing. */
    JsonPlace at(const std::string& name) const;

    bool has(const std::string& name) const
    {
        return value.contains(name);
    }

    /** What stands in it, which must be an object. */
    std::vector<JsonPlace> members() const;

    /** Throws when it is no object, or has a key that is none of these. */
    void allowOnly(std::initializer_list<std::string_view> names) const;

    /** The text that it is, at least one and at most @p longest bytes. */
    const std::string& asText(std::size_t longest) const;

    /** The number from 0 to @p highest that it is. */
    unsigned int asNumber(unsigned int highest) const;

  private:
    JsonPlace below(const std::string& name, const nlohmann::json& what) const;

    const nlohmann::json& value;
    std::string_view text;
    std::vector<std::string> keys;
};

} // namespace healthintf::host
