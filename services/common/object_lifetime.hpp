// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Callbacks that may outlive the object that they are for. */

#include <memory>
#include <utility>

namespace healthintf::services
{

/** A member of an object whose callbacks somebody else keeps, such as a
 *  connection until a reply comes. All on one thread. */
class ObjectLifetime
{
  public:
    ObjectLifetime() = default;
    ObjectLifetime(const ObjectLifetime&) = delete;
    ObjectLifetime& operator=(const ObjectLifetime&) = delete;

    /** Wraps a callback so that a call does nothing once the object is gone. */
    template <typename Callback>
    auto guard(Callback callback) const
    {
        return [watched = std::weak_ptr<const bool>(token),
                callback = std::move(callback)](auto&&... arguments) {
            if (!watched.expired())
            {
                callback(std::forward<decltype(arguments)>(arguments)...);
            }
        };
    }

  private:
    std::shared_ptr<const bool> token = std::make_shared<const bool>(true);
};

} // namespace healthintf::services
