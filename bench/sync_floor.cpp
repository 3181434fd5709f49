// SPDX-License-Identifier: Apache-2.0
/** @file Appends as many bytes as a record takes to a file and waits until they
 *  are on the disk, twice in a round: the lower bound for storing two records
 *  durably.
 *
 *  Usage: sync-floor FILE */

#include "turns.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv)
{
    constexpr mode_t mode = 0600;
    const int file =
        argc > 1
            ? open(argv[1], O_CREAT | O_WRONLY | O_APPEND | O_CLOEXEC, mode)
            : -1;
    const std::array<char, 64> bytes{};
    healthintf::bench::takeTurns([&] {
        for (int i = 0; i < 2; ++i)
        {
            if (write(file, bytes.data(), bytes.size()) < 0 ||
                fdatasync(file) != 0)
            {
                std::perror("sync-floor");
                std::exit(1);
            }
        }
    });
    return 0;
}
