// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads commands from standard input, one a line. */

#include <unistd.h>

#include <array>
#include <string>

namespace healthintf::test
{

class CommandLines
{
  public:
    /** Reads what has arrived and passes each line to @p obey.
     *
     *  @return false when standard input has ended */
    template <typename Obey>
    bool take(Obey&& obey)
    {
        std::array<char, 4096> part{};
        const ssize_t got = read(STDIN_FILENO, part.data(), part.size());
        if (got <= 0)
        {
            return false;
        }
        pending.append(part.data(), got);
        for (auto end = pending.find('\n'); end != std::string::npos;
             end = pending.find('\n'))
        {
            const std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            obey(line);
        }
        return true;
    }

  private:
    std::string pending;
};

} // namespace healthintf::test
