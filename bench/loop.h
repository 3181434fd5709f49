// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The loop of the processes of both chains. */

#include <systemd/sd-bus.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /** Prints "ready" and processes messages until standard input ends. */
    void serve(sd_bus* bus);

#ifdef __cplusplus
}
#endif
