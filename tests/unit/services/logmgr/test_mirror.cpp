// SPDX-License-Identifier: Apache-2.0
#include "cache_test.hpp"
#include "file_content.hpp"
#include "logmgr/mirror.hpp"
#include "sample_events.hpp"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace healthintf::logmgr
{
namespace
{

using test::inChild;
using Ids = std::vector<uint16_t>;

/** The identifiers of the entries that other processes read. */
Ids mirrored()
{
    std::map<std::string, SELEntry_gen> entries;
    DataAbstraction::SELEntry::get_map_by_path_prefixes({}, {}, entries);
    Ids ids;
    for (const auto& [path, entry] : entries)
    {
        ids.push_back(entry.recordId());
    }
    return ids;
}

/** The sensor names of the entries that other processes read. */
std::vector<std::string> mirroredNames()
{
    std::map<std::string, SELEntry_gen> entries;
    DataAbstraction::SELEntry::get_map_by_path_prefixes({}, {}, entries);
    std::vector<std::string> names;
    for (const auto& [path, entry] : entries)
    {
        names.push_back(entry.sensor().name);
    }
    return names;
}

class LogMirror : public test::CacheTest
{
  protected:
    /** Runs a test with a log of at most three entries in a child process. */
    template <typename Work>
    int withLog(Work&& work, std::string* errors = nullptr)
    {
        return inChild(
            [&] {
                SelStore store(folder.path() / "state");
                EventLog log(store, {3, Overflow::wrap}, [] {
                    return 1;
                });
                return work(log);
            },
            errors);
    }
};

TEST_F(LogMirror, EqualsTheLogAfterRebuild)
{
    EXPECT_EQ(withLog([](EventLog& log) {
                  log.add(sampleEvent());
                  log.add(sampleEvent());
                  Mirror mirror(log);
                  const bool untouched = mirrored().empty();
                  mirror.rebuild();
                  return untouched && mirrored() == Ids{1, 2} ? 0 : 1;
              }),
              0);
}

TEST_F(LogMirror, FollowsAdditionsAndClearing)
{
    EXPECT_EQ(withLog([](EventLog& log) {
                  Mirror mirror(log);
                  for (int i = 0; i < 4; ++i)
                  {
                      mirror.addEntry(log.add(sampleEvent()));
                  }
                  const bool wrapped = mirrored() == Ids{2, 3, 4};
                  log.clear();
                  mirror.rebuild();
                  return wrapped && mirrored().empty() ? 0 : 1;
              }),
              0);
}

TEST_F(LogMirror, AddsAnEntryThatItMissed)
{
    EXPECT_EQ(withLog([](EventLog& log) {
                  Mirror mirror(log);
                  mirror.rebuild();
                  log.add(sampleEvent());
                  mirror.addEntry(log.add(sampleEvent()));
                  return mirrored() == Ids{1, 2} ? 0 : 1;
              }),
              0);
}

TEST_F(LogMirror, RepairsAFailedChange)
{
    const auto blocked = folder.write("sel", "no folder");
    std::string errors;
    EXPECT_EQ(withLog(
                  [&blocked](EventLog& log) {
                      Mirror mirror(log);
                      mirror.addEntry(log.add(sampleEvent()));
                      mirror.addEntry(log.add(sampleEvent()));
                      std::filesystem::remove(blocked);
                      mirror.addEntry(log.add(sampleEvent()));
                      const bool made = mirrored() == Ids{1, 2, 3};
                      mirror.addEntry(log.add(sampleEvent()));
                      return made && mirrored() == Ids{2, 3, 4} ? 0 : 1;
                  },
                  &errors),
              0);
    const std::string line = "the data cache lacks the last change of the log";
    const std::size_t at = errors.find(line);
    EXPECT_NE(at, std::string::npos) << errors;
    EXPECT_EQ(errors.find(line, at + 1), std::string::npos) << errors;
}

TEST_F(LogMirror, IsRebuiltWhenItWasRemoved)
{
    std::string errors;
    EXPECT_EQ(withLog(
                  [this](EventLog& log) {
                      Mirror mirror(log);
                      mirror.addEntry(log.add(sampleEvent()));
                      std::filesystem::remove(folder.path() / "sel" / "log");
                      mirror.addEntry(log.add(sampleEvent()));
                      const bool followed = mirrored() == Ids{1, 2};
                      std::filesystem::remove_all(folder.path() / "sel");
                      mirror.check();
                      mirror.check();
                      return followed && mirrored() == Ids{1, 2} ? 0 : 1;
                  },
                  &errors),
              0);
    const std::string line = "the mirror of the log in the data cache was "
                             "removed or replaced";
    const std::size_t first = errors.find(line);
    ASSERT_NE(first, std::string::npos) << errors;
    const std::size_t second = errors.find(line, first + 1);
    EXPECT_NE(second, std::string::npos) << errors;
    EXPECT_EQ(errors.find(line, second + 1), std::string::npos) << errors;
}

TEST_F(LogMirror, IsRebuiltForAnotherLog)
{
    EXPECT_EQ(withLog([](EventLog& log) {
                  Mirror mirror(log);
                  mirror.addEntry(log.add(sampleEvent()));
                  log.add(sampleEvent());
                  mirror.check();
                  const bool longer = mirrored() == Ids{1, 2};
                  log.clear();
                  mirror.check();
                  return longer && mirrored().empty() ? 0 : 1;
              }),
              0);
}

TEST_F(LogMirror, IsRebuiltForAnEarlierLogOfTheSameLength)
{
    const std::filesystem::path file = folder.path() / "state" / "data.mdb";
    EXPECT_EQ(withLog([&file](EventLog& log) {
                  Event event = sampleEvent();
                  const std::string empty = test::readContent(file);
                  event.sensor.name = "earlier";
                  log.add(event);
                  const std::string earlier = test::readContent(file);
                  int time = 0;
                  const auto overwrite = [&](const std::string& content) {
                      std::fstream(file, std::ios::in | std::ios::out |
                                             std::ios::binary)
                          << content;
                      // Two writes may be too close for the clock.
                      std::filesystem::last_write_time(
                          file, std::filesystem::file_time_type(
                                    std::chrono::seconds(++time)));
                      log.restoreFile();
                  };
                  overwrite(empty);
                  event.sensor.name = "later";
                  Mirror mirror(log);
                  mirror.addEntry(log.add(event));
                  overwrite(earlier);
                  mirror.check();
                  return mirroredNames() == std::vector<std::string>{"earlier"}
                             ? 0
                             : 1;
              }),
              0);
}

/** The disk space that a file uses, in bytes. */
std::size_t countBytes(const std::filesystem::path& file)
{
    struct stat found
    {};
    return stat(file.c_str(), &found) == 0
               ? static_cast<std::size_t>(found.st_blocks) * 512
               : 0;
}

TEST_F(LogMirror, ReleasesTheSpaceOfEntriesOfOtherSizes)
{
    EXPECT_EQ(inChild([this] {
                  SelStore store(folder.path() / "state");
                  EventLog log(store, {100, Overflow::wrap}, [] {
                      return 1;
                  });
                  Mirror mirror(log);
                  for (std::size_t size = 512; size > 0; size /= 2)
                  {
                      Event event = sampleEvent();
                      event.sensor.name = std::string(size - 1, 'n');
                      event.sensor.path = event.sensor.name;
                      for (int i = 0; i < 100; ++i)
                      {
                          mirror.addEntry(log.add(event));
                      }
                  }
                  const auto file = folder.path() / "sel" / "log";
                  const std::size_t before = countBytes(file);
                  mirror.check();
                  const std::size_t after = countBytes(file);
                  mirror.addEntry(log.add(sampleEvent()));
                  const auto ids = mirrored();
                  return after * 4 < before && ids.size() == 100 &&
                                 ids.back() == 1001
                             ? 0
                             : 1;
              }),
              0);
}

} // namespace
} // namespace healthintf::logmgr
