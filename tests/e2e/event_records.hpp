#pragma once

/** @file Events for the tests, as records of the System Event Log in
 *  hexadecimal digits. */

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>

namespace healthintf::test
{

/** An event as IPMI 2.0, table 32-1, has it. */
struct Event
{
    uint8_t sensorType;
    uint8_t sensorNumber;
    /** Of table 42-1. */
    uint8_t eventType;
    uint8_t offset;
    bool deasserted = false;
    /** The second and third event data. */
    uint16_t data = 0xffff;
    uint32_t timestamp = 0;

    std::string digits() const
    {
        constexpr unsigned int deassertion = 0x80;

        std::array<char, 33> text{};
        std::snprintf(text.data(), text.size(),
                      "000002%02x%02x%02x%02x200004%02x%02x%02x%02x%02x%02x",
                      timestamp & 0xff, timestamp >> 8 & 0xff,
                      timestamp >> 16 & 0xff, timestamp >> 24, sensorType,
                      sensorNumber, eventType | (deasserted ? deassertion : 0),
                      offset, data & 0xff, data >> 8);
        return text.data();
    }
};

/** The sensor-specific event/reading type. */
inline constexpr uint8_t sensorSpecific = 0x6f;

/** A power supply has failed. */
inline Event powerSupplyFailure(uint8_t sensorNumber, bool deasserted = false)
{
    constexpr uint8_t powerSupply = 0x08;
    constexpr uint8_t failureDetected = 1;
    return {powerSupply, sensorNumber, sensorSpecific, failureDetected,
            deasserted};
}

} // namespace healthintf::test
