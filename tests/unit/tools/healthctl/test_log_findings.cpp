// SPDX-License-Identifier: Apache-2.0
#include <doctor/log_findings.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

Finding findingFor(std::size_t entries, std::size_t mirrored,
                   std::size_t different)
{
    return makeFinding(LogComparison{.failure = "",
                                     .entries = entries,
                                     .mirrored = mirrored,
                                     .different = different});
}

TEST(LogFindings, AreOkWhenTheMirrorEqualsTheLog)
{
    EXPECT_EQ(findingFor(3, 3, 0).grade, Grade::ok);
    EXPECT_EQ(findingFor(0, 0, 0).grade, Grade::ok);
    EXPECT_EQ(findingFor(3, 3, 0).remedy, "");
}

TEST(LogFindings, ReportAMirrorThatDiffers)
{
    EXPECT_EQ(findingFor(3, 3, 1).grade, Grade::problem);
    EXPECT_EQ(findingFor(0, 1, 0).grade, Grade::problem);
    const Finding behind = findingFor(3003, 2667, 336);
    EXPECT_EQ(behind.check, "log.mirror");
    EXPECT_EQ(behind.text,
              "the log has 3003 entries and its mirror in the data cache 2667; "
              "336 of the log are missing there or others");
    EXPECT_THAT(behind.remedy, HasSubstr("HEALTHINTF_RUNTIME_DIR"));
}

TEST(LogFindings, WarnWhenTheyCouldNotBeCompared)
{
    const Finding finding = makeFinding(LogComparison{
        .failure = "no log", .entries = 0, .mirrored = 0, .different = 0});
    EXPECT_EQ(finding.grade, Grade::warning);
    EXPECT_THAT(finding.text, HasSubstr("no log"));
}

Finding findingFor(uint32_t entries, const std::string& policy)
{
    services::LogStatus log;
    log.entries = entries;
    log.capacity = 10;
    log.policy = policy;
    return makeFinding(log);
}

TEST(LogFindings, NameALogThatRefusesEventsAProblem)
{
    for (const uint32_t entries : {10U, 11U})
    {
        const Finding full = findingFor(entries, "refuse");
        EXPECT_EQ(full.check, "log.room");
        EXPECT_EQ(full.grade, Grade::problem);
        EXPECT_EQ(full.text, "the log has " + std::to_string(entries) +
                                 " of 10 entries and refuses events");
        EXPECT_THAT(full.remedy, HasSubstr("healthctl sel export"));
    }
}

TEST(LogFindings, WarnWhenTheLogWillSoonRefuseEvents)
{
    EXPECT_EQ(findingFor(8, "refuse").grade, Grade::warning);
    EXPECT_EQ(findingFor(9, "refuse").grade, Grade::warning);
    EXPECT_EQ(findingFor(7, "refuse").grade, Grade::ok);
    EXPECT_EQ(findingFor(7, "refuse").text, "the log has 7 of 10 entries");
    EXPECT_EQ(findingFor(7, "refuse").remedy, "");
}

TEST(LogFindings, AreOkWhenAFullLogDropsItsOldestEntries)
{
    EXPECT_EQ(findingFor(10, "wrap").grade, Grade::ok);
    EXPECT_EQ(findingFor(10, "wrap").remedy, "");
}

} // namespace
} // namespace healthintf::healthctl
