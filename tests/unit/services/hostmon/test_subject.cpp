// SPDX-License-Identifier: Apache-2.0
#include "subject.hpp"

#include <gtest/gtest.h>

namespace healthintf::hostmon
{
namespace
{

TEST(Subjects, MeetWhenTheyAreAboutOneSensor)
{
    EXPECT_TRUE(mayShareSensor(Memory{}, Memory{}));
    EXPECT_TRUE(mayShareSensor(Filesystem{"/var"}, Filesystem{"/var"}));
    EXPECT_TRUE(mayShareSensor(Load{5}, Load{5}));
    EXPECT_TRUE(
        mayShareSensor(ProcessAlive{"sshd", ""}, ProcessAlive{"sshd", ""}));
    EXPECT_TRUE(mayShareSensor(Temperature{"a/temp1"}, Temperature{"a/temp1"}));
}

TEST(Subjects, MeetAlthoughTheyReadOneSensorInAnotherWay)
{
    EXPECT_TRUE(mayShareSensor(Pressure{"cpu", 10}, Pressure{"cpu", 60}));
    EXPECT_TRUE(mayShareSensor(Temperature{"*"}, Temperature{"a/temp1"}));
    EXPECT_TRUE(mayShareSensor(Temperature{"a/temp1"}, Temperature{"*"}));
}

TEST(Subjects, DoNotMeetWhenTheirSensorsDiffer)
{
    EXPECT_FALSE(mayShareSensor(Filesystem{"/var"}, Filesystem{"/"}));
    EXPECT_FALSE(mayShareSensor(Load{1}, Load{5}));
    EXPECT_FALSE(mayShareSensor(Pressure{"cpu", 60}, Pressure{"io", 60}));
    EXPECT_FALSE(
        mayShareSensor(Temperature{"a/temp1"}, Temperature{"a/temp2"}));
    EXPECT_FALSE(
        mayShareSensor(ProcessAlive{"sshd", ""}, ProcessAlive{"", "sshd"}));
    EXPECT_FALSE(mayShareSensor(Memory{}, Load{5}));
}

} // namespace
} // namespace healthintf::hostmon
