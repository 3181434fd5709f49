// SPDX-License-Identifier: Apache-2.0
#include "protocol.hpp"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>

namespace healthintf::host
{
namespace
{

/** What the error names begin with; the name of an errno follows, such as
 *  "EINVAL". */
constexpr std::string_view errorPrefix =
    "com.vexa.olvar.healthmgr.Attributes.Error.";

} // namespace

std::string getErrorName(int code)
{
    const char* name = strerrorname_np(code);
    return std::string(errorPrefix) + (name != nullptr ? name : "EIO");
}

std::optional<int> parseErrorName(std::string_view name)
{
    if (!name.starts_with(errorPrefix))
    {
        return std::nullopt;
    }
    // libsystemd finds the errno by this name.
    const std::string known =
        "System.Error." + std::string(name.substr(errorPrefix.size()));
    const sd_bus_error error{known.c_str(), nullptr, 0};
    return sd_bus_error_get_errno(&error);
}

} // namespace healthintf::host
