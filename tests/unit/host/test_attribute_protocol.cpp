// SPDX-License-Identifier: Apache-2.0
#include "config_manager/protocol.hpp"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <cerrno>

namespace healthintf::host
{
namespace
{

TEST(AttributeProtocol, HasAnErrorForEachNumber)
{
    EXPECT_EQ(getErrorName(EDQUOT),
              "com.vexa.olvar.healthmgr.Attributes.Error.EDQUOT");
    for (const int code : {EINVAL, EDQUOT, EACCES, EPERM, EROFS, ENOSPC, EIO,
                           ENOMEM, ENOTDIR, ELOOP, EFBIG, ENOTSUP})
    {
        EXPECT_EQ(parseErrorName(getErrorName(code)), code);
    }
}

TEST(AttributeProtocol, MapsAnUnknownNumberToAnInputOutputError)
{
    EXPECT_EQ(parseErrorName(getErrorName(100000)), EIO);
    EXPECT_EQ(parseErrorName(getErrorName(EIO) + "X"), EIO);
}

TEST(AttributeProtocol, HasNoNumberForErrorNamesOfOthers)
{
    for (const char* name :
         {SD_BUS_ERROR_ACCESS_DENIED, SD_BUS_ERROR_INVALID_ARGS,
          "System.Error.EDQUOT", "com.example.Other", ""})
    {
        EXPECT_EQ(parseErrorName(name), std::nullopt) << name;
    }
}

} // namespace
} // namespace healthintf::host
