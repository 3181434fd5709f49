// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Shared by the programs without the library: a health node made of
 *  plain libsystemd calls. */

#include <systemd/sd-bus.h>

#include <stdint.h>
#include <time.h>

#define ROOT "/com/vexa/olvar/health"
#define NODE_INTERFACE "com.vexa.olvar.healthmgr.HealthStatus"

/** Ends the program with a message if @p result is negative. */
void check(int result, const char* call);

/** The default bus, connected. The caller owns the reference. */
sd_bus* connect_to_bus(void);

/** Registers a node whose property is @p health; it must outlive the bus. */
void add_node(sd_bus* bus, const char* key, uint32_t* health);

/** Sets the health of a node, announces the change and reports it to the
 *  parent. */
void set_health(sd_bus* bus, const char* parent, const char* key,
                uint32_t* health, uint32_t value);

/** The time of a clock in microseconds. */
double microseconds(clockid_t clock);
