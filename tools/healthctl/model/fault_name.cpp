// SPDX-License-Identifier: Apache-2.0
#include "fault_name.hpp"

#include "component.hpp"

#include <vector>

namespace healthintf::healthctl
{
namespace
{

/** The component that is written; empty when that is no component. */
std::string keyOrNone(const std::string& written)
{
    try
    {
        return parseKey(written);
    }
    catch (const Error&)
    {
        return "";
    }
}

Error makeAmbiguous(const std::vector<const Fault*>& found,
                    const std::string& written)
{
    constexpr std::size_t most = 4;
    std::string names;
    for (std::size_t i = 0; i < found.size() && i < most; ++i)
    {
        names += (i == 0 ? "" : ", ") + entryName(found[i]->path);
    }
    return {ExitCode::usage, "\"" + written + "\" may be one of " +
                                 std::to_string(found.size()) +
                                 " faults; give one of " + names +
                                 (found.size() > most ? ", ..." : "")};
}

} // namespace

std::string entryName(const std::string& entryPath)
{
    return entryPath.substr(entryPath.rfind('/') + 1);
}

const Fault& findFault(const Faults& faults, const std::string& written)
{
    const std::string key = keyOrNone(written);
    std::vector<const Fault*> found;
    for (const Fault& fault : faults)
    {
        if (fault.path == written)
        {
            return fault;
        }
        if (fault.path.ends_with(written) || getComponent(fault.path) == key)
        {
            found.push_back(&fault);
        }
    }
    if (found.empty())
    {
        throw Error(ExitCode::notThere, "there is no fault \"" + written +
                                            "\"; \"healthctl faults --all\" "
                                            "shows all");
    }
    if (found.size() > 1)
    {
        throw makeAmbiguous(found, written);
    }
    return *found.front();
}

} // namespace healthintf::healthctl
