#pragma once

/** @file The record that announces the change of an attribute; see
 *  platform/config_manager.h for its fields. */

#include <cstdint>
#include <string_view>
#include <vector>

namespace healthintf::host
{

/** The name of a change's notification begins so; the attribute's follows. */
inline constexpr std::string_view changePrefix = "CfgMgr/1/AttributeChange/";

struct AttributeChange
{
    int32_t value;
    int32_t previous;
};

/** The record of a change.
 *
 *  @param[in] source who made it, without NUL; empty when that is not known */
std::vector<uint8_t> encodeChange(const AttributeChange& change,
                                  std::string_view source);

/** Checks a record that may come from anybody.
 *
 *  @return the name of who made the change, in the record, which ends there
 *          with a NUL; null when the record is too short for its fields, or
 *          its source name is not within it */
const char* checkedSource(const uint8_t* data, uint64_t length);

} // namespace healthintf::host
