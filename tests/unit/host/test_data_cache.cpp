// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "data_cache/data_cache.hpp"
#include "data_cache/record_table.hpp"
#include "data_cache/segment.hpp"
#include "data_cache/segment_folder.hpp"

#include <gmock/gmock.h>

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace healthintf::host
{
namespace
{

using test::inChild;
using testing::HasSubstr;

class DataCache : public test::CacheTest
{};

/** The number of occurrences of a text in another. */
std::size_t count(const std::string& text, const std::string& part)
{
    std::size_t found = 0;
    for (auto at = text.find(part); at != std::string::npos;
         at = text.find(part, at + 1))
    {
        ++found;
    }
    return found;
}

/** The number of files in a folder; -1 if the folder does not exist. */
std::ptrdiff_t filesIn(const std::filesystem::path& folder)
{
    using std::filesystem::directory_iterator;
    return std::filesystem::exists(folder)
               ? std::distance(directory_iterator(folder), directory_iterator())
               : -1;
}

/** The paths of the health records, and whether this process owns them. */
std::map<std::string, bool> nodes()
{
    std::map<std::string, bool> found;
    readRecordsInto(found, RecordQuery::below(RecordKind::healthStatus, {}),
                    [](const ReadRecord&, const ProcessIdentity& owner) {
                        return owner == ProcessIdentity::self();
                    });
    return found;
}

using Nodes = std::map<std::string, bool>;

int putNode(const std::string& path)
{
    return putRecord(RecordKind::healthStatus, path, {}, 1);
}

TEST_F(DataCache, IsOneFileOfAProcessInTheRuntimeFolder)
{
    EXPECT_EQ(inChild([this] {
                  return &ownRecords() == &ownRecords() &&
                                 ownRecordsIfAny() == &ownRecords() &&
                                 putNode("/a") == 0 &&
                                 filesIn(cacheFolder()) == 1
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(DataCache, IsNotCreatedByReadersOrWithoutRecords)
{
    EXPECT_EQ(inChild([this] {
                  const bool nothing =
                      nodes().empty() &&
                      removeRecord(RecordKind::healthStatus, "/a") == ENOENT &&
                      setLiveValue(RecordKind::healthStatus, "/a", 1) ==
                          ENOENT &&
                      ownRecordsIfAny() == nullptr;
                  makeOwnRecordsPlaceholders();
                  return nothing && filesIn(cacheFolder()) == -1 ? 0 : 1;
              }),
              0);
}

TEST_F(DataCache, IsReadByObjectsThatOutliveTheirThread)
{
    struct Late
    {
        ~Late()
        {
            *found = nodes().size();
        }
        std::size_t* found = nullptr;
    };
    EXPECT_EQ(inChild([] {
                  constexpr std::size_t count = 100;
                  for (std::size_t i = 0; i < count; ++i)
                  {
                      putNode("/" + std::to_string(i));
                  }
                  std::size_t found = 0;
                  std::thread([&found] {
                      // Is destroyed after everything that the query creates
                      // for the thread.
                      static thread_local Late late;
                      late.found = &found;
                      nodes();
                  }).join();
                  return found == count ? 0 : 1;
              }),
              0);
}

TEST_F(DataCache, IsAnotherOneInAChild)
{
    EXPECT_EQ(
        inChild([this] {
            putNode("/a");
            const int child = inChild([this] {
                if (nodes() != Nodes{{"/a", false}} ||
                    removeRecord(RecordKind::healthStatus, "/a") != ENOENT)
                {
                    return 1;
                }
                return putNode("/b") == 0 &&
                               nodes() == Nodes{{"/a", false}, {"/b", true}} &&
                               filesIn(cacheFolder()) == 2
                           ? 0
                           : 2;
            });
            return child == 0 && nodes() == Nodes{{"/a", true}} &&
                           putNode("/c") == 0 && nodes().size() == 2
                       ? 0
                       : 10 + child;
        }),
        0);
}

TEST_F(DataCache, SurvivesTheNormalExitOfAChild)
{
    EXPECT_EQ(inChild([this] {
                  putNode("/a");
                  test::Child child([](const test::Child::Parent&) -> int {
                      // Runs the exit handlers, which inChild() does not.
                      std::exit(0);
                  });
                  return child.wait() == 0 && nodes() == Nodes{{"/a", true}} &&
                                 filesIn(cacheFolder()) == 1
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(DataCache, EndsWithItsProcessEvenIfAChildLives)
{
    int toTest[2];
    ASSERT_EQ(pipe(toTest), 0);
    test::Child parent([&toTest](const test::Child::Parent& told) {
        putNode("/a");
        const pid_t child = fork();
        if (child == 0)
        {
            // Drops what the child inherited. The child runs until the test
            // ends it.
            putNode("/b");
            const pid_t self = getpid();
            static_cast<void>(write(toTest[1], &self, sizeof(self)));
            pause();
        }
        told.tell("forked");
        test::Child::Parent::waitForever();
        return 0;
    });
    parent.hear();
    pid_t child = 0;
    ASSERT_EQ(read(toTest[0], &child, sizeof(child)),
              static_cast<ssize_t>(sizeof(child)));
    EXPECT_EQ(nodes(), (Nodes{{"/a", false}, {"/b", false}}));
    parent.kill();
    EXPECT_EQ(nodes(), (Nodes{{"/b", false}}));
    kill(child, SIGKILL);
    close(toTest[0]);
    close(toTest[1]);
}

TEST_F(DataCache, LeavesNoFileAtAnExitWithoutRecords)
{
    const auto exitAfter = [](const std::function<void()>& work) {
        test::Child child([&work](const test::Child::Parent&) -> int {
            work();
            std::exit(0);
        });
        return child.wait();
    };
    EXPECT_EQ(exitAfter([] {
                  putNode("/a");
                  removeRecord(RecordKind::healthStatus, "/a");
              }),
              0);
    EXPECT_EQ(filesIn(cacheFolder()), 0);
    EXPECT_EQ(exitAfter([] {
                  putNode("/a");
              }),
              0);
    EXPECT_EQ(filesIn(cacheFolder()), 1)
        << "the health manager tells the parents of the node";
}

TEST_F(DataCache, RemovesTheRecordsOfDeadProcessesExceptTheirNodes)
{
    for (const RecordKind kind :
         {RecordKind::faultEntry, RecordKind::healthStatus})
    {
        test::Child dead([kind](const test::Child::Parent& parent) {
            putRecord(kind, "/dead", {}, 1);
            parent.tell("put");
            test::Child::Parent::waitForever();
            return 0;
        });
        dead.hear();
        dead.kill();
    }
    EXPECT_EQ(inChild([this] {
                  putNode("/a");
                  return filesIn(cacheFolder()) == 2 ? 0 : 1;
              }),
              0);
}

/** Leaves a segment with a node, as a killed process does. */
void leaveNode(const std::filesystem::path& folder, const std::string& name,
               const std::string& key)
{
    constexpr std::size_t capacity = 1UL << 20;
    Segment segment(folder / name, capacity);
    segment.add({.kind = RecordKind::healthStatus, .path = key, .payload = {}});
    segment.publish();
}

/** The nodes that dead processes left, once for each segment. */
std::vector<std::string> leftNodes(const std::filesystem::path& folder)
{
    std::vector<std::string> left;
    for (const DeadSegment& dead : findDeadSegments(folder))
    {
        for (const DeadNode& node : dead.nodes)
        {
            left.push_back(node.path);
        }
    }
    return left;
}

TEST_F(DataCache, KeepsEachNodeOfManyDeadProcessesOnce)
{
    constexpr int many = 64;
    std::filesystem::create_directories(cacheFolder());
    leaveNode(cacheFolder(), "once", "/once");
    for (int i = 1; i < many; ++i)
    {
        leaveNode(cacheFolder(), std::to_string(i), "/again");
    }
    const auto leftAfterAnother = [this] {
        EXPECT_EQ(inChild([] {
                      putNode("/a");
                      _exit(0);
                      return 1;
                  }),
                  0);
        return leftNodes(cacheFolder());
    };
    EXPECT_THAT(leftAfterAnother(), testing::SizeIs(many + 1));
    EXPECT_THAT(leftAfterAnother(),
                testing::UnorderedElementsAre("/once", "/again", "/a", "/a"));
}

TEST_F(DataCache, KeepsTheNodesOfALimitedNumberOfDeadProcesses)
{
    constexpr std::size_t most = 1024;
    std::filesystem::create_directories(cacheFolder());
    for (std::size_t i = 0; i < most + 1; ++i)
    {
        leaveNode(cacheFolder(), std::to_string(i), "/n" + std::to_string(i));
    }
    EXPECT_EQ(inChild([] {
                  putNode("/a");
                  return 0;
              }),
              0);
    EXPECT_THAT(leftNodes(cacheFolder()), testing::SizeIs(most + 1))
        << "and that of the last process";
}

TEST_F(DataCache, ReportsAFailureOnceWithItsRemedy)
{
    folder.write("file", "");
    setenv("HEALTHINTF_RUNTIME_DIR", (folder.path() / "file").c_str(), 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      int code = 0;
                      for (int i = 0; i < 3; ++i)
                      {
                          code = putNode("/a");
                      }
                      return code;
                  },
                  &errors),
              ENOTDIR);
    EXPECT_EQ(count(errors, "\n"), 1u) << errors;
    EXPECT_THAT(errors,
                HasSubstr("data cache " + (folder.path() / "file").string()));
    EXPECT_THAT(errors, HasSubstr("see the folder's files and permissions"));
}

TEST_F(DataCache, IsTriedAgainAfterAFailure)
{
    const auto blocked = folder.write("blocked", "");
    setenv("HEALTHINTF_RUNTIME_DIR", blocked.c_str(), 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [&blocked] {
                      if (putNode("/a") == 0)
                      {
                          return 1;
                      }
                      std::filesystem::remove(blocked);
                      return putNode("/a");
                  },
                  &errors),
              0);
}

TEST_F(DataCache, ReportsAFolderThatItMayNotWriteTo)
{
    using std::filesystem::perms;
    std::filesystem::create_directories(cacheFolder());
    std::filesystem::permissions(folder.path(), perms(0755));
    std::filesystem::permissions(cacheFolder(), perms(0755));
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      test::leaveRoot();
                      return putNode("/a") == EACCES && nodes().empty() ? 0 : 1;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, HasSubstr("this user may not report health"));
}

TEST_F(DataCache, SaysThatItIsFullAndStillReads)
{
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    std::string errors;
    EXPECT_EQ(inChild(
                  [] {
                      int result = 0;
                      std::size_t stored = 0;
                      const std::string text(1000, 'x');
                      for (;; ++stored)
                      {
                          result = putRecord(RecordKind::healthStatus,
                                             std::to_string(stored), text, 0);
                          if (result != 0)
                          {
                              break;
                          }
                      }
                      return result == EDQUOT && stored > 500 &&
                                     putRecord(RecordKind::healthStatus, "x",
                                               text, 0) == EDQUOT &&
                                     nodes().size() == stored
                                 ? 0
                                 : 1;
                  },
                  &errors),
              0);
    EXPECT_EQ(count(errors, "\n"), 1u) << errors;
    EXPECT_THAT(errors,
                HasSubstr("this process has no room for another record: raise "
                          "HEALTHINTF_CACHE_MIB and restart it"));
}

TEST_F(DataCache, TakesItsSizeFromTheEnvironment)
{
    unsetenv("HEALTHINTF_CACHE_MIB");
    const std::size_t usual = segmentCapacity();
    EXPECT_EQ(usual, sizeof(void*) > 4 ? 256U << 20 : 64U << 20);
    const std::string most = sizeof(void*) > 4 ? "65536" : "1024";
    setenv("HEALTHINTF_CACHE_MIB", "1", 1);
    EXPECT_EQ(segmentCapacity(), 1U << 20);
    setenv("HEALTHINTF_CACHE_MIB", most.c_str(), 1);
    EXPECT_EQ(segmentCapacity(), std::stoull(most) << 20);
    const std::string over = std::to_string(std::stoul(most) + 1);
    for (const char* size :
         {"0", "-1", "x", "1x", "99999999999999999999", "", over.c_str()})
    {
        setenv("HEALTHINTF_CACHE_MIB", size, 1);
        testing::internal::CaptureStderr();
        EXPECT_EQ(segmentCapacity(), usual) << size;
        EXPECT_THAT(testing::internal::GetCapturedStderr(),
                    HasSubstr("is no number from 1 to " + most));
    }
    unsetenv("HEALTHINTF_CACHE_MIB");
}

std::system_error failure(int code)
{
    return {code, std::generic_category(), "x"};
}

TEST_F(DataCache, NamesTheRemedyOfEachFailure)
{
    const auto remedy = [](int code) {
        std::string errors;
        inChild(
            [code] {
                reportCacheFailure(failure(code));
                return 0;
            },
            &errors);
        return errors;
    };
    EXPECT_THAT(remedy(EDQUOT), HasSubstr("raise HEALTHINTF_CACHE_MIB"));
    EXPECT_THAT(remedy(ENOSPC), HasSubstr("its filesystem is full"));
    EXPECT_THAT(remedy(ENAMETOOLONG),
                HasSubstr("an object path is too long for it (at most 510 "
                          "bytes)"));
    EXPECT_THAT(remedy(E2BIG), HasSubstr("the texts of a fault are too long"));
    EXPECT_THAT(remedy(EACCES), HasSubstr("group healthintf may"));
    EXPECT_THAT(remedy(EPERM), HasSubstr("group healthintf may"));
}

TEST_F(DataCache, HasANumberForEachFailure)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(reportCacheFailure(failure(EROFS)), EROFS);
    EXPECT_EQ(reportCacheFailure(std::bad_alloc()), ENOMEM);
    EXPECT_EQ(reportCacheFailure(std::runtime_error("x")), EIO);
    testing::internal::GetCapturedStderr();
}

TEST_F(DataCache, ReportsAFailureAgainAfterASuccess)
{
    testing::internal::CaptureStderr();
    reportCacheFailure(failure(ENOSPC));
    reportCacheFailure(failure(ENOSPC));
    noteCacheSuccess();
    reportCacheFailure(failure(ENOSPC));
    EXPECT_EQ(count(testing::internal::GetCapturedStderr(), "\n"), 2u);
}

} // namespace
} // namespace healthintf::host
