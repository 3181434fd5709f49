#include "memory_source.hpp"

#include "kernel_file.hpp"

#include <stdexcept>

namespace healthintf::hostmon
{

double availableMemoryPercent(const std::filesystem::path& meminfo)
{
    const std::string text = contentOf(meminfo);
    const double total = numberAfter(text, "MemTotal:", meminfo);
    if (total <= 0)
    {
        throw std::runtime_error("no memory in " + meminfo.string());
    }
    return 100 * numberAfter(text, "MemAvailable:", meminfo) / total;
}

} // namespace healthintf::hostmon
