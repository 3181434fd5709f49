// SPDX-License-Identifier: Apache-2.0
#include "standard_streams.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace healthintf::services
{

void fillStandardStreams()
{
    int file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    while (file >= 0 && file <= STDERR_FILENO)
    {
        file = open("/dev/null", O_RDONLY | O_CLOEXEC);
    }
    if (file >= 0)
    {
        close(file);
    }
}

} // namespace healthintf::services
