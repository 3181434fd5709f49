// SPDX-License-Identifier: Apache-2.0
#include "library_test.hpp"

#include <com/vexa/olvar/object_path.hpp>

#include <string>

namespace healthintf::binding
{
namespace
{

using namespace healthintf::test;

class ObjectPath : public LibraryTest
{};

TEST_F(ObjectPath, IsPassedOnUpToTheLimit)
{
    const std::string path = "/" + std::string(1023, 'a');
    EXPECT_EQ(requireShort(path.c_str()), path.c_str());
    EXPECT_EQ(requireShort(""), std::string());
    EXPECT_EQ(requireShort(nullptr), nullptr);
}

TEST_F(ObjectPath, IsRefusedOverTheLimit)
{
    const std::string path = "/" + std::string(1024, 'a');
    try
    {
        requireShort(path.c_str());
        FAIL() << "it is passed on";
    }
    catch (const sdbusplus::exception::SdBusError& e)
    {
        EXPECT_STREQ(e.what(), "sd_bus_add_object_vtable: "
                               "System.Error.ENAMETOOLONG: File name too long");
    }
}

} // namespace
} // namespace healthintf::binding
