// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file What the bare programs share: a health node by calls of libsystemd
 *  alone. */

#include <systemd/sd-bus.h>

#include <stdint.h>
#include <time.h>

#define ROOT "/com/vexa/olvar/health"
#define NODE_INTERFACE "com.vexa.olvar.healthmgr.HealthStatus"

/** Ends the program with a message when a call failed. */
void check(int result, const char* call);

/** The default bus, connected. The caller owns the reference. */
sd_bus* connect_to_bus(void);

/** Registers a node whose property is @p health, which must outlive it. */
void add_node(sd_bus* bus, const char* key, uint32_t* health);

/** Sets the health of a node, announces it and tells the parent. */
void set_health(sd_bus* bus, const char* parent, const char* key,
                uint32_t* health, uint32_t value);

/** The time of a clock in microseconds. */
double microseconds(clockid_t clock);
