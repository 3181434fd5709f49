#include "mapped_file.hpp"

#include <cinttypes>
#include <cstdio>
#include <fstream>
#include <string>

namespace healthintf::host
{

std::optional<uint64_t> offsetInFile(const void* address)
{
    const auto wanted = reinterpret_cast<uintptr_t>(address);
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
    {
        uintptr_t begin = 0;
        uintptr_t end = 0;
        uint64_t offset = 0;
        uint64_t inode = 0;
        const int fields = std::sscanf(line.c_str(),
                                       "%" SCNxPTR "-%" SCNxPTR " %*s %" SCNx64
                                       " %*s %" SCNu64,
                                       &begin, &end, &offset, &inode);
        if (fields == 4 && begin <= wanted && wanted < end)
        {
            return inode == 0 ? std::nullopt
                              : std::optional(offset + (wanted - begin));
        }
    }
    return std::nullopt;
}

} // namespace healthintf::host
