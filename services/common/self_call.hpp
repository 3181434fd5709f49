#pragma once

/** @file Whether a service answers what it is asked over the bus. */

#include "connection.hpp"

#include <memory>

namespace healthintf::services
{

/** Calls this process over the bus, as others do. Its call waits behind theirs,
 *  so that an answer tells that theirs were taken. */
class SelfCall
{
  public:
    /** @param[in] connection the service's; must outlive this object */
    explicit SelfCall(Connection& connection);

    /** Whether the last call has been answered; makes the next one then. */
    bool isAnswered();

  private:
    Connection& connection;
    /** What this object and the answer to its call share: the answer may
     *  outlive it. */
    std::shared_ptr<bool> answered = std::make_shared<bool>(true);
};

} // namespace healthintf::services
