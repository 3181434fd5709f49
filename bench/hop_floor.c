// SPDX-License-Identifier: Apache-2.0
/** @file One process of a chain without the library: receives the report of its
 *  child, sets its property and reports to its parent, by plain libsystemd
 *  calls without any other work. Prints "ready" when it listens and ends when
 *  standard input ends.
 *
 *  Usage: hop-floor KEY */

#include "bare.h"
#include "loop.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct node
{
    const char* key;
    char parent[256];
    uint32_t health;
};

static int hear_child(sd_bus_message* message, void* context,
                      sd_bus_error* error)
{
    (void)error;
    struct node* node = context;
    const char* parent = NULL;
    const char* child = NULL;
    uint32_t health = 0;
    check(sd_bus_message_read(message, "ssu", &parent, &child, &health),
          "sd_bus_message_read");
    set_health(sd_bus_message_get_bus(message), node->parent, node->key,
               &node->health, health);
    return 0;
}

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        return 2;
    }
    struct node node = {.key = argv[1], .health = 2};
    snprintf(node.parent, sizeof(node.parent), "%.*s",
             (int)(strrchr(node.key, '/') - node.key), node.key);

    char rule[512];
    snprintf(rule, sizeof(rule),
             "type='signal',interface='" NODE_INTERFACE
             "',member='HealthStatusUpdate',arg0='%s'",
             node.key);
    sd_bus* bus = connect_to_bus();
    add_node(bus, node.key, &node.health);
    check(sd_bus_add_match(bus, NULL, rule, hear_child, &node),
          "sd_bus_add_match");
    serve(bus);
    sd_bus_unref(bus);
    return 0;
}
