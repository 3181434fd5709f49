#include "config_manager/attribute_file.hpp"
#include "config_manager/attribute_store.hpp"
#include "temporary_folder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace healthintf::host
{
namespace
{

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class AttributeFile : public testing::Test
{
  protected:
    AttributeFile()
    {
        setenv("HEALTHINTF_STATE_DIR", folder.path().c_str(), 1);
    }

    test::TemporaryFolder folder;
};

TEST_F(AttributeFile, ThatIsNotThereHoldsNothingAndIsNotMade)
{
    EXPECT_THAT(readAttributes(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(folder.path() / "config"));
}

TEST_F(AttributeFile, HoldsWhatTheStoreHasSet)
{
    AttributeStore store(folder.path() / "config");
    store.set("a", 5);
    store.set("b", -1);
    // The store still has its lock.
    EXPECT_THAT(readAttributes(),
                UnorderedElementsAre(Pair("a", 5), Pair("b", -1)));
}

TEST_F(AttributeFile, OfAnotherVersionIsRefused)
{
    folder.write("config/attributes.json", R"({"version": 2})");
    try
    {
        readAttributes();
        FAIL() << "it was read";
    }
    catch (const std::system_error& e)
    {
        EXPECT_EQ(e.code().value(), ENOTSUP);
    }
}

TEST_F(AttributeFile, ThatIsDamagedIsRefusedAndLeftAlone)
{
    const auto file = folder.write("config/attributes.json", "{");
    EXPECT_THROW(readAttributes(), std::exception);
    EXPECT_TRUE(std::filesystem::exists(file));
}

} // namespace
} // namespace healthintf::host
