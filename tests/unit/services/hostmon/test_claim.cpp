// SPDX-License-Identifier: Apache-2.0
#include "claim.hpp"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

namespace healthintf::hostmon
{
namespace
{

TEST(BusNameOfAComponent, IsOneForEachKey)
{
    const std::string root = "/com/vexa/olvar/health";
    EXPECT_EQ(makeBusName(root + "/a"), makeBusName(root + "/a"));
    EXPECT_NE(makeBusName(root + "/a/b"), makeBusName(root + "/a_b"));
    EXPECT_EQ(makeBusName(root + "/a").rfind("com.vexa.olvar.hostmon.", 0), 0u);
}

TEST(BusNameOfAComponent, IsValidForEveryKey)
{
    const std::string root = "/com/vexa/olvar/health";
    for (const std::string& key :
         {root + "/5", root + "/" + std::string(1000, 'x')})
    {
        EXPECT_GT(sd_bus_service_name_is_valid(makeBusName(key).c_str()), 0);
    }
}

} // namespace
} // namespace healthintf::hostmon
