// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Calls methods of a service. Every failure becomes an Error that says
 *  what to do. */

#include "error.hpp"

#include <platform/bus_handles.hpp>

#include <string>
#include <system_error>

namespace healthintf::healthctl
{

/** A service, and how errors name it. */
struct Service
{
    /** Its bus name; the names of its D-Bus errors begin with it. */
    const char* busName;
    /** Its program. */
    const char* name;
    /** What it is, with an article. */
    const char* role;
};

/** A method of a service. */
struct ServiceMethod
{
    const char* path;
    const char* interface;
    const char* member;
    /** Whether it changes something, which it may have done even when no
     *  answer comes. */
    bool changes;
    /** Who may call it, as "try again as" continues. */
    const char* callers;
};

/** A service's own error: it has done nothing, and says why. */
class Refusal : public Error
{
  public:
    /** @param[in] name the D-Bus name of the error
     *  @param[in] text what the service says */
    Refusal(std::string name, const std::string& text);

    const std::string& name() const noexcept
    {
        return errorName;
    }

  private:
    std::string errorName;
};

class ServiceClient
{
  public:
    /** Connects to the operator's bus.
     *
     *  @throws Error when there is none */
    explicit ServiceClient(const Service& service);

    /** A call to which the arguments are to be appended.
     *
     *  @throws std::system_error */
    MessagePtr newCall(const ServiceMethod& method) const;

    /** The same call, which does not start a service that is not running. */
    MessagePtr newQuestion(const ServiceMethod& method) const;

    /** Calls and waits for the reply.
     *
     *  @param[in] call of newCall() for the same method
     *  @throws Refusal for an error of the service's own, Error for any
     *          other */
    MessagePtr reply(const ServiceMethod& method, const MessagePtr& call) const;

    /** Calls a function that reads a reply.
     *
     *  @throws Error when it throws std::system_error */
    template <typename Read>
    auto parse(Read&& read) const
    {
        try
        {
            return read();
        }
        catch (const std::system_error& e)
        {
            throw makeUnreadable(e);
        }
    }

  private:
    Error makeUnreadable(const std::system_error& error) const;

    Service service;
    BusPtr bus;
};

} // namespace healthintf::healthctl
