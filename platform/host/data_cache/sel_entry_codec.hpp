// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Encodes entries of the System Event Log as the bytes of a record. */

#include <platform/api.h>
#include <platform/data_abstraction/sel.hpp>

#include <string>
#include <string_view>

namespace healthintf::host
{

/** The bytes of an entry. */
PLATFORM_API std::string encodeSelEntry(const SELEntryProperties& entry);

/** @throws std::out_of_range when the bytes are too few */
PLATFORM_API SELEntryProperties decodeSelEntry(std::string_view payload);

} // namespace healthintf::host
