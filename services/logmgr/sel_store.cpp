// SPDX-License-Identifier: Apache-2.0
#include "sel_store.hpp"

#include "../common/service_log.hpp"
#include "data_cache/sel_entry_codec.hpp"
#include "free_pages.hpp"
#include "line_limit.hpp"
#include "sel_file.hpp"
#include "storage/files.hpp"

#include <algorithm>
#include <cerrno>
#include <random>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

namespace healthintf::logmgr
{

namespace fs = std::filesystem;
namespace log = services::log;
using host::LockFile;

namespace
{

/** Limits the lines about damaged entries, which each read meets again. */
constinit host::LineLimit entryLines;

constexpr const char* lockFile = "lock";

void put(MDB_txn* transaction, MDB_dbi table, std::string_view key,
         std::string_view value, unsigned int flags)
{
    MDB_val at = asMdbValue(key);
    MDB_val bytes = asMdbValue(value);
    checkLmdb("mdb_put", mdb_put(transaction, table, &at, &bytes, flags));
}

/** A random number of twelve digits, so that it differs from earlier ones. */
uint64_t randomGeneration()
{
    constexpr uint64_t least = 100'000'000'000;
    constexpr uint64_t most = 999'999'999'999;
    std::random_device source;
    return std::uniform_int_distribution<uint64_t>(least, most)(source);
}

/** The number of the last change of a file. */
std::size_t lastChangeNumber(MDB_env* environment)
{
    MDB_envinfo info{};
    checkLmdb("mdb_env_info", mdb_env_info(environment, &info));
    return info.me_last_txnid;
}

} // namespace

SelStore::SelStore(fs::path path) :
    folder(std::move(path)), lock(makeDurableFolder(folder) / lockFile)
{
    if (!lock.tryLock(LockFile::Kind::exclusive))
    {
        SERVICE_LOG(log::warning,
                    "%s.%d.%s: another process has the log %s open, waiting "
                    "until it ends",
                    folder.c_str());
        lock.lock(LockFile::Kind::exclusive);
    }
    openOrStartAnew();
}

void SelStore::openOrStartAnew()
{
    if (settleUnfinishedFile(folder))
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the file of the log %s was missing: the one "
                    "that was to replace it is taken",
                    folder.c_str());
    }
    if (isEmptyLogFile(folder))
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the file of the log %s has no bytes: whatever "
                    "it held is lost, and an empty log is begun",
                    folder.c_str());
    }
    const auto openAndRead = [this] {
        open();
        // Finds damaged entries at the start.
        read(0, [](uint64_t, const SELEntryProperties&) {
            return true;
        });
    };
    try
    {
        if (crashesProcess(openAndRead))
        {
            throw DamagedFile("reading it crashes the process");
        }
        openAndRead();
    }
    catch (const std::exception& e)
    {
        environment.reset();
        if (!isDamage(e))
        {
            throw;
        }
        const fs::path aside = setLogAside(folder);
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the log %s is damaged: it was set aside as %s, "
                    "and an empty one is begun: %s",
                    folder.c_str(), aside.c_str(), e.what());
        open();
    }
    rescueUnlessChangeable();
}

/** Some damaged pages are read by changes only. */
void SelStore::rescueUnlessChangeable()
{
    const auto change = [this] {
        if (!areFreePagesPlausible(environment.get()))
        {
            throw DamagedFile("its lists of free pages are wrong");
        }
        // Not committed. It writes to the first page of the table and to the
        // last, which it splits.
        const Transaction transaction(environment.get(),
                                      Transaction::Kind::write);
        putState(transaction.get(), current);
        constexpr std::size_t large = 1024;
        constexpr uint64_t additions = 4;
        for (uint64_t i = 0; i < additions; ++i)
        {
            put(transaction.get(), table, encodeKey(current.next + i),
                std::string(large, '\0'), MDB_APPEND);
        }
    };
    const auto openAndChange = [&] {
        environment.reset();
        open();
        change();
    };
    try
    {
        if (crashesProcess(openAndChange))
        {
            throw DamagedFile("changing it crashes the process");
        }
        change();
    }
    catch (const std::exception& e)
    {
        // What else fails may work later, and the entries can be read.
        if (isDamage(e))
        {
            rescueOrLog(e.what());
        }
    }
}

void SelStore::rescueOrLog(const char* why)
{
    try
    {
        rescue(why);
    }
    catch (const std::exception& e)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: the log %s is damaged: %s; its entries can be "
                    "read, and not be written to a new file: %s",
                    folder.c_str(), why, e.what());
    }
}

