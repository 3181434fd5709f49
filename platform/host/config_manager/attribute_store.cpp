#include "attribute_store.hpp"

#include "../host_log.hpp"
#include "../storage/files.hpp"
#include "../storage/lmdb_file.hpp"
#include "../storage/store_failure.hpp"
#include "limits.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace healthintf::host
{

namespace fs = std::filesystem;

namespace
{

/** Changes with the layout of the records. */
constexpr int32_t formatVersion = 1;

/** No attribute has a NUL in its name. */
const std::string versionKey("\0version", 8);

constexpr const char* dataFile = "data.mdb";

/** Bytes that stay free for changing attributes, which takes pages of its
 *  own. */
constexpr std::size_t reserve = 256UL << 10;

/** How many pages a write may change, each of which is written elsewhere: the
 *  way down the attributes' tree and down that of the free pages. */
constexpr std::size_t mostOfAWrite = 16;

// All reading is done in write transactions.
constexpr unsigned int maxReaders = 8;

// LMDB syncs each commit.
constexpr unsigned int openFlags = MDB_NOTLS;

fs::path madeFolder(const fs::path& folder)
{
    fs::create_directories(folder);
    return folder;
}

EnvironmentPtr newEnvironment()
{
    MDB_env* environment = nullptr;
    checkLmdb("mdb_env_create", mdb_env_create(&environment));
    EnvironmentPtr owned(environment);
    checkLmdb("mdb_env_set_maxreaders",
              mdb_env_set_maxreaders(environment, maxReaders));
    return owned;
}

/** Makes what the folder lists as lasting as the files' content. */
void syncFolder(const fs::path& folder)
{
    const FileDescriptor opened(::open(folder.c_str(), O_RDONLY | O_CLOEXEC));
    if (opened.get() < 0 || fsync(opened.get()) != 0)
    {
        throw std::system_error(errno, std::generic_category(),
                                folder.string());
    }
}

MDB_dbi openTable(const Transaction& transaction)
{
    MDB_dbi table = 0;
    checkLmdb("mdb_dbi_open",
              mdb_dbi_open(transaction.get(), nullptr, 0, &table));
    return table;
}

/** Whether LMDB takes a data file that nobody uses. */
bool isReadable(const fs::path& folder)
{
    const EnvironmentPtr probe = newEnvironment();
    return !isDamage(mdb_env_open(probe.get(), folder.c_str(),
                                  openFlags | MDB_RDONLY, storeFileMode));
}

int32_t decode(std::string_view bytes)
{
    int32_t value = 0;
    if (bytes.size() != sizeof(value))
    {
        throw LmdbError("an attribute's record", MDB_CORRUPTED);
    }
    std::memcpy(&value, bytes.data(), sizeof(value));
    return value;
}

/** A text as LMDB takes it, which does not write to it. */
MDB_val asValue(const std::string& text)
{
    return {text.size(), const_cast<char*>(text.data())};
}

} // namespace

AttributeStore::AttributeStore(const fs::path& path) :
    folder(madeFolder(path)), users(folder / "users")
{
    if (users.alone())
    {
        prepare();
    }
    open();
    if (users.alone())
    {
        syncFolder(folder);
        users.letOthersIn();
    }
}

std::optional<AttributeChange> AttributeStore::set(const std::string& name,
                                                   int32_t value)
{
    Transaction transaction(environment.get(), Transaction::Kind::write);
    const std::optional<int32_t> before = find(transaction, name);
    if (before == value)
    {
        return std::nullopt;
    }
    makeRoom(!before);
    put(transaction, name, value);
    transaction.commit();
    return AttributeChange{value, before.value_or(0)};
}

void AttributeStore::prepare()
{
    remakeLockFile(folder, maxReaders);
    const fs::path data = folder / dataFile;
    if (fs::exists(data) && !(isSound(data) && isReadable(folder)))
    {
        const fs::path aside = setAside(data);
        HOST_LOG(log::error,
                 "%s.%d.%s: the attributes' file %s is damaged or of another "
                 "version: it was set aside as %s, and every attribute counts "
                 "as never set",
                 data.c_str(), aside.c_str());
    }
}

void AttributeStore::open()
{
    environment = newEnvironment();
    checkLmdb("mdb_env_set_mapsize",
              mdb_env_set_mapsize(environment.get(), attributeCapacity));
    checkLmdb("mdb_env_open", mdb_env_open(environment.get(), folder.c_str(),
                                           openFlags, storeFileMode));
    Transaction transaction(environment.get(), Transaction::Kind::write);
    attributes = openTable(transaction);
    const auto version = find(transaction, versionKey);
    if (version.value_or(formatVersion) != formatVersion)
    {
        throw std::runtime_error("is of version " + std::to_string(*version) +
                                 " and this program needs version " +
                                 std::to_string(formatVersion));
    }
    if (!version)
    {
        makeRoom(true);
        put(transaction, versionKey, formatVersion);
    }
    transaction.commit();
}

std::optional<int32_t> AttributeStore::find(const Transaction& transaction,
                                            const std::string& name) const
{
    MDB_val key = asValue(name);
    MDB_val value{};
    const int result = mdb_get(transaction.get(), attributes, &key, &value);
    if (result == MDB_NOTFOUND)
    {
        return std::nullopt;
    }
    checkLmdb("mdb_get", result);
    return decode({static_cast<const char*>(value.mv_data), value.mv_size});
}

void AttributeStore::put(const Transaction& transaction,
                         const std::string& name, int32_t value) const
{
    MDB_val key = asValue(name);
    MDB_val content{sizeof(value), &value};
    checkLmdb("mdb_put",
              mdb_put(transaction.get(), attributes, &key, &content, 0));
}

void AttributeStore::makeRoom(bool forAnother) const
{
    MDB_envinfo info{};
    MDB_stat stat{};
    checkLmdb("mdb_env_info", mdb_env_info(environment.get(), &info));
    checkLmdb("mdb_env_stat", mdb_env_stat(environment.get(), &stat));
    const std::size_t used = (info.me_last_pgno + 1) * stat.ms_psize;
    if (forAnother && used + reserve > info.me_mapsize)
    {
        throw LmdbError("no room for another attribute", MDB_MAP_FULL);
    }
    mdb_filehandle_t file = -1;
    checkLmdb("mdb_env_get_fd", mdb_env_get_fd(environment.get(), &file));
    // What another attribute leaves is enough for changing those there are.
    const std::size_t spare = (forAnother ? 2 : 1) * mostOfAWrite;
    allocateBlocks(file,
                   std::min(used + spare * stat.ms_psize, info.me_mapsize),
                   folder / dataFile);
}

} // namespace healthintf::host
