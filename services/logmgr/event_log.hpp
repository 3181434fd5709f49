// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The rules of the System Event Log, independent of D-Bus. */

#include "config.hpp"
#include "sel_store.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace healthintf::logmgr
{

/** Why a request to the log was refused. */
class Refusal : public std::runtime_error
{
  public:
    enum class Kind
    {
        invalidRecord,
        full,
        notStored,
        noSuchEntry,
        /** The log was cleared or replaced since the caller read it. */
        oldGeneration,
        /** The log has another last entry than the caller expects. */
        grown,
    };

    Refusal(Kind kind, const std::string& why) :
        std::runtime_error(why), reason(kind)
    {}

    Kind kind() const
    {
        return reason;
    }

  private:
    Kind reason;
};

using Record = std::array<uint8_t, SELInterface::recordSize>;

/** The longest name and the longest path of a sensor, in bytes. */
inline constexpr std::size_t maxSensorText = 511;

/** The first record type of records without a sensor. */
inline constexpr uint8_t firstOemType = 0xc0;
/** The first record type of records that have bytes of their maker in the place
 *  of the timestamp. */
inline constexpr uint8_t firstTypeWithoutTimestamp = 0xe0;

/** Converts a time to a record's 32 bits, limited to the years 1970 to 2106. */
uint32_t toRecordTime(int64_t time);

/** A request to store one event. */
struct Event
{
    SELInterface::SensorInfo sensor;
    Record record{};
    /** The record's timestamp; without one the log's clock is used. Ignored for
     *  records without a timestamp. */
    std::optional<uint32_t> timestamp;
};

/** Makes an event from the arguments of a call.
 *
 *  @throws Refusal when the record or a text has the wrong size */
Event makeEvent(SELInterface::SensorInfo sensor,
                std::span<const uint8_t> record,
                std::optional<uint32_t> timestamp);

/** The identifiers by which IPMI asks for the first and the last entry. */
inline constexpr uint16_t firstEntry = 0;
inline constexpr uint16_t lastEntry = 65535;
/** There is no further entry. */
inline constexpr uint16_t noEntry = 65535;

/** In the place of a sequence number: there is no further entry. */
inline constexpr uint64_t noSequence = UINT64_MAX;
/** In the place of a generation: any generation. */
inline constexpr uint64_t anyGeneration = 0;

/** A range of entries in their order. */
struct Page
{
    std::vector<SELEntryProperties> entries;
    /** The identifier of the entry after them, or noEntry. */
    uint16_t next = noEntry;
    /** The sequence number of the entry after them, or noSequence. */
    uint64_t nextSequence = noSequence;
};

/** The System Event Log with its capacity and overflow behaviour. */
class EventLog
{
  public:
    /** How many bytes a page has at most, unless it has only one entry. Larger
     *  pages would delay the next answer, which the bus takes only after this
     *  one. */
    static constexpr std::size_t maxPageBytes = 16UL << 10;

    /** Seconds since the epoch. */
    using Clock = std::function<uint32_t()>;

    /** @param[in] store must outlive this object */
    EventLog(SelStore& store, const Config& config, Clock clock);

    /** Restores the log's file when somebody removed or replaced it. Every
     *  change does this too. A failure is logged. */
    void restoreFile();

    /** The result of storing an event. */
    struct Addition
    {
        SELEntryProperties entry;
        /** Identifiers of the entries that were dropped for it. */
        std::vector<uint16_t> dropped;
        uint64_t sequence = 0;
    };

    /** Stores an event. It is on the disk when this returns.
     *
     *  @throws Refusal */
    Addition add(const Event& event);

    /** Removes every entry.
     *
     *  @return how many there were
     *  @throws Refusal */
    uint32_t clear();

    /** Removes every entry, unless the log changed since the caller read it.
     *
     *  @param[in] generation the log's, or anyGeneration
     *  @param[in] last the identifier of its last entry; 0 for a log without
     *  entries, lastEntry for any
     *  @return how many there were
     *  @throws Refusal when the generation or the last entry differs; nothing
     *          is removed then */
    uint32_t clearUpTo(uint64_t generation, uint16_t last);

    /** The identifier of the last entry; 0 for an empty log. */
    uint16_t lastIdentifier() const;

    /** Reads entries.
     *
     *  @param[in] first the identifier of the first wanted entry, firstEntry or
     *  lastEntry
     *  @param[in] limit how many entries at most; 0 for as many as a page holds
     *  @throws Refusal when the log has no entry with this identifier */
    Page list(uint16_t first, uint32_t limit) const;

    /** Reads entries by their sequence numbers, which no two entries of a
     *  generation share.
     *
     *  @param[in] generation the log's, or anyGeneration
     *  @param[in] first the sequence number of the first wanted entry; 0 for
     *  the log's first
     *  @param[in] limit how many entries at most; 0 for as many as a page holds
     *  @throws Refusal when the generation differs, or the log has no such
     *          entry */
    Page listFrom(uint64_t generation, uint64_t first, uint32_t limit) const;

    /** Reads one entry, as a page with the identifier of the next one.
     *
     *  @param[in] recordId its identifier, firstEntry or lastEntry
     *  @throws Refusal when the log has no such entry, or the entry is
     *          damaged */
    Page entry(uint16_t recordId) const;

    /** Is called with an entry and its sequence number. */
    using EntryCallback =
        std::function<void(uint64_t sequence, const SELEntryProperties& entry)>;

    /** Reads all entries. */
    void readAll(const EntryCallback& visit) const;

    /** The sequence number of the next new entry. */
    uint64_t nextSequence() const
    {
        return store.next();
    }

    /** The log's generation: another number whenever the log is cleared or
     *  replaced. */
    uint64_t generation() const
    {
        return store.generation();
    }

    /** How often the log's file was opened. Another time it may hold another
     *  log. */
    uint64_t openings() const
    {
        return store.openings();
    }

    uint32_t entries() const
    {
        return static_cast<uint32_t>(store.size());
    }

    const Config& config() const
    {
        return settings;
    }

    const LogState& state() const
    {
        return store.state();
    }

  private:
    /** Restores the file: what follows relies on what it holds.
     *
     *  @throws Refusal */
    void beginChange();
    void noteOverflow();
    [[noreturn]] void refuseFull();
    std::optional<uint64_t> find(uint16_t recordId) const;
    void checkGeneration(uint64_t known) const;
    Page pageFrom(uint64_t begin, uint32_t limit) const;
    /** The last undamaged entry. */
    Page lastPage() const;

    SelStore& store;
    Config settings;
    Clock clock;
    /** Whether it was logged that events are refused, since there was room. */
    bool refusing = false;
};

} // namespace healthintf::logmgr
