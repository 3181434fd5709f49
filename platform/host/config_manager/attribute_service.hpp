// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Sets the attributes for all processes. */

#include "attribute_request.hpp"

#include <platform/api.h>

namespace healthintf::host
{

/** Changes the attributes in the one process and thread that may. While this
 *  object exists, CfgSetAttributeInt on this thread sets attributes directly;
 *  other threads and processes call this one by D-Bus. The thread's default
 *  connection must own healthmgr's name: receivers of announcements ignore
 *  other senders. */
class PLATFORM_API AttributeService
{
  public:
    /** Takes over the attributes' file. Logs a file that cannot be used, and
     *  drops and logs invalid names. */
    AttributeService();
    ~AttributeService();
    AttributeService(const AttributeService&) = delete;
    AttributeService& operator=(const AttributeService&) = delete;

    /** Sets an attribute and announces the change. With code 0 the attribute is
     *  on the disk, and receivers get the announcement before anything that
     *  this connection sends later. */
    AttributeOutcome set(const AttributeRequest& request);

    /** This thread's service, or null. */
    static AttributeService* ofThisThread();
};

} // namespace healthintf::host
