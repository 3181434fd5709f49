// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The exception for a damaged file. */

#include <stdexcept>

namespace healthintf::host
{

/** A file does not hold what was written to it. */
class DamagedFile : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

} // namespace healthintf::host
