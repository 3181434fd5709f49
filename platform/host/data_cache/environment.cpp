#include "environment.hpp"

#include "../host_log.hpp"
#include "../storage/files.hpp"
#include "../storage/free_pages.hpp"
#include "../storage/mapped_file.hpp"
#include "byte_codec.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** Changes with the layout of the records. */
constexpr uint32_t formatVersion = 1;

constexpr const char* dataFile = "data.mdb";
constexpr const char* lockFile = "lock.mdb";

// The content need not outlive the machine's run, so nothing is synced. Pages
// are written by system calls and not in the map: there a commit ends with
// plain stores, which the compiler may put in another order, and a process that
// is killed between two of them would leave the others a tree that is half of
// one state and half of another.
constexpr unsigned int openFlags = MDB_NOSYNC | MDB_NOTLS;

/** Of the record that holds the version. */
MDB_val versionKey()
{
    static std::string name = "version";
    return {name.size(), name.data()};
}

EnvironmentPtr newEnvironment()
{
    MDB_env* environment = nullptr;
    checkLmdb("mdb_env_create", mdb_env_create(&environment));
    EnvironmentPtr owned(environment);
    checkLmdb("mdb_env_set_maxreaders",
              mdb_env_set_maxreaders(environment, Environment::maxReaders));
    return owned;
}

std::size_t pagesOf(const MDB_stat& table)
{
    return table.ms_branch_pages + table.ms_leaf_pages +
           table.ms_overflow_pages;
}

/** Whether a data file that nobody uses is one of LMDB's. */
bool intact(const fs::path& folder)
{
    const EnvironmentPtr probe = newEnvironment();
    const int result = mdb_env_open(probe.get(), folder.c_str(),
                                    openFlags | MDB_RDONLY, storeFileMode);
    return result != MDB_INVALID && result != MDB_VERSION_MISMATCH &&
           result != MDB_CORRUPTED;
}

/** Makes the lock file anew, with all its blocks there: LMDB maps it, and a
 *  block that a full filesystem cannot give would end the process.
 *
 *  Only while nobody else has the folder open: others have mapped the file
 *  that they found. */
void remakeLockFile(const fs::path& file)
{
    constexpr std::size_t bytesPerReader = 64;
    constexpr std::size_t header = 4096;
    fs::remove(file);
    allocateBlocks(openFile(file).get(),
                   header + bytesPerReader * Environment::maxReaders, file);
}

} // namespace

Environment::Environment(const fs::path& path, std::size_t capacity) :
    folder(madeFolder(path)), users(folder / "users"), joined(!users.alone())
{
    if (!joined)
    {
        startEmpty();
    }
    open(joined ? 0 : capacity);
    openTable();
    if (!joined)
    {
        users.letOthersIn();
    }
}

void Environment::makeRoomForRecord(const Transaction& transaction,
                                    std::size_t size)
{
    MDB_envinfo info{};
    MDB_stat before{};
    MDB_stat now{};
    checkLmdb("mdb_env_info", mdb_env_info(environment.get(), &info));
    checkLmdb("mdb_env_stat", mdb_env_stat(environment.get(), &before));
    checkLmdb("mdb_stat", mdb_stat(transaction.get(), records, &now));
    // What the transaction itself has taken is in no count of the environment.
    const std::size_t grown =
        pagesOf(now) - std::min(pagesOf(now), pagesOf(before));
    const auto fits = [&](std::size_t pages) {
        return pages * now.ms_psize + reserve <= info.me_mapsize;
    };
    const std::size_t pages = info.me_last_pgno + 1 + grown;
    if (!fits(pages) && !fits(pages - freePages(environment.get())))
    {
        throw LmdbError("no room for another record", MDB_MAP_FULL);
    }
    makeBlocks(reserve + size + grown * now.ms_psize);
}

void Environment::makeRoomForChange(std::size_t size)
{
    makeBlocks(reserve / 2 + size);
}

bool Environment::changeByte(const char& at, char value) const
{
    return map != nullptr && pwrite(file(), &value, 1, &at - map) == 1;
}

