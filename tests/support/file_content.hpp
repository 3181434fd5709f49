// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads a file whole. */

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace healthintf::test
{

/** What a file holds; empty when there is none. */
inline std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace healthintf::test
