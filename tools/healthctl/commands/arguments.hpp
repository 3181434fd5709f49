// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads arguments and says what is wrong with those it cannot read. */

#include "../error.hpp"

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

namespace healthintf::healthctl
{

/** Reads an argument.
 *
 *  @param[in] read throws std::invalid_argument with what is wrong
 *  @param[in] remedy what to do then
 *  @throws Error for it */
template <typename Read>
auto argument(Read&& read, const char* remedy)
{
    try
    {
        return read();
    }
    catch (const std::invalid_argument& e)
    {
        throw Error(ExitCode::usage, std::string(e.what()) + "; " + remedy);
    }
}

/** The moment that an option names; nothing when it was not given.
 *
 *  @throws Error when that is no moment */
std::optional<int64_t> givenMoment(const std::string& text);

} // namespace healthintf::healthctl
