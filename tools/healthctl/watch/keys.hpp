// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The keys that "healthctl watch" obeys. */

#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{

enum class Key
{
    up,
    down,
    pageUp,
    pageDown,
    home,
    end,
    quit,
};

/** Finds keys in what a terminal sends. A key may be several bytes, which may
 *  come one after the other. */
class KeyReader
{
  public:
    /** The keys that these bytes end; others are ignored. */
    std::vector<Key> take(std::string_view bytes);

  private:
    std::string pending;
};

} // namespace healthintf::healthctl
