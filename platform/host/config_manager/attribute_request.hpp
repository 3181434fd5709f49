#pragma once

/** @file What somebody wants an attribute to be, and what came of it. */

#include <platform/api.h>

#include <cstdint>
#include <string>

namespace healthintf::host
{

/** What somebody wants to be set. */
struct AttributeRequest
{
    std::string name;
    int32_t value = 0;
    /** Who sets it; empty when that is not known. */
    std::string source;
};

/** What came of a request. */
struct AttributeOutcome
{
    /** 0, or an errno. */
    int code = 0;
    /** What is wrong, a sentence for the log; empty with 0. */
    std::string why;
};

/** Whether an attribute may have a name: letters, digits and ".#_-", at least
 *  one and at most 255 of them. */
bool isAttributeName(const std::string& name);

/** What is wrong with a request, in words; empty when nothing is. */
std::string faultOf(const AttributeRequest& request);

/** The outcome of a request of which nothing was done.
 *
 *  @param[in] code an errno
 *  @param[in] why what is wrong */
AttributeOutcome notSet(int code, const std::string& why);

} // namespace healthintf::host