void SelStore::rescue(const char* why)
{
    const fs::path aside =
        rescueLogFile(environment.get(), table, folder, mapSize);
    SERVICE_LOG(log::error,
                "%s.%d.%s: the log %s is damaged: its entries were written to "
                "a new file, and the damaged one was set aside as %s: %s",
                folder.c_str(), aside.c_str(), why);
    environment.reset();
    open();
}

void SelStore::open()
{
    environment = openLogFile(folder, mapSize);
    blocks = 0;
    Transaction transaction(environment.get(), Transaction::Kind::write);
    checkLmdb("mdb_dbi_open",
              mdb_dbi_open(transaction.get(), nullptr, 0, &table));
    MDB_stat stat{};
    checkLmdb("mdb_stat", mdb_stat(transaction.get(), table, &stat));
    if (stat.ms_entries == 0)
    {
        putState(transaction.get(), {0, 0, randomGeneration(), {}});
    }
    transaction.commit();
    host::syncFolder(folder);
    current = load();
    lastChange = lastChangeNumber(environment.get());
    lastWrite = readWriteTime(environment.get());
    ++opened;
}

SelStore::Content SelStore::load()
{
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    MDB_stat stat{};
    checkLmdb("mdb_stat", mdb_stat(transaction.get(), table, &stat));
    Cursor cursor(transaction.get(), table);
    if (!cursor.seek("") || cursor.key() != stateKey)
    {
        throw DamagedFile("there is no state");
    }
    const StoredState stored = decodeState(cursor.value());
    Content content;
    content.state = stored.state;
    // The next change stores this one.
    content.generation =
        stored.generation != 0 ? stored.generation : randomGeneration();
    const std::size_t entries = stat.ms_entries - 1;
    if (cursor.next())
    {
        content.first = decodeKey(cursor.key());
        cursor.last();
        content.next = decodeKey(cursor.key()) + 1;
    }
    if (content.next - content.first != entries || entries > identifiers)
    {
        throw DamagedFile("the entries' sequence numbers are wrong");
    }
    return content;
}

void SelStore::reopenIfLost()
{
    if (!environment)
    {
        open();
    }
}

/** Opens the file again when LMDB refuses to work after a failed write.
 *  Otherwise the file stays open: it might not be possible to open it again. */
void SelStore::reopenIfRefused()
{
    try
    {
        const Transaction possible(environment.get(), Transaction::Kind::read);
    }
    catch (const std::exception&)
    {
        environment.reset();
        try
        {
            open();
        }
        catch (const std::exception&)
        {
            // The next call tries again and throws the cause.
        }
    }
}

void SelStore::restoreFile()
{
    reopenIfLost();
    keepLocked();
    if (isLogFileInPlace(environment.get(), folder))
    {
        reopenIfOverwritten();
        return;
    }
    rewriteLogFile(environment.get(), folder);
    SERVICE_LOG(log::error,
                "%s.%d.%s: the file of the log %s was removed or replaced: it "
                "was written anew with all that it held",
                folder.c_str());
    environment.reset();
    open();
}

bool SelStore::lacksFile() const
{
    return environment && !isLogFileInPlace(environment.get(), folder);
}

/** Opens the file again when another process has overwritten it, for instance
 *  with a backup. */
void SelStore::reopenIfOverwritten()
{
    if (lastChangeNumber(environment.get()) == lastChange &&
        readWriteTime(environment.get()) == lastWrite)
    {
        return;
    }
    const uint64_t before = size();
    environment.reset();
    open();
    SERVICE_LOG(log::error,
                "%s.%d.%s: the file of the log %s was overwritten: it held %zu "
                "entries and holds %zu now",
                folder.c_str(), static_cast<std::size_t>(before),
                static_cast<std::size_t>(size()));
}

/** Takes the lock again when somebody removed its file with the folder. */
void SelStore::keepLocked()
{
    if (lock.isInPlace())
    {
        return;
    }
    LockFile anew(makeDurableFolder(folder) / lockFile);
    if (!anew.tryLock(LockFile::Kind::exclusive))
    {
        throw std::runtime_error("another process has the log " +
                                 folder.string() + " open");
    }
    lock = std::move(anew);
}

