// SPDX-License-Identifier: Apache-2.0
#include "common/config_file.hpp"
#include "file_content.hpp"
#include "kept_file.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::HasSubstr;

class KeptFileTest : public testing::Test
{
  protected:
    /** Takes every text but "damaged". */
    static std::string parse(const std::string& text, const std::string& name)
    {
        if (text == "damaged")
        {
            throw services::ConfigError(name + ": it is damaged");
        }
        return text;
    }

    static bool saveText(KeptFile& kept, const std::string& text)
    {
        return kept.save([&text] {
            return text;
        });
    }

    test::TemporaryFolder folder;
    const std::filesystem::path path = folder.path() / "made" / "kept.toml";
    KeptFile file{path, "the things"};
};

TEST_F(KeptFileTest, IsReadAgainAsItWasWritten)
{
    file.noteChange();
    saveText(file, "text");
    EXPECT_EQ(KeptFile(path, "the things").read(parse), "text");
}

TEST_F(KeptFileTest, IsWrittenOnlyAfterAChange)
{
    EXPECT_TRUE(saveText(file, "text"));
    EXPECT_FALSE(exists(path));
    file.noteChange();
    EXPECT_TRUE(saveText(file, "text"));
    std::filesystem::remove(path);
    saveText(file, "text");
    EXPECT_FALSE(exists(path));
}

TEST_F(KeptFileTest, IsEmptyWhenItIsMissing)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(file.read(parse), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(KeptFileTest, IsSetAsideWhenItIsDamaged)
{
    std::filesystem::create_directory(path.parent_path());
    folder.write("made/kept.toml", "damaged");
    testing::internal::CaptureStderr();
    EXPECT_EQ(file.read(parse), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the things cannot be read: " + path.string() +
                          ": it is damaged"));
    EXPECT_FALSE(exists(path));
    EXPECT_EQ(test::readContent(path.string() + ".damaged"), "damaged");
}

TEST_F(KeptFileTest, IsSetAsideWhenItIsAFolder)
{
    std::filesystem::create_directories(path);
    testing::internal::CaptureStderr();
    EXPECT_EQ(file.read(parse), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("the things cannot be read: "));
    file.noteChange();
    saveText(file, "text");
    EXPECT_EQ(file.read(parse), "text");
}

TEST_F(KeptFileTest, IsWrittenLaterWhenThatFailed)
{
    const auto blocked = folder.write("made", "no folder");
    file.noteChange();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(saveText(file, "text"));
    EXPECT_FALSE(saveText(file, "text"));
    const std::string lines = testing::internal::GetCapturedStderr();
    EXPECT_THAT(lines, HasSubstr("unable to write the things"));
    EXPECT_EQ(lines.find('\n'), lines.size() - 1) << "once";
    std::filesystem::remove(blocked);
    EXPECT_TRUE(saveText(file, "text"));
    EXPECT_EQ(file.read(parse), "text");
}

TEST_F(KeptFileTest, IsReadAgainWhenItIsLargerThanAnyConfiguration)
{
    const std::string text((std::size_t{1} << 20U) * 2, '#');
    file.noteChange();
    saveText(file, text);
    EXPECT_EQ(file.read(parse), text);
}

TEST_F(KeptFileTest, IsSetAsideWhenHealthmgrCannotHaveWrittenSoMuch)
{
    folder.write("made/kept.toml",
                 std::string((std::size_t{4} << 20U) + 1, '#'));
    testing::internal::CaptureStderr();
    EXPECT_EQ(file.read(parse), "");
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("it has more than 4 MiB"));
}

TEST_F(KeptFileTest, IsNoneByDefault)
{
    KeptFile none;
    none.noteChange();
    EXPECT_TRUE(saveText(none, "text"));
    EXPECT_EQ(none.read(parse), "");
}

/** What is read again of a text that was written. */
std::string kept(const std::string& text)
{
    toml::table table;
    table.insert("text", text);
    const std::string file = formatToml(table);
    const toml::table read = services::parseToml(file, "file");
    return read["text"].value_or("no text in " + file);
}

TEST(KeptText, IsReadAgainWithEachCharacterAtEachPlace)
{
    for (int code = 0; code < 0x80; ++code)
    {
        const std::string one(1, static_cast<char>(code));
        for (const std::string& text :
             {one, one + one + one, one + "a", "a" + one, "\n" + one,
              one + "\n", "a\n" + one + "b", "'" + one, "\"" + one})
        {
            EXPECT_EQ(kept(text), text) << "character " << code;
        }
    }
}

TEST(KeptText, IsReadAgainWithQuotesOnSeveralLines)
{
    for (const std::string text :
         {"\nbackupd: ''' x", "'''", "a\n'''", "'''\n", "\"\"\"\n",
          "\"'''\"\n\\", "\r\n'", "\x01\n'''", "C:\\x\n'a'", "it's\n\"x\""})
    {
        EXPECT_EQ(kept(text), text);
    }
}

TEST(KeptText, IsReadAgainWithCharactersOfAllLanguages)
{
    for (const std::string text :
         {"\u0080", "\u0085\n'''", "\u00a0", "\u00fc", "\u2028", "\ufeffa",
          "\U0001f4a5\n\"'", "\U0010ffff"})
    {
        EXPECT_EQ(kept(text), text);
    }
}

TEST(KeptText, LeavesTheFileReadableWhenItIsNoUtf8)
{
    for (int code = 0x80; code < 0x100; ++code)
    {
        const std::string one(1, static_cast<char>(code));
        for (const std::string& text : {"a" + one, one + "\n'''", one + "\""})
        {
            EXPECT_NO_THROW(kept(text)) << "byte " << code;
        }
    }
}

} // namespace
} // namespace healthintf::healthmgr
