#pragma once

/** @file Sets the attributes for everybody. */

#include "attribute_request.hpp"

#include <platform/api.h>

namespace healthintf::host
{

/** The attributes in the hands of the one process that changes them, and of its
 *  one thread: as long as this lives, CfgSetAttributeInt on this thread sets
 *  directly what other threads and processes ask for by D-Bus. The thread's
 *  default connection owns the health manager's name, by which everybody knows
 *  the announcements. */
class PLATFORM_API AttributeService
{
  public:
    /** Takes over what is there: a file that cannot be used, and names that no
     *  attribute may have, are logged. */
    AttributeService();
    ~AttributeService();
    AttributeService(const AttributeService&) = delete;
    AttributeService& operator=(const AttributeService&) = delete;

    /** Sets an attribute and announces it. With the code 0 it is on the disk,
     *  and whatever this connection sends afterwards comes after the
     *  announcement everywhere. */
    AttributeOutcome set(const AttributeRequest& request);

    /** That of this thread, or null. */
    static AttributeService* ofThisThread();
};

} // namespace healthintf::host
