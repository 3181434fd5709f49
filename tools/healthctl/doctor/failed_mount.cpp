// SPDX-License-Identifier: Apache-2.0
#include "failed_mount.hpp"

#include <sys/sysmacros.h>

#include <sstream>
#include <string>

namespace healthintf::healthctl
{

bool isFailedMount(std::istream& mounts, dev_t device)
{
    const std::string wanted =
        std::to_string(major(device)) + ":" + std::to_string(minor(device));
    for (std::string line; std::getline(mounts, line);)
    {
        std::istringstream words(line);
        std::string id;
        std::string parent;
        std::string number;
        words >> id >> parent >> number;
        // The filesystem's own options are the last word.
        const std::string options =
            "," + line.substr(line.rfind(' ') + 1) + ",";
        if (number == wanted &&
            (options.find(",emergency_ro,") != std::string::npos ||
             options.find(",shutdown,") != std::string::npos))
        {
            return true;
        }
    }
    return false;
}

} // namespace healthintf::healthctl
