// SPDX-License-Identifier: Apache-2.0
#include "bare.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const sd_bus_vtable node_table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_SIGNAL("HealthStatusUpdate", "ssu", 0),
    SD_BUS_PROPERTY("HealthStatus", "u", NULL, 0,
                    SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_VTABLE_END,
};

void check(int result, const char* call)
{
    if (result < 0)
    {
        fprintf(stderr, "%s: %s\n", call, strerror(-result));
        exit(1);
    }
}

sd_bus* connect_to_bus(void)
{
    sd_bus* bus = NULL;
    const char* name = NULL;
    check(sd_bus_default(&bus), "sd_bus_default");
    /* Waits until the connection is up: messages sent before are queued, which
     *  costs time. */
    check(sd_bus_get_unique_name(bus, &name), "sd_bus_get_unique_name");
    return bus;
}

void add_node(sd_bus* bus, const char* key, uint32_t* health)
{
    check(sd_bus_add_object_vtable(bus, NULL, key, NODE_INTERFACE, node_table,
                                   health),
          "sd_bus_add_object_vtable");
}

void set_health(sd_bus* bus, const char* parent, const char* key,
                uint32_t* health, uint32_t value)
{
    *health = value;
    check(sd_bus_emit_properties_changed(bus, key, NODE_INTERFACE,
                                         "HealthStatus", NULL),
          "HealthStatus");
    check(sd_bus_emit_signal(bus, key, NODE_INTERFACE, "HealthStatusUpdate",
                             "ssu", parent, key, value),
          "HealthStatusUpdate");
}

double microseconds(clockid_t clock)
{
    struct timespec now;
    clock_gettime(clock, &now);
    return (double)now.tv_sec * 1e6 + (double)now.tv_nsec / 1e3;
}
