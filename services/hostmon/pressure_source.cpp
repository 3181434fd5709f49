#include "pressure_source.hpp"

#include "kernel_file.hpp"

namespace healthintf::hostmon
{

double pressurePercent(const std::filesystem::path& pressure, int seconds)
{
    // The first line is the one of "some"; "full" comes after it.
    return numberAfter(contentOf(pressure),
                       "avg" + std::to_string(seconds) + "=", pressure);
}

} // namespace healthintf::hostmon
