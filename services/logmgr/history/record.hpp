// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A record of the history of faults. */

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::history
{

/** What has happened. The numbers are stored and never change. */
enum class Kind : uint8_t
{
    /** A fault was added. */
    appeared = 1,
    /** A fault was removed by its daemon. */
    cleared = 2,
    /** A fault was removed because its component had too many. */
    gaveWay = 3,
    /** A fault ended with its process, so nobody knows whether its cause
     *  lasts. */
    withdrawn = 4,
    hidden = 5,
    shown = 6,
    /** healthmgr reports that a component's daemon ended without giving the
     *  component up. */
    monitorLost = 7,
    /** A daemon has that component again. */
    monitorBack = 8,
    acknowledged = 9,
    silenced = 10,
    silenceEnded = 11,
    attributeChanged = 12,
    /** The System Event Log was cleared. */
    logCleared = 13,
    /** The history itself was cleared. */
    historyCleared = 14,
};

/** The kind with the highest number. */
inline constexpr Kind lastKind = Kind::historyCleared;

/** A kind's name on D-Bus, such as "gave-way". */
const char* kindName(Kind kind);

/** The kind of a name; nothing for another text. */
std::optional<Kind> parseKind(std::string_view name);

/** A fault as its entry tells it. */
struct Fault
{
    /** The key of the component that it is on. */
    std::string component = {};
    /** The object path of the fault entry. */
    std::string entry = {};
    std::string messageId = {};
    std::vector<std::string> args = {};
    std::string message = {};
    /** The health value of the fault, 1 to 4. */
    uint32_t severity = 0;
    std::string sensorPath = {};
    uint32_t sensorNumber = 0;
    uint32_t sensorType = 0;
    /** The process that has the fault: its name, id and user. */
    std::string process = {};
    uint32_t pid = 0;
    uint32_t user = 0;
};

/** The user of what nobody did. The kernel gives this number to no user. */
inline constexpr uint32_t noUser = ~uint32_t{0};

/** The longest text of a record, in bytes; longer ones are cut. */
inline constexpr std::size_t longestText = 1024;
/** The most arguments of a record. */
inline constexpr std::size_t mostArguments = 32;

/** Cuts a text to what a record may have, and makes it valid UTF-8. */
void trimText(std::string& text);

/** The same for all texts of a fault. */
void trim(Fault& fault);

/** What distinguishes a fault from others, so that it is the same one when it
 *  comes again: component, message, arguments and sensor. */
uint64_t identityOf(const Fault& fault);

/** One thing that has happened. */
struct Record
{
    /** Rises from record to record, and never comes again. */
    uint64_t sequence = 0;
    /** Milliseconds since the epoch. */
    int64_t time = 0;
    Kind kind = Kind::appeared;
    /** What does not concern one fault has parts of it only. */
    Fault fault;
    /** How long the fault or the silence lasted, in milliseconds. */
    std::optional<int64_t> lasted;
    /** Which occurrence of the same fault it is, from 1 on; 0 for what is no
     *  fault. */
    uint64_t occurrence = 0;
    /** Whether it happened while nobody recorded it: it was found later. */
    bool missed = false;
    /** What a person has said to it, or the new value of an attribute. */
    std::string comment;
};

/** What distinguishes what an operator has done from the rest: kind, time,
 *  entry and comment. */
uint64_t hashOf(const Record& record);

/** How many bytes the texts of a record have. */
std::size_t countBytes(const Record& record);

} // namespace healthintf::history