mdb_filehandle_t Environment::file() const
{
    mdb_filehandle_t file = -1;
    checkLmdb("mdb_env_get_fd", mdb_env_get_fd(environment.get(), &file));
    return file;
}

void Environment::makeBlocks(std::size_t spare)
{
    MDB_envinfo info{};
    MDB_stat stat{};
    checkLmdb("mdb_env_info", mdb_env_info(environment.get(), &info));
    checkLmdb("mdb_env_stat", mdb_env_stat(environment.get(), &stat));
    // A page that is changed is written elsewhere, each at most once.
    const std::size_t pages = 2 * (info.me_last_pgno + 1);
    const auto limited = [&](std::size_t bytes) {
        return std::min<std::size_t>(bytes, info.me_mapsize);
    };
    const std::size_t needed = limited(pages * stat.ms_psize + spare);
    if (needed <= blocks)
    {
        return;
    }
    const std::size_t wanted =
        limited(pages * stat.ms_psize + std::max(spare, reserve) + reserve);
    try
    {
        allocateBlocks(file(), wanted, folder / dataFile);
        blocks = wanted;
    }
    catch (const std::system_error&)
    {
        if (!joined)
        {
            throw;
        }
        // On a full filesystem, those that others have made may do.
        allocateBlocks(file(), needed, folder / dataFile);
        blocks = needed;
    }
}

void Environment::startEmpty()
{
    const fs::path data = folder / dataFile;
    if (fs::exists(data) && !intact(folder))
    {
        const fs::path aside = setAside(data);
        HOST_LOG(log::warning,
                 "%s.%d.%s: the data cache %s is damaged or of another "
                 "version: it was set aside as %s and is made anew",
                 data.c_str(), aside.c_str());
    }
    fs::remove(data);
    remakeLockFile(folder / lockFile);
}

void Environment::open(std::size_t capacity)
{
    environment = newEnvironment();
    if (capacity != 0)
    {
        checkLmdb("mdb_env_set_mapsize",
                  mdb_env_set_mapsize(environment.get(), capacity + reserve));
    }
    checkLmdb("mdb_env_open", mdb_env_open(environment.get(), folder.c_str(),
                                           openFlags, storeFileMode));
    mdb_reader_check(environment.get(), nullptr);
}

void Environment::openTable()
{
    // Whoever comes to what others have open only reads here: on a full
    // filesystem there is no room for more.
    Transaction transaction(environment.get(), joined
                                                   ? Transaction::Kind::read
                                                   : Transaction::Kind::write);
    if (!joined)
    {
        makeRoomForChange();
    }
    // The unnamed table: one that is named costs each write another page.
    checkLmdb("mdb_dbi_open",
              mdb_dbi_open(transaction.get(), nullptr, 0, &records));
    if (!joined)
    {
        putVersion(transaction);
    }
    checkVersion(transaction);
    transaction.commit();
    findMap();
}

void Environment::findMap()
{
    const Transaction transaction(environment.get(), Transaction::Kind::read);
    MDB_val key = versionKey();
    MDB_val value{};
    checkLmdb("mdb_get", mdb_get(transaction.get(), records, &key, &value));
    if (const auto offset = offsetInFile(value.mv_data))
    {
        map = static_cast<const char*>(value.mv_data) - *offset;
    }
}

void Environment::putVersion(const Transaction& transaction) const
{
    MDB_val key = versionKey();
    uint32_t version = formatVersion;
    MDB_val value{sizeof(version), &version};
    checkLmdb("mdb_put", mdb_put(transaction.get(), records, &key, &value, 0));
}

void Environment::checkVersion(const Transaction& transaction) const
{
    MDB_val key = versionKey();
    MDB_val value{};
    checkLmdb("mdb_get", mdb_get(transaction.get(), records, &key, &value));
    ByteReader reader({static_cast<const char*>(value.mv_data), value.mv_size});
    if (const auto found = reader.get<uint32_t>(); found != formatVersion)
    {
        throw std::runtime_error(
            "is in use in version " + std::to_string(found) +
            " and this program needs version " + std::to_string(formatVersion) +
            ": restart every process that uses it");
    }
}

} // namespace healthintf::host
