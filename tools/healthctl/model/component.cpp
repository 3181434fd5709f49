// SPDX-License-Identifier: Apache-2.0
#include "component.hpp"

#include <com/vexa/olvar/healthmgr/names.hpp>

#include <systemd/sd-bus.h>

namespace healthintf::healthctl
{

std::string parseKey(const std::string& written)
{
    std::string key = written;
    while (key.size() > 1 && key.ends_with('/'))
    {
        key.pop_back();
    }
    if (!key.starts_with('/'))
    {
        key = std::string(names::root) + "/" + key;
    }
    if (sd_bus_object_path_is_valid(key.c_str()) <= 0)
    {
        throw Error(ExitCode::usage,
                    "\"" + written +
                        "\" names no component; \"healthctl tree\" shows how "
                        "they are written");
    }
    return key;
}

Error noComponent(const std::string& written)
{
    return {ExitCode::notThere, "there is no component \"" + written +
                                    R"("; "healthctl tree" shows all)"};
}

std::string shownKey(const std::string& key)
{
    const std::string root = std::string(names::root) + "/";
    return key.starts_with(root) ? key.substr(root.size()) : key;
}

std::string getComponent(const std::string& entryPath)
{
    return entryPath.substr(0, entryPath.rfind("/entry/"));
}

std::string getParent(const std::string& key)
{
    return key.substr(0, key.rfind('/'));
}

bool isAtOrBelow(std::string_view key, std::string_view top)
{
    return key.starts_with(top) &&
           (top.empty() || key.size() == top.size() || key[top.size()] == '/');
}

} // namespace healthintf::healthctl
