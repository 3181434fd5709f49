// SPDX-License-Identifier: Apache-2.0
#include "data_cache/fault_entry_codec.hpp"
#include "segment_bytes.hpp"
#include "segment_folder_test.hpp"

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <ctime>
#include <fstream>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::Child;
using test::HeldFile;
using test::withHeader;

class SegmentFolder : public test::SegmentFolderTest
{};

using Names = std::set<std::string>;

TEST_F(SegmentFolder, MayBeMissing)
{
    EXPECT_TRUE(read().empty());
    EXPECT_EQ(livingSegments(), 0U);
    EXPECT_TRUE(deadNames().empty());
    EXPECT_FALSE(fs::exists(cache));
}

TEST_F(SegmentFolder, ReportsThatItCannotBeRead)
{
    folder.write("cache", "no folder");
    EXPECT_THROW(read(), std::system_error);
    EXPECT_THROW(livingSegments(), std::system_error);
    EXPECT_THROW(deadNames(), std::system_error);
}

TEST_F(SegmentFolder, HoldsTheRecordsOfAllProcesses)
{
    const auto first = telling({{"/a", "1"}, {"/b", "2"}});
    const auto second = telling({{"/c", "3"}});
    const ProcessIdentity one = test::receiveIdentity(*first);
    const ProcessIdentity other = test::receiveIdentity(*second);
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}, {"/c", "3"}}));
    EXPECT_EQ(livingSegments(), 2U);
    std::map<std::string, ProcessIdentity> owners;
    readLivingRecords(
        cache, RecordQuery::below(fault, {}),
        [&owners](const ReadRecord& each, const ProcessIdentity& process,
                  bool) {
            return owners.emplace(std::string(each.path), process).second;
        });
    EXPECT_EQ(owners.at("/a"), one);
    EXPECT_EQ(owners.at("/c"), other);
}

TEST_F(SegmentFolder, HoldsNothingOfTheDead)
{
    const auto living = owner({{"/a", "1"}});
    const auto dead = owner({{"/b", "2"}});
    dead->kill();
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
    EXPECT_EQ(livingSegments(), 1U);
    EXPECT_EQ(deadNames().size(), 1U);
}

TEST_F(SegmentFolder, HoldsNothingOfTheDeadWhileOthersHoldALock)
{
    const auto dead = owner({{"/b", "2"}});
    const fs::path file = fs::directory_iterator(cache)->path();
    const FileDescriptor opened(open(file.c_str(), O_RDONLY | O_CLOEXEC));
    struct flock shared
    {};
    shared.l_type = F_RDLCK;
    shared.l_whence = SEEK_SET;
    EXPECT_NE(fcntl(opened.get(), F_OFD_SETLK, &shared), 0)
        << "the owner keeps its lock";
    dead->kill();
    ASSERT_EQ(fcntl(opened.get(), F_OFD_SETLK, &shared), 0);
    EXPECT_TRUE(read().empty());
    EXPECT_EQ(deadNames().size(), 1U);
}

TEST_F(SegmentFolder, HoldsTheRecordsOfAProcessThatIsStopped)
{
    const auto stopped = owner({{"/a", "1"}});
    ASSERT_EQ(kill(stopped->pid(), SIGSTOP), 0);
    int status = 0;
    ASSERT_EQ(waitpid(stopped->pid(), &status, WUNTRACED), stopped->pid());
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
    EXPECT_TRUE(deadNames().empty());
}

TEST_F(SegmentFolder, IsReadableWithoutWriteAccess)
{
    const auto living = owner({{"/a", "1"}});
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(cache, fs::perms(0755));
    EXPECT_EQ(test::inChild([this] {
                  test::leaveRoot();
                  return read() == Map{{"/a", "1"}} ? 0 : 1;
              }),
              0);
}

