// SPDX-License-Identifier: Apache-2.0
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../storage/store_failure.hpp"
#include "attribute_call.hpp"
#include "attribute_service.hpp"

#include <platform/config_manager.h>

#include <cerrno>
#include <exception>

namespace
{

using namespace healthintf;
using namespace healthintf::host;

constinit FailureLog attributeFailures;

std::string textOrEmpty(const char* argument)
{
    return argument != nullptr ? argument : "";
}

AttributeOutcome set(const AttributeRequest& request, int flags)
{
    if (const std::string fault = requestProblem(request); !fault.empty())
    {
        return makeFailure(EINVAL, fault);
    }
    if (flags != 0)
    {
        return makeFailure(EINVAL, "there is no flag " + std::to_string(flags));
    }
    AttributeService* own = AttributeService::ofThisThread();
    return own != nullptr ? own->set(request) : requestAttribute(request);
}

} // namespace

int CfgSetAttributeInt(const char* name, int32_t value, int flags,
                       const struct CfgMgrOrigin* origin)
{
    AttributeOutcome outcome;
    try
    {
        const char* source = origin != nullptr ? origin->source : nullptr;
        outcome = set({textOrEmpty(name), value, textOrEmpty(source)}, flags);
    }
    catch (const std::exception& e)
    {
        outcome = makeFailure(getErrorNumber(e), e.what());
    }
    if (outcome.code == 0)
    {
        attributeFailures.noteSuccess();
    }
    else if (attributeFailures.admits(outcome.code))
    {
        HOST_LOG(log::error, "%s.%d.%s: %s", outcome.why.c_str());
    }
    return outcome.code;
}
