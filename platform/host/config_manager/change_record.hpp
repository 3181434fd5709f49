// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file The record that announces the change of an attribute; see
 *  platform/config_manager.h for its fields. */

#include <platform/api.h>

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** What the name of a change's notification begins with; the attribute's name
 *  follows. */
inline constexpr std::string_view changePrefix = "CfgMgr/1/AttributeChange/";

struct AttributeChange
{
    int32_t value;
    int32_t previous;
};

/** Makes the record of a change.
 *
 *  @param[in] source who made it, without NUL; empty when that is not known */
std::vector<uint8_t> encodeChange(const AttributeChange& change,
                                  std::string_view source);

/** The values of a change in a record.
 *
 *  @return nothing when the record is too short */
PLATFORM_API std::optional<AttributeChange> decodeChange(const uint8_t* data,
                                                         uint64_t length);

/** Finds the source name in a record, which any process may have sent.
 *
 *  @return the NUL-terminated name, within the record; "" when it has none;
 *          null when the record is too short, or the name does not end within
 *          it */
const char* findSource(const uint8_t* data, uint64_t length);

} // namespace healthintf::host