TEST_F(SegmentFolder, LetsTheYoungerOfTwoRecordsCount)
{
    const auto first = owner({{"/a", "first"}, {"/x", "x"}});
    {
        const auto second = owner({{"/a", "second"}, {"/y", "y"}});
        const auto third = owner({{"/a", "third"}});
        const Map expected{{"/a", "third"}, {"/x", "x"}, {"/y", "y"}};
        EXPECT_EQ(read(), expected);
        EXPECT_EQ(read(RecordQuery::exactly(fault, "/a")),
                  (Map{{"/a", "third"}}));
        third->kill();
        EXPECT_EQ(read().at("/a"), "second");
    }
    EXPECT_EQ(read(), (Map{{"/a", "first"}, {"/x", "x"}}));
}

TEST_F(SegmentFolder, LetsNoPlaceholderHideARecord)
{
    const auto placeholder = owner({{"/a", "old"}, {"/b", "old"}}, true);
    EXPECT_EQ(read(), (Map{{"/a", "old"}, {"/b", "old"}}));
    const auto daemon = owner({{"/a", "daemon"}});
    const auto younger = owner({{"/a", "new"}, {"/c", "new"}}, true);
    EXPECT_EQ(read(), (Map{{"/a", "daemon"}, {"/b", "old"}, {"/c", "new"}}));
    daemon->kill();
    EXPECT_EQ(read().at("/a"), "new");
}

TEST_F(SegmentFolder, LeavesOutOtherFiles)
{
    const auto living = owner({{"/a", "1"}});
    const std::string good = bytesWith("/no");
    folder.write("elsewhere", good);
    const HeldFile held(folder.path() / "elsewhere");
    fs::create_symlink(folder.path() / "elsewhere", cache / "link");
    fs::create_directory(cache / "folder");
    ASSERT_EQ(mkfifo((cache / "pipe").c_str(), 0666), 0);
    const HeldFile empty = hold("empty", "");
    const HeldFile cut = hold("short", good.substr(0, 100));
    const HeldFile version =
        hold("version", withHeader(good, [](SegmentHeader& header) {
                 ++header.version;
             }));
    const HeldFile hidden = hold(".new-one", good);
    write("dead", good);
    if (geteuid() == 0)
    {
        EXPECT_EQ(
            mknod((cache / "device").c_str(), S_IFCHR | 0666, makedev(1, 5)),
            0);
    }
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
    EXPECT_EQ(livingSegments(), 1U);
}

TEST_F(SegmentFolder, ReadsTwoNamesOfOneFileOnce)
{
    const HeldFile held = hold("one", bytesWith("/a"));
    fs::create_hard_link(cache / "one", cache / "two");
    EXPECT_EQ(livingSegments(), 1U);
    EXPECT_EQ(read(), (Map{{"/a", "x"}}));
}

TEST_F(SegmentFolder, LimitsTheSegmentsOfAUser)
{
    const std::string bytes = bytesWith("/a");
    rlimit files{};
    getrlimit(RLIMIT_NOFILE, &files);
    constexpr std::size_t most = ReadingBudget{}.segments;
    if (files.rlim_max < most + 100)
    {
        GTEST_SKIP() << "too few files may be open here";
    }
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    std::vector<std::unique_ptr<HeldFile>> held;
    const auto add = [&] {
        const auto name = std::to_string(held.size());
        held.push_back(std::make_unique<HeldFile>(write(name, bytes)));
    };
    while (held.size() < most)
    {
        add();
    }
    testing::internal::CaptureStderr();
    EXPECT_EQ(livingSegments(), most);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    add();
    testing::internal::CaptureStderr();
    EXPECT_EQ(livingSegments(), most);
    EXPECT_EQ(livingSegments(), most);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("user " + std::to_string(geteuid()) +
                       " keeps more in the data cache than is read of one "
                       "user"),
              std::string::npos);
    EXPECT_EQ(log.find('\n'), log.size() - 1) << "once";
    if (geteuid() == 0)
    {
        ASSERT_EQ(chown((cache / "0").c_str(), 1, 1), 0);
        EXPECT_EQ(livingSegments(), most + 1) << "each user has its own";
    }
}

