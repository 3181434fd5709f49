// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Method calls whose work needs to know the caller's user. */

#include "healthmgr/members.hpp"
#include "peer_users.hpp"

#include <sdbusplus/message.hpp>
#include <sdbusplus/server/interface.hpp>
#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace healthintf::healthmgr
{

using host::Members;

/** A call that is refused. */
class RefusedCall : public std::runtime_error
{
  public:
    /** @param[in] name the D-Bus name of the error; must outlive this object
     *  @param[in] why says so to the caller */
    RefusedCall(const char* name, const std::string& why) :
        std::runtime_error(why), errorName(name)
    {}

    const char* name() const noexcept
    {
        return errorName;
    }

  private:
    const char* errorName;
};

/** Makes the reply to a call and sends it, or throws RefusedCall. */
using Work = std::function<void(sdbusplus::message_t& call)>;

/** Does the work of a method call at once. What it throws becomes the call's
 *  error.
 *
 *  @return what a method handler returns */
int perform(sd_bus_message* call, sd_bus_error* error, const Work& work);

/** Does the work of a method call when the user of its caller is known.
 *
 *  @param[in] users finds the user
 *  @param[in] work what is to be done for this user
 *  @return what a method handler returns */
int performForUser(
    sd_bus_message* call, sd_bus_error* error, PeerUsers& users,
    std::function<void(sdbusplus::message_t& call, uint32_t user)> work);

/** Sends a signal that describes one thing. A failure is only logged: what it
 *  tells is done. */
void announce(sdbusplus::server::interface_t& interface, const char* member,
              const Members& described);

/** Replies to a call.
 *
 *  @param[in] values the reply's arguments */
template <typename... Values>
void reply(sdbusplus::message_t& call, const Values&... values)
{
    auto answer = call.new_method_return();
    answer.append(values...);
    answer.method_return();
}

} // namespace healthintf::healthmgr
