// SPDX-License-Identifier: Apache-2.0
#include "attribute_service.hpp"

#include "../directories.hpp"
#include "../host_log.hpp"
#include "../notification/announcer.hpp"
#include "../storage/store_failure.hpp"
#include "attribute_store.hpp"
#include "change_record.hpp"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <optional>

namespace healthintf::host
{
namespace
{

thread_local AttributeService* serving = nullptr;

/** What an operator can do about a failure. */
std::string storeRemedy(int code)
{
    return code == EDQUOT
               ? "it is full: no further attribute can be set for the first "
                 "time"
               : folderRemedy(code, "HEALTHINTF_STATE_DIR");
}

/** Describes a failure of the attributes in a folder. */
std::string describeStoreFailure(const std::string& folder,
                                 const std::exception& e)
{
    return "attributes " + folder + ": " + e.what() + " (" +
           storeRemedy(getErrorNumber(e)) + ")";
}

std::filesystem::path attributesFolder()
{
    return stateDirectory() / "config";
}

/** Announces a change to all processes. */
AttributeOutcome announceChange(const AttributeRequest& request,
                                const AttributeChange& change)
{
    try
    {
        announce(std::string(changePrefix) + request.name,
                 encodeChange(change, request.source));
        return {};
    }
    catch (const std::exception& e)
    {
        return {getErrorNumber(e),
                "the attribute " + request.name + " is set to " +
                    std::to_string(change.value) +
                    " now, but this could not be announced: " + e.what()};
    }
}

} // namespace

AttributeService::AttributeService()
{
    std::string folder;
    try
    {
        folder = attributesFolder();
        AttributeStore(folder).takeOver();
    }
    catch (const std::exception& e)
    {
        HOST_LOG(log::error, "%s.%d.%s: unable to set attributes: %s",
                 describeStoreFailure(folder, e).c_str());
    }
    serving = this;
}

AttributeService::~AttributeService()
{
    serving = nullptr;
}

// The object stands for the attributes of the machine and has no members.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
AttributeOutcome AttributeService::set(const AttributeRequest& request)
{
    if (const std::string problem = requestProblem(request); !problem.empty())
    {
        return makeFailure(EINVAL, problem);
    }
    std::string folder;
    std::optional<AttributeChange> change;
    try
    {
        folder = attributesFolder();
        change = AttributeStore(folder).set(request.name, request.value);
    }
    catch (const std::exception& e)
    {
        return makeFailure(getErrorNumber(e), describeStoreFailure(folder, e));
    }
    return change ? announceChange(request, *change) : AttributeOutcome();
}

AttributeService* AttributeService::ofThisThread()
{
    return serving;
}

} // namespace healthintf::host
