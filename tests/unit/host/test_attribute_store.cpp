#include "config_manager/attribute_store.hpp"
#include "config_manager/limits.hpp"
#include "file_content.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
        return path / "attributes.json";
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
        AttributeStore(path).set("a", 5);
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
    for (int i = 0; i < 50; ++i)
    {
        AttributeStore store(path);
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
            for (int32_t value = known + 1;; ++value)
            {
                AttributeStore(path).set("a", value);
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

TEST_F(Attributes, CanBeReadByAPerson)
{
    set("b", -1);
    set("a", 5);
    EXPECT_EQ(test::contentOf(dataFile()), R"({
    "attributes": {
        "a": 5,
        "b": -1
    },
    "version": 1
}
)");
}

TEST_F(Attributes, AreFreeAgainWhenWhoHadThemIsKilled)
{
    Child holder([this](const Child::Parent& parent) {
        AttributeStore store(path);
        store.set("a", 5);
        parent.tell("has them");
        Child::Parent::waitForever();
        return 0;
    });
    ASSERT_EQ(holder.hear(), "has them");
    Child waiting([this](const Child::Parent& parent) {
        parent.tell("waits");
        const auto change = AttributeStore(path).set("a", 6);
        parent.tell(std::to_string(change->previous));
        return 0;
    });
    ASSERT_EQ(waiting.hear(), "waits");
    holder.kill();
    EXPECT_EQ(waiting.hear(), "5");
}

TEST_F(Attributes, AreSetAsideAndStartAnewWhenTheirFileIsDamaged)
{
    for (const std::string content :
         {"", "xx", "[]", "{}", R"({"version": "1", "attributes": {}})",
          R"({"version": 1})", R"({"version": 1, "attributes": []})",
          R"({"version": 1, "attributes": {"a": "5"}})",
          R"({"version": 1, "attributes": {"a": 5.5}})",
          R"({"version": 1, "attributes": {"a": 2147483648}})",
          R"({"version": 1, "attributes": {"a": 18446744073709551615}})",
          "{\"version\": 1, \"attributes\": {\"\xFF\": 5}}"})
    {
        set("a", 5);
        folder.write("deep/config/attributes.json", content);
        EXPECT_EQ(set("a", 6), "0") << content;
        EXPECT_THAT(errors, HasSubstr("is damaged: it was set aside as"));
        EXPECT_EQ(test::contentOf(path / "attributes.json.damaged"), content);
        EXPECT_EQ(set("a", 7), "6") << content;
    }
}

TEST_F(Attributes, SurviveAFileThatIsCutShortAnywhere)
{
    set("a", 5);
    const std::string whole = test::contentOf(dataFile());
    for (std::size_t size = 0; size + 2 < whole.size(); ++size)
    {
        folder.write("deep/config/attributes.json", whole.substr(0, size));
        EXPECT_EQ(set("a", 6), "0") << size;
    }
}

TEST_F(Attributes, SurviveAHalfWrittenFileOfAKilledProcess)
{
    set("a", 5);
    folder.write("deep/config/attributes.json.new", "{\"ver");
    EXPECT_EQ(set("a", 6), "5");
    EXPECT_FALSE(std::filesystem::exists(path / "attributes.json.new"));
}

TEST_F(Attributes, RefuseAnotherVersion)
{
    const std::string newer = R"({"version": 99, "attributes": {"a": {}}})";
    folder.write("deep/config/attributes.json", newer);
    try
    {
        AttributeStore(path).set("a", 5);
        FAIL() << "taken";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code().value(), ENOTSUP);
        EXPECT_THAT(e.what(), HasSubstr("is of version 99 and this program "
                                        "needs version 1"));
    }
    EXPECT_EQ(test::contentOf(dataFile()), newer) << "it stays";
}

TEST_F(Attributes, GiveAnErrorWhenTheyAreFullAndCanStillBeChanged)
{
    nlohmann::json attributes = nlohmann::json::object();
    for (std::size_t i = 1; i < maxAttributes; ++i)
    {
        attributes[std::to_string(i)] = 1;
    }
    folder.write(
        "deep/config/attributes.json",
        nlohmann::json{{"version", 1}, {"attributes", attributes}}.dump());
    EXPECT_EQ(set("last", 1), "0");
    try
    {
        AttributeStore(path).set("one more", 1);
        FAIL() << "taken";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code().value(), EDQUOT);
    }
    EXPECT_EQ(set("last", 2), "1");
}

TEST_F(Attributes, GiveAnErrorOnAFullFilesystemAndStayAsTheyAre)
{
    test::expectOnSmallFilesystem(folder.path(), "size=64k", [this] {
        AttributeStore store(path);
        store.set("a", 5);
        std::ofstream(path / "filler") << std::string(1 << 20, 'x');
        try
        {
            store.set("a", 6);
            return 1;
        }
        catch (const std::system_error& e)
        {
            if (e.code().value() != ENOSPC)
            {
                return 2;
            }
        }
        std::filesystem::remove(path / "filler");
        const auto change = store.set("a", 7);
        return change && change->previous == 5 ? 0 : 3;
    });
}

} // namespace
} // namespace healthintf::host
