// SPDX-License-Identifier: Apache-2.0
#include "sel_file.hpp"

#include "storage/files.hpp"

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::logmgr
{

namespace fs = std::filesystem;

namespace
{

constexpr const char* dataFile = "data.mdb";

// LMDB needs no locks, as nobody else has the file open. Without further flags
// a committed transaction is on the disk.
constexpr unsigned int openFlags = MDB_NOLOCK;

/** The size in bytes of LMDB's two head pages, with which each file begins. */
std::size_t headSize()
{
    return 2 * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/** Checks that a file has all its pages: reading a missing one would kill the
 *  process.
 *
 *  @throws DamagedFile */
void expectSize(const fs::path& file, std::size_t size)
{
    if (const std::size_t found = fs::file_size(file); found < size)
    {
        throw DamagedFile("it has " + std::to_string(found) +
                          " bytes and should have " + std::to_string(size));
    }
}

mdb_filehandle_t getFile(MDB_env* environment)
{
    mdb_filehandle_t file = -1;
    checkLmdb("mdb_env_get_fd", mdb_env_get_fd(environment, &file));
    return file;
}

/** The path under which another file for the folder is made. */
fs::path madeFile(const fs::path& folder)
{
    return folder / (std::string(dataFile) + ".new");
}

/** Writes all records of a table to a new file. */
void copyTable(MDB_env* environment, MDB_dbi table, const fs::path& made,
               std::size_t mapSize)
{
    MDB_env* raw = nullptr;
    checkLmdb("mdb_env_create", mdb_env_create(&raw));
    const EnvironmentPtr copy(raw);
    checkLmdb("mdb_env_set_mapsize", mdb_env_set_mapsize(raw, mapSize));
    checkLmdb("mdb_env_open",
              mdb_env_open(raw, made.c_str(), openFlags | MDB_NOSUBDIR,
                           host::storeFileMode));
    const Transaction from(environment, Transaction::Kind::read);
    Transaction into(raw, Transaction::Kind::write);
    MDB_dbi copied = 0;
    checkLmdb("mdb_dbi_open", mdb_dbi_open(into.get(), nullptr, 0, &copied));
    Cursor cursor(from.get(), table);
    for (bool more = cursor.seek(""); more; more = cursor.next())
    {
        MDB_val key = asMdbValue(cursor.key());
        MDB_val value = asMdbValue(cursor.value());
        checkLmdb("mdb_put",
                  mdb_put(into.get(), copied, &key, &value, MDB_APPEND));
    }
    into.commit();
}

[[noreturn]] void runAsChild(pid_t parent, const std::function<void()>& work)
{
    // It holds the log's lock, too, and must not keep it from the next process.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
    {
        _exit(0);
    }
    // The parent process logs the same lines when it does the same work.
    if (const int nowhere = open("/dev/null", O_WRONLY); nowhere >= 0)
    {
        dup2(nowhere, STDERR_FILENO);
    }
    try
    {
        work();
    }
    catch (const std::exception&)
    {
        // The parent process throws it again when it does the same work.
    }
    _exit(0);
}

/** Whether a process crashed, rather than exited or was killed by somebody. */
bool isCrash(int status)
{
    if (!WIFSIGNALED(status))
    {
        // Programs built with a sanitizer exit with a code when they crash.
        return WEXITSTATUS(status) != 0;
    }
    const int signal = WTERMSIG(status);
    return signal == SIGSEGV || signal == SIGBUS || signal == SIGABRT;
}

} // namespace

bool crashesProcess(const std::function<void()>& work)
{
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0)
    {
        runAsChild(parent, work);
    }
    int status = 0;
    pid_t ended = child;
    while (ended > 0 && (ended = waitpid(child, &status, 0)) < 0 &&
           errno == EINTR)
    {
        ended = child;
    }
    return ended > 0 && isCrash(status);
}

bool isDamage(const std::exception& failure)
{
    if (const auto* lmdb = dynamic_cast<const LmdbError*>(&failure))
    {
        switch (lmdb->code().value())
        {
            case MDB_BAD_TXN:
            case MDB_BAD_VALSIZE:
            case MDB_CORRUPTED:
            case MDB_CURSOR_FULL:
            case MDB_INCOMPATIBLE:
            case MDB_INVALID:
            case MDB_PAGE_NOTFOUND:
            case MDB_PANIC:
            case MDB_VERSION_MISMATCH:
                return true;
            default:
                return false;
        }
    }
    return dynamic_cast<const DamagedFile*>(&failure) != nullptr ||
           dynamic_cast<const std::out_of_range*>(&failure) != nullptr;
}

fs::path makeDurableFolder(const fs::path& folder)
{
    std::vector<fs::path> missing;
    for (fs::path each = fs::absolute(folder); !fs::exists(each);
         each = each.parent_path())
    {
        missing.push_back(each);
    }
    fs::create_directories(folder);
    for (const fs::path& each : missing)
    {
        host::syncFolder(each.parent_path());
    }
    return folder;
}

bool isEmptyLogFile(const fs::path& folder)
{
    const fs::path file = folder / dataFile;
    return fs::exists(file) && fs::file_size(file) == 0;
}

EnvironmentPtr openLogFile(const fs::path& folder, std::size_t mapSize)
{
    const fs::path file = folder / dataFile;
    if (fs::exists(file) && !isEmptyLogFile(folder))
    {
        expectSize(file, headSize());
    }
    MDB_env* raw = nullptr;
    checkLmdb("mdb_env_create", mdb_env_create(&raw));
    EnvironmentPtr environment(raw);
    checkLmdb("mdb_env_set_mapsize", mdb_env_set_mapsize(raw, mapSize));
    checkLmdb(
        ("mdb_env_open of " + file.string()).c_str(),
        mdb_env_open(raw, folder.c_str(), openFlags, host::storeFileMode));
    MDB_envinfo info{};
    MDB_stat stat{};
    checkLmdb("mdb_env_info", mdb_env_info(raw, &info));
    checkLmdb("mdb_env_stat", mdb_env_stat(raw, &stat));
    expectSize(file, (info.me_last_pgno + 1) * stat.ms_psize);
    return environment;
}

void allocateLogFile(MDB_env* environment, std::size_t size,
                     const fs::path& folder)
{
    host::allocateBlocks(getFile(environment), size, folder / dataFile);
}

bool isLogFileInPlace(MDB_env* environment, const fs::path& folder)
{
    return host::namedFile(getFile(environment), folder / dataFile).has_value();
}

int64_t readWriteTime(MDB_env* environment)
{
    struct stat found
    {};
    if (fstat(getFile(environment), &found) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "fstat");
    }
    constexpr int64_t second = 1'000'000'000;
    return found.st_mtim.tv_sec * second + found.st_mtim.tv_nsec;
}

