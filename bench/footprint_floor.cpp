// SPDX-License-Identifier: Apache-2.0
/** @file The daemon of footprint-library without the library: a connection and
 *  a loop. Prints "ready" and ends when standard input ends. */

#include "loop.h"

#include <sdbusplus/bus.hpp>

int main()
{
    sd_bus* raw = nullptr;
    if (sd_bus_default(&raw) < 0)
    {
        return 2;
    }
    const sdbusplus::bus_t bus(raw, std::false_type());
    serve(raw);
    return 0;
}
