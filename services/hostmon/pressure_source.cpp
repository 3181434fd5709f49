// SPDX-License-Identifier: Apache-2.0
#include "pressure_source.hpp"

#include "kernel_file.hpp"

namespace healthintf::hostmon
{

double readPressurePercent(const std::filesystem::path& pressure, int seconds)
{
    // The line "some" comes first, then the line "full" with the same labels.
    return parseNumberAfter(readKernelFile(pressure),
                            "avg" + std::to_string(seconds) + "=", pressure);
}

} // namespace healthintf::hostmon
