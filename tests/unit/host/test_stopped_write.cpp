// SPDX-License-Identifier: Apache-2.0
/** @file A writer stops or dies at any instruction. */

#include "cache_test.hpp"
#include "data_cache/data_cache.hpp"
#include "data_cache/segment.hpp"
#include "data_cache/segment_folder.hpp"
#include "data_cache/segment_reader.hpp"

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <fcntl.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::Child;
using testing::ElementsAre;

constexpr auto fault = RecordKind::faultEntry;
constexpr std::size_t capacity = 1UL << 20;

NewRecord record(std::string_view path, std::string_view payload, uint32_t live)
{
    return {.kind = fault, .path = path, .payload = payload, .live = live};
}

/** The first bytes of a file, watched for changes. */
class Head
{
  public:
    explicit Head(const fs::path& path) : known(size, '\0')
    {
        const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        bytes = mmap(nullptr, size, PROT_READ, MAP_SHARED, file.get(), 0);
    }

    ~Head()
    {
        if (bytes != MAP_FAILED)
        {
            munmap(bytes, size);
        }
    }

    Head(const Head&) = delete;
    Head& operator=(const Head&) = delete;

    /** Whether the bytes have changed since the last call. */
    bool changed()
    {
        if (bytes == MAP_FAILED || std::memcmp(known.data(), bytes, size) == 0)
        {
            return false;
        }
        std::memcpy(known.data(), bytes, size);
        return true;
    }

  private:
    /** The size of a new segment. */
    static constexpr std::size_t size = 16384;
    void* bytes = MAP_FAILED;
    std::string known;
};

/** All fault records of a folder in one line: path, size and last byte of the
 *  payload, live value. */
std::string foundIn(const fs::path& folder)
{
    std::map<std::string, std::string> found;
    readLivingRecords(
        folder, RecordQuery::below(fault, {}),
        [&found](const ReadRecord& each, const ProcessIdentity&, bool replace) {
            const std::string path(each.path);
            if (found.contains(path) && !replace)
            {
                return false;
            }
            const std::string payload(each.payload);
            found[path] = std::to_string(payload.size()) +
                          (payload.empty() ? "" : payload.substr(0, 1)) + ":" +
                          std::to_string(each.live);
            return true;
        });
    std::string line;
    for (const auto& [path, content] : found)
    {
        line += path + "=" + content + " ";
    }
    return line;
}

/** Runs a traced process, which has stopped itself, one instruction at a time
 *  until it stops itself again.
 *
 *  @param[in] look is called after each instruction with the number of
 *             instructions so far
 *  @return the number of instructions */
std::size_t stepThrough(pid_t process,
                        const std::function<void(std::size_t)>& look)
{
    std::size_t steps = 0;
    int status = 0;
    while (waitpid(process, &status, 0) == process && WIFSTOPPED(status) &&
           (steps == 0 || WSTOPSIG(status) == SIGTRAP))
    {
        look(steps);
        ++steps;
        if (ptrace(PTRACE_SINGLESTEP, process, nullptr, nullptr) != 0)
        {
            break;
        }
    }
    return steps;
}

class StoppedWrite : public testing::Test
{
  protected:
    /** Lets a process create a segment, and stops it at each instruction of a
     *  change.
     *
     *  @return all different results of readers at these instructions */
    std::set<std::string>
    statesDuring(const std::function<void(Segment&)>& before,
                 const std::function<void(Segment&)>& change)
    {
        Child writer([&](const Child::Parent& parent) {
            Segment segment(file, capacity);
            segment.publish();
            before(segment);
            const bool traced =
                ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
            parent.tell(traced ? "ready" : "untraced");
            raise(SIGSTOP);
            change(segment);
            raise(SIGSTOP);
            return 0;
        });
        std::set<std::string> found;
        if (writer.hear() != "ready")
        {
            return {"untraced"};
        }
        Head head(file);
        constexpr std::size_t often = 100;
        const std::size_t steps =
            stepThrough(writer.pid(), [&](std::size_t step) {
                if (head.changed() || step % often == 0)
                {
                    found.insert(foundIn(folder.path()));
                }
            });
        found.insert(foundIn(folder.path()));
        return steps <= 1 ? std::set<std::string>{"untraced"} : found;
    }

    test::TemporaryFolder folder;
    fs::path file = folder.path() / "segment";
};

#define SKIP_UNTRACED(states)                            \
    if ((states) == std::set<std::string>{"untraced"})   \
    {                                                    \
        GTEST_SKIP() << "no process can be traced here"; \
    }

const std::string old(300, 'o');
const std::string changed(3000, 'n');

void putTwo(Segment& segment)
{
    segment.add(record("/a", old, 1));
    segment.add(record("/b", old, 2));
}

TEST_F(StoppedWrite, OfTheFirstRecordShowsItOrNone)
{
    const auto states = statesDuring([](Segment&) {},
                                     [](Segment& segment) {
                                         segment.add(record("/a", old, 1));
                                     });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states, ElementsAre("", "/a=300o:1 "));
}

TEST_F(StoppedWrite, OfANewRecordShowsTheOthers)
{
    const auto states = statesDuring(putTwo, [](Segment& segment) {
        segment.add(record("/c", changed, 3));
    });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states, ElementsAre("/a=300o:1 /b=300o:2 ",
                                    "/a=300o:1 /b=300o:2 /c=3000n:3 "));
}

TEST_F(StoppedWrite, OfARecordInAReusedSlotShowsNothingOfTheOldRecord)
{
    const auto states = statesDuring(
        [](Segment& segment) {
            putTwo(segment);
            segment.remove(0);
        },
        [](Segment& segment) {
            segment.add(record("/c", old, 3));
        });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states, ElementsAre("/b=300o:2 ", "/b=300o:2 /c=300o:3 "));
}

