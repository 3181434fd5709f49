// SPDX-License-Identifier: Apache-2.0
#include "config_manager/attribute_store.hpp"
#include "config_manager/limits.hpp"
#include "file_content.hpp"
#include "small_filesystem.hpp"
#include "storage/file_lock.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

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
    /** Sets an attribute in a child process. Returns the previous value, or
     *  "same" when the attribute had the value already. */
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
    /** The lines that the last child process logged. */
    std::string errors;
};

TEST_F(Attributes, StartAtZeroAndChange)
{
    EXPECT_EQ(inChild([this] {
                  const AttributeStore store(path);
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

TEST_F(Attributes, DoNotChangeWhenSetToTheirValue)
{
    EXPECT_EQ(set("a", 5), "0");
    EXPECT_EQ(set("a", 5), "same");
    EXPECT_EQ(set("a", 6), "5");
}

TEST_F(Attributes, ChangeWhenFirstSetToZero)
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

TEST_F(Attributes, KeepAcknowledgedValuesWhenTheWriterIsKilledAtAnyInstant)
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

TEST_F(Attributes, AreStoredAsReadableText)
{
    set("b", -1);
    set("a", 5);
    EXPECT_EQ(test::readContent(dataFile()), R"({
    "attributes": {
        "a": 5,
        "b": -1
    },
    "version": 1
}
)");
}

TEST_F(Attributes, SetADamagedFileAsideAndStartEmpty)
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
        const auto aside = path / "attributes.json.damaged";
        EXPECT_EQ(test::readContent(aside), content);
        std::filesystem::remove(aside);
        EXPECT_EQ(set("a", 7), "6") << content;
    }
}

TEST_F(Attributes, SurviveATruncatedFile)
{
    set("a", 5);
    const std::string whole = test::readContent(dataFile());
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

TEST_F(Attributes, AreNotWrittenThroughALink)
{
    set("a", 5);
    const auto victim = folder.write("victim", "of somebody else");
    std::filesystem::create_symlink(victim, path / "attributes.json.new");
    EXPECT_EQ(set("a", 6), "5");
    EXPECT_EQ(test::readContent(victim), "of somebody else");
    EXPECT_TRUE(std::filesystem::is_regular_file(
        std::filesystem::symlink_status(dataFile())));
}

TEST_F(Attributes, DoNotWaitForALockOnTheFileOfEarlierVersions)
{
    folder.write("deep/config/lock", "");
    Child holder([this](const Child::Parent& parent) {
        LockFile file(path / "lock");
        file.lock(LockFile::Kind::shared);
        parent.tell("held");
        Child::Parent::waitForever();
        return 0;
    });
    ASSERT_EQ(holder.hear(), "held");
    EXPECT_EQ(set("a", 5), "0");
}

/** The lines that a child process logs when it takes over a folder. */
std::string takenOver(const std::filesystem::path& path)
{
    std::string errors;
    EXPECT_EQ(inChild(
                  [&path] {
                      AttributeStore(path).takeOver();
                      return 0;
                  },
                  &errors),
              0);
    return errors;
}

TEST_F(Attributes, AreTakenOverFromAnEarlierVersion)
{
    const std::string earlier = R"({
    "attributes": {
        "system.embedded.1#lcd.1#hideerrs": 1,
        "system.embedded.1#lcd.1#oemLCDFlags": -2147483648
    },
    "version": 1
}
)";
    folder.write("deep/config/attributes.json", earlier);
    folder.write("deep/config/lock", "");
    EXPECT_EQ(takenOver(path), "");
    EXPECT_EQ(test::readContent(dataFile()), earlier);
    EXPECT_FALSE(std::filesystem::exists(path / "lock"));
    EXPECT_EQ(set("system.embedded.1#lcd.1#hideerrs", 0), "1");
}

TEST_F(Attributes, LoseOnlyInvalidNamesWhenTheyAreTakenOver)
{
    const std::string longest(maxAttributeName, 'x');
    const std::string tooLong = longest + "x";
    folder.write("deep/config/attributes.json",
                 formatAttributes({{"a b", 1},
                                   {"", 2},
                                   {"a\n\xE2\x80\xAE", 3},
                                   {tooLong, 4},
                                   {longest, 5},
                                   {"a.b#c_d-E9", 6}}));
    const std::string errors = takenOver(path);
    EXPECT_EQ(std::ranges::count(errors, '\n'), 4) << errors;
    for (const std::string& dropped :
         {std::string("\"a b\""), std::string("\"\""),
          std::string("\"a\\n\\u202e\""), '"' + tooLong + '"'})
    {
        EXPECT_THAT(errors, HasSubstr("the attribute " + dropped));
    }
    EXPECT_THAT(readAttributeFile(dataFile()),
                testing::UnorderedElementsAre(testing::Pair(longest, 5),
                                              testing::Pair("a.b#c_d-E9", 6)));
    EXPECT_EQ(takenOver(path), "") << "the second time";
}

TEST_F(Attributes, CreateNothingWhenThereIsNothingToTakeOver)
{
    EXPECT_EQ(takenOver(path), "");
    EXPECT_FALSE(std::filesystem::exists(path));
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
    EXPECT_EQ(test::readContent(dataFile()), newer) << "it stays";
}

TEST_F(Attributes, RefuseNewNamesWhenFullAndCanStillBeChanged)
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
        AttributeStore(path).set("one.more", 1);
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
        const AttributeStore store(path);
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
