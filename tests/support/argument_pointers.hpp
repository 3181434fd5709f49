// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The argument list of exec(). */

#include <string>
#include <vector>

namespace healthintf::test
{

/** Pointers to the texts, with a null pointer at the end. The texts must
 *  outlive them. */
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
