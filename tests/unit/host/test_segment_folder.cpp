// SPDX-License-Identifier: Apache-2.0
#include "address_sanitizer.hpp"
#include "child.hpp"
#include "data_cache/own_records.hpp"
#include "data_cache/segment_folder.hpp"
#include "segment_bytes.hpp"
#include "settled_folder.hpp"
#include "temporary_folder.hpp"
#include "told_identity.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::Child;
using test::HeldFile;
using test::segmentBytes;
using test::withHeader;

constexpr auto fault = RecordKind::faultEntry;
constexpr auto health = RecordKind::healthStatus;
constexpr std::size_t capacity = 1UL << 20;

using Map = std::map<std::string, std::string>;

class SegmentFolder : public testing::Test
{
  protected:
    /** A process with these records, that lives, and tells who it is. */
    std::unique_ptr<Child> telling(const Map& records,
                                   bool placeholders = false) const
    {
        auto child = std::make_unique<Child>([&](const Child::Parent& parent) {
            OwnRecords own(cache, capacity);
            if (placeholders)
            {
                own.makePlaceholders();
            }
            for (const auto& [path, payload] : records)
            {
                own.put({.kind = fault, .path = path, .payload = payload});
            }
            test::tellIdentity(parent);
            Child::Parent::waitForever();
            return 0;
        });
        return child;
    }

    /** A process with these records, that lives. */
    std::unique_ptr<Child> owner(const Map& records,
                                 bool placeholders = false) const
    {
        auto child = telling(records, placeholders);
        child->hear();
        return child;
    }

    /** The bytes of a segment with one record. */
    std::string bytesWith(const std::string& path,
                          const std::string& payload = "x") const
    {
        return segmentBytes(folder.path(), [&](Segment& segment) {
            segment.add({.kind = fault, .path = path, .payload = payload});
            segment.add({.kind = health, .path = path, .payload = {}});
        });
    }

    /** Writes a file into the folder. */
    fs::path write(const std::string& name, const std::string& bytes) const
    {
        return folder.write("cache/" + name, bytes);
    }

    /** Writes a file into the folder that is held as by its owner. */
    HeldFile hold(const std::string& name, const std::string& bytes) const
    {
        return HeldFile(write(name, bytes));
    }

    static bool keep(Map& found, const ReadRecord& each, bool replace)
    {
        const auto [at, isNew] = found.try_emplace(std::string(each.path));
        if (!isNew && !replace)
        {
            return false;
        }
        at->second = each.payload;
        return true;
    }

    Map read(const RecordQuery& query = RecordQuery::below(fault, {})) const
    {
        Map found;
        readLivingRecords(cache, query,
                          [&found](const ReadRecord& each,
                                   const ProcessIdentity&, bool replace) {
                              return keep(found, each, replace);
                          });
        return found;
    }

    std::size_t livingSegments() const
    {
        std::size_t count = 0;
        forEachLivingSegment(cache, [&count](const SegmentReader&) {
            ++count;
        });
        return count;
    }

    /** The names of the files that belong to no living process. */
    std::set<std::string> deadNames() const
    {
        std::set<std::string> names;
        for (const DeadSegment& dead : findDeadSegments(cache))
        {
            names.insert(dead.name);
        }
        return names;
    }

    /** Lets this process open only so many files more. */
    static void leaveFiles(rlim_t count)
    {
        const int next = dup(STDIN_FILENO);
        close(next);
        const rlim_t most = static_cast<rlim_t>(next) + count;
        const rlimit few{most, most};
        setrlimit(RLIMIT_NOFILE, &few);
    }

    test::TemporaryFolder folder;
    fs::path cache = folder.path() / "cache";
};

using Names = std::set<std::string>;

TEST_F(SegmentFolder, NeedNotBeThere)
{
    EXPECT_TRUE(read().empty());
    EXPECT_EQ(livingSegments(), 0U);
    EXPECT_TRUE(deadNames().empty());
    EXPECT_FALSE(fs::exists(cache));
}

