// SPDX-License-Identifier: Apache-2.0
#include "json_list.hpp"

#include <nlohmann/json.hpp>

namespace healthintf::healthctl
{
namespace
{

/** The same text with blanks in front of each line but the first. A line end
 *  in a string is escaped, so each one is between members. */
std::string indented(const std::string& text, const std::string& blanks)
{
    std::string result;
    for (const char each : text)
    {
        result += each;
        if (each == '\n')
        {
            result += blanks;
        }
    }
    return result;
}

} // namespace

JsonList::JsonList(const Context& context, const char* schema,
                   const std::string& name) :
    context(context)
{
    context.out << "{\n  \"schema\": " << jsonText(schema) << ",\n  "
                << jsonText(name) << ": [";
}

void JsonList::add(const nlohmann::ordered_json& item)
{
    constexpr int indent = 2;
    const std::string margin(4, ' ');
    context.out << (empty ? "\n" : ",\n") << margin
                << indented(jsonText(item, indent), margin);
    empty = false;
}

void JsonList::end()
{
    context.out << (empty ? "]\n}\n" : "\n  ]\n}\n");
}

} // namespace healthintf::healthctl