TEST_F(StoppedWrite, OfAPayloadShowsTheOldOneOrTheNewOne)
{
    const auto states = statesDuring(putTwo, [](Segment& segment) {
        segment.setPayload(0, changed);
    });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states,
                ElementsAre("/a=3000n:1 /b=300o:2 ", "/a=300o:1 /b=300o:2 "));
}

TEST_F(StoppedWrite, OfALiveValueShowsTheOldOneOrTheNewOne)
{
    const auto states = statesDuring(putTwo, [](Segment& segment) {
        segment.setLive(0, 0xffffffff);
    });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states, ElementsAre("/a=300o:1 /b=300o:2 ",
                                    "/a=300o:4294967295 /b=300o:2 "));
}

TEST_F(StoppedWrite, OfARemovalShowsTheRecordOrNone)
{
    const auto states = statesDuring(putTwo, [](Segment& segment) {
        segment.remove(0);
    });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states, ElementsAre("/a=300o:1 /b=300o:2 ", "/b=300o:2 "));
}

TEST_F(StoppedWrite, OfAReplacementInPlaceShowsTheOldRecordOrTheNewOne)
{
    const auto states = statesDuring(
        [](Segment& segment) {
            segment.putAt(7, record("/a", old, 1));
        },
        [](Segment& segment) {
            segment.putAt(7, record("/a", changed, 1));
        });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states, ElementsAre("/a=3000n:1 ", "/a=300o:1 "));
}

TEST_F(StoppedWrite, OfLiveValueAndPayloadNeverMixesOldAndNew)
{
    const auto states = statesDuring(putTwo, [](Segment& segment) {
        segment.replace(0, record("/a", changed, 3));
    });
    SKIP_UNTRACED(states)
    EXPECT_THAT(states,
                ElementsAre("/a=3000n:3 /b=300o:2 ", "/a=300o:1 /b=300o:2 "));
}

TEST_F(StoppedWrite, ThatExtendsTheFileShowsAllEarlierRecords)
{
    constexpr int count = slotsOfFirstTable;
    const auto states = statesDuring(
        [](Segment& segment) {
            for (int i = 0; i < count; ++i)
            {
                segment.add(record("/" + std::to_string(100 + i), old, 1));
            }
        },
        [](Segment& segment) {
            // Needs the first slot of the next table, and more blocks than the
            // file has.
            segment.add(record("/a", std::string(20'000, 'x'), 1));
        });
    SKIP_UNTRACED(states)
    ASSERT_EQ(states.size(), 2U);
    EXPECT_EQ(*states.begin() + "/a=20000x:1 ", *states.rbegin());
}

/** A change through the data cache, stopped at each instruction. */
class StoppedProcess : public test::CacheTest
{};

TEST_F(StoppedProcess, ShowsNoneOrItsFirstRecord)
{
    Child writer([](const Child::Parent& parent) {
        const bool traced = ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
        parent.tell(traced ? "ready" : "untraced");
        raise(SIGSTOP);
        ownRecords().put(record("/a", old, 1));
        raise(SIGSTOP);
        return 0;
    });
    if (writer.hear() != "ready")
    {
        GTEST_SKIP() << "no process can be traced here";
    }
    std::set<std::string> found;
    constexpr std::size_t often = 100;
    const std::size_t steps = stepThrough(writer.pid(), [&](std::size_t step) {
        if (step % often == 0)
        {
            found.insert(foundIn(cacheFolder()));
        }
    });
    found.insert(foundIn(cacheFolder()));
    if (steps <= 1)
    {
        GTEST_SKIP() << "no process can be traced by instruction here";
    }
    EXPECT_THAT(found, ElementsAre("", "/a=300o:1 "));
}

/** Kills a process after some instructions of a change.
 *
 *  @return the number of instructions that ran: fewer than @p instructions if
 *  the change was complete */
std::size_t dieAfter(std::size_t instructions, const fs::path& folder)
{
    std::size_t steps = 0;
    Child writer([](const Child::Parent& parent) {
        ownRecords().put(record("/a", old, 1));
        ownRecords().put(record("/b", old, 2));
        const bool traced = ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0;
        parent.tell(traced ? "ready" : "untraced");
        raise(SIGSTOP);
        ownRecords().put(record("/a", changed, 3));
        raise(SIGSTOP);
        return 0;
    });
    if (writer.hear() != "ready")
    {
        return 0;
    }
    int status = 0;
    while (waitpid(writer.pid(), &status, 0) == writer.pid() &&
           WIFSTOPPED(status) && (steps == 0 || WSTOPSIG(status) == SIGTRAP) &&
           steps < instructions)
    {
        ++steps;
        ptrace(PTRACE_SINGLESTEP, writer.pid(), nullptr, nullptr);
    }
    writer.kill();
    EXPECT_EQ(foundIn(folder), "") << "a dead process has no records";
    for (const DeadSegment& dead : findDeadSegments(folder))
    {
        EXPECT_EQ(dead.owner.pid, static_cast<uint32_t>(writer.pid()));
        removeSegment(folder, dead.name);
    }
    EXPECT_TRUE(fs::is_empty(folder));
    return steps;
}

TEST_F(StoppedProcess, LeavesNothingWhereverItDies)
{
    const std::size_t all = dieAfter(1'000'000, cacheFolder());
    if (all <= 1)
    {
        GTEST_SKIP() << "no process can be traced by instruction here";
    }
    constexpr std::size_t deaths = 40;
    for (std::size_t i = 0; i < deaths; ++i)
    {
        dieAfter(1 + i * all / deaths, cacheFolder());
    }
}

} // namespace
} // namespace healthintf::host
