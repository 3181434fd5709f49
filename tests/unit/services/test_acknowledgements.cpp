// SPDX-License-Identifier: Apache-2.0
#include "acknowledgements.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace healthintf::healthmgr
{
namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = Acknowledgements::Outcome;

class AcknowledgementsTest : public testing::Test
{
  protected:
    Acknowledgements reopen()
    {
        return Acknowledgements(file,
                                [this](const std::vector<std::string>& paths)
                                    -> std::optional<FaultIdentities> {
                                    if (!readable)
                                    {
                                        return std::nullopt;
                                    }
                                    FaultIdentities found;
                                    for (const std::string& path : paths)
                                    {
                                        if (faults.contains(path))
                                        {
                                            found[path] = faults[path];
                                        }
                                    }
                                    return found;
                                });
    }

    static std::string path(std::size_t number)
    {
        return "/com/vexa/olvar/health/fan/entry/F" + std::to_string(number);
    }

    Outcome add(std::size_t number, uint32_t user = 0)
    {
        faults[path(number)] = fault;
        return all.add(path(number), "why", user, 60);
    }

    std::vector<std::string> gone()
    {
        std::vector<std::string> paths;
        for (const auto& [path, acknowledgement] : all.removeGone())
        {
            paths.push_back(path);
        }
        return paths;
    }

    test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "made" / "a.toml";
    const FaultIdentity fault{
        .messageId = "FAN", .timestamp = 10, .pid = 812, .startTime = 7};
    FaultIdentities faults;
    bool readable = true;
    Acknowledgements all = reopen();
};

TEST_F(AcknowledgementsTest, AreOfFaultsThatAreThere)
{
    EXPECT_EQ(add(1), Outcome::done);
    const Acknowledgement expected{
        .fault = fault, .comment = "why", .user = 0, .time = 60};
    EXPECT_EQ(all.all(), (AcknowledgementMap{{path(1), expected}}));
    EXPECT_EQ(all.add(path(2), "why", 0, 60), Outcome::noFault);
    readable = false;
    EXPECT_EQ(all.add(path(1), "other", 0, 60), Outcome::noFault);
    EXPECT_EQ(all.all().at(path(1)).comment, "why");
}

TEST_F(AcknowledgementsTest, TakeThePlaceOfEarlierOnes)
{
    add(1, 1000);
    EXPECT_EQ(add(1, 1001), Outcome::done);
    EXPECT_EQ(all.all().size(), 1U);
    EXPECT_EQ(all.all().at(path(1)).user, 1001U);
}

TEST_F(AcknowledgementsTest, AreTakenBackOnce)
{
    add(1);
    EXPECT_EQ(all.remove(path(1))->comment, "why");
    EXPECT_EQ(all.remove(path(1)), std::nullopt);
}

TEST_F(AcknowledgementsTest, GoWithTheirFaults)
{
    add(1);
    add(2);
    EXPECT_THAT(gone(), IsEmpty());
    faults.erase(path(1));
    EXPECT_THAT(gone(), ElementsAre(path(1)));
    EXPECT_THAT(gone(), IsEmpty());
    EXPECT_EQ(all.all().size(), 1U);
}

TEST_F(AcknowledgementsTest, StayWhileTheFaultsCannotBeRead)
{
    add(1);
    readable = false;
    EXPECT_THAT(gone(), IsEmpty());
}

TEST_F(AcknowledgementsTest, AreNotOfLaterFaultsWithTheSamePath)
{
    FaultIdentity message = fault;
    message.messageId = "OTHER";
    FaultIdentity time = fault;
    time.timestamp = 11;
    FaultIdentity process = fault;
    process.pid = 813;
    FaultIdentity start = fault;
    start.startTime = 8;
    for (const FaultIdentity& later : {message, time, process, start})
    {
        add(1);
        faults[path(1)] = later;
        EXPECT_THAT(gone(), ElementsAre(path(1)));
    }
}

TEST_F(AcknowledgementsTest, StayWhileTheProcessIsNotKnown)
{
    add(1);
    faults[path(1)].pid = 0;
    faults[path(1)].startTime = 0;
    EXPECT_THAT(gone(), IsEmpty());
    faults[path(1)] = fault;
    EXPECT_THAT(gone(), IsEmpty());
}

TEST_F(AcknowledgementsTest, AreTheSameForTheNextManager)
{
    add(1);
    add(2);
    all.remove(path(1));
    all.save();
    EXPECT_EQ(reopen().all(), all.all());
    EXPECT_EQ(reopen().all().size(), 1U);
}

TEST_F(AcknowledgementsTest, AreLimitedForEachUser)
{
    for (std::size_t i = 0; i < Acknowledgements::mostOfOneUser; ++i)
    {
        EXPECT_EQ(add(i, 1000), Outcome::done);
    }
    EXPECT_EQ(add(1000, 1000), Outcome::tooMany);
    EXPECT_EQ(add(0, 1000), Outcome::done) << "it was there before";
    EXPECT_EQ(add(1000, 1001), Outcome::done);
    EXPECT_EQ(add(1000, 1000), Outcome::tooMany) << "that one is another's";
    EXPECT_EQ(all.all().at(path(1000)).user, 1001U) << "and stays";
}

TEST_F(AcknowledgementsTest, AreLimitedInAll)
{
    for (std::size_t i = 0; i < Acknowledgements::most; ++i)
    {
        EXPECT_EQ(add(i, static_cast<uint32_t>(i)), Outcome::done);
    }
    EXPECT_EQ(add(1000, 5000), Outcome::tooMany);
}

} // namespace
} // namespace healthintf::healthmgr
