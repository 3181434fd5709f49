// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads a whole file. */

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace healthintf::test
{

/** The content of a file; empty if the file does not exist. */
inline std::string readContent(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace healthintf::test
