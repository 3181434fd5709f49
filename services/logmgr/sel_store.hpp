#pragma once

/** @file The System Event Log on the disk. */

#include "lmdb.hpp"
#include "storage/file_lock.hpp"

#include <platform/data_abstraction/sel.hpp>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string_view>

namespace healthintf::logmgr
{

/** How many identifiers there are for entries: IPMI has meanings of its own
 *  for 0 and 65535. */
inline constexpr uint16_t identifiers = 65534;

/** The identifier of the entry with a sequence number. No two of a log differ
 *  in as much as all identifiers, so that it belongs to one entry alone. */
constexpr uint16_t identifierOf(uint64_t sequence)
{
    return static_cast<uint16_t>(sequence % identifiers + 1);
}

/** What the log knows beside its entries. Times are seconds since the epoch, 0
 *  for never. */
struct LogState
{
    uint32_t lastAddition = 0;
    uint32_t lastErase = 0;
    /** Events were dropped since the log was cleared last. */
    bool overflow = false;
};

/** The log of one folder in the hands of one process. What a call has changed
 *  is on the disk when it returns; one that throws has changed nothing.
 *
 *  Entries have sequence numbers without a gap, which begin with 0 in an empty
 *  log. */
class SelStore
{
  public:
    /** How many bytes the file may grow to: more than every identifier's entry
     *  with the longest texts takes. */
    static constexpr std::size_t mapSize = 256UL << 20;

    /** Bytes on the disk that stay free for clearing the log, which takes
     *  pages of its own. */
    static constexpr std::size_t reserve = 1UL << 20;

    /** Opens a folder, waiting until no other process has it. What is damaged
     *  is set aside and started anew.
     *
     *  @param[in] path the folder, made when it is not there
     *  @throws std::exception saying what is wrong */
    explicit SelStore(std::filesystem::path path);

    const LogState& state() const
    {
        return held.state;
    }

    /** The first entry's sequence number. */
    uint64_t first() const
    {
        return held.first;
    }

    /** The number that the next entry gets. */
    uint64_t next() const
    {
        return held.next;
    }

    uint64_t size() const
    {
        return held.next - held.first;
    }

    /** A number that no log before this one had: it changes when the log is
     *  cleared or begun anew, and sequence numbers begin with 0 again. Never
     *  0. */
    uint64_t generation() const
    {
        return held.generation;
    }

    /** Sees to it that the log is in its folder: when somebody has removed the
     *  file, or put another in its place, it is written anew with all that it
     *  held, and the other is set aside. When somebody has overwritten the file
     *  itself, goes on with what that holds. Each change begins with this.
     *
     *  @throws std::exception when it is not there and cannot be written;
     *          it can be read all the same */
    void keepInPlace();

    /** Adds an entry behind the last one.
     *
     *  @param[in] entry with the identifier of next()
     *  @param[in] dropped how many entries go, from the first on
     *  @throws std::exception when it could not be stored */
    void append(const SELEntryProperties& entry, uint64_t dropped,
                const LogState& state);

    /** Removes every entry.
     *
     *  @throws std::exception when nothing was removed */
    void clear(const LogState& state);

    /** @throws std::exception when it could not be stored */
    void setState(const LogState& state);

    /** Takes an entry.
     *
     *  @return whether to go on with the next */
    using Visit =
        std::function<bool(uint64_t sequence, const SELEntryProperties& entry)>;

    /** Reads entries in their order. One that makes no sense is logged and
     *  left out.
     *
     *  @param[in] from the sequence number to begin with
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

    /** What a change does in its transaction.
     *
     *  @return what the log holds then */
    using Work = std::function<Content(MDB_txn* transaction)>;

    /** Whether a change needs more blocks set apart, or may use those that
     *  are. */
    enum class Blocks
    {
        needed,
        wanted,
    };

    void openOrStartAnew();
    void open();
    void reopenIfLost();
    void reopenIfRefused();
    void keepUpToDate();
    void keepLocked();
    Content load();
    void change(Blocks extent, const Work& work);
    void makeBlocks();
    void putState(MDB_txn* transaction, const Content& content) const;

    std::filesystem::path folder;
    host::LockFile lock;
    EnvironmentPtr environment;
    MDB_dbi table = 0;
    Content held;
    /** The number of the last change of the file that held is of. */
    std::size_t lastChange = 0;
    /** Bytes of the file that have their blocks. */
    std::size_t blocks = 0;
};

} // namespace healthintf::logmgr