bool settleUnfinishedFile(const fs::path& folder)
{
    const fs::path file = folder / dataFile;
    const fs::path made = madeFile(folder);
    if (fs::exists(file))
    {
        fs::remove(made);
        return false;
    }
    if (!fs::exists(made))
    {
        return false;
    }
    fs::rename(made, file);
    host::syncFolder(folder);
    return true;
}

void rewriteLogFile(MDB_env* environment, const fs::path& folder)
{
    const fs::path file = folder / dataFile;
    const fs::path made = madeFile(folder);
    fs::remove(made);
    try
    {
        const host::FileDescriptor copy = host::openFile(made);
        checkLmdb("mdb_env_copyfd", mdb_env_copyfd(environment, copy.get()));
        if (fsync(copy.get()) != 0)
        {
            throw std::system_error(errno, std::generic_category(),
                                    made.string());
        }
        if (fs::exists(file))
        {
            host::replaceSettingAside(file, made);
        }
        else
        {
            fs::rename(made, file);
        }
    }
    catch (...)
    {
        std::error_code ignored;
        fs::remove(made, ignored);
        throw;
    }
    host::syncFolder(folder);
}

fs::path rescueLogFile(MDB_env* environment, MDB_dbi table,
                       const fs::path& folder, std::size_t mapSize)
{
    const fs::path made = madeFile(folder);
    fs::remove(made);
    fs::path aside;
    try
    {
        copyTable(environment, table, made, mapSize);
        aside = host::replaceSettingAside(folder / dataFile, made);
    }
    catch (...)
    {
        std::error_code ignored;
        fs::remove(made, ignored);
        throw;
    }
    host::syncFolder(folder);
    return aside;
}

fs::path setLogAside(const fs::path& folder)
{
    return host::setAside(folder / dataFile);
}

} // namespace healthintf::logmgr
