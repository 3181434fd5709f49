// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Tells whether a service still replies to calls. */

#include "connection.hpp"

#include <memory>

namespace healthintf::services
{

/** Calls this process over the bus, as its clients do. The call queues behind
 *  theirs, so its reply shows that theirs were handled. */
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
