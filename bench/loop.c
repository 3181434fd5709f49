// SPDX-License-Identifier: Apache-2.0
#include "loop.h"

#include <poll.h>
#include <stdio.h>
#include <unistd.h>

void serve(sd_bus* bus)
{
    struct pollfd watched[] = {
        {.fd = STDIN_FILENO, .events = POLLIN},
        {.fd = sd_bus_get_fd(bus), .events = POLLIN},
    };
    puts("ready");
    fflush(stdout);
    while (watched[0].revents == 0)
    {
        while (sd_bus_process(bus, NULL) > 0)
        {}
        poll(watched, 2, -1);
    }
}
