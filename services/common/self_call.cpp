#include "self_call.hpp"

namespace healthintf::services
{

SelfCall::SelfCall(Connection& connection) : connection(connection)
{}

bool SelfCall::isAnswered()
{
    if (!*answered)
    {
        return false;
    }
    connection.afterWorkOf(connection.uniqueName(), [shared = answered] {
        *shared = true;
    });
    *answered = false;
    return true;
}

} // namespace healthintf::services
