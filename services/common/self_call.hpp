// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Tells whether a service still handles calls. */

#include "connection.hpp"

#include <memory>

namespace healthintf::services
{

/** Calls this process over the bus, as its clients do. The call queues behind
 *  theirs, so its reply shows that theirs were handled. The call's timeout
 *  counts as its reply: the bus hangs or has dropped it, which no restart of
 *  this service would change. */
class SelfCall
{
  public:
    /** @param[in] connection the service's connection; must outlive this
     *             object */
    explicit SelfCall(Connection& connection);

    /** Whether the last call has got its reply; if so, makes the next call. */
    bool isAnswered();

  private:
    Connection& connection;
    /** Shared with the reply's handler, which may outlive this object. */
    std::shared_ptr<bool> replied = std::make_shared<bool>(true);
};

} // namespace healthintf::services
