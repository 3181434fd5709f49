// SPDX-License-Identifier: Apache-2.0
#include "child.hpp"
#include "data_cache/own_records.hpp"
#include "data_cache/segment_folder.hpp"
#include "temporary_folder.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace healthintf::host
{
namespace
{

namespace fs = std::filesystem;
using test::Child;

constexpr auto fault = RecordKind::faultEntry;
constexpr auto health = RecordKind::healthStatus;
constexpr std::size_t capacity = 1UL << 20;

NewRecord record(RecordKind kind, std::string_view path,
                 std::string_view payload = "", uint32_t live = 0)
{
    return {.kind = kind, .path = path, .payload = payload, .live = live};
}

class OwnRecordsTest : public testing::Test
{
  protected:
    std::map<std::string, std::string> read(RecordKind kind) const
    {
        return read(kind, folder.path());
    }

    static std::map<std::string, std::string> read(RecordKind kind,
                                                   const fs::path& cache)
    {
        std::map<std::string, std::string> found;
        readLivingRecords(cache, RecordQuery::below(kind, {}),
                          [&found](const ReadRecord& each,
                                   const ProcessIdentity&, bool replace) {
                              const auto [at, isNew] =
                                  found.try_emplace(std::string(each.path));
                              if (!isNew && !replace)
                              {
                                  return false;
                              }
                              at->second = std::string(each.payload) + ":" +
                                           std::to_string(each.live);
                              return true;
                          });
        return found;
    }

    /** The file names in the folder. */
    std::vector<std::string> names() const
    {
        std::vector<std::string> all;
        for (const auto& entry : fs::directory_iterator(folder.path()))
        {
            all.push_back(entry.path().filename());
        }
        return all;
    }

    test::TemporaryFolder folder;
};

using Map = std::map<std::string, std::string>;

TEST_F(OwnRecordsTest, HaveTheirOwnFileFromTheBeginning)
{
    OwnRecords records(folder.path(), capacity);
    ASSERT_EQ(names().size(), 1U);
    EXPECT_TRUE(names().front().starts_with(std::to_string(getpid()) + "-"));
    OwnRecords others(folder.path(), capacity);
    EXPECT_EQ(names().size(), 2U);
}

TEST_F(OwnRecordsTest, MakeTheirFolder)
{
    OwnRecords records(folder.path() / "deep" / "below", capacity);
    EXPECT_EQ(names(), std::vector<std::string>{"deep"});
    EXPECT_THROW(OwnRecords(folder.write("file", ""), capacity),
                 std::system_error);
}

TEST_F(OwnRecordsTest, AreKeptByKindAndPath)
{
    OwnRecords records(folder.path(), capacity);
    records.put(record(fault, "/a", "one", 1));
    records.put(record(health, "/a", "two", 2));
    records.put(record(fault, "/b", "three", 3));
    EXPECT_EQ(read(fault), (Map{{"/a", "one:1"}, {"/b", "three:3"}}));
    EXPECT_EQ(read(health), (Map{{"/a", "two:2"}}));

    records.put(record(fault, "/a", "another", 4));
    EXPECT_EQ(records.setLive(health, "/a", 5), 0);
    EXPECT_EQ(records.edit(fault, "/b",
                           [](std::string& payload) {
                               payload += "!";
                               return 0;
                           }),
              0);
    EXPECT_EQ(read(fault), (Map{{"/a", "another:4"}, {"/b", "three!:3"}}));
    EXPECT_EQ(read(health), (Map{{"/a", "two:5"}}));

    EXPECT_EQ(records.remove(fault, "/a"), 0);
    EXPECT_EQ(read(fault), (Map{{"/b", "three!:3"}}));
    EXPECT_EQ(read(health), (Map{{"/a", "two:5"}}));
}

TEST_F(OwnRecordsTest, AreMissingUnlessTheyWerePut)
{
    OwnRecords records(folder.path(), capacity);
    records.put(record(fault, "/a"));
    const auto keep = [](std::string&) {
        return 0;
    };
    EXPECT_EQ(records.edit(health, "/a", keep), ENOENT);
    EXPECT_EQ(records.edit(fault, "/", keep), ENOENT);
    EXPECT_EQ(records.setLive(health, "/a", 1), ENOENT);
    EXPECT_EQ(records.remove(fault, "/a/b"), ENOENT);
    EXPECT_EQ(read(fault), (Map{{"/a", ":0"}}));
}

TEST_F(OwnRecordsTest, StayAsTheyAreWhenAnEditIsRefused)
{
    OwnRecords records(folder.path(), capacity);
    records.put(record(fault, "/a", "one"));
    const auto refuse = [](std::string& payload) {
        payload = "spoilt";
        return EINVAL;
    };
    EXPECT_EQ(records.edit(fault, "/a", refuse), EINVAL);
    const auto fail = [](std::string& payload) -> int {
        payload = "spoilt";
        throw std::out_of_range("no");
    };
    EXPECT_THROW(records.edit(fault, "/a", fail), std::out_of_range);
    EXPECT_EQ(read(fault), (Map{{"/a", "one:0"}}));
}

TEST_F(OwnRecordsTest, StayAsTheyAreWhenThereIsNoRoom)
{
    OwnRecords records(folder.path(), capacity / 8);
    const std::string text(1000, 'x');
    int count = 0;
    const auto put = [&](const std::string& path, const std::string& payload) {
        try
        {
            records.put(record(fault, path, payload));
            return 0;
        }
        catch (const std::system_error& e)
        {
            return e.code().value();
        }
    };
    while (put("/" + std::to_string(count), text) == 0)
    {
        ++count;
    }
    const Map full = read(fault);
    EXPECT_EQ(full.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(put("/0", text + text), EDQUOT);
    EXPECT_EQ(put("/more", text), EDQUOT);
    EXPECT_THROW(records.edit(fault, "/0",
                              [](std::string& payload) {
                                  payload += payload;
                                  return 0;
                              }),
                 std::system_error);
    EXPECT_EQ(read(fault), full);
    EXPECT_EQ(records.remove(fault, "/more"), ENOENT);
    EXPECT_EQ(records.setLive(fault, "/1", 4), 0);
    for (int i = 0; i < count; ++i)
    {
        EXPECT_EQ(records.remove(fault, "/" + std::to_string(i)), 0);
    }
    EXPECT_EQ(put("/again", text), 0);
    EXPECT_EQ(read(fault).size(), 1U);
}

TEST_F(OwnRecordsTest, LeaveNoFileWhenThereAreNone)
{
    OwnRecords records(folder.path(), capacity);
    records.put(record(health, "/a"));
    records.removeFileIfEmpty();
    EXPECT_EQ(names().size(), 1U);
    records.remove(health, "/a");
    records.put(record(fault, "/a"));
    records.removeFileIfEmpty();
    EXPECT_EQ(names().size(), 1U);
    records.remove(fault, "/a");
    EXPECT_EQ(names().size(), 1U) << "not before it is asked for";
    records.removeFileIfEmpty();
    EXPECT_TRUE(names().empty());
}

TEST_F(OwnRecordsTest, TakeChangesOfSeveralThreads)
{
    OwnRecords records(folder.path(), 16 * capacity);
    constexpr int threadCount = 4;
    constexpr int rounds = 2000;
    std::vector<std::thread> threads;
    for (int number = 0; number < threadCount; ++number)
    {
        threads.emplace_back([&records, number] {
            const std::string own = "/" + std::to_string(number) + "/";
            for (int i = 0; i < rounds; ++i)
            {
                const std::string path = own + std::to_string(i % 50);
                records.put(record(fault, path, path));
                records.edit(fault, path, [](std::string& payload) {
                    payload += "x";
                    return 0;
                });
                records.setLive(fault, path, 1);
                records.put(record(health, "/shared", own));
                if (i % 3 == 0)
                {
                    records.remove(fault, path);
                    records.remove(health, "/shared");
                }
            }
            records.put(record(fault, own + "last", "done"));
        });
    }
    for (std::thread& each : threads)
    {
        each.join();
    }
    const Map found = read(fault);
    for (int number = 0; number < threadCount; ++number)
    {
        EXPECT_EQ(found.at("/" + std::to_string(number) + "/last"), "done:0");
    }
    for (const auto& [path, content] : found)
    {
        EXPECT_TRUE(content == path + "x:1" || content == "done:0") << path;
    }
}

TEST_F(OwnRecordsTest, AreNeverMissedWhileTheyAreReplaced)
{
    Child owner([this](const Child::Parent& parent) {
        OwnRecords records(folder.path(), capacity);
        // Keeps free slots before and behind the record, which are used in
        // turn.
        for (int i = 0; i < 20; ++i)
        {
            records.put(record(fault, "/" + std::to_string(i), "x"));
        }
        records.put(record(fault, "/wanted", "0", 0));
        parent.tell("ready");
        for (uint32_t i = 0;; ++i)
        {
            // A reader gives up on a record that changes during each of its
            // attempts.
            for (int other = 0; other < 20; ++other)
            {
                records.put(record(fault, "/" + std::to_string(other), "x"));
            }
            records.put(record(fault, "/wanted", std::to_string(i), i));
            records.setLive(fault, "/wanted", i);
            records.edit(fault, "/wanted", [](std::string& payload) {
                payload += "!";
                return 0;
            });
        }
        return 0;
    });
    owner.hear();
    int missed = 0;
    int mixed = 0;
    for (int i = 0; i < 20'000; ++i)
    {
        std::string payload = "none";
        std::string live = "none";
        readLivingRecords(
            folder.path(), RecordQuery::exactly(fault, "/wanted"),
            [&](const ReadRecord& each, const ProcessIdentity&, bool replace) {
                if (live != "none" && !replace)
                {
                    return false;
                }
                payload = each.payload;
                live = std::to_string(each.live);
                return true;
            });
        missed += live == "none" ? 1 : 0;
        if (payload.ends_with('!'))
        {
            payload.pop_back();
        }
        mixed += payload == live ? 0 : 1;
    }
    EXPECT_EQ(missed, 0);
    EXPECT_EQ(mixed, 0);
}

/** Another process removes this process's file or its folder. */
class LostRecords : public OwnRecordsTest
{
  protected:
    LostRecords()
    {
        records.put(record(health, "/a", "", 4));
        records.put(record(fault, "/a/entry/f", "text", 1));
        records.put(record(health, "/b", "", 2));
    }

    const fs::path cache = folder.path() / "cache";
    OwnRecords records{cache, capacity};
};

TEST_F(LostRecords, AreAllFoundAgainAfterAChangeOfOne)
{
    const std::vector<std::function<void()>> losses{
        [this] {
            fs::remove_all(cache);
        },
        [this] {
            fs::remove(*fs::directory_iterator(cache));
        },
    };
    uint32_t live = 0;
    for (const auto& lose : losses)
    {
        testing::internal::CaptureStderr();
        lose();
        EXPECT_TRUE(read(health, cache).empty());
        EXPECT_EQ(records.setLive(health, "/b", ++live), 0);
        EXPECT_EQ(read(health, cache),
                  (Map{{"/a", ":4"}, {"/b", ":" + std::to_string(live)}}));
        EXPECT_EQ(read(fault, cache), (Map{{"/a/entry/f", "text:1"}}));
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_NE(log.find("somebody removed the file"), std::string::npos)
            << log;
        EXPECT_EQ(records.setLive(health, "/b", live), 0);
        EXPECT_EQ(std::distance(fs::directory_iterator(cache), {}), 1);
    }
}

TEST_F(LostRecords, AreFoundAgainAfterANewOneOrAnEdit)
{
    fs::remove_all(cache);
    records.put(record(health, "/c", "", 1));
    EXPECT_EQ(read(health, cache),
              (Map{{"/a", ":4"}, {"/b", ":2"}, {"/c", ":1"}}));
    fs::remove_all(cache);
    records.edit(fault, "/a/entry/f", [](std::string& payload) {
        payload = "other";
        return 0;
    });
    EXPECT_EQ(read(fault, cache), (Map{{"/a/entry/f", "other:1"}}));
}

TEST_F(LostRecords, KeepTheirRank)
{
    records.makePlaceholders();
    OwnRecords younger(cache, capacity);
    younger.makePlaceholders();
    younger.put(record(health, "/a", "", 1));
    fs::remove_all(cache);
    younger.setLive(health, "/a", 1);
    records.setLive(health, "/a", 4);
    EXPECT_EQ(read(health, cache).at("/a"), ":1");
    OwnRecords daemons(cache, capacity);
    daemons.put(record(health, "/b", "", 3));
    EXPECT_EQ(read(health, cache).at("/b"), ":3");
}

TEST_F(LostRecords, AreKeptUntilTheFolderCanBeCreated)
{
    fs::remove_all(cache);
    const auto inTheWay = folder.write("cache", "");
    testing::internal::CaptureStderr();
    EXPECT_EQ(records.setLive(health, "/a", 3), 0);
    records.put(record(health, "/c", "", 1));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("cannot be made anew"), std::string::npos) << log;
    fs::remove(inTheWay);
    records.setLive(health, "/b", 1);
    EXPECT_EQ(read(health, cache),
              (Map{{"/a", ":3"}, {"/b", ":1"}, {"/c", ":1"}}));
}

} // namespace
} // namespace healthintf::host
