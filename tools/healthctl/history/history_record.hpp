// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A record of the history of faults, as logmgr sends it. */

#include <systemd/sd-bus.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace healthintf::healthctl
{

/** What can have happened, by the names that logmgr gives it. A later logmgr
 *  may have more. */
inline constexpr std::array historyKinds{
    "appeared",     "cleared",        "gave-way",      "withdrawn",
    "hidden",       "shown",          "monitor-lost",  "monitor-back",
    "acknowledged", "silenced",       "silence-ended", "attribute-changed",
    "log-cleared",  "history-cleared"};

/** One thing that has happened. What logmgr does not say is empty or 0. */
struct HistoryRecord
{
    /** Rises from record to record, and never comes again. */
    uint64_t sequence = 0;
    /** Milliseconds since the epoch. */
    int64_t time = 0;
    /** One of historyKinds, or of a later logmgr. */
    std::string kind = {};
    /** The component's key. */
    std::string component = {};
    /** The object path of the fault entry. */
    std::string entry = {};
    std::string messageId = {};
    std::vector<std::string> args = {};
    std::string message = {};
    /** The fault's health value. */
    uint32_t severity = 0;
    std::string sensorPath = {};
    uint32_t sensorNumber = 0;
    uint32_t sensorType = 0;
    /** The process that had the fault: its name, id and user. */
    std::string process = {};
    uint32_t pid = 0;
    std::optional<uint32_t> user = std::nullopt;
    /** How long the fault or silence lasted, in milliseconds. */
    std::optional<int64_t> lasted = std::nullopt;
    /** Which occurrence of the same fault it is, from 1 on. */
    uint64_t occurrence = 0;
    /** Whether it was found later. */
    bool missed = false;
    /** What a person has said to it, or the new value of an attribute. */
    std::string comment = {};
};

inline constexpr int64_t millisecondsOfSecond = 1000;

/** Whether a kind is the appearance of a fault. */
bool isAppearance(std::string_view kind);

/** Whether a kind is the end of a fault. */
bool isEnd(std::string_view kind);

/** Reads the next record of a message, `a{sv}`. Members that it does not know
 *  are left out.
 *
 *  @throws std::system_error when there is none, or a member has another type
 */
HistoryRecord readHistoryRecord(sd_bus_message* message);

} // namespace healthintf::healthctl
