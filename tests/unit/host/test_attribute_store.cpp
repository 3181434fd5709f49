#include "config_manager/attribute_store.hpp"
#include "config_manager/limits.hpp"
#include "file_content.hpp"
#include "small_filesystem.hpp"
#include "storage/file_lock.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <system_error>

namespace healthintf::host
{
namespace
{

using test::Child;
using test::inChild;
using testing::HasSubstr;

class Attributes : public testing::Test
{
  protected:
    /** What a process of its own finds when it sets an attribute: the value
     *  before, or "same" when it was that already. */
    std::string set(const std::string& name, int32_t value)
    {
        Child child([&](const Child::Parent& parent) {
            const auto change = AttributeStore(path).set(name, value);
            parent.tell(change ? std::to_string(change->previous) : "same");
            return 0;
        });
        const std::string found = child.hear();
        child.wait();
        errors = child.errors();
        return found;
    }

    std::filesystem::path dataFile() const
    {
        return path / "data.mdb";
    }

    test::TemporaryFolder folder;
    std::filesystem::path path = folder.path() / "deep" / "config";
    /** What the last process logged. */
    std::string errors;
};

TEST_F(Attributes, StartAtZeroAndChange)
{
    EXPECT_EQ(inChild([this] {
                  AttributeStore store(path);
                  const auto first = store.set("a", 5);
                  const auto second = store.set("a", -1);
                  return first && first->previous == 0 && first->value == 5 &&
                                 second && second->previous == 5 &&
                                 second->value == -1
                             ? 0
                             : 1;
              }),
              0);
}

TEST_F(Attributes, OutliveEveryProcess)
{
    EXPECT_EQ(set("a", 5), "0");
    EXPECT_EQ(set("a", 6), "5");
    EXPECT_EQ(set("b", 1), "0") << "another one";
    EXPECT_EQ(errors, "");
}

TEST_F(Attributes, DoNotChangeToTheValueThatTheyHave)
{
    EXPECT_EQ(set("a", 5), "0");
    EXPECT_EQ(set("a", 5), "same");
    EXPECT_EQ(set("a", 6), "5");
}

TEST_F(Attributes, ChangeToZeroWhenTheyAreSetForTheFirstTime)
{
    EXPECT_EQ(set("a", 0), "0");
    EXPECT_EQ(set("a", 0), "same");
}

TEST_F(Attributes, MayHaveTheLongestName)
{
    const std::string longest(maxAttributeName, 'x');
    EXPECT_EQ(set(longest, 5), "0");
    EXPECT_EQ(set(longest, 6), "5");
}

TEST_F(Attributes, MayHaveTheNameOfTheirVersion)
{
    EXPECT_EQ(set("version", 5), "0");
    EXPECT_EQ(set("version", 6), "5");
}

TEST_F(Attributes, AreSharedByProcesses)
{
    Child other([this](const Child::Parent& parent) {
        AttributeStore store(path);
        store.set("a", 5);
        parent.tell("set");
        Child::Parent::waitForever();
        return 0;
    });
    other.hear();
    EXPECT_EQ(set("a", 6), "5");
}

/** Counts an attribute up and writes each change down, in the order of the
 *  changes. */
void countUp(const std::filesystem::path& path, const std::string& record)
{
    AttributeStore store(path);
    for (int i = 0; i < 50; ++i)
    {
        const ExclusiveLock order(store.orderFile());
        const auto change = store.set("a", (getpid() * 100) + i);
        std::ofstream(record, std::ios::app)
            << change->previous << " " << change->value << "\n";
    }
}

TEST_F(Attributes, ChangeInOneOrderForEverybody)
{
    const std::string record = folder.path() / "record";
    {
        std::vector<std::unique_ptr<Child>> writers;
        for (int i = 0; i < 3; ++i)
        {
            writers.push_back(
                std::make_unique<Child>([&](const Child::Parent&) {
                    countUp(path, record);
                    return 0;
                }));
        }
        for (const auto& writer : writers)
        {
            EXPECT_EQ(writer->wait(), 0) << writer->errors();
        }
    }
    std::ifstream changes(record);
    int32_t last = 0;
    int32_t previous = 0;
    int count = 0;
    for (int32_t value = 0; changes >> previous >> value; last = value)
    {
        ASSERT_EQ(previous, last) << "change " << count;
        ++count;
    }
    EXPECT_EQ(count, 150);
}

TEST_F(Attributes, KeepWhatWasSetWhenTheirUserIsKilledAtAnyInstant)
{
    int32_t known = 0;
    for (int round = 0; round < 40; ++round)
    {
        Child writer([&](const Child::Parent& parent) {
            AttributeStore store(path);
            for (int32_t value = known + 1;; ++value)
            {
                store.set("a", value);
                parent.tell(std::to_string(value));
            }
            return 0;
        });
        for (int i = 0; i <= round % 7; ++i)
        {
            known = std::stoi(writer.hear());
        }
        writer.kill();
        const int32_t found = std::stoi(set("a", -1));
        ASSERT_GE(found, known);
        known = found;
        set("a", known);
    }
}

TEST_F(Attributes, AreSetAsideAndStartAnewWhenTheirFileIsDamaged)
{
    set("a", 5);
    folder.write("deep/config/data.mdb", std::string(8192, 'x'));
    EXPECT_EQ(set("a", 6), "0");
    EXPECT_THAT(errors, HasSubstr("is damaged or of another version: it was "
                                  "set aside as"));
    EXPECT_EQ(std::filesystem::file_size(path / "data.mdb.damaged"), 8192U);
}

TEST_F(Attributes, SurviveAFileThatIsCutShortAnywhere)
{
    for (int i = 0; i < 200; ++i)
    {
        set("attribute" + std::string(100, 'x') + std::to_string(i), i);
    }
    const std::string whole = test::contentOf(dataFile());
    ASSERT_GT(whole.size(), 20000U);
    for (std::size_t size = 0; size < whole.size(); size += 2048)
    {
        folder.write("deep/config/data.mdb", whole.substr(0, size));
        EXPECT_EQ(set("a", 6), "0") << size;
        EXPECT_EQ(set("a", 7), "6") << size;
    }
}

TEST_F(Attributes, SurviveAFileWithAnEmptyPage)
{
    set("a", 5);
    std::string content = test::contentOf(dataFile());
    // Without the pages that say where everything is.
    std::fill(content.begin() + 8192, content.end(), '\0');
    folder.write("deep/config/data.mdb", content);
    EXPECT_EQ(set("a", 6), "0");
    EXPECT_THAT(errors, HasSubstr("is damaged"));
    EXPECT_EQ(set("a", 7), "6");
}

TEST_F(Attributes, SurviveADamagedLockFile)
{
    set("a", 5);
    for (const std::size_t size : {0UL, 1UL, 100UL, 4096UL, 100000UL})
    {
        folder.write("deep/config/lock.mdb", std::string(size, '\1'));
        EXPECT_EQ(set("a", 5), "same") << size;
    }
}

TEST_F(Attributes, RefuseAnotherVersion)
{
    EXPECT_EQ(set(std::string("\0version", 8), 99), "1");
    std::string failure;
    EXPECT_EQ(inChild(
                  [this] {
                      const AttributeStore store(path);
                      return 0;
                  },
                  &failure),
              125);
    EXPECT_EQ(failure, "is of version 99 and this program needs version 1\n");
}

TEST_F(Attributes, GiveAnErrorCodeWhenTheyAreFullAndCanStillBeChanged)
{
    EXPECT_EQ(inChild([this] {
                  AttributeStore store(path);
                  const std::string start(400, 'x');
                  int stored = 0;
                  try
                  {
                      for (;; ++stored)
                      {
                          store.set(start + std::to_string(stored), 1);
                      }
                  }
                  catch (const LmdbError& e)
                  {
                      if (e.code() != MDB_MAP_FULL || stored < 5000)
                      {
                          return 1;
                      }
                  }
                  for (int i = 0; i < stored; i += 100)
                  {
                      const auto change =
                          store.set(start + std::to_string(i), 2);
                      if (!change || change->previous != 1)
                      {
                          return 2;
                      }
                  }
                  return 0;
              }),
              0);
}

TEST_F(Attributes, GiveAnErrorOnAFullFilesystemAndCanStillBeChanged)
{
    test::expectOnSmallFilesystem(folder.path(), "size=600k", [this] {
        AttributeStore store(path);
        int stored = 0;
        try
        {
            for (;; ++stored)
            {
                store.set(std::string(400, 'x') + std::to_string(stored), 1);
            }
        }
        catch (const std::system_error& e)
        {
            const auto change = store.set(std::string(400, 'x') + "0", 2);
            return e.code().value() == ENOSPC && stored > 50 && change &&
                           change->previous == 1
                       ? 0
                       : 1;
        }
    });
}

TEST_F(Attributes, GiveAnErrorWhenThereIsNoRoomToOpenThem)
{
    for (const char* options : {"size=4k", "size=8k", "size=12k"})
    {
        test::expectOnSmallFilesystem(folder.path(), options, [this] {
            try
            {
                const AttributeStore store(path);
                return 1;
            }
            catch (const std::system_error& e)
            {
                return e.code().value() == ENOSPC ? 0 : 2;
            }
            catch (const LmdbError& e)
            {
                return e.code() == ENOSPC ? 0 : 3;
            }
        });
    }
}

} // namespace
} // namespace healthintf::host
