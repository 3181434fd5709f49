// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file healthmgr as the commands call it. */

#include "service_client.hpp"

#include <healthmgr/protocol.hpp>

namespace healthintf::healthctl
{

inline constexpr Service healthmgr{.busName = host::healthmgrService,
                                   .name = "healthmgr",
                                   .role = "the health manager"};

/** Who may call the methods that change something. */
inline constexpr const char* healthmgrOperators =
    "root or as a member of the group healthintf-operators";

/** A method of healthmgr.
 *
 *  @param[in] changes whether it changes something */
constexpr ServiceMethod healthmgrMethod(const char* interface,
                                        const char* member, bool changes)
{
    return {.path = host::healthmgrPath,
            .interface = interface,
            .member = member,
            .changes = changes,
            .callers = healthmgrOperators};
}

/** Calls a method of healthmgr and waits for the reply.
 *
 *  @throws Error as ServiceClient::reply(); of wrong usage when healthmgr says
 *          that an argument is none that may be */
inline MessagePtr replyOrUsage(const ServiceClient& client,
                               const ServiceMethod& method,
                               const MessagePtr& call)
{
    try
    {
        return client.reply(method, call);
    }
    catch (const Refusal& e)
    {
        if (e.name() == host::invalidError)
        {
            throw Error(ExitCode::usage, e.what());
        }
        throw;
    }
}

} // namespace healthintf::healthctl
