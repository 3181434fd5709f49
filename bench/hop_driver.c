// SPDX-License-Identifier: Apache-2.0
/** @file Reports a leaf's health to the lowest node of a chain and waits until
 *  the highest node reports it. Prints the microseconds of each round.
 *
 *  Usage: hop-driver LOWEST-KEY HIGHEST-KEY ROUNDS */

#include "bare.h"

#include <stdio.h>
#include <stdlib.h>

struct report
{
    uint32_t awaited;
    double received;
};

static int hear_report(sd_bus_message* message, void* context,
                       sd_bus_error* error)
{
    (void)error;
    struct report* report = context;
    const char* parent = NULL;
    const char* key = NULL;
    uint32_t health = 0;
    check(sd_bus_message_read(message, "ssu", &parent, &key, &health),
          "sd_bus_message_read");
    if (health == report->awaited)
    {
        report->received = microseconds(CLOCK_MONOTONIC);
    }
    return 0;
}

static void add_report_match(sd_bus* bus, const char* highest,
                             struct report* report)
{
    char rule[512];
    snprintf(rule, sizeof(rule),
             "type='signal',interface='" NODE_INTERFACE
             "',member='HealthStatusUpdate',path='%s'",
             highest);
    check(sd_bus_add_match(bus, NULL, rule, hear_report, report),
          "sd_bus_add_match");
}

/** The time of one report through the chain, in microseconds. */
static double climb(sd_bus* bus, const char* lowest, struct report* report)
{
    const double sent = microseconds(CLOCK_MONOTONIC);
    report->received = 0;
    check(sd_bus_emit_signal(bus, "/leaf", NODE_INTERFACE, "HealthStatusUpdate",
                             "ssu", lowest, "/leaf", report->awaited),
          "sd_bus_emit_signal");
    while (report->received == 0)
    {
        const int worked = sd_bus_process(bus, NULL);
        check(worked, "sd_bus_process");
        if (worked == 0)
        {
            check(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
        }
    }
    return report->received - sent;
}

int main(int argc, char** argv)
{
    if (argc != 4)
    {
        return 2;
    }
    const long rounds = atol(argv[3]);
    struct report report = {.awaited = 0};
    sd_bus* bus = connect_to_bus();
    add_report_match(bus, argv[2], &report);
    for (long i = 0; i < rounds; ++i)
    {
        /* Warning and critical alternate: each report changes every node. */
        report.awaited = i % 2 == 0 ? 3 : 4;
        printf("%.2f\n", climb(bus, argv[1], &report));
    }
    sd_bus_unref(bus);
    return 0;
}
