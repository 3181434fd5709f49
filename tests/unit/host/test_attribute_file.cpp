// SPDX-License-Identifier: Apache-2.0
#include "config_manager/attribute_file.hpp"
#include "config_manager/attribute_store.hpp"
#include "config_manager/limits.hpp"
#include "storage/damaged_file.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace healthintf::host
{
namespace
{

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class AttributeFile : public testing::Test
{
  protected:
    AttributeFile()
    {
        setenv("HEALTHINTF_STATE_DIR", folder.path().c_str(), 1);
    }

    test::TemporaryFolder folder;
};

TEST_F(AttributeFile, ThatIsMissingHoldsNothingAndIsNotCreated)
{
    EXPECT_THAT(readAttributes(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "config"));
}

TEST_F(AttributeFile, HoldsTheAttributesThatTheStoreSet)
{
    const AttributeStore store(folder.path() / "config");
    store.set("a", 5);
    store.set("b", -1);
    EXPECT_THAT(readAttributes(),
                UnorderedElementsAre(Pair("a", 5), Pair("b", -1)));
}

TEST_F(AttributeFile, OfAnotherVersionIsRefused)
{
    folder.write("config/attributes.json", R"({"version": 2})");
    try
    {
        readAttributes();
        FAIL() << "it was read";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code().value(), ENOTSUP);
    }
}

/** The error number of reading the attributes; 0 on success. */
int failureToRead()
{
    try
    {
        readAttributes();
        return 0;
    }
    catch (const std::system_error& e)
    {
        return e.code().value();
    }
}

TEST_F(AttributeFile, ThatIsALinkIsNotFollowed)
{
    const auto other = folder.write("other", formatAttributes({{"a", 5}}));
    const auto file = folder.path() / "config/attributes.json";
    std::filesystem::create_directory(file.parent_path());
    std::filesystem::create_symlink(other, file);
    EXPECT_EQ(failureToRead(), ELOOP);
}

TEST_F(AttributeFile, ThatIsAPipeIsNotWaitedFor)
{
    const auto file = folder.path() / "config/attributes.json";
    std::filesystem::create_directory(file.parent_path());
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(failureToRead(), ENOTSUP);
}

TEST_F(AttributeFile, ThatIsAFolderIsRefused)
{
    std::filesystem::create_directories(folder.path() /
                                        "config/attributes.json");
    EXPECT_EQ(failureToRead(), EISDIR);
}

TEST_F(AttributeFile, IsReadUpToItsSizeLimit)
{
    std::string text = formatAttributes({{"a", 5}});
    text.resize(maxAttributeFile, ' ');
    folder.write("config/attributes.json", text);
    EXPECT_THAT(readAttributes(), UnorderedElementsAre(Pair("a", 5)));
    folder.write("config/attributes.json", text + " ");
    EXPECT_EQ(failureToRead(), EFBIG);
}

TEST_F(AttributeFile, QuotesNamesInAsciiOnly)
{
    EXPECT_EQ(quoteName("a.b"), "\"a.b\"");
    EXPECT_EQ(quoteName("a\n\xC3\xA4"), "\"a\\n\\u00e4\"");
}

TEST_F(AttributeFile, ThatIsDamagedIsRefusedAndLeftAlone)
{
    const auto file = folder.write("config/attributes.json", "{");
    EXPECT_THROW(readAttributes(), DamagedFile);
    EXPECT_TRUE(std::filesystem::exists(file));
}

/** The reason why a file with this text counts as damaged. */
std::string requestProblem(const test::TemporaryFolder& folder,
                           const std::string& text)
{
    try
    {
        readAttributeFile(folder.write("attributes.json", text));
        return "none";
    }
    catch (const DamagedFile& e)
    {
        return e.what();
    }
}

TEST_F(AttributeFile, ThatLacksItsVersionOrItsAttributesIsDamaged)
{
    const std::string lacking = "its version or its attributes are missing";
    EXPECT_EQ(requestProblem(folder, "{}"), lacking);
    EXPECT_EQ(requestProblem(folder, R"({"version": 1})"), lacking);
    EXPECT_EQ(requestProblem(folder, R"({"attributes": {}})"), lacking);
    EXPECT_EQ(requestProblem(folder, R"([{"version": 1, "attributes": {}}])"),
              lacking);
    EXPECT_EQ(requestProblem(folder, "5"), lacking);
}

TEST_F(AttributeFile, WithAMemberOfAnotherTypeIsDamaged)
{
    EXPECT_EQ(requestProblem(folder, R"({"version": "1", "attributes": {}})"),
              "a text is no value of version");
    EXPECT_EQ(
        requestProblem(folder, R"({"version": 4294967297, "attributes": {}})"),
        "4294967297 is no value of version");
    EXPECT_EQ(requestProblem(folder, R"({"version": 1, "attributes": [5]})"),
              "an array is no value of attributes");
    EXPECT_EQ(requestProblem(folder, R"({"version": 1, "attributes": 5})"),
              "5 is no value of attributes");
}

TEST_F(AttributeFile, WithAnInvalidValueIsDamaged)
{
    const auto fault = [this](const std::string& value) {
        return requestProblem(folder, R"({"attributes": {"a": )" + value +
                                          R"(}, "version": 1})");
    };
    const std::string end = " is no value of an attribute";
    EXPECT_EQ(fault("2147483647"), "none");
    EXPECT_EQ(fault("-2147483648"), "none");
    EXPECT_EQ(fault("2147483648"), "2147483648" + end);
    EXPECT_EQ(fault("-2147483649"), "-2147483649" + end);
    EXPECT_EQ(fault("1.5"), "1.5" + end);
    EXPECT_EQ(fault("null"), "null" + end);
    EXPECT_EQ(fault("true"), "true" + end);
    EXPECT_EQ(fault("false"), "false" + end);
    EXPECT_EQ(fault(R"("5")"), "a text" + end);
    EXPECT_EQ(fault("[1]"), "an array" + end);
    EXPECT_EQ(fault(R"({"b": 1})"), "an object" + end);
}

TEST_F(AttributeFile, MayHaveUnknownMembers)
{
    EXPECT_THAT(readAttributeFile(folder.write("attributes.json", R"({
        "by": {"attributes": {"x": 1.5}, "version": [2]},
        "attributes": {"a": 5}, "more": [{"version": 3}], "version": 1})")),
                UnorderedElementsAre(Pair("a", 5)));
}

TEST_F(AttributeFile, IsReadBackUnchanged)
{
    const Attributes strange{{"a\"b\\", -1}, {"attributes", 2}, {"ä\n", 3}};
    EXPECT_EQ(readAttributeFile(
                  folder.write("attributes.json", formatAttributes(strange))),
              strange);
    EXPECT_EQ(readAttributeFile(
                  folder.write("attributes.json", formatAttributes({}))),
              Attributes());
}

} // namespace
} // namespace healthintf::host
