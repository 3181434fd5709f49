// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads the files in abi/. */

#include "file_content.hpp"

#include <sstream>
#include <string>
#include <vector>

namespace healthintf::test
{

inline std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

/** The lines of a file below abi/. */
inline std::vector<std::string> announced(const std::string& name)
{
    return splitLines(readContent(ANNOUNCED_ABI "/" + name));
}

} // namespace healthintf::test
