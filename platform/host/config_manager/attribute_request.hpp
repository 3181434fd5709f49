// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file A request to set an attribute, and its result. */

#include <platform/api.h>

#include <cstdint>
#include <string>

namespace healthintf::host
{

/** A request to set one attribute. */
struct AttributeRequest
{
    std::string name;
    int32_t value = 0;
    /** Who sets it; empty when that is not known. */
    std::string source;
};

/** The result of a request. */
struct AttributeOutcome
{
    /** 0, or an errno. */
    int code = 0;
    /** The cause as a text for the log; empty with code 0. */
    std::string why;
};

/** Whether a name is valid for an attribute: 1 to 255 letters, digits and
 *  characters of ".#_-". */
bool isAttributeName(const std::string& name);

/** What is wrong with a request; empty when it is valid. */
std::string requestProblem(const AttributeRequest& request);

/** Makes the outcome of a request that was not carried out.
 *
 *  @param[in] code an errno
 *  @param[in] why what is wrong */
AttributeOutcome makeFailure(int code, const std::string& why);

} // namespace healthintf::host
