// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Searches descriptions for words. */

#include <algorithm>
#include <cctype>
#include <string>

namespace healthintf::test
{

inline std::string lowered(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) {
        return static_cast<char>(std::tolower(c));
    });
    return text;
}

/** Whether a word of the text begins with @p word, in upper or lower case. */
inline bool mentions(const std::string& text, const std::string& word)
{
    const std::string in = lowered(text);
    const std::string what = lowered(word);
    for (auto at = in.find(what); at != std::string::npos;
         at = in.find(what, at + 1))
    {
        const char before = at == 0 ? ' ' : in[at - 1];
        if (std::isalnum(static_cast<unsigned char>(before)) == 0 &&
            before != '-')
        {
            return true;
        }
    }
    return false;
}

} // namespace healthintf::test
