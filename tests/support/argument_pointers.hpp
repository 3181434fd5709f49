// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A command as exec() takes it. */

#include <string>
#include <vector>

namespace healthintf::test
{

/** Pointers to texts, which must outlive them, and a null pointer at the end.
 */
inline std::vector<char*> argumentPointers(std::vector<std::string>& texts)
{
    std::vector<char*> all;
    for (std::string& text : texts)
    {
        all.push_back(text.data());
    }
    all.push_back(nullptr);
    return all;
}

} // namespace healthintf::test
