// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <watch/note_change.hpp>

#include <string>

namespace healthintf::healthctl
{
namespace
{

using testing::ElementsAre;

const std::string fan = "/com/vexa/olvar/health/fan";
const std::string psu = "/com/vexa/olvar/health/psu";
const std::string path = fan + "/entry/Fault_1";

WatchedTree makeTree()
{
    WatchedTree tree;
    WatchedFault fault;
    fault.properties.severity = 4;
    fault.properties.message = "It is slow.";
    fault.properties.sensorPath = "/sensors/fan";
    tree.addFault(path, fault);
    return tree;
}

TEST(NoteChange, HasTheFaultThatIsAcknowledged)
{
    const Changes changes =
        makeNoteChanges(Change::Kind::acknowledged,
                        {{"Fault", path},
                         {"Time", int64_t{5}},
                         {"User", uint32_t{7}},
                         {"Comment", std::string("Olga looks")}},
                        makeTree());
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0].kind, Change::Kind::acknowledged);
    EXPECT_EQ(changes[0].path, path);
    EXPECT_EQ(changes[0].fault->message, "It is slow.");
    EXPECT_EQ(changes[0].acknowledgement->user, 7);
    EXPECT_EQ(changes[0].acknowledgement->comment, "Olga looks");
    EXPECT_FALSE(changes[0].endedBy);
}

TEST(NoteChange, HasTheMessageOfAFaultThatIsNotKnown)
{
    const Changes changes = makeNoteChanges(
        Change::Kind::acknowledged,
        {{"Fault", path}, {"MessageID", std::string("Test.1.0.Slow")}}, {});
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0].fault->messageID, "Test.1.0.Slow");
    EXPECT_EQ(changes[0].fault->message, "Test.1.0.Slow");
}

TEST(NoteChange, NamesWhoWithdrewAnAcknowledgement)
{
    const Changes changes =
        makeNoteChanges(Change::Kind::withdrawn,
                        {{"Fault", path},
                         {"Reason", std::string("withdrawn")},
                         {"WithdrawnBy", uint32_t{9}}},
                        makeTree());
    ASSERT_EQ(changes.size(), 1);
    EXPECT_EQ(changes[0].endedBy, 9);
}

TEST(NoteChange, IsNoneWhenAnAcknowledgedFaultIsGone)
{
    EXPECT_TRUE(
        makeNoteChanges(Change::Kind::withdrawn,
                        {{"Fault", path}, {"Reason", std::string("gone")}},
                        makeTree())
            .empty());
}

TEST(NoteChange, HasTheComponentsOfWhichASilenceNamesFaults)
{
    const Changes ofSensor = makeNoteChanges(
        Change::Kind::silenced,
        {{"Id", uint64_t{3}}, {"SensorPath", std::string("/sensors/fan")}},
        makeTree());
    ASSERT_EQ(ofSensor.size(), 1);
    EXPECT_EQ(ofSensor[0].silence->id, 3);
    EXPECT_THAT(ofSensor[0].components, ElementsAre(fan));
    const Changes ofComponent = makeNoteChanges(
        Change::Kind::silenceEnded,
        {{"Component", psu}, {"EndedBy", uint32_t{9}}}, makeTree());
    ASSERT_EQ(ofComponent.size(), 1);
    EXPECT_THAT(ofComponent[0].components, ElementsAre(psu));
    EXPECT_EQ(ofComponent[0].endedBy, 9);
}

} // namespace
} // namespace healthintf::healthctl
