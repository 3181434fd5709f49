// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Failures that say nothing about the file that was asked for. */

#include <cerrno>

namespace healthintf::host
{

/** Whether an error number says that this process or the machine is short of
 *  descriptors or memory, and nothing about a file. */
constexpr bool isShortage(int code)
{
    return code == EMFILE || code == ENFILE || code == ENOMEM;
}

} // namespace healthintf::host