TEST_F(SegmentFolder, FindsTheDeadWithTheirNodes)
{
    write("dead", bytesWith("/a"));
    const auto found = findDeadSegments(cache);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found.front().name, "dead");
    EXPECT_EQ(found.front().owner.pid, static_cast<uint32_t>(getpid()));
    ASSERT_EQ(found.front().nodes.size(), 1U);
    EXPECT_EQ(found.front().nodes.front().path, "/a");
    removeSegment(cache, "dead");
    removeSegment(cache, "dead");
    EXPECT_TRUE(fs::is_empty(cache));
}

TEST_F(SegmentFolder, CountsTheFaultsOfTheDeadByTheirNodes)
{
    const auto bytes = test::segmentBytes(folder.path(), [](Segment& segment) {
        const auto add = [&segment](RecordKind kind, const std::string& path,
                                    const std::string& payload,
                                    uint32_t live = 0) {
            segment.add(
                {.kind = kind, .path = path, .payload = payload, .live = live});
        };
        const auto fault = [](uint32_t severity) {
            FaultEntryProperties properties;
            properties.severity = severity;
            return encodeFaultEntry(makeView(properties));
        };
        add(RecordKind::healthStatus, "/a", "");
        add(RecordKind::healthStatus, "/a/b", "");
        add(RecordKind::faultEntry, "/a/entry/1", fault(3));
        add(RecordKind::faultEntry, "/a/entry/2", fault(4), 1);
        add(RecordKind::faultEntry, "/a/entry/3", "damaged");
        add(RecordKind::faultEntry, "/other/entry/4", fault(4));
        segment.makePlaceholders();
    });
    write("dead", bytes);
    testing::internal::CaptureStderr();
    const auto found = findDeadSegments(cache);
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "the record of /a/entry/3 was left out"),
              std::string::npos);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found.front().isPlaceholder);
    EXPECT_EQ(found.front().user, geteuid());
    EXPECT_EQ(found.front().process, std::string(ownProcessName().data()));
    std::map<std::string, std::pair<std::size_t, uint32_t>> nodes;
    for (const DeadNode& node : found.front().nodes)
    {
        nodes[node.path] = {node.faults, node.worst};
    }
    const decltype(nodes) expected{{"/a", {3, 3}}, {"/a/b", {0, 0}}};
    EXPECT_EQ(nodes, expected) << "a hidden fault is not the worst";
}

TEST_F(SegmentFolder, TakesOtherFilesForDead)
{
    write("text", "text");
    write("empty", "");
    fs::create_symlink("/etc/passwd", cache / "link");
    ASSERT_EQ(mkfifo((cache / "pipe").c_str(), 0666), 0);
    fs::create_directory(cache / "folder");
    EXPECT_EQ(deadNames(), (Names{"text", "empty", "link", "pipe"}))
        << "a folder is not removed";
    fs::remove(cache / "folder");
    for (const DeadSegment& dead : findDeadSegments(cache))
    {
        EXPECT_EQ(dead.owner, ProcessIdentity{});
        EXPECT_TRUE(dead.nodes.empty());
        removeSegment(cache, dead.name);
    }
    EXPECT_TRUE(fs::is_empty(cache));
    EXPECT_TRUE(fs::exists("/etc/passwd"));
}

TEST_F(SegmentFolder, TakesNoLockedFileForDead)
{
    // Such as the segments of another version of the library.
    const HeldFile version =
        hold("version", withHeader(bytesWith("/a"), [](SegmentHeader& header) {
                 ++header.version;
             }));
    const HeldFile empty = hold("empty", "");
    EXPECT_TRUE(deadNames().empty());
}

TEST_F(SegmentFolder, TakesNothingForDeadWithoutDescriptors)
{
    const auto living = owner({{"/a", "1"}});
    const auto other = owner({{"/b", "1"}});
    EXPECT_EQ(test::inChild([this] {
                  // Only enough for the folder itself.
                  leaveFiles(1);
                  return deadNames().empty() ? 0 : 1;
              }),
              0);
}

