// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What a reader of configurations says of one that it refuses. */

#include "common/config_table.hpp"

#include <string>
#include <utility>

namespace healthintf::test
{

/** The error's text; "read" when there is none. */
template <typename Read>
std::string catchConfigError(Read&& read)
{
    try
    {
        std::forward<Read>(read)();
    }
    catch (const services::ConfigError& e)
    {
        return e.what();
    }
    return "read";
}

} // namespace healthintf::test
