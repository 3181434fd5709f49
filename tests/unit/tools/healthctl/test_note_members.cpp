// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <source/note_members.hpp>

#include <string>

namespace healthintf::healthctl
{
namespace
{

TEST(NoteMembers, MakeASilence)
{
    const Silences all =
        makeSilences({{{"Id", uint64_t{3}},
                       {"SensorPath", std::string("/sensors/fan")},
                       {"SensorNumber", uint32_t{7}},
                       {"Comment", std::string("a new fan comes")},
                       {"User", uint32_t{1}},
                       {"Since", int64_t{100}},
                       {"Until", int64_t{200}}}});
    ASSERT_EQ(all.size(), 1);
    EXPECT_EQ(all[0].id, 3);
    EXPECT_EQ(all[0].target.key, "");
    EXPECT_EQ(all[0].target.sensorPath, "/sensors/fan");
    EXPECT_EQ(all[0].target.sensorNumber, 7);
    EXPECT_EQ(all[0].comment, "a new fan comes");
    EXPECT_EQ(all[0].user, 1);
    EXPECT_EQ(all[0].since, 100);
    EXPECT_EQ(all[0].until, 200);
}

TEST(NoteMembers, MakeAcknowledgementsByTheirFaults)
{
    const Acknowledgements all =
        makeAcknowledgements({{{"Fault", std::string("/a/entry/Fault_1")},
                               {"Time", int64_t{100}},
                               {"User", uint32_t{1}},
                               {"Comment", std::string("Olga looks")}}});
    ASSERT_EQ(all.size(), 1);
    EXPECT_EQ(all.at("/a/entry/Fault_1").time, 100);
    EXPECT_EQ(all.at("/a/entry/Fault_1").user, 1);
    EXPECT_EQ(all.at("/a/entry/Fault_1").comment, "Olga looks");
}

} // namespace
} // namespace healthintf::healthctl
