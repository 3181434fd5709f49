// SPDX-License-Identifier: Apache-2.0
/** @file Sets attributes without a bus; tests/bus/ has the other cases. */

#include "child.hpp"
#include "config_manager/attribute_file.hpp"
#include "config_manager/attribute_service.hpp"
#include "no_bus.hpp"
#include "temporary_folder.hpp"

#include <platform/config_manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string>
#include <thread>

namespace healthintf::host
{
namespace
{

using testing::HasSubstr;

class ConfigManager : public testing::Test
{
  protected:
    ConfigManager()
    {
        setenv("HEALTHINTF_STATE_DIR", folder.path().c_str(), 1);
    }

    /** The result of three attempts, which must be equal, in a child process
     *  without a bus. */
    int set(const char* name, int flags = 0, const char* source = nullptr)
    {
        return test::inChild(
            [&] {
                test::haveNoBus();
                const CfgMgrOrigin origin{source, nullptr, nullptr};
                const int first = CfgSetAttributeInt(name, 1, flags, &origin);
                for (int i = 0; i < 2; ++i)
                {
                    if (CfgSetAttributeInt(name, 1, flags, &origin) != first)
                    {
                        return -1;
                    }
                }
                return first;
            },
            &errors);
    }

    bool hasLoggedOnce() const
    {
        return std::ranges::count(errors, '\n') == 1;
    }

    test::TemporaryFolder folder;
    std::string errors;
};

TEST_F(ConfigManager, RefusesAnInvalidName)
{
    EXPECT_EQ(set(nullptr), EINVAL);
    EXPECT_EQ(set(""), EINVAL);
    EXPECT_THAT(errors, HasSubstr("an attribute was not set: it has no name"));
    EXPECT_EQ(set(std::string(256, 'x').c_str()), EINVAL);
    EXPECT_THAT(errors, HasSubstr("its name has more than 255 bytes"));
    EXPECT_EQ(set("a b"), EINVAL);
    EXPECT_THAT(
        errors,
        HasSubstr(
            "its name has other characters than letters, digits and .#_-"));
    EXPECT_TRUE(hasLoggedOnce()) << errors;
}

TEST_F(ConfigManager, RefusesAFlag)
{
    EXPECT_EQ(set("a", 1), EINVAL);
    EXPECT_THAT(errors, HasSubstr("there is no flag 1"));
    EXPECT_TRUE(hasLoggedOnce()) << errors;
}

TEST_F(ConfigManager, RefusesASourceThatIsNotText)
{
    EXPECT_EQ(set("a", 0, "\xC3("), EINVAL);
    EXPECT_THAT(errors, HasSubstr("the name of who sets it is not UTF-8"));
    EXPECT_EQ(set("a", 0, std::string(4097, 'x').c_str()), EINVAL);
    EXPECT_THAT(errors, HasSubstr("the name of who sets it has more than 4096 "
                                  "bytes"));
}

TEST_F(ConfigManager, CreatesNothingForARefusedArgument)
{
    set("");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(ConfigManager, FailsWithoutABusAndLogsThatOnce)
{
    EXPECT_EQ(set("a"), ENOENT);
    EXPECT_THAT(errors, HasSubstr("an attribute was not set: unable to connect "
                                  "to the bus: No such file or directory"));
    EXPECT_TRUE(hasLoggedOnce()) << errors;
}

TEST_F(ConfigManager, SetsNothingItself)
{
    EXPECT_EQ(set("a"), ENOENT);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(ConfigManager, SetsDirectlyOnlyOnTheServingThread)
{
    EXPECT_EQ(test::inChild(
                  [] {
                      test::haveNoBus();
                      const AttributeService service;
                      const auto is = [](int value) {
                          const Attributes all = readAttributes();
                          const auto found = all.find("a");
                          return found != all.end() && found->second == value;
                      };
                      // The attribute was written, but the change could not be
                      // announced.
                      if (CfgSetAttributeInt("a", 1, 0, nullptr) != ENOENT ||
                          !is(1))
                      {
                          return 1;
                      }
                      std::thread([] {
                          CfgSetAttributeInt("a", 2, 0, nullptr);
                      }).join();
                      return is(1) ? 0 : 2;
                  },
                  &errors),
              0);
    EXPECT_THAT(errors, HasSubstr("the attribute a is set to 1 now, but this "
                                  "could not be announced: unable to connect "
                                  "to the bus"));
}

} // namespace
} // namespace healthintf::host
