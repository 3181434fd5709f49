// SPDX-License-Identifier: Apache-2.0
#include <doctor/file_findings.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

CacheState cacheInUse()
{
    return {.folder = "/run/cache",
            .failure = "",
            .there = true,
            .usable = true,
            .inUse = true,
            .space = host::CacheSpace{.segments = 5,
                                      .usedBytes = 7 << 20,
                                      .fullestUsedBytes = 3 << 20,
                                      .fullestCapacity = 100 << 20,
                                      .fullest = {.pid = 12, .startTime = 1}},
            .freeBytes = 100UL << 20};
}

StateFolder goodState()
{
    return {.kept = logFolder,
            .folder = "/var/state/sel",
            .failure = "",
            .nearest = "/var/state",
            .user = "root",
            .readOnly = false,
            .writable = true,
            .closedFolder = "",
            .closedFile = "",
            .freeBytes = 100UL << 20};
}

TEST(FileFindings, FindNothingWrongWithACacheInUse)
{
    const Findings findings = makeFindings(cacheInUse());
    ASSERT_THAT(findings, SizeIs(2));
    for (const Finding& finding : findings)
    {
        EXPECT_EQ(finding.grade, Grade::ok) << finding.text;
    }
    EXPECT_EQ(findings[1].text, "5 processes have 7 MiB of records in the data "
                                "cache; the fullest, process 12, "
                                "uses 3 MiB of 100 MiB");
}

TEST(FileFindings, NameOneProcessInTheSingular)
{
    CacheState cache = cacheInUse();
    cache.space->segments = 1;
    EXPECT_THAT(makeFindings(cache)[1].text,
                testing::StartsWith("1 process has "));
}

TEST(FileFindings, WarnBeforeTheCacheIsFull)
{
    CacheState cache = cacheInUse();
    cache.space->fullestUsedBytes = 80 << 20;
    const Findings findings = makeFindings(cache);
    EXPECT_EQ(findings[1].grade, Grade::warning);
    EXPECT_THAT(findings[1].remedy, HasSubstr("process 12"));
    EXPECT_THAT(findings[1].remedy, HasSubstr("HEALTHINTF_CACHE_MIB"));
}

TEST(FileFindings, WarnOfAFilesystemInWhichTheCacheCannotGrow)
{
    CacheState cache = cacheInUse();
    cache.freeBytes = 100UL << 10;
    const Findings findings = makeFindings(cache);
    ASSERT_THAT(findings, SizeIs(3));
    EXPECT_EQ(findings[2].check, "cache.filesystem");
    EXPECT_EQ(findings[2].grade, Grade::warning);
    EXPECT_THAT(findings[2].text, HasSubstr("/run/cache has only 100 KiB"));
    EXPECT_THAT(findings[2].remedy, HasSubstr("HEALTHINTF_RUNTIME_DIR"));
}

TEST(FileFindings, ReportALogFolderWhoseFilesystemTakesNoChanges)
{
    StateFolder state = goodState();
    state.readOnly = true;
    state.writable = false;
    EXPECT_EQ(makeFinding(state).grade, Grade::problem);
    EXPECT_THAT(makeFinding(state).text, HasSubstr("takes no changes"));
    EXPECT_THAT(makeFinding(state).remedy, HasSubstr("export the log first"));
}

TEST(FileFindings, WarnOfFilesystemsThatHoldNoMoreFiles)
{
    CacheState cache = cacheInUse();
    cache.lacksFiles = true;
    ASSERT_THAT(makeFindings(cache), SizeIs(3));
    StateFolder state = goodState();
    state.lacksFiles = true;
    for (const Finding& finding : {makeFindings(cache)[2], makeFinding(state)})
    {
        EXPECT_EQ(finding.grade, Grade::warning);
        EXPECT_THAT(finding.text, HasSubstr("holds as many files as it can"));
        EXPECT_THAT(finding.remedy, HasSubstr("remove some files"));
    }
}

TEST(FileFindings, ReportWhyThereIsNoCache)
{
    CacheState cache = cacheInUse();
    cache.space.reset();
    EXPECT_EQ(makeFindings(cache).back().grade, Grade::problem);
    cache.inUse = false;
    EXPECT_EQ(makeFindings(cache).back().grade, Grade::warning);
    EXPECT_EQ(makeFindings(cache).back().check, "cache.users");
    cache.usable = false;
    EXPECT_EQ(makeFindings(cache).back().grade, Grade::warning);
    EXPECT_EQ(makeFindings(cache).back().check, "cache.folder");
    EXPECT_THAT(makeFindings(cache).back().text, HasSubstr("asks the bus"));
    cache.there = false;
    EXPECT_EQ(makeFindings(cache).back().grade, Grade::warning);
    cache.failure = "no runtime folder";
    EXPECT_EQ(makeFindings(cache).back().grade, Grade::problem);
    EXPECT_EQ(makeFindings(cache).back().text, "no runtime folder");
}

