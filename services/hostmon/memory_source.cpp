// SPDX-License-Identifier: Apache-2.0
#include "memory_source.hpp"

#include "kernel_file.hpp"

#include <stdexcept>

namespace healthintf::hostmon
{

double readAvailableMemory(const std::filesystem::path& meminfo)
{
    const std::string text = readKernelFile(meminfo);
    const double total = parseNumberAfter(text, "MemTotal:", meminfo);
    if (total <= 0)
    {
        throw std::runtime_error("no memory in " + meminfo.string());
    }
    return 100 * parseNumberAfter(text, "MemAvailable:", meminfo) / total;
}

} // namespace healthintf::hostmon
