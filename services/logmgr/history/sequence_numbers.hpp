// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Gives sequence numbers that never come again. */

#include <cstdint>
#include <filesystem>

namespace healthintf::history
{

/** Gives rising numbers, from 1 on. A file has the first number that was never
 *  given; it is written ahead, so that also a loss of power, which takes the
 *  last records back, does not let their numbers come again. After a crash some
 *  numbers are left out. */
class SequenceNumbers
{
  public:
    /** How many numbers the file is written ahead. */
    static constexpr uint64_t step = 256;

    /** @param[in] file has the number; made when it is missing
     *  @param[in] least a number that was certainly not given */
    SequenceNumbers(std::filesystem::path file, uint64_t least);

    /** The next number.
     *
     *  @throws std::system_error when the file cannot be written; no number is
     *          given then */
    uint64_t take();

    /** Writes the next number into the file, so that none is left out after
     *  this object. A failure is ignored: the file has a higher number. */
    void end() noexcept;

  private:
    std::filesystem::path file;
    uint64_t next;
    /** The number in the file. */
    uint64_t reserved;
};

} // namespace healthintf::history
