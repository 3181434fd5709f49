#pragma once

/** @file The LMDB environment of the data cache. */

#include "../storage/lmdb.hpp"
#include "../storage/users_lock.hpp"

#include <cstddef>
#include <filesystem>
#include <string>

namespace healthintf::host
{

/** The open data cache of one folder.
 *
 *  The content is only a cache of what living processes publish: the first
 *  process to open a folder starts it empty, and sets aside what is damaged.
 *
 *  Thread-safe, like LMDB. Must not be used in a child after fork(). */
class Environment
{
  public:
    /** How many bytes the cache may grow to, unless told otherwise. */
    static constexpr std::size_t defaultCapacity =
        sizeof(void*) > 4 ? 256UL << 20 : 64UL << 20;

    /** Bytes beyond the capacity that stay free for changing and removing
     *  records, which take pages of their own. */
    static constexpr std::size_t reserve = 1UL << 20;

    /** The number of read transactions at the same time, over all
     *  processes. */
    static constexpr unsigned int maxReaders = 512;

    /** @param[in] path the folder, made when it is not there
     *  @param[in] capacity size limit in bytes, set by the first user
     *  @throws std::exception saying what is wrong and what to do */
    Environment(const std::filesystem::path& path, std::size_t capacity);

    MDB_env* get() const
    {
        return environment.get();
    }

    /** Makes sure that there is room for another record and, after it, for
     *  changing and removing records. A transaction that puts several asks
     *  before each.
     *
     *  @param[in] transaction a write transaction
     *  @param[in] size the record's size in bytes
     *  @throws std::exception when the cache or its filesystem is full */
    void makeRoomForRecord(const Transaction& transaction, std::size_t size);

    /** Makes sure that there is room for changing and removing records. Every
     *  write transaction begins so: what is there can be removed on a full
     *  filesystem, too.
     *
     *  @param[in] size the size in bytes that a record shall have; records that
     *             are removed need none
     *  @throws std::exception when the filesystem is full */
    void makeRoomForChange(std::size_t size = 0);

    /** Changes a byte where it stands. Readers find it as it was or as it is.
     *
     *  @param[in] at a byte of a record that the current write transaction has
     *             found and not changed
     *  @return whether it was changed */
    bool changeByte(const char& at, char value) const;

    /** The table of all records. */
    MDB_dbi table() const
    {
        return records;
    }

  private:
    void startEmpty();
    void open(std::size_t capacity);
    void openTable();
    void findMap();
    void putVersion(const Transaction& transaction) const;
    void checkVersion(const Transaction& transaction) const;
    void makeBlocks(std::size_t spare);
    mdb_filehandle_t file() const;

    std::filesystem::path folder;
    UsersLock users;
    /** Whether others have made what this has opened. */
    bool joined;
    EnvironmentPtr environment;
    MDB_dbi records = 0;
    /** Where the file begins in memory, null when that is unknown. */
    const char* map = nullptr;
    /** Bytes of the file that have their blocks; others may have made more.
     *  Belongs to who holds a write transaction. */
    std::size_t blocks = 0;
};

} // namespace healthintf::host
