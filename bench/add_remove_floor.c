// SPDX-License-Identifier: Apache-2.0
/** @file Sends the messages of adding and removing one fault by plain
 *  libsystemd calls, without any other work: the lower bound for the library.
 *
 *  Usage: add-remove-floor ROUNDS */

#include "bare.h"

#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#define KEY ROOT "/benchmark"
#define ENTRY_INTERFACE "com.vexa.olvar.healthmgr.FaultEntry"

struct fault
{
    const char* fqdd;
    const char* message_id;
    const char* message;
    const char* args[3];
    uint64_t timestamp;
    uint32_t severity;
    const char* sensor_path;
    uint32_t sensor_number;
    uint32_t sensor_type;
    int32_t led_state;
    const char* lcd_message;
    int hidden;
};

static int get_args(sd_bus* bus, const char* path, const char* interface,
                    const char* property, sd_bus_message* reply, void* userdata,
                    sd_bus_error* error)
{
    (void)bus, (void)path, (void)interface, (void)property, (void)error;
    /* sd-bus passes the address of the member. */
    return sd_bus_message_append_strv(reply, (char**)userdata);
}

#define PROPERTY(name, type, member, flags) \
    SD_BUS_PROPERTY(name, type, NULL, offsetof(struct fault, member), flags)

static const sd_bus_vtable entry_table[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_SIGNAL("FaultEntryAdded", "sssastusuu", 0),
    SD_BUS_SIGNAL("FaultEntryRemoved", "sssuu", 0),
    SD_BUS_SIGNAL("HideFaultForSensor", "bssi", 0),
    PROPERTY("FQDD", "s", fqdd, SD_BUS_VTABLE_PROPERTY_CONST),
    PROPERTY("MessageID", "s", message_id, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("Message", "s", message, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_PROPERTY("Args", "as", get_args, offsetof(struct fault, args),
                    SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("Timestamp", "t", timestamp, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("Severity", "u", severity, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("SensorPath", "s", sensor_path,
             SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("SensorNumber", "u", sensor_number,
             SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("SensorType", "u", sensor_type,
             SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("LedState", "i", led_state, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("LcdMessage", "s", lcd_message,
             SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    PROPERTY("Hidden", "b", hidden, SD_BUS_VTABLE_PROPERTY_EMITS_CHANGE),
    SD_BUS_VTABLE_END,
};

/* The properties that a new fault changes, in the order of their names. */
static const char* const changed[] = {
    "Args",         "LcdMessage", "LedState",   "Message",  "MessageID",
    "SensorNumber", "SensorPath", "SensorType", "Severity", "Timestamp"};

static sd_bus_slot* add_fault(sd_bus* bus, const char* path,
                              struct fault* fault)
{
    sd_bus_slot* slot = NULL;
    check(sd_bus_add_object_vtable(bus, &slot, path, ENTRY_INTERFACE,
                                   entry_table, fault),
          "sd_bus_add_object_vtable");
    for (size_t i = 0; i < sizeof(changed) / sizeof(changed[0]); ++i)
    {
        check(sd_bus_emit_properties_changed(bus, path, ENTRY_INTERFACE,
                                             changed[i], NULL),
              changed[i]);
    }
    check(sd_bus_emit_interfaces_added(bus, path, ENTRY_INTERFACE, NULL),
          "InterfacesAdded");

    sd_bus_message* added = NULL;
    check(sd_bus_message_new_signal(bus, &added, path, ENTRY_INTERFACE,
                                    "FaultEntryAdded"),
          "sd_bus_message_new_signal");
    check(sd_bus_message_append(added, "sss", fault->fqdd, fault->message_id,
                                fault->message),
          "sd_bus_message_append");
    check(sd_bus_message_append_strv(added, (char**)fault->args),
          "sd_bus_message_append_strv");
    check(sd_bus_message_append(added, "tusuu", fault->timestamp,
                                fault->severity, fault->sensor_path,
                                fault->sensor_number, fault->sensor_type),
          "sd_bus_message_append");
    check(sd_bus_send(bus, added, NULL), "sd_bus_send");
    sd_bus_message_unref(added);
    return slot;
}

static void remove_fault(sd_bus* bus, const char* path,
                         const struct fault* fault, sd_bus_slot* slot)
{
    check(sd_bus_emit_signal(bus, path, ENTRY_INTERFACE, "FaultEntryRemoved",
                             "sssuu", fault->fqdd, fault->message_id,
                             fault->sensor_path, fault->sensor_number,
                             fault->sensor_type),
          "FaultEntryRemoved");
    check(sd_bus_emit_interfaces_removed(bus, path, ENTRY_INTERFACE, NULL),
          "InterfacesRemoved");
    sd_bus_slot_unref(slot);
}

int main(int argc, char** argv)
{
    const long rounds = argc > 1 ? atol(argv[1]) : 1000;
    uint32_t health = 2;
    sd_bus* bus = connect_to_bus();
    check(sd_bus_add_object_manager(bus, NULL, ROOT),
          "sd_bus_add_object_manager");
    add_node(bus, KEY, &health);

    const double wall = microseconds(CLOCK_MONOTONIC);
    const double cpu = microseconds(CLOCK_PROCESS_CPUTIME_ID);
    for (long i = 0; i < rounds; ++i)
    {
        char path[128];
        struct fault fault = {
            .fqdd = "System.Embedded.1#Fan.7",
            .message_id = "BenchmarkFault",
            .message = "The fan fan 7 in the rear failed.",
            .args = {"fan 7", "rear", NULL},
            .timestamp = (uint64_t)time(NULL),
            .severity = 4,
            .sensor_path = "/com/vexa/olvar/sensors/benchmark",
            .sensor_number = 48,
            .sensor_type = 4,
            .led_state = 3,
            .lcd_message = "Fan 7 failed",
            .hidden = 0,
        };
        snprintf(path, sizeof(path), KEY "/entry/Fault_%04X%04X_4",
                 (unsigned)getpid(), (unsigned)(i & 0xFFFF));
        sd_bus_slot* slot = add_fault(bus, path, &fault);
        set_health(bus, ROOT, KEY, &health, 4);
        remove_fault(bus, path, &fault, slot);
        set_health(bus, ROOT, KEY, &health, 2);
    }
    check(sd_bus_flush(bus), "sd_bus_flush");
    printf("%.2f %.2f\n",
           (microseconds(CLOCK_MONOTONIC) - wall) / (double)rounds,
           (microseconds(CLOCK_PROCESS_CPUTIME_ID) - cpu) / (double)rounds);
    sd_bus_unref(bus);
    return 0;
}
