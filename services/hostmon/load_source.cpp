// SPDX-License-Identifier: Apache-2.0
#include "load_source.hpp"

#include "kernel_file.hpp"

#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace healthintf::hostmon
{

double readLoadPerProcessor(const std::filesystem::path& loadavg, int minutes)
{
    std::istringstream text(readKernelFile(loadavg));
    double one = 0;
    double five = 0;
    double fifteen = 0;
    if (!(text >> one >> five >> fifteen))
    {
        throw std::runtime_error("no three numbers in " + loadavg.string());
    }
    const double load = minutes == 1 ? one : minutes == 5 ? five : fifteen;
    return load /
           static_cast<double>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

} // namespace healthintf::hostmon
