// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The loop that the processes of both chains run. */

#include <systemd/sd-bus.h>

#ifdef __cplusplus
extern "C"
{
#endif

    /** Says "ready" on standard output, and works until standard input ends. */
    void serve(sd_bus* bus);

#ifdef __cplusplus
}
#endif
