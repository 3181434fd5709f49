#pragma once

/** @file What is thrown of a file that cannot be what was written. */

#include <stdexcept>

namespace healthintf::host
{

/** A file that does not hold what it should. */
class DamagedFile : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

} // namespace healthintf::host
