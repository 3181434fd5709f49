// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The error that ends a command. */

#include "exit_code.hpp"

#include <stdexcept>
#include <string>

namespace healthintf::healthctl
{

/** Ends a command. Its text becomes the one line on standard error, so it says
 *  what is wrong and then what to do. */
class Error : public std::runtime_error
{
  public:
    /** @param[in] code what healthctl exits with
     *  @param[in] line one line without the program's name and without a full
     *             stop */
    Error(ExitCode code, const std::string& line) :
        std::runtime_error(line), exitCode(code)
    {}

    ExitCode code() const noexcept
    {
        return exitCode;
    }

  private:
    ExitCode exitCode;
};

} // namespace healthintf::healthctl
