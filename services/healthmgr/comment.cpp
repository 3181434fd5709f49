// SPDX-License-Identifier: Apache-2.0
#include "comment.hpp"

#include "printable.hpp"

#include <platform/utf8.hpp>

namespace healthintf::healthmgr
{

std::string explainInvalidComment(const std::string& comment)
{
    if (comment.find_first_not_of(' ') == std::string::npos)
    {
        return "a comment must say something";
    }
    if (comment.size() > maxComment)
    {
        return "the comment has " + std::to_string(comment.size()) +
               " bytes, more than " + std::to_string(maxComment);
    }
    if (!isUtf8(comment) || host::printable(comment) != comment)
    {
        return "a comment must be one line of printable UTF-8 characters";
    }
    return "";
}

} // namespace healthintf::healthmgr
