// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The records of the System Event Log's file: one of the log's state and
 *  one of each entry. */

#include <platform/data_abstraction/sel.hpp>

#include <cstdint>
#include <string>
#include <string_view>

namespace healthintf::logmgr
{

/** How many identifiers entries can have: 1 to 65534, as 0 and 65535 have a
 *  special meaning in IPMI. */
inline constexpr uint16_t identifiers = 65534;

/** The identifier of the entry with a sequence number. A log holds at most as
 *  many entries as there are identifiers, so no two of them share one. */
constexpr uint16_t toIdentifier(uint64_t sequence)
{
    return static_cast<uint16_t>(sequence % identifiers + 1);
}

/** The stored state of the log apart from its entries. Times are seconds since
 *  the epoch, 0 for never. */
struct LogState
{
    uint32_t lastAddition = 0;
    uint32_t lastErase = 0;
    /** Whether events were dropped or refused since the log was last
     *  cleared. */
    bool overflow = false;
};

/** What the record of the state holds. */
struct StoredState
{
    LogState state;
    /** The number of SelStore::generation(); 0 in a log of an earlier version,
     *  which has none. */
    uint64_t generation = 0;
};

/** The key of the state, which sorts before those of all entries. */
inline constexpr std::string_view stateKey("\0", 1);

/** The key of an entry: its sequence number with the highest byte first, so
 *  that the keys sort like the entries. */
std::string encodeKey(uint64_t sequence);

/** The sequence number in an entry's key.
 *
 *  @throws host::DamagedFile when the key has the wrong size */
uint64_t decodeKey(std::string_view key);

std::string encodeState(const StoredState& stored);

/** @throws std::system_error with ENOTSUP when another version of logmgr wrote
 *          the record, and std::exception when it is too short */
StoredState decodeState(std::string_view value);

/** @throws std::exception when the bytes are no entry with this sequence
 *          number, or D-Bus cannot carry a text of it */
SELEntryProperties decodeEntry(uint64_t sequence, std::string_view value);

} // namespace healthintf::logmgr