TEST_F(SegmentFolder, TakesUnreadableFilesForDead)
{
    const auto living = owner({{"/a", "1"}});
    const HeldFile held = hold("private", bytesWith("/c"));
    fs::permissions(folder.path(), fs::perms(0755));
    fs::permissions(cache, fs::perms(0755));
    fs::permissions(cache / "private", fs::perms::none);
    EXPECT_EQ(test::inChild([this] {
                  test::leaveRoot();
                  return deadNames() == Names{"private"} ? 0 : 1;
              }),
              0);
}

TEST_F(SegmentFolder, TakesAnUnfinishedFileForDeadAfterAMinute)
{
    write(".new-young", "half");
    const auto left = write(".new-old", "half");
    const auto locked = write(".new-locked", "half");
    const HeldFile held(locked);
    const timespec longAgo{.tv_sec = time(nullptr) - 61, .tv_nsec = 0};
    const std::array<timespec, 2> times{longAgo, longAgo};
    for (const fs::path& each : {left, locked})
    {
        ASSERT_EQ(utimensat(AT_FDCWD, each.c_str(), times.data(), 0), 0);
    }
    EXPECT_EQ(deadNames(), Names{".new-old"});
}

TEST_F(SegmentFolder, IsReadWhileItsSegmentsComeAndGo)
{
    const auto living = owner({{"/a", "1"}});
    Child makers([this](const Child::Parent& parent) {
        parent.tell("ready");
        for (;;)
        {
            OwnRecords own(cache, capacity);
            own.put({.kind = fault, .path = "/b", .payload = "2"});
            own.remove(fault, "/b");
            own.removeFileIfEmpty();
        }
        return 0;
    });
    makers.hear();
    for (int i = 0; i < 2000; ++i)
    {
        Map found = read();
        found.erase("/b");
        ASSERT_EQ(found, (Map{{"/a", "1"}}));
    }
}

/** More files than a query opens for one user. */
constexpr int many = 2500;
/** So many that some come after those files in the folder's order. */
constexpr int segments = 12;
constexpr uid_t another = 12345;

/** A folder with segments among many other names, whose order the filesystem
 *  chooses. */
class SegmentCrowd : public testing::Test
{
  protected:
    std::string name(int number) const
    {
        return folder.path() / ("crowd" + std::to_string(number));
    }

    template <typename Make>
    void surround(const Make& make)
    {
        for (int number = 0; number < many; ++number)
        {
            make(name(number));
        }
        for (int number = 0; number < segments; ++number)
        {
            own.emplace_back(folder.path(), std::size_t{1} << 20);
        }
        for (int number = many; number < 2 * many; ++number)
        {
            make(name(number));
        }
    }

    /** The number of segments of living processes. */
    int found() const
    {
        int living = 0;
        forEachLivingSegment(folder.path(), [&living](const SegmentReader&) {
            ++living;
        });
        return living;
    }

    test::TemporaryFolder folder;
    std::list<OwnRecords> own;
};

TEST_F(SegmentCrowd, OfFoldersHidesNoSegment)
{
    surround([](const std::string& name) {
        std::filesystem::create_directory(name);
    });
    EXPECT_EQ(found(), segments);
    EXPECT_TRUE(findDeadSegments(folder.path()).empty());
}

TEST_F(SegmentCrowd, OfFilesHidesNoSegmentOfAnotherUser)
{
    if (geteuid() != 0)
    {
        GTEST_SKIP() << "needs root, to give files away";
    }
    surround([](const std::string& name) {
        std::ofstream(name) << "no segment";
        ASSERT_EQ(chown(name.c_str(), another, another), 0);
    });
    EXPECT_EQ(found(), segments);
}

TEST_F(SegmentCrowd, OfLinksToOneSegmentHidesNoOther)
{
    const OwnRecords linked(folder.path(), std::size_t{1} << 20);
    const std::string first =
        std::filesystem::directory_iterator(folder.path())->path();
    surround([&first](const std::string& name) {
        std::filesystem::create_hard_link(first, name);
    });
    EXPECT_EQ(found(), segments + 1);
}

} // namespace
} // namespace healthintf::host
