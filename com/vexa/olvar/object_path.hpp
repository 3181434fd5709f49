// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Refuses object paths that are too long. */

#include <sdbusplus/exception.hpp>

#include <cerrno>
#include <cstddef>
#include <cstring>

namespace healthintf::binding
{

/** The longest path of an object, in bytes. A bus refuses match rules of more
 *  than 1024 bytes, so nobody could listen to a longer one. */
inline constexpr std::size_t maxObjectPath = 1024;

/** Returns the path if it is null or no longer than maxObjectPath. sd-bus needs
 *  stack for each level of a path, and thousands of levels end the process.
 *
 *  @throws sdbusplus::exception::SdBusError when the path is longer */
inline const char* requireShort(const char* path)
{
    if (path != nullptr && strnlen(path, maxObjectPath + 1) > maxObjectPath)
    {
        throw sdbusplus::exception::SdBusError(ENAMETOOLONG,
                                               "sd_bus_add_object_vtable");
    }
    return path;
}

} // namespace healthintf::binding
