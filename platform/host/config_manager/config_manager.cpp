#include "../directories.hpp"
#include "../failure_log.hpp"
#include "../host_log.hpp"
#include "../notification/announcer.hpp"
#include "../storage/store_failure.hpp"
#include "../utf8.hpp"
#include "attribute_store.hpp"
#include "change_record.hpp"
#include "limits.hpp"

#include <platform/config_manager.h>

#include <cerrno>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace
{

using namespace healthintf;
using namespace healthintf::host;

constinit FailureLog attributeFailures;

/** What to do about a failure, in words. */
std::string remedyForStore(int code)
{
    return code == EDQUOT
               ? "it is full: no further attribute can be set for the first "
                 "time"
               : folderRemedy(code, "HEALTHINTF_STATE_DIR");
}

/** Why an attribute was not set, in words for the log, and its number. */
class NotSet : public std::runtime_error
{
  public:
    NotSet(const std::string& why, int code) :
        std::runtime_error(why), number(code)
    {}

    int code() const noexcept
    {
        return number;
    }

  private:
    int number;
};

/** What somebody wants to be set. */
struct Request
{
    std::string name;
    int32_t value;
    std::string source;
};

/** Takes an argument that is a text.
 *
 *  @throws NotSet when nobody could be told of it */
std::string textOf(const char* argument, const std::string& what,
                   std::size_t longest)
{
    std::string text = argument != nullptr ? argument : "";
    if (text.size() > longest)
    {
        throw NotSet(what + " has more than " + std::to_string(longest) +
                         " bytes",
                     EINVAL);
    }
    if (!isUtf8(text))
    {
        throw NotSet(what + " is not UTF-8", EINVAL);
    }
    return text;
}

Request requestOf(const char* name, int32_t value, int flags,
                  const CfgMgrOrigin* origin)
{
    const char* source = origin != nullptr ? origin->source : nullptr;
    Request request{textOf(name, "its name", maxAttributeName), value,
                    textOf(source, "the name of who sets it", maxSourceName)};
    if (request.name.empty())
    {
        throw NotSet("it has no name", EINVAL);
    }
    if (flags != 0)
    {
        throw NotSet("there is no flag " + std::to_string(flags), EINVAL);
    }
    return request;
}

/** Works with the store, whose failures are described for the log. */
template <typename Work>
decltype(auto) inStore(Work&& work)
{
    std::string folder;
    try
    {
        folder = stateDirectory() / "config";
        return work(folder);
    }
    catch (const std::exception& e)
    {
        const int code = codeOf(e);
        throw NotSet("attributes " + folder + ": " + e.what() + " (" +
                         remedyForStore(code) + ")",
                     code);
    }
}

/** Tells everybody of a change.
 *
 *  @return 0 or an errno */
int announce(const Announcer& announcer, const Request& request,
             const AttributeChange& change)
{
    try
    {
        announcer.announce(std::string(changePrefix) + request.name,
                           encodeChange(change, request.source));
        return 0;
    }
    catch (const std::exception& e)
    {
        HOST_LOG(log::error,
                 "%s.%d.%s: the attribute %s is set to %d now, but this could "
                 "not be announced: %s",
                 request.name.c_str(), change.value, e.what());
        return codeOf(e);
    }
}

/** @return 0 or the number of the failure to announce what was set */
int set(const Request& request)
{
    // First, so that nothing is set which nobody can be told of.
    const Announcer announcer;
    // Kept until everybody was told, so that they hear of changes in the order
    // in which they were made.
    std::optional<AttributeStore> attributes;
    const auto change = inStore([&](const std::string& folder) {
        attributes.emplace(folder);
        return attributes->set(request.name, request.value);
    });
    return change ? announce(announcer, request, *change) : 0;
}

} // namespace

int CfgSetAttributeInt(const char* name, int32_t value, int flags,
                       const struct CfgMgrOrigin* origin)
{
    try
    {
        const int result = set(requestOf(name, value, flags, origin));
        attributeFailures.noteSuccess();
        return result;
    }
    catch (const std::exception& e)
    {
        const auto* known = dynamic_cast<const NotSet*>(&e);
        const int code = known != nullptr ? known->code() : codeOf(e);
        if (attributeFailures.admits(code))
        {
            HOST_LOG(log::error, "%s.%d.%s: an attribute was not set: %s",
                     e.what());
        }
        return code;
    }
}
