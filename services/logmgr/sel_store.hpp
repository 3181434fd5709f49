// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The System Event Log on the disk. */

#include "lmdb.hpp"
#include "sel_records.hpp"
#include "storage/file_lock.hpp"

#include <cstdint>
#include <filesystem>
#include <functional>

namespace healthintf::logmgr
{

/** The log of one folder, which only one process may have open. A change is on
 *  the disk when the call returns; a call that throws has changed nothing.
 *
 *  Entries have sequence numbers without a gap, which begin with 0 in an empty
 *  log. */
class SelStore
{
  public:
    /** How many bytes the file may grow to: more than the largest number of
     *  entries with the longest texts needs. */
    static constexpr std::size_t mapSize = 256UL << 20;

    /** Bytes on the disk that are kept free for clearing the log, which needs
     *  new pages. */
    static constexpr std::size_t reserve = 1UL << 20;

    /** Opens the log of a folder; waits until no other process has it open. A
     *  damaged file is set aside, and an empty log takes its place.
     *
     *  @param[in] path the folder, made when it is missing
     *  @throws std::exception when the log cannot be opened */
    explicit SelStore(std::filesystem::path path);

    const LogState& state() const
    {
        return current.state;
    }

    /** The first entry's sequence number. */
    uint64_t first() const
    {
        return current.first;
    }

    /** The sequence number of the next new entry. */
    uint64_t next() const
    {
        return current.next;
    }

    uint64_t size() const
    {
        return current.next - current.first;
    }

    /** A random number, never 0, that is chosen again whenever the log is
     *  cleared or replaced, and sequence numbers begin with 0 again. */
    uint64_t generation() const
    {
        return current.generation;
    }

    /** How often the file was opened. Another time it may hold another log. */
    uint64_t openings() const
    {
        return opened;
    }

    /** Restores the log's file when somebody removed or replaced it: writes all
     *  entries to a new file and sets the other one aside. When somebody has
     *  overwritten the file itself, reads what it holds now. Each change does
     *  this first.
     *
     *  @throws std::exception when the file is missing and cannot be written;
     *          the log can still be read */
    void restoreFile();

    /** Whether the entries are only in a file that is no longer in its place,
     *  and end with this process. */
    bool lacksFile() const;

    /** Adds an entry after the last one.
     *
     *  @param[in] entry the entry, with the identifier of next()
     *  @param[in] dropped how many entries are removed, from the first on
     *  @throws std::exception when it could not be stored */
    void append(const SELEntryProperties& entry, uint64_t dropped,
                const LogState& state);

    /** Removes every entry.
     *
     *  @throws std::exception when nothing was removed */
    void clear(const LogState& state);

    /** @throws std::exception when it could not be stored */
    void setState(const LogState& state);

    /** Is called with an entry and its sequence number.
     *
     *  @return whether to continue with the next */
    using Visit =
        std::function<bool(uint64_t sequence, const SELEntryProperties& entry)>;

    /** Reads entries in their order. A damaged one is logged and left out.
     *
     *  @param[in] from the sequence number of the first wanted entry
     *  @throws std::exception when the log cannot be read */
    void read(uint64_t from, const Visit& visit);

  private:
    struct Content
    {
        uint64_t first = 0;
        uint64_t next = 0;
        uint64_t generation = 0;
        LogState state;
    };

    /** A change within a transaction.
     *
     *  @return what the log holds after it */
    using Work = std::function<Content(MDB_txn* transaction)>;

    /** Whether a change fails when no more blocks can be reserved on the disk,
     *  or then uses the ones that are reserved for it. */
    enum class Reservation
    {
        required,
        optional,
    };

    void openOrStartAnew();
    void rescueUnlessChangeable();
    void rescueOrLog(const char* why);
    void rescue(const char* why);
    void open();
    void reopenIfLost();
    void reopenIfRefused();
    void reopenIfOverwritten();
    void keepLocked();
    Content load();
    void change(Reservation reservation, const Work& work);
    void tryChange(Reservation reservation, const Work& work);
    void reserveBlocks();
    void putState(MDB_txn* transaction, const Content& content) const;

    std::filesystem::path folder;
    host::LockFile lock;
    EnvironmentPtr environment;
    MDB_dbi table = 0;
    Content current;
    /** LMDB's number of the file's last change, as of when current was read. */
    std::size_t lastChange = 0;
    /** When the file was written to last, as of then. Another log can have the
     *  same number of changes. */
    int64_t lastWrite = 0;
    uint64_t opened = 0;
    /** Up to so many bytes the file's blocks are allocated. */
    std::size_t blocks = 0;
};

} // namespace healthintf::logmgr
