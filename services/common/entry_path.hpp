// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The object paths of fault entries. */

#include <cstddef>
#include <string_view>

namespace healthintf::services
{

/** The component's key in a fault entry's object path; empty when the path is
 *  no entry's. */
constexpr std::string_view getComponent(std::string_view entry)
{
    const std::size_t end = entry.rfind("/entry/");
    return end == std::string_view::npos ? std::string_view()
                                         : entry.substr(0, end);
}

} // namespace healthintf::services
