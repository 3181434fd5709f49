#pragma once

/** @file The System Event Log: where it is, and the sensor and the record of an
 *  event. */

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace SELInterface
{

/** The object that stands for the whole log, on D-Bus and in the data cache. */
inline constexpr const char* logPath = "/com/vexa/olvar/logmgr/SEL";
/** The path of an entry in the data cache, before its identifier in five
 *  digits. */
inline constexpr const char* entryPrefix = "/com/vexa/olvar/logmgr/selentry/";
/** The log's interface on D-Bus. */
inline constexpr const char* logInterface = "com.vexa.olvar.logmgr.SEL";
/** The method that stores a record: `(ssyy)ay` to `u`. */
inline constexpr const char* addMethod = "AddSEL";

/** The sensor that saw an event, as the log manager is told of it. */
struct SensorInfo
{
    /** The sensor's name, for people. */
    std::string name;
    /** The sensor's path or name by which its faults are told apart: it is the
     *  sensor path of the fault entries that follow from its events. */
    std::string path;
    /** Two bytes that are handed to the log manager and kept with the record;
     *  what they mean is between the daemon and whoever reads the log. */
    uint8_t firstByte = 0;
    /** The second of them. */
    uint8_t secondByte = 0;
};

/** An event record as IPMI 2.0 has it, table 32-1, byte for byte. Numbers of
 *  more than one byte are little-endian. */
struct SELRecord
{
    /** The log manager gives it when it stores the record. */
    std::array<uint8_t, 2> recordId;
    /** 0x02 for an event; 0xC0 to 0xFF are the makers' own. */
    uint8_t recordType;
    /** Seconds since the epoch, from the log manager too. */
    std::array<uint8_t, 4> timestamp;
    /** Who saw the event: IPMI address or software, and its channel. */
    std::array<uint8_t, 2> generatorId;
    /** The form of the event message, 4 for IPMI 2.0. */
    uint8_t evmRevision;
    /** IPMI 2.0, table 42-3. */
    uint8_t sensorType;
    /** The sensor's number, of those of its generator. */
    uint8_t sensorNumber;
    /** Bit 7 is set for a deassertion; the others are the event/reading type
     *  of IPMI 2.0, table 42-1. */
    uint8_t eventDirectionAndType;
    /** The event's offset in bits 3 to 0 of the first. */
    std::array<uint8_t, 3> eventData;
};

/** The size of every record in bytes. */
inline constexpr std::size_t recordSize = 16;

static_assert(sizeof(SELRecord) == recordSize && alignof(SELRecord) == 1,
              "a record is 16 bytes without any between its fields");

} // namespace SELInterface
