// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The System Event Log: its paths and names, and the sensor and record
 *  of an event. */

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace SELInterface
{

/** The path of the whole log, on D-Bus and in the data cache. */
inline constexpr const char* logPath = "/com/vexa/olvar/logmgr/SEL";
/** What the path of an entry in the data cache begins with; the identifier in
 *  five digits follows. */
inline constexpr const char* entryPrefix = "/com/vexa/olvar/logmgr/selentry/";
/** The log's interface on D-Bus. */
inline constexpr const char* logInterface = "com.vexa.olvar.logmgr.SEL";
/** The method that stores a record: `(ssyy)ay` to `u`. */
inline constexpr const char* addMethod = "AddSEL";

/** The sensor that saw an event. */
struct SensorInfo
{
    /** The sensor's name, for people. */
    std::string name;
    /** The sensor's path, or a name in its place. It becomes the sensor path
     *  of the fault entries that the sensor's events make, and so identifies
     *  them. */
    std::string path;
    /** The first of two bytes that logmgr stores with the record. The daemon
     *  and the readers of the log agree upon their meaning. */
    uint8_t firstByte = 0;
    /** The second of them. */
    uint8_t secondByte = 0;
};

/** An event record as IPMI 2.0 has it, table 32-1, byte for byte. Numbers of
 *  more than one byte are little-endian. */
struct SELRecord
{
    /** Assigned by logmgr when it stores the record. */
    std::array<uint8_t, 2> recordId;
    /** 0x02 for an event; 0xC0 to 0xFF are OEM records. */
    uint8_t recordType;
    /** Seconds since the epoch, also assigned by logmgr. */
    std::array<uint8_t, 4> timestamp;
    /** Who reported the event: IPMI address or software id, and its channel. */
    std::array<uint8_t, 2> generatorId;
    /** The form of the event message, 4 for IPMI 2.0. */
    uint8_t evmRevision;
    /** IPMI 2.0, table 42-3. */
    uint8_t sensorType;
    /** The sensor's number, unique for its generator. */
    uint8_t sensorNumber;
    /** Bit 7 is set for a deassertion; bits 6 to 0 are the event/reading type
     *  of IPMI 2.0, table 42-1. */
    uint8_t eventDirectionAndType;
    /** The first byte has the event's offset in bits 3 to 0. */
    std::array<uint8_t, 3> eventData;
};

/** The size of every record in bytes. */
inline constexpr std::size_t recordSize = 16;

static_assert(sizeof(SELRecord) == recordSize && alignof(SELRecord) == 1,
              "a record is 16 bytes without padding");

} // namespace SELInterface
