// SPDX-License-Identifier: Apache-2.0
#include "process_name.hpp"

#include <pwd.h>

#include <fstream>

namespace healthintf::healthctl
{

std::string readProcessName(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(file, name);
    const std::string number = std::to_string(pid);
    return name.empty() ? number : name + "[" + number + "]";
}

std::string readUserName(uid_t user)
{
    const passwd* entry = getpwuid(user);
    return entry != nullptr ? entry->pw_name : std::to_string(user);
}

} // namespace healthintf::healthctl
