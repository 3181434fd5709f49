// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The history on the disk: a database of records. */

#include "history_limits.hpp"
#include "history_query.hpp"
#include "record.hpp"
#include "sequence_numbers.hpp"
#include "shares.hpp"
#include "sqlite.hpp"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace healthintf::history
{

/** What is known of a fault that lasts. */
struct FollowedFault
{
    /** The record of its appearance. */
    Record appeared;
    bool hidden = false;
    /** When its process started, see host::ProcessIdentity. */
    uint64_t processStart = 0;
};

/** The records of the history, and the faults that last. Changes are grouped: a
 *  kill loses no group that was committed, and a loss of power none that was
 *  synced. All calls may throw SqliteError, and std::system_error when a file
 *  cannot be written; then the group is lost, and the store is to be opened
 *  again. */
class HistoryStore
{
  public:
    /** Opens the history in a folder. Sets a damaged one aside and begins
     *  anew.
     *
     *  @throws std::runtime_error when another version of this program has
     *          written it; it is left alone then */
    HistoryStore(const std::filesystem::path& folder,
                 const HistoryLimits& limits);
    ~HistoryStore();
    HistoryStore(const HistoryStore&) = delete;
    HistoryStore& operator=(const HistoryStore&) = delete;

    /** Adds a record to the group and gives it a sequence number. One of a
     *  fault's appearance also gets the number of the occurrence. When there is
     *  too much, the oldest record goes: of a component that has a quarter of
     *  all, else of a user who has half, else of all. Records count when there
     *  are too many, and their bytes when those are too many. Those of lasting
     *  faults stay. */
    void add(Record& record);

    /** Whether another lasting fault of a user may be followed. His lasting
     *  faults may have a quarter of what the history holds, because their
     *  records do not make room for others. */
    bool mayFollow(uint32_t user) const;

    /** Notes in the group that a fault lasts, or changes what is noted. */
    void follow(const FollowedFault& fault);
    /** Notes in the group that it lasts no longer. */
    void forget(const FollowedFault& fault);

    /** Removes in the group all records but those of lasting faults. */
    void clear();

    /** Whether there is a group that is not committed. */
    bool hasGroup() const
    {
        return grouped;
    }
    void commit();

    /** How many records were committed since the last sync. */
    std::size_t unsynced() const
    {
        return sinceSync;
    }
    void sync();

    /** The faults that lasted at the last commit. */
    std::vector<FollowedFault> followed();

    /** Reads the first records of a query, not more than fit well into one
     *  message. */
    HistoryPage read(const HistoryQuery& query);

    /** Whether the same silence or acknowledgement was recorded: of this kind
     *  and time, about this entry, and with this comment. Its record may have
     *  gone since. */
    bool has(const Record& record);

    /** The lowest and the highest sequence number; 0 without records. */
    uint64_t first();
    uint64_t last();
    uint64_t records() const
    {
        return all.records;
    }
    uint64_t bytes();

    /** Whether the files are still in their places. */
    bool isInPlace() const;

  private:
    struct Opened;

    void countRecords();
    void count(const std::string& component, uint32_t user, uint64_t size);
    void begin();
    void makeRoom();
    bool removeOldest(Measure measure);
    bool removeBy(Statement& removal);
    void countFollowed();
    void remember(const Record& record);
    uint64_t sizeOfFollowed(int64_t sequence);
    uint64_t countOccurrences(uint64_t identity);

    std::filesystem::path file;
    HistoryLimits limits;
    std::unique_ptr<Opened> opened;
    std::optional<SequenceNumbers> numbers;
    Amount all;
    Shares<std::string> ofComponent;
    Shares<uint32_t> ofUser;
    /** The part of it that belongs to lasting faults. */
    Shares<uint32_t> followedOfUser;
    bool grouped = false;
    std::size_t sinceSync = 0;
};

} // namespace healthintf::history
