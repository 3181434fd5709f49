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
    EXPECT_EQ(busNameOf(root + "/a"), busNameOf(root + "/a"));
    EXPECT_NE(busNameOf(root + "/a/b"), busNameOf(root + "/a_b"));
    EXPECT_EQ(busNameOf(root + "/a").rfind("com.vexa.olvar.hostmon.", 0), 0u);
}

TEST(BusNameOfAComponent, IsValidForEveryKey)
{
    const std::string root = "/com/vexa/olvar/health";
    for (const std::string& key :
         {root + "/5", root + "/" + std::string(1000, 'x')})
    {
        EXPECT_GT(sd_bus_service_name_is_valid(busNameOf(key).c_str()), 0);
    }
}

} // namespace
} // namespace healthintf::hostmon
