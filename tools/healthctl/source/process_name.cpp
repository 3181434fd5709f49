#include "process_name.hpp"

#include <fstream>

namespace healthintf::healthctl
{

std::string nameOfProcess(pid_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/comm");
    std::string name;
    std::getline(file, name);
    const std::string number = std::to_string(pid);
    return name.empty() ? number : name + "[" + number + "]";
}

} // namespace healthintf::healthctl
