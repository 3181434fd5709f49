// SPDX-License-Identifier: Apache-2.0
#include "attribute_request.hpp"

#include "limits.hpp"

#include <platform/utf8.hpp>

#include <algorithm>
#include <string_view>

namespace healthintf::host
{
namespace
{

/** Whether a name may have a character. Does not depend on the locale. */
bool isNameCharacter(char character)
{
    const auto isBetween = [character](char first, char last) {
        return character >= first && character <= last;
    };
    return isBetween('a', 'z') || isBetween('A', 'Z') || isBetween('0', '9') ||
           std::string_view(".#_-").find(character) != std::string_view::npos;
}

std::string tooLong(const std::string& what, std::size_t longest)
{
    return what + " has more than " + std::to_string(longest) + " bytes";
}

} // namespace

bool isAttributeName(const std::string& name)
{
    return !name.empty() && name.size() <= maxAttributeName &&
           std::ranges::all_of(name, isNameCharacter);
}

std::string requestProblem(const AttributeRequest& request)
{
    if (request.name.empty())
    {
        return "it has no name";
    }
    if (request.name.size() > maxAttributeName)
    {
        return tooLong("its name", maxAttributeName);
    }
    if (!isAttributeName(request.name))
    {
        return "its name has other characters than letters, digits and .#_-";
    }
    if (request.source.size() > maxSourceName)
    {
        return tooLong("the name of who sets it", maxSourceName);
    }
    if (!isUtf8(request.source))
    {
        return "the name of who sets it is not UTF-8";
    }
    return {};
}

AttributeOutcome makeFailure(int code, const std::string& why)
{
    return {code, "an attribute was not set: " + why};
}

} // namespace healthintf::host
