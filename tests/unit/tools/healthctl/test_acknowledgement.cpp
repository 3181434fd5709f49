// SPDX-License-Identifier: Apache-2.0
#include "model/acknowledgement.hpp"

#include <gtest/gtest.h>

namespace healthintf::healthctl
{
namespace
{

TEST(Acknowledgements, AreNotedInTheirFaults)
{
    Faults faults{{"/a/entry/Fault_1", FaultEntry_gen(FaultEntryProperties())},
                  {"/a/entry/Fault_2", FaultEntry_gen(FaultEntryProperties())}};
    noteAcknowledgements(
        faults,
        {{"/a/entry/Fault_2",
          Acknowledgement{.time = 1, .user = 2, .comment = "Olga looks"}}});
    EXPECT_FALSE(faults[0].acknowledgement);
    ASSERT_TRUE(faults[1].acknowledgement);
    EXPECT_EQ(faults[1].acknowledgement->comment, "Olga looks");
}

} // namespace
} // namespace healthintf::healthctl
