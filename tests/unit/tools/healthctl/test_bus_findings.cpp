// SPDX-License-Identifier: Apache-2.0
#include <doctor/bus_findings.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

using testing::HasSubstr;

constexpr bool asRoot = true;
constexpr bool asOther = false;

TEST(BusFindings, NameTheBusThatWasReached)
{
    const Finding finding =
        makeFinding(BusState{.address = "unix:path=/bus", .failure = ""});
    EXPECT_EQ(finding.grade, Grade::ok);
    EXPECT_THAT(finding.text, HasSubstr("unix:path=/bus"));
    EXPECT_EQ(finding.remedy, "");
}

TEST(BusFindings, TakeAMissingBusForAProblem)
{
    const Finding finding = makeFinding(
        BusState{.address = "unix:path=/bus", .failure = "refused"});
    EXPECT_EQ(finding.grade, Grade::problem);
    EXPECT_THAT(finding.text, HasSubstr("refused"));
    EXPECT_NE(finding.remedy, "");
}

TEST(BusFindings, DoNotAskToStartABusThatHangs)
{
    const Finding finding = makeFinding(BusState{
        .address = "unix:path=/bus", .failure = "timed out", .hangs = true});
    EXPECT_EQ(finding.grade, Grade::problem);
    EXPECT_EQ(finding.text,
              "the bus at unix:path=/bus does not answer: timed out");
    EXPECT_THAT(finding.remedy, HasSubstr("is stopped"));
}

TEST(BusFindings, GradeAServiceByWhetherItRunsAndAnswers)
{
    ServiceState service{.program = "logmgr",
                         .name = "com.vexa.olvar.logmgr",
                         .pid = 17,
                         .activatable = false};
    EXPECT_EQ(makeFinding(service).grade, Grade::ok);
    EXPECT_THAT(makeFinding(service).text, HasSubstr("17"));
    service.answers = false;
    EXPECT_EQ(makeFinding(service).grade, Grade::problem);
    EXPECT_THAT(makeFinding(service).text, HasSubstr("17 and does not answer"));
    EXPECT_THAT(makeFinding(service).remedy, HasSubstr("restart logmgr"));
    service.pid = 0;
    service.activatable = true;
    EXPECT_EQ(makeFinding(service).grade, Grade::warning);
    EXPECT_EQ(makeFinding(service).text,
              "logmgr does not run; the bus knows how to start it");
    EXPECT_EQ(makeFinding(service).remedy,
              "busctl call com.vexa.olvar.logmgr / org.freedesktop.DBus.Peer "
              "Ping starts it, or says that it does not start; see its log "
              "then");
    service.activatable = false;
    EXPECT_EQ(makeFinding(service).grade, Grade::problem);
    EXPECT_THAT(makeFinding(service).remedy, HasSubstr("start logmgr"));
}

TEST(BusFindings, TakeADenialToRootForAProblem)
{
    const Attempt attempt{.check = "add-sel",
                          .what = "add to the log",
                          .result = Attempt::Result::denied,
                          .why = "",
                          .reservedFor = "root and the group healthintf"};
    EXPECT_EQ(makeFinding(attempt, asRoot).grade, Grade::problem);
    EXPECT_EQ(makeFinding(attempt, asOther).grade, Grade::ok);
    EXPECT_THAT(makeFinding(attempt, asOther).text,
                HasSubstr("may not add to the log, which is for root and the "
                          "group healthintf"));
}

TEST(BusFindings, TakeADenialToEverybodyForAProblem)
{
    const Attempt attempt{.check = "read-log",
                          .what = "read the log",
                          .result = Attempt::Result::denied,
                          .why = ""};
    EXPECT_EQ(makeFinding(attempt, asOther).grade, Grade::problem);
    EXPECT_NE(makeFinding(attempt, asOther).remedy, "");
}

TEST(BusFindings, NameChecksWithoutAResult)
{
    Attempt attempt{.check = "read-log",
                    .what = "read the log",
                    .result = Attempt::Result::notTried,
                    .why = "it sleeps"};
    EXPECT_EQ(makeFinding(attempt, asRoot).grade, Grade::ok);
    EXPECT_THAT(makeFinding(attempt, asRoot).text,
                HasSubstr("not tried: it sleeps"));
    attempt.result = Attempt::Result::failed;
    EXPECT_EQ(makeFinding(attempt, asRoot).grade, Grade::warning);
    attempt.result = Attempt::Result::allowed;
    EXPECT_EQ(makeFinding(attempt, asRoot).text, "this user may read the log");
}

TEST(BusFindings, WarnWhenFilesRunOut)
{
    OpenFiles files{
        .program = "healthmgr", .pid = 1, .open = 799, .limit = 1000};
    EXPECT_EQ(makeFinding(files).grade, Grade::ok);
    files.open = 800;
    EXPECT_EQ(makeFinding(files).grade, Grade::warning);
    EXPECT_THAT(makeFinding(files).text, HasSubstr("800 of 1000"));
}

} // namespace
} // namespace healthintf::healthctl