void SelStore::change(Reservation reservation, const Work& work)
{
    restoreFile();
    try
    {
        tryChange(reservation, work);
    }
    catch (const LmdbError& e)
    {
        const int code = e.code().value();
        if (code != MDB_CORRUPTED && code != MDB_PAGE_NOTFOUND)
        {
            throw;
        }
        rescue(e.what());
        tryChange(reservation, work);
    }
}

void SelStore::tryChange(Reservation reservation, const Work& work)
{
    try
    {
        try
        {
            reserveBlocks();
        }
        catch (const std::system_error&)
        {
            // A change that frees space uses the blocks that are reserved for
            // it.
            if (reservation == Reservation::required)
            {
                throw;
            }
        }
        Transaction transaction(environment.get(), Transaction::Kind::write);
        const Content content = work(transaction.get());
        transaction.commit();
        current = content;
        lastChange = lastChangeNumber(environment.get());
        lastWrite = readWriteTime(environment.get());
    }
    catch (...)
    {
        lastWrite = readWriteTime(environment.get());
        reopenIfRefused();
        throw;
    }
}

void SelStore::reserveBlocks()
{
    MDB_envinfo info{};
    MDB_stat stat{};
    checkLmdb("mdb_env_info", mdb_env_info(environment.get(), &info));
    checkLmdb("mdb_env_stat", mdb_env_stat(environment.get(), &stat));
    const std::size_t used = (info.me_last_pgno + 1) * stat.ms_psize;
    if (used + reserve <= blocks)
    {
        return;
    }
    const auto allocate = [&](std::size_t spare) {
        const std::size_t wanted =
            std::min<std::size_t>(used + spare, info.me_mapsize);
        allocateLogFile(environment.get(), wanted, folder);
        blocks = wanted;
    };
    try
    {
        allocate(2 * reserve);
    }
    catch (const std::system_error&)
    {
        // Free pages within the file count too, but LMDB reuses some of them
        // only after another change or two.
        constexpr std::size_t least = 1UL << 16;
        const std::size_t within = freePages(environment.get()) * stat.ms_psize;
        allocate(reserve - std::min(within, reserve - least));
    }
}

void SelStore::putState(MDB_txn* transaction, const Content& content) const
{
    put(transaction, table, stateKey,
        encodeState({content.state, content.generation}), 0);
}

void SelStore::append(const SELEntryProperties& entry, uint64_t dropped,
                      const LogState& state)
{
    change(Reservation::required, [&](MDB_txn* transaction) {
        if (entry.recordId != toIdentifier(current.next))
        {
            throw std::runtime_error("the log was opened anew and holds "
                                     "something else now");
        }
        {
            Cursor cursor(transaction, table);
            for (uint64_t left = dropped; left > 0; --left)
            {
                if (!cursor.seek(encodeKey(0)))
                {
                    throw DamagedFile("an entry is missing");
                }
                cursor.remove();
            }
        }
        const Content content{current.first + dropped, current.next + 1,
                              current.generation, state};
        putState(transaction, content);
        put(transaction, table, encodeKey(current.next),
            host::encodeSelEntry(entry), MDB_APPEND);
        return content;
    });
}

void SelStore::clear(const LogState& state)
{
    change(Reservation::optional, [&](MDB_txn* transaction) {
        constexpr int emptied = 0;
        checkLmdb("mdb_drop", mdb_drop(transaction, table, emptied));
        const Content content{0, 0, randomGeneration(), state};
        putState(transaction, content);
        return content;
    });
}

void SelStore::setState(const LogState& state)
{
    change(Reservation::optional, [&](MDB_txn* transaction) {
        const Content content{current.first, current.next, current.generation,
                              state};
        putState(transaction, content);
        return content;
    });
}

void SelStore::read(uint64_t from, const Visit& visit)
{
    reopenIfLost();
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    Cursor cursor(transaction.get(), table);
    for (bool more = cursor.seek(encodeKey(from)); more; more = cursor.next())
    {
        const uint64_t sequence = decodeKey(cursor.key());
        SELEntryProperties entry;
        try
        {
            entry = decodeEntry(sequence, cursor.value());
        }
        catch (const std::exception& e)
        {
            if (entryLines.admits())
            {
                SERVICE_LOG(
                    log::warning,
                    "%s.%d.%s: the entry %d of the log was left out: %s",
                    toIdentifier(sequence), e.what());
            }
            continue;
        }
        if (!visit(sequence, entry))
        {
            return;
        }
    }
}

} // namespace healthintf::logmgr
