#pragma once

/** @file What files say. */

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace healthintf::test
{

inline std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

/** The first block of C++ in a document. */
inline std::string firstProgram(const std::string& document)
{
    const std::string opening = "```cpp\n";
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
