// SPDX-License-Identifier: Apache-2.0
#include "self_call.hpp"

namespace healthintf::services
{

SelfCall::SelfCall(Connection& connection) : connection(connection)
{}

bool SelfCall::isAnswered()
{
    if (!*replied)
    {
        return false;
    }
    connection.awaitWork(connection.uniqueName(), [shared = replied] {
        *shared = true;
    });
    *replied = false;
    return true;
}

} // namespace healthintf::services
