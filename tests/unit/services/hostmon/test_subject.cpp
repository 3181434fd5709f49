#include "subject.hpp"

#include <gtest/gtest.h>

namespace healthintf::hostmon
{
namespace
{

TEST(Subjects, MeetWhenTheyAreAboutOneSensor)
{
    EXPECT_TRUE(meet(Memory{}, Memory{}));
    EXPECT_TRUE(meet(Filesystem{"/var"}, Filesystem{"/var"}));
    EXPECT_TRUE(meet(Load{5}, Load{5}));
    EXPECT_TRUE(meet(ProcessAlive{"sshd", ""}, ProcessAlive{"sshd", ""}));
    EXPECT_TRUE(meet(Temperature{"a/temp1"}, Temperature{"a/temp1"}));
}

TEST(Subjects, MeetAlthoughTheyReadOneSensorInAnotherWay)
{
    EXPECT_TRUE(meet(Pressure{"cpu", 10}, Pressure{"cpu", 60}));
    EXPECT_TRUE(meet(Temperature{"*"}, Temperature{"a/temp1"}));
    EXPECT_TRUE(meet(Temperature{"a/temp1"}, Temperature{"*"}));
}

TEST(Subjects, DoNotMeetWhenTheirSensorsDiffer)
{
    EXPECT_FALSE(meet(Filesystem{"/var"}, Filesystem{"/"}));
    EXPECT_FALSE(meet(Load{1}, Load{5}));
    EXPECT_FALSE(meet(Pressure{"cpu", 60}, Pressure{"io", 60}));
    EXPECT_FALSE(meet(Temperature{"a/temp1"}, Temperature{"a/temp2"}));
    EXPECT_FALSE(meet(ProcessAlive{"sshd", ""}, ProcessAlive{"", "sshd"}));
    EXPECT_FALSE(meet(Memory{}, Load{5}));
}

} // namespace
} // namespace healthintf::hostmon