TEST_F(SegmentFolder, SaysWhenItCannotBeRead)
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
    const ProcessIdentity one = test::hearIdentity(*first);
    const ProcessIdentity other = test::hearIdentity(*second);
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
        << "nobody takes the owner's lock away";
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

TEST_F(SegmentFolder, IsReadByWhoMayOnlyRead)
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

TEST_F(SegmentFolder, LeavesOutWhatIsNoSegment)
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

TEST_F(SegmentFolder, ReadsAsManySegmentsOfAUserAsMayBe)
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
    EXPECT_EQ(found.front().nodes, std::vector<std::string>{"/a"});
    removeSegment(cache, "dead");
    removeSegment(cache, "dead");
    EXPECT_TRUE(fs::is_empty(cache));
}

TEST_F(SegmentFolder, TakesWhatIsNoSegmentForDead)
{
    write("text", "text");
    write("empty", "");
    fs::create_symlink("/etc/passwd", cache / "link");
    ASSERT_EQ(mkfifo((cache / "pipe").c_str(), 0666), 0);
    fs::create_directory(cache / "folder");
    EXPECT_EQ(deadNames(), (Names{"text", "empty", "link", "pipe"}))
        << "what cannot be removed does not count";
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

TEST_F(SegmentFolder, TakesNoFileForDeadThatIsHeld)
{
    // The segments of another version of the library, too.
    const HeldFile version =
        hold("version", withHeader(bytesWith("/a"), [](SegmentHeader& header) {
                 ++header.version;
             }));
    const HeldFile empty = hold("empty", "");
    EXPECT_TRUE(deadNames().empty());
}

TEST_F(SegmentFolder, TakesNothingForDeadThatItCannotOpen)
{
    const auto living = owner({{"/a", "1"}});
    const auto other = owner({{"/b", "1"}});
    EXPECT_EQ(test::inChild([this] {
                  // As many as the folder itself needs.
                  leaveFiles(1);
                  return deadNames().empty() ? 0 : 1;
              }),
              0);
}

TEST_F(SegmentFolder, TakesForDeadWhatMayNotBeRead)
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

TEST_F(SegmentFolder, TakesAFileThatIsMadeForDeadAfterAWhile)
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

/** The segments of a folder that a query has kept open. */
class KeptOpen : public SegmentFolder
{
  protected:
    KeptOpen() : own(cache, capacity)
    {
        put("/a", "1");
        keepOpen();
    }

    void put(const std::string& path, const std::string& payload)
    {
        own.put({.kind = fault, .path = path, .payload = payload});
    }

    /** Reads until segments are open and copied. */
    void keepOpen() const
    {
        test::waitUntilSettled(cache);
        for (int i = 0; i < 3; ++i)
        {
            read();
        }
    }

    OwnRecords own;
};

TEST_F(KeptOpen, AreReadAsTheyAreNow)
{
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
    put("/b", "2");
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
    put("/a", "3");
    EXPECT_EQ(read(), (Map{{"/a", "3"}, {"/b", "2"}}));
    own.edit(fault, "/b", [](std::string& payload) {
        payload = "4";
        return 0;
    });
    EXPECT_EQ(read(), (Map{{"/a", "3"}, {"/b", "4"}}));
    own.remove(fault, "/a");
    EXPECT_EQ(read(), (Map{{"/b", "4"}}));
}

TEST_F(KeptOpen, ShowALiveValueThatWasChanged)
{
    const auto live = [this] {
        uint32_t value = 0;
        readLivingRecords(
            cache, RecordQuery::below(fault, {}),
            [&value](const ReadRecord& each, const ProcessIdentity&, bool) {
                value = each.live;
                return true;
            });
        return value;
    };
    EXPECT_EQ(live(), 0U);
    own.setLive(fault, "/a", 5);
    EXPECT_EQ(live(), 5U);
}

TEST_F(KeptOpen, DoNotHideOneThatComes)
{
    const auto other = owner({{"/b", "2"}});
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
}

TEST_F(KeptOpen, ArePassedOverOnceTheirOwnersAreDead)
{
    const auto other = owner({{"/b", "2"}});
    keepOpen();
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
    other->kill();
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
}

TEST_F(KeptOpen, ArePassedOverWhenTheirOwnersDestroyThem)
{
    const HeldFile held = hold("held", bytesWith("/b"));
    keepOpen();
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "x"}}));
    fs::resize_file(cache / "held", 100);
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
}

