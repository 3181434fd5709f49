// SPDX-License-Identifier: Apache-2.0
#include "known_events.hpp"

#include <utility>

namespace healthintf::test
{
namespace
{

KnownEvent asserted(unsigned int sensorType, unsigned int eventType,
                    unsigned int offset, const char* sensor,
                    std::vector<std::string> words)
{
    return {
        {.sensorType = sensorType, .eventType = eventType, .offset = offset},
        sensor,
        std::move(words)};
}

KnownEvent deasserted(unsigned int sensorType, unsigned int eventType,
                      unsigned int offset, const char* sensor,
                      std::vector<std::string> words)
{
    KnownEvent known =
        asserted(sensorType, eventType, offset, sensor, std::move(words));
    known.event.asserted = false;
    return known;
}

/** An assertion with an extension code in event data 2. */
KnownEvent extended(unsigned int code, KnownEvent known)
{
    known.event.use = 0xC0;
    known.event.data2 = code;
    return known;
}

} // namespace

const std::vector<KnownEvent>& knownEvents()
{
    static const std::vector<KnownEvent> events{
        asserted(0x01, 0x01, 0x00, "Temperature", {"lower", "non-critical"}),
        deasserted(0x01, 0x01, 0x02, "Temperature", {"lower", "critical"}),
        asserted(0x01, 0x01, 0x04, "Temperature", {"lower", "non-recoverable"}),
        asserted(0x01, 0x01, 0x07, "Temperature", {"upper", "non-critical"}),
        asserted(0x01, 0x01, 0x09, "Temperature", {"upper", "critical"}),
        deasserted(0x01, 0x01, 0x09, "Temperature", {"upper", "critical"}),
        asserted(0x01, 0x01, 0x0B, "Temperature", {"upper", "non-recoverable"}),
        asserted(0x02, 0x01, 0x05, "Voltage", {"lower", "non-recoverable"}),
        asserted(0x02, 0x05, 0x01, "Voltage", {"limit", "exceeded"}),
        deasserted(0x03, 0x01, 0x06, "Current", {"upper", "non-critical"}),
        asserted(0x03, 0x06, 0x01, "Current", {"performance", "lags"}),
        asserted(0x04, 0x01, 0x02, "Fan", {"lower", "critical"}),
        asserted(0x04, 0x04, 0x01, "Fan", {"predict", "failure"}),
        asserted(0x04, 0x0B, 0x00, "Fan", {"fully redundant"}),
        asserted(0x04, 0x0B, 0x01, "Fan", {"redundancy", "lost"}),
        asserted(0x04, 0x0B, 0x05, "Fan", {"insufficient resources"}),
        asserted(0x05, 0x6F, 0x00, "Physical Security", {"chassis intrusion"}),
        deasserted(0x05, 0x6F, 0x00, "Physical Security", {"chassis"}),
        asserted(0x05, 0x6F, 0x02, "Physical Security",
                 {"I/O card area intrusion"}),
        asserted(0x05, 0x6F, 0x06, "Physical Security", {"fan area intrusion"}),
        asserted(0x06, 0x6F, 0x01, "Platform Security",
                 {"pre-boot password violation", "user password"}),
        deasserted(0x06, 0x6F, 0x05, "Platform Security",
                   {"out-of-band access password", "violation"}),
        asserted(0x07, 0x6F, 0x00, "Processor", {"IERR"}),
        asserted(0x07, 0x6F, 0x01, "Processor", {"thermal trip"}),
        asserted(0x07, 0x6F, 0x02, "Processor", {"FRB1", "BIST"}),
        deasserted(0x07, 0x6F, 0x07, "Processor", {"presen"}),
        asserted(0x07, 0x6F, 0x0A, "Processor", {"throttled"}),
        asserted(0x07, 0x6F, 0x0B, "Processor",
                 {"uncorrectable machine check exception"}),
        deasserted(0x08, 0x6F, 0x00, "Power Supply", {"presen"}),
        asserted(0x08, 0x6F, 0x01, "Power Supply", {"failure"}),
        asserted(0x08, 0x6F, 0x02, "Power Supply", {"predictive failure"}),
        asserted(0x08, 0x6F, 0x03, "Power Supply", {"AC", "lost"}),
        deasserted(0x08, 0x6F, 0x03, "Power Supply", {"AC", "lost"}),
        asserted(0x08, 0x6F, 0x06, "Power Supply", {"config"}),
        asserted(0x09, 0x6F, 0x00, "Power Unit", {"power off"}),
        asserted(0x09, 0x6F, 0x02, "Power Unit", {"240VA power down"}),
        asserted(0x09, 0x6F, 0x05, "Power Unit", {"soft", "control failure"}),
        asserted(0x0A, 0x01, 0x09, "Cooling Device", {"upper", "critical"}),
        asserted(0x0A, 0x0A, 0x06, "Cooling Device", {"degraded"}),
        asserted(0x0B, 0x01, 0x07, "Other", {"upper", "non-critical"}),
        asserted(0x0C, 0x6F, 0x00, "Memory", {"correctable ECC"}),
        asserted(0x0C, 0x6F, 0x01, "Memory", {"uncorrectable ECC"}),
        deasserted(0x0C, 0x6F, 0x02, "Memory", {"parity"}),
        asserted(0x0C, 0x6F, 0x05, "Memory", {"logging limit", "reached"}),
        asserted(0x0C, 0x6F, 0x0A, "Memory", {"critical overtemperature"}),
        asserted(0x0D, 0x6F, 0x00, "Drive Slot", {"present"}),
        asserted(0x0D, 0x6F, 0x01, "Drive Slot", {"fault"}),
        deasserted(0x0D, 0x6F, 0x03, "Drive Slot", {"hot spare"}),
        asserted(0x0D, 0x6F, 0x08, "Drive Slot", {"rebuild", "abort"}),
        asserted(0x0E, 0x03, 0x01, "POST Memory Resize", {"asserted"}),
        extended(0x01, asserted(0x0F, 0x6F, 0x00, "System Firmware",
                                {"no", "memory", "installed"})),
        extended(0x0D,
                 asserted(0x0F, 0x6F, 0x00, "System Firmware", {"speed"})),
        extended(0x09, asserted(0x0F, 0x6F, 0x01, "System Firmware",
                                {"video initialization"})),
        extended(0x17, asserted(0x0F, 0x6F, 0x02, "System Firmware",
                                {"keyboard test"})),
        asserted(0x10, 0x6F, 0x02, "Event Logging Disabled",
                 {"log area", "clear"}),
        asserted(0x10, 0x6F, 0x04, "Event Logging Disabled", {"log", "full"}),
        deasserted(0x10, 0x6F, 0x05, "Event Logging Disabled", {"almost full"}),
        asserted(0x11, 0x6F, 0x01, "Watchdog", {"OS reset"}),
        asserted(0x11, 0x6F, 0x07, "Watchdog", {"OS", "pre-timeout interrupt"}),
        asserted(0x12, 0x6F, 0x02, "System Event", {"undetermined"}),
        asserted(0x12, 0x6F, 0x04, "System Event", {"PEF"}),
        deasserted(0x12, 0x6F, 0x05, "System Event", {"timestamp"}),
        asserted(0x13, 0x6F, 0x00, "Critical Interrupt", {"NMI"}),
        asserted(0x13, 0x6F, 0x05, "Critical Interrupt", {"PCI", "SERR"}),
        asserted(0x13, 0x6F, 0x07, "Critical Interrupt", {"correctable error"}),
        deasserted(0x13, 0x6F, 0x08, "Critical Interrupt",
                   {"uncorrectable error"}),
        asserted(0x14, 0x6F, 0x00, "Button", {"power button", "pressed"}),
        asserted(0x14, 0x6F, 0x03, "Button", {"FRU", "latch"}),
        asserted(0x15, 0x08, 0x00, "Module", {"device", "absent"}),
        asserted(0x15, 0x08, 0x01, "Module", {"device", "present"}),
        asserted(0x16, 0x09, 0x00, "Microcontroller", {"device", "disabled"}),
        deasserted(0x17, 0x09, 0x01, "Add-in Card", {"device", "enabled"}),
        asserted(0x18, 0x07, 0x02, "Chassis", {"critical", "less severe"}),
        asserted(0x19, 0x6F, 0x01, "Chip Set", {"thermal trip"}),
        asserted(0x1A, 0x02, 0x02, "Other FRU", {"busy"}),
        deasserted(0x1B, 0x6F, 0x00, "Cable", {"connected"}),
        asserted(0x1B, 0x6F, 0x01, "Cable", {"config", "error"}),
        deasserted(0x1C, 0x08, 0x00, "Terminator", {"device", "absent"}),
        asserted(0x1D, 0x6F, 0x01, "System Boot Initiated",
                 {"initiated by", "hard reset"}),
        asserted(0x1D, 0x6F, 0x03, "System Boot Initiated", {"PXE"}),
        asserted(0x1E, 0x6F, 0x00, "Boot Error", {"bootable media"}),
        asserted(0x1E, 0x6F, 0x03, "Boot Error", {"boot sector", "invalid"}),
        asserted(0x1F, 0x6F, 0x01, "OS Boot", {"C:", "completed"}),
        asserted(0x1F, 0x6F, 0x09, "OS Boot", {"installation", "aborted"}),
        asserted(0x20, 0x6F, 0x01, "OS", {"run-time critical stop"}),
        asserted(0x20, 0x6F, 0x03, "OS", {"graceful shutdown"}),
        asserted(0x21, 0x6F, 0x00, "Slot", {"fault status"}),
        deasserted(0x21, 0x6F, 0x05, "Slot", {"power", "off"}),
        asserted(0x21, 0x6F, 0x07, "Slot", {"interlock"}),
        asserted(0x22, 0x6F, 0x00, "System ACPI Power State",
                 {"S0/G0", "working"}),
        asserted(0x22, 0x6F, 0x05, "System ACPI Power State",
                 {"S5/G2", "soft-off"}),
        asserted(0x23, 0x6F, 0x00, "Watchdog", {"timer expired"}),
        asserted(0x23, 0x6F, 0x01, "Watchdog", {"hard reset"}),
        deasserted(0x23, 0x6F, 0x08, "Watchdog", {"timer", "interrupt"}),
        asserted(0x24, 0x6F, 0x01, "Platform Alert", {"LAN alert"}),
        asserted(0x25, 0x6F, 0x00, "Entity Presence", {"present"}),
        asserted(0x25, 0x6F, 0x01, "Entity Presence", {"absent"}),
        asserted(0x26, 0x0C, 0x03, "Monitor ASIC", {"D3"}),
        asserted(0x27, 0x6F, 0x00, "LAN", {"heartbeat", "lost"}),
        deasserted(0x27, 0x6F, 0x01, "LAN", {"heartbeat"}),
        asserted(0x28, 0x6F, 0x02, "Management Subsys",
                 {"management controller", "off-line"}),
        asserted(0x28, 0x6F, 0x05, "Management Subsys", {"FRU failure"}),
        asserted(0x29, 0x6F, 0x00, "Battery", {"low"}),
        asserted(0x29, 0x6F, 0x01, "Battery", {"failed"}),
        asserted(0x2A, 0x03, 0x01, "Session Audit", {"asserted"}),
        asserted(0x2B, 0x6F, 0x02, "Version Change",
                 {"hardware incompatibility"}),
        extended(0x09, asserted(0x2B, 0x6F, 0x01, "Version Change",
                                {"firmware or software change"})),
        asserted(0x2C, 0x6F, 0x00, "FRU State", {"not installed"}),
        deasserted(0x2C, 0x6F, 0x04, "FRU State", {"active"}),
        asserted(0x2C, 0x6F, 0x07, "FRU State", {"communication", "lost"})};
    return events;
}

} // namespace healthintf::test
