// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Looking messages up in the platform's message registry. */

#include <com/vexa/olvar/api.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace health_namespace
{

/** The registry's content for a message. */
struct MessageContent
{
    /** 1 critical, 2 warning, 3 informational. */
    uint32_t severity = 0;
    /** The text with its arguments filled in. */
    std::string text;
};

/** Looks a message up.
 *
 *  @param[in] msgId the message's identifier
 *  @param[in] args its arguments, in the order of their placeholders
 *  @param[out] content what was found; unchanged on failure
 *  @return 0, or the registry's error number, which is logged
 *
 *  Throws only when memory runs out. May be called from any thread. */
// Log readers search for this name, underscore included.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
HEALTHINTF_API int _GetMessageContent(const std::string& msgId,
                                      const std::vector<std::string>& args,
                                      MessageContent& content);

} // namespace health_namespace