TEST_F(KeptOpen, AreOpenedAgainByAChildThatHasFilesInTheirPlaces)
{
    const auto other = owner({{"/b", "2"}});
    keepOpen();
    EXPECT_EQ(test::inChild([this] {
                  constexpr int first = STDERR_FILENO + 1;
                  constexpr int end = 100;
                  for (int file = first; file < end; ++file)
                  {
                      close(file);
                  }
                  const int last = open("/dev/null", O_RDONLY | O_CLOEXEC);
                  for (int file = first; file < end; ++file)
                  {
                      dup2(last, file);
                  }
                  if (read() != Map{{"/a", "1"}, {"/b", "2"}})
                  {
                      return 1;
                  }
                  for (int file = first; file < end; ++file)
                  {
                      if (fcntl(file, F_GETFD) < 0)
                      {
                          return 2;
                      }
                  }
                  return 0;
              }),
              0);
    EXPECT_EQ(read(), (Map{{"/a", "1"}, {"/b", "2"}}));
}

TEST_F(KeptOpen, AreFewerThanThereAreWhereFilesAreScarce)
{
    constexpr int others = 8;
    Map all{{"/a", "1"}};
    std::vector<std::unique_ptr<Child>> owners;
    for (int i = 0; i < others; ++i)
    {
        const std::string path = "/b" + std::to_string(i);
        all.emplace(path, "2");
        owners.push_back(owner({{path, "2"}}));
    }
    test::waitUntilSettled(cache);
    EXPECT_EQ(test::inChild([&] {
                  // For the folder, the same kept open, and a few segments.
                  constexpr rlim_t few = 5;
                  leaveFiles(few);
                  return read() == all && read() == all ? 0 : 1;
              }),
              0);
}

TEST_F(KeptOpen, AreNotTakenForAllWithoutAFileForOne)
{
    if (test::isAddressSanitized)
    {
        GTEST_SKIP() << "the sanitizer needs files to look at objects";
    }
    EXPECT_EQ(test::inChild([this] {
                  // For the folder alone.
                  leaveFiles(1);
                  try
                  {
                      read();
                  }
                  catch (const std::system_error& e)
                  {
                      return e.code().value();
                  }
                  return 0;
              }),
              EMFILE);
}

TEST_F(KeptOpen, CountTheirRankAsBefore)
{
    const auto younger = owner({{"/a", "2"}});
    keepOpen();
    EXPECT_EQ(read(), (Map{{"/a", "2"}}));
    younger->kill();
    EXPECT_EQ(read(), (Map{{"/a", "1"}}));
}

TEST_F(KeptOpen, AgreeWithAModelWhateverHappens)
{
    std::list<OwnRecords> others;
    for (int i = 0; i < 4; ++i)
    {
        others.emplace_back(cache, capacity);
    }
    keepOpen();
    Map model{{"/a", "1"}};
    std::mt19937 random(7); // NOLINT(*-msc51-cpp): the same steps each time
    for (int step = 0; step < 5000; ++step)
    {
        const auto number = random() % 40;
        const std::string path = "/m" + std::to_string(number);
        OwnRecords& records = *std::next(others.begin(), number % 4);
        if (random() % 3 == 0)
        {
            records.remove(fault, path);
            model.erase(path);
        }
        else
        {
            const std::string payload = std::to_string(step);
            records.put({.kind = fault, .path = path, .payload = payload});
            model[path] = payload;
        }
        for (auto reads = random() % 4; reads > 0; --reads)
        {
            ASSERT_EQ(read(), model) << step;
        }
    }
}

/** More than the files that are opened of one user. */
constexpr int many = 2500;
/** So many that some stand behind those files in the folder's order. */
constexpr int segments = 12;
constexpr uid_t another = 12345;

/** A segment with names around it, in whatever order the folder has them. */
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

    /** How many segments of living processes are found. */
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
