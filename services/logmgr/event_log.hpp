#pragma once

/** @file The rules of the System Event Log, without any bus. */

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

/** Why something is not done. */
class Refusal : public std::runtime_error
{
  public:
    enum class Kind
    {
        invalidRecord,
        full,
        notStored,
        noSuchEntry,
        /** The log was cleared or begun anew since. */
        oldGeneration,
        /** The last entry is another than somebody knows. */
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

/** Record types from here on have no sensor. */
inline constexpr uint8_t firstOemType = 0xc0;
/** Record types from here on have bytes of their maker in the place of the
 *  timestamp. */
inline constexpr uint8_t firstTypeWithoutTimestamp = 0xe0;

/** A time as records have it, which ends where there is no more room: before
 *  1970 and after 2106. */
uint32_t secondsOf(int64_t time);

/** What somebody wants to be stored. */
struct Event
{
    SELInterface::SensorInfo sensor;
    Record record{};
    /** Without one, and in a record that has none, the clock's. */
    std::optional<uint32_t> timestamp;
};

/** @throws Refusal for what is no event record */
Event checkedEvent(SELInterface::SensorInfo sensor,
                   std::span<const uint8_t> record,
                   std::optional<uint32_t> timestamp);

/** The identifiers that stand for entries by their place, as IPMI has them. */
inline constexpr uint16_t firstEntry = 0;
inline constexpr uint16_t lastEntry = 65535;
/** There is no further entry. */
inline constexpr uint16_t noEntry = 65535;

/** What stands for the sequence number of an entry that there is not. */
inline constexpr uint64_t noSequence = UINT64_MAX;
/** What stands for whichever generation the log has. */
inline constexpr uint64_t anyGeneration = 0;

/** Some entries in their order. */
struct Page
{
    std::vector<SELEntryProperties> entries;
    /** The identifier of the entry behind them, or noEntry. */
    uint16_t next = noEntry;
    /** The sequence number of the entry behind them, or noSequence. */
    uint64_t nextSequence = noSequence;
};

/** A log with a capacity. */
class EventLog
{
  public:
    /** How many bytes a page has at most, unless its only entry has more: what
     *  is answered after it waits for the bus to take it. */
    static constexpr std::size_t maxPageBytes = 16UL << 10;

    /** Seconds since the epoch. */
    using Clock = std::function<uint32_t()>;

    /** @param[in] store must outlive this object */
    EventLog(SelStore& store, const Config& config, Clock clock);

    /** Sees to it that the log is in its folder, as every change does. What
     *  fails is logged. */
    void keepInPlace();

    /** What an event has become. */
    struct Addition
    {
        SELEntryProperties entry;
        /** Identifiers of the entries that went for it. */
        std::vector<uint16_t> dropped;
        uint64_t sequence = 0;
    };

    /** Stores an event, for good when this returns.
     *
     *  @throws Refusal */
    Addition add(const Event& event);

    /** Removes every entry.
     *
     *  @return how many there were
     *  @throws Refusal */
    uint32_t clear();

    /** Removes every entry, if the log is what somebody knows of it.
     *
     *  @param[in] generation the log's, or anyGeneration
     *  @param[in] last the identifier of its last entry; 0 for a log without
     *             entries, lastEntry for whichever it is
     *  @return how many there were
     *  @throws Refusal when the log is another or has grown; nothing is
     *          removed then */
    uint32_t clearUpTo(uint64_t generation, uint16_t last);

    /** The identifier of the last entry; 0 without one. */
    uint16_t lastIdentifier() const;

    /** Reads entries.
     *
     *  @param[in] first the identifier to begin with, firstEntry or lastEntry
     *  @param[in] limit how many at most; 0 for as many as a page holds
     *  @throws Refusal without an entry of the identifier */
    Page list(uint16_t first, uint32_t limit) const;

    /** Reads entries by their sequence numbers, which no two entries of a
     *  generation share.
     *
     *  @param[in] generation the log's, or anyGeneration
     *  @param[in] first the sequence number to begin with; 0 for the first
     *             entry that there is
     *  @param[in] limit how many at most; 0 for as many as a page holds
     *  @throws Refusal when the log is another, or has not the entry */
    Page listFrom(uint64_t generation, uint64_t first, uint32_t limit) const;

    /** Reads one entry, which a page is given with.
     *
     *  @param[in] recordId its identifier, firstEntry or lastEntry
     *  @throws Refusal without such an entry, also when it is one that makes
     *          no sense: another is not given in its place */
    Page entry(uint16_t recordId) const;

    /** Takes an entry with its sequence number. */
    using Take =
        std::function<void(uint64_t sequence, const SELEntryProperties& entry)>;

    /** Reads all entries. */
    void readAll(const Take& take) const;

    /** The sequence number that the next entry gets. */
    uint64_t nextSequence() const
    {
        return store.next();
    }

    /** Changes when the log is cleared or begun anew. */
    uint64_t generation() const
    {
        return store.generation();
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
    void noteOverflow();
    [[noreturn]] void refuseFull();
    std::optional<uint64_t> find(uint16_t recordId) const;
    void checkGeneration(uint64_t known) const;
    Page pageFrom(uint64_t begin, uint32_t limit) const;
    /** The last entry that makes sense. */
    Page lastPage() const;

    SelStore& store;
    Config settings;
    Clock clock;
};

} // namespace healthintf::logmgr
