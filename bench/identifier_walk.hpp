// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Chooses the entry of the System Event Log that each round asks for. */

#include <cstdint>

namespace healthintf::bench
{

/** Goes through the identifiers from 1 to a count in an order that the
 *  processor's cache cannot predict. */
class IdentifierWalk
{
  public:
    explicit IdentifierWalk(uint32_t count) : count(count)
    {}

    uint16_t next()
    {
        constexpr uint32_t step = 7919;
        at = (at + step) % count;
        return static_cast<uint16_t>(at + 1);
    }

  private:
    uint32_t count;
    uint32_t at = 0;
};

} // namespace healthintf::bench