TEST(FileFindings, ReportALogFolderThatIsNotWritable)
{
    StateFolder state = goodState();
    EXPECT_EQ(makeFinding(state).grade, Grade::ok);
    state.freeBytes = 1;
    EXPECT_EQ(makeFinding(state).grade, Grade::warning);
    state.writable = false;
    EXPECT_EQ(makeFinding(state).grade, Grade::problem);
    EXPECT_THAT(makeFinding(state).text, HasSubstr("root may not write in "));
    // The folder is gone, and a restart would lose the log.
    EXPECT_THAT(makeFinding(state).remedy, HasSubstr("export the log first"));
    state.nearest = state.folder;
    EXPECT_THAT(makeFinding(state).remedy, Not(HasSubstr("export")));
    state.failure = "no state folder";
    EXPECT_EQ(makeFinding(state).grade, Grade::problem);
    EXPECT_EQ(makeFinding(state).text, "no state folder");
}

TEST(FileFindings, ReportAFolderAboveTheLogThatIsClosed)
{
    StateFolder state = goodState();
    state.closedFolder = "/var/lib";
    EXPECT_EQ(makeFinding(state).grade, Grade::problem);
    EXPECT_THAT(makeFinding(state).text,
                HasSubstr("root may not enter /var/lib"));
    EXPECT_THAT(makeFinding(state).remedy, HasSubstr("enter it"));
}

TEST(FileFindings, ReportAFileOfTheLogThatLogmgrMayNotWriteTo)
{
    StateFolder state = goodState();
    state.closedFile = "/var/state/sel/data.mdb";
    const Finding finding = makeFinding(state);
    EXPECT_EQ(finding.grade, Grade::problem);
    EXPECT_EQ(finding.text, "root may not read and write "
                            "/var/state/sel/data.mdb, which logmgr needs");
    EXPECT_EQ(finding.remedy,
              "give the file to root: chown root /var/state/sel/data.mdb");
}

TEST(FileFindings, SayWhatIsNotKept)
{
    StateFolder state = goodState();
    state.kept = silenceFolder;
    state.nearest = state.folder = "/var/state/healthmgr";
    state.user = "hm";
    state.writable = false;
    Finding finding = makeFinding(state);
    EXPECT_EQ(finding.check, "state.silences");
    EXPECT_EQ(finding.text, "hm may not write in /var/state/healthmgr, where "
                            "healthmgr keeps the silences");
    EXPECT_EQ(finding.remedy, "let hm write there, or set HEALTHINTF_STATE_DIR "
                              "to another folder");
    state.kept = runtimeFolder;
    EXPECT_THAT(makeFinding(state).remedy, HasSubstr("HEALTHINTF_RUNTIME_DIR"));
    state.writable = true;
    state.closedFile = "/run/acknowledgements.toml";
    finding = makeFinding(state);
    EXPECT_EQ(finding.grade, Grade::problem);
    EXPECT_EQ(finding.text, "hm may not read /run/acknowledgements.toml, which "
                            "healthmgr needs");
}

TEST(FileFindings, SpeakOfAnExportOnlyForTheLog)
{
    StateFolder state = goodState();
    state.kept = historyFolder;
    state.writable = false;
    EXPECT_THAT(makeFinding(state).remedy, Not(HasSubstr("export")));
    state.readOnly = true;
    EXPECT_THAT(makeFinding(state).remedy, Not(HasSubstr("export")));
}

TEST(FileFindings, AskForNoMoreRoomThanIsNeeded)
{
    StateFolder state = goodState();
    state.freeBytes = 100UL << 10;
    EXPECT_EQ(makeFinding(state).grade, Grade::warning);
    state.kept = attributeFolder;
    EXPECT_EQ(makeFinding(state).grade, Grade::ok);
}

TEST(FileFindings, TakeAMissingEventTableForAProblem)
{
    const Findings findings =
        makeFindings("files.events", "event table", "EVENT_PATH",
                     {.folders = {"/a", "/b"}, .usable = 0, .problems = {}});
    ASSERT_THAT(findings, SizeIs(1));
    EXPECT_EQ(findings[0].grade, Grade::problem);
    EXPECT_THAT(findings[0].text, HasSubstr("no event table in /a, /b"));
    EXPECT_THAT(findings[0].remedy, HasSubstr("EVENT_PATH"));
}

TEST(FileFindings, WarnOfEachFileThatIsLeftOut)
{
    const Findings findings = makeFindings(
        "files.events", "event table", "EVENT_PATH",
        {.folders = {"/a"}, .usable = 2, .problems = {"/a/x.json: bad"}});
    ASSERT_THAT(findings, SizeIs(2));
    EXPECT_EQ(findings[0].grade, Grade::ok);
    EXPECT_EQ(findings[1].grade, Grade::warning);
    EXPECT_EQ(findings[1].text, "/a/x.json: bad");
}

TEST(FileFindings, NameTheLibraryThatIsUsed)
{
    const Finding finding = makeFinding(
        LibraryState{.version = "1.2.3", .file = "/lib/libhealthintf.so.1"});
    EXPECT_EQ(finding.grade, Grade::ok);
    EXPECT_THAT(finding.text, HasSubstr("1.2.3 with /lib/libhealthintf.so.1"));
}

} // namespace
} // namespace healthintf::healthctl
