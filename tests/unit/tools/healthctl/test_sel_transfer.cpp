// SPDX-License-Identifier: Apache-2.0
#include "file_content.hpp"
#include "read_events.hpp"
#include "small_filesystem.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sel/sel_transfer.hpp>

#include <filesystem>
#include <iterator>
#include <sstream>

#include <error.hpp>

namespace healthintf::healthctl
{
namespace
{

namespace fs = std::filesystem;
using SELInterface::recordSize;
using testing::AllOf;
using testing::HasSubstr;

class SelTransfer : public testing::Test
{
  protected:
    std::string complaintAbout(const std::string& file)
    {
        try
        {
            readRecords(file);
            return "";
        }
        catch (const Error& e)
        {
            return e.what();
        }
    }

    test::TemporaryFolder folder;
    std::ostringstream out;
    const std::vector<RawRecord> records{recordOfEvent(1, 2, 3),
                                         recordOfEvent(4, 5, 6)};
};

TEST_F(SelTransfer, ReadsWhatItWrote)
{
    const std::string file = folder.path() / "log";
    writeRecords(records, file, out);
    EXPECT_EQ(readRecords(file), records);
    EXPECT_EQ(out.str(), "");
}

TEST_F(SelTransfer, ReadsAsManyRecordsAsALogHolds)
{
    constexpr std::size_t most = 65534;
    const std::string file =
        folder.write("log", std::string(most * recordSize, 'x'));
    EXPECT_EQ(readRecords(file).size(), most);
    folder.write("log", std::string(most * recordSize + 1, 'x'));
    EXPECT_THAT(complaintAbout(file),
                HasSubstr("nothing was imported: it has more than 65534 "
                          "records"));
}

TEST_F(SelTransfer, LimitsWhatItReads)
{
    EXPECT_THAT(complaintAbout("/dev/zero"),
                HasSubstr("nothing was imported: it has more than 65534 "
                          "records"));
}

TEST_F(SelTransfer, ReplacesAnExistingFile)
{
    const std::string file = folder.write("log", std::string(100, 'x'));
    writeRecords({}, file, out);
    EXPECT_TRUE(readRecords(file).empty());
}

TEST_F(SelTransfer, KeepsAnExistingFileWhenItCannotWrite)
{
    test::expectOnSmallFilesystem(folder.path(), "size=64k", [this] {
        const std::string before = formatRecords(records);
        const std::string file = folder.write("log", before);
        folder.write("filler", std::string(1 << 20, 'x'));
        try
        {
            writeRecords(std::vector<RawRecord>(10000), file, out);
            return 1;
        }
        catch (const Error& e)
        {
            const fs::directory_iterator files(folder.path());
            const bool alone = std::distance(begin(files), end(files)) == 2;
            const bool said = std::string(e.what()).find("No space left") !=
                              std::string::npos;
            return alone && said && test::readContent(file) == before ? 0 : 2;
        }
    });
}

TEST_F(SelTransfer, WritesToTheOutputForADash)
{
    writeRecords(records, "-", out);
    EXPECT_EQ(out.str(), formatRecords(records));
}

TEST_F(SelTransfer, NamesThePlaceWhereAFileIsCut)
{
    EXPECT_THAT(
        complaintAbout(folder.write("log", formatRecords(records) + "more")),
        AllOf(HasSubstr("log: nothing was imported"),
              HasSubstr("offset 32 is cut: it has 4 bytes")));
}

TEST_F(SelTransfer, NamesAFileThatItCannotUse)
{
    const std::string missing = folder.path() / "missing";
    EXPECT_THAT(complaintAbout(missing),
                HasSubstr("unable to read " + missing + ": No such file"));
    EXPECT_THAT(complaintAbout(folder.path()), HasSubstr("unable to read"));
    EXPECT_THROW(writeRecords(records, folder.path() / "no" / "log", out),
                 Error);
}

} // namespace
} // namespace healthintf::healthctl
