// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads programs out of documents. */

#include <stdexcept>
#include <string>

namespace healthintf::test
{

/** The first code block of a language in a document. */
inline std::string firstProgram(const std::string& document,
                                const std::string& language)
{
    const std::string opening = "```" + language + "\n";
    const auto begin = document.find(opening);
    const auto end = document.find("```\n", begin + opening.size());
    if (begin == std::string::npos || end == std::string::npos)
    {
        throw std::runtime_error("no program in the document");
    }
    return document.substr(begin + opening.size(),
                           end - begin - opening.size());
}

} // namespace healthintf::test
