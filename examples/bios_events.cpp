// SPDX-License-Identifier: Apache-2.0
/** @file An example: tells of the events that the log manager announces before
 *  it stores them.
 *
 *  Usage: bios-events NUMBER
 *
 *  Writes "listening", and then each record of the sensor of that number, or
 *  of every sensor when it is 0, as a line of hexadecimal digits. */

#include <lmi_sel_fault.hpp>

#include <sdbusplus/bus.hpp>

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace
{

using logmgr_interface::SELAndFault;

int show(const SELInterface::SELRecord& record)
{
    std::array<unsigned char, SELInterface::recordSize> bytes{};
    std::memcpy(bytes.data(), &record, bytes.size());
    for (const unsigned char byte : bytes)
    {
        std::printf("%02x", byte);
    }
    std::puts("");
    std::fflush(stdout);
    return 0;
}

[[noreturn]] void listen(uint32_t sensorNumber)
{
    auto bus = sdbusplus::bus::new_default();
    SELAndFault events(nullptr, "bios-events");
    events.RegisterForBIOSPreSELEvent(bus, show, sensorNumber);
    std::puts("listening");
    std::fflush(stdout);
    for (;;)
    {
        if (!bus.process_discard())
        {
            bus.wait();
        }
    }
}

} // namespace

int main(int argc, char** argv)
{
    const char* text = argc == 2 ? argv[1] : "";
    uint32_t sensorNumber = 0;
    const char* end = text + std::strlen(text);
    if (argc != 2 || std::from_chars(text, end, sensorNumber).ptr != end)
    {
        std::fprintf(stderr, "usage: bios-events NUMBER\n");
        return EXIT_FAILURE;
    }
    try
    {
        listen(sensorNumber);
    }
    catch (const std::exception& e)
    {
        std::fprintf(stderr, "bios-events: %s\n", e.what());
        return EXIT_FAILURE;
    }
}
