// SPDX-License-Identifier: Apache-2.0
/** @file A daemon in C for the tests. It calls every function for C, in steps:
 *  it prints a step's results as one line, then serves its bus until it reads a
 *  line from standard input.
 *
 *  Usage: flat-client KEY WITH WITHOUT: a component key and two messages of the
 *  registry, one with an argument and one without. */

#include <healthmgrintf.h>

#include <systemd/sd-bus.h>

#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

static const char* const sensor = "/sensor/one";
static const char* const otherSensor = "/sensor/two";

static void fail(const char* what)
{
    fprintf(stderr, "flat-client: %s\n", what);
    exit(EXIT_FAILURE);
}

static void processAll(sd_bus* bus)
{
    while (sd_bus_process(bus, NULL) > 0)
    {}
}

/** Serves the bus until standard input has a line. */
static void serve(sd_bus* bus)
{
    char taken = '\0';
    fflush(stdout);
    while (taken != '\n')
    {
        struct pollfd polled[] = {{STDIN_FILENO, POLLIN, 0},
                                  {sd_bus_get_fd(bus), POLLIN, 0}};
        processAll(bus);
        poll(polled, 2, -1);
        if (polled[0].revents != 0 && read(STDIN_FILENO, &taken, 1) != 1)
        {
            fail("told nothing");
        }
    }
}

/** Prints the numbers of visible and of hidden faults. */
static void countAll(void)
{
    int32_t visible = -1;
    int32_t hidden = -1;
    const int result =
        FaultAndHealth_GetVisibleHiddenMsgCount(&visible, &hidden);
    printf(" count %d %d %d\n", result, (int)visible, (int)hidden);
}

/** Waits until a fault is hidden. */
static void processUntilHidden(sd_bus* bus)
{
    int32_t visible = 0;
    int32_t hidden = 0;
    while (FaultAndHealth_GetVisibleHiddenMsgCount(&visible, &hidden) == 0 &&
           hidden == 0)
    {
        processAll(bus);
        sd_bus_wait(bus, 10000);
    }
}

int main(int argc, char** argv)
{
    const char* const args[] = {"seven"};
    const char* name = NULL;
    sd_bus* bus = NULL;
    FaultAndHealthObject* fan = NULL;

    if (argc != 4 || sd_bus_default(&bus) < 0 ||
        sd_bus_get_unique_name(bus, &name) < 0)
    {
        fail("no bus, or not told what to report");
    }
    printf("init ");
    fan = FaultAndHealth_Initialization(bus, argv[1]);
    printf(" %p %s\n", (void*)fan, name);
    serve(bus);

    printf("add %d", FaultAndHealth_AddFault(fan, argv[2], sensor, args, 1,
                                             "Fan.7", "cooling", 48, 4));
    printf(" %d", FaultAndHealth_AddFault(fan, argv[3], otherSensor, NULL, 0,
                                          "Fan.7", "cooling", 49, 4));
    printf(" %d", FaultAndHealth_AddFault(fan, NULL, sensor, NULL, 0, "Fan.7",
                                          "cooling", 48, 4));
    countAll();
    serve(bus);

    printf("hide %d", c_wrapper_hide_faults(true, NULL, sensor, 0));
    processUntilHidden(bus);
    countAll();
    serve(bus);

    printf("remove %d", FaultAndHealth_RemoveFault(fan, argv[3], otherSensor));
    countAll();
    serve(bus);

    FaultAndHealth_Destuctor(fan);
    FaultAndHealth_Destuctor(NULL);
    printf("destroy");
    countAll();
    serve(bus);

    sd_bus_flush_close_unref(bus);
    return EXIT_SUCCESS;
}
