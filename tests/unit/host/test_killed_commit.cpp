#include "child.hpp"
#include "data_cache/environment.hpp"
#include "raw_record.hpp"
#include "storage/files.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <set>
#include <string>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::put;
using testing::ElementsAre;

constexpr std::size_t capacity = 4UL << 20;
constexpr const char* ready = "ready";

constexpr const char* key = "key";

/** What a process finds that opens this data cache, left by one that died. */
std::string foundIn(const std::filesystem::path& folder)
{
    MDB_env* opened = nullptr;
    checkLmdb("mdb_env_create", mdb_env_create(&opened));
    const EnvironmentPtr environment(opened);
    checkLmdb("mdb_env_open", mdb_env_open(opened, folder.c_str(),
                                           MDB_RDONLY | MDB_NOLOCK, 0600));
    const Transaction transaction(opened, Transaction::Kind::read);
    MDB_dbi table = 0;
    checkLmdb("mdb_dbi_open",
              mdb_dbi_open(transaction.get(), nullptr, 0, &table));
    Cursor cursor(transaction.get(), table);
    return cursor.seek(key) ? std::string(cursor.value()) : "nothing";
}

/** The begin of a file as it is at any time: the two pages that say which
 *  state of the data cache is the last. */
class Head
{
  public:
    explicit Head(const std::filesystem::path& path) :
        file(openFile(path)),
        bytes(mmap(nullptr, size, PROT_READ, MAP_SHARED, file.get(), 0)),
        known(size, '\0')
    {}

    ~Head()
    {
        munmap(bytes, size);
    }

    Head(const Head&) = delete;
    Head& operator=(const Head&) = delete;

    /** Whether it is another than when this was asked last. */
    bool changed()
    {
        if (std::memcmp(known.data(), bytes, size) == 0)
        {
            return false;
        }
        std::memcpy(known.data(), bytes, size);
        return true;
    }

  private:
    static constexpr std::size_t size = 8192;
    FileDescriptor file;
    void* bytes;
    std::string known;
};

/** Runs a traced process, which has stopped itself, instruction by instruction
 *  until it stops itself once more.
 *
 *  @param[in] look is called after each
 *  @return how many there were */
std::size_t stepThrough(pid_t process, const std::function<void()>& look)
{
    std::size_t steps = 0;
    int status = 0;
    while (waitpid(process, &status, 0) == process && WIFSTOPPED(status) &&
           (steps == 0 || WSTOPSIG(status) == SIGTRAP))
    {
        look();
        ++steps;
        if (ptrace(PTRACE_SINGLESTEP, process, nullptr, nullptr) != 0)
        {
            break;
        }
    }
    return steps;
}

TEST(KilledCommit, LeavesOneStateOrTheOtherWhereverItDies)
{
    const test::TemporaryFolder folder;
    const auto path = folder.path() / "datacache";
    Child writer([&](const Child::Parent& parent) {
        Environment environment(path, capacity);
        put(environment, key, "first");
        put(environment, key, "second");
        const bool traced = ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
        parent.tell(traced ? ready : "untraced");
        raise(SIGSTOP);
        put(environment, key, "third");
        raise(SIGSTOP);
        return 0;
    });
    if (writer.hear() != ready)
    {
        GTEST_SKIP() << "no process can be traced here";
    }

    Head head(path / "data.mdb");
    std::set<std::string> found;
    const std::size_t steps = stepThrough(writer.pid(), [&] {
        if (head.changed())
        {
            found.insert(foundIn(path));
        }
    });

    if (steps <= 1)
    {
        GTEST_SKIP() << "no process can be traced by instruction here";
    }
    EXPECT_THAT(found, ElementsAre("second", "third"));
}

} // namespace
} // namespace healthintf::host
