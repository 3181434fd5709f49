// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Events and entries for tests of the log. */

#include "logmgr/event_log.hpp"

#include <string>
#include <utility>

namespace healthintf::logmgr
{

/** A record with a fixed value in each byte. */
inline Record sampleRecord(uint8_t type = 0x02)
{
    return {0xaa, 0xbb, type, 0xc1, 0xc2, 0xc3, 0xc4, 0x20,
            0x00, 0x04, 0x04, 0x30, 0x01, 0x57, 0x11, 0x22};
}

inline Event sampleEvent(uint8_t type = 0x02)
{
    return makeEvent({"Fan 7", "/sensors/fan7", 20, 1}, sampleRecord(type),
                     std::nullopt);
}

/** An entry that the store accepts as its next one. */
inline SELEntryProperties nextEntry(const SelStore& store,
                                    const std::string& name = "Fan 7")
{
    SELEntryProperties entry;
    entry.recordId = toIdentifier(store.next());
    entry.timestamp = 7;
    entry.sensor.name = name;
    return entry;
}

/** Adds entries one by one. */
inline void append(SelStore& store, int count,
                   const std::string& name = "Fan 7")
{
    for (int i = 0; i < count; ++i)
    {
        store.append(nextEntry(store, name), 0, store.state());
    }
}

/** The identifiers of a store's entries. */
inline std::vector<uint16_t> idsIn(SelStore& store)
{
    std::vector<uint16_t> ids;
    store.read(0, [&](uint64_t, const SELEntryProperties& entry) {
        ids.push_back(entry.recordId);
        return true;
    });
    return ids;
}

} // namespace healthintf::logmgr
