// SPDX-License-Identifier: Apache-2.0
#include "threshold.hpp"

#include "log_sink.hpp"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace healthintf::host
{
namespace
{

int thresholdFromEnvironment()
{
    const char* text = secure_getenv("HEALTHINTF_LOG_LEVEL");
    if (text == nullptr)
    {
        return defaultLogLevel;
    }
    if (const auto level = parseLogLevel(text))
    {
        return *level;
    }
    // Not logged, as the log is being set up here. Allocates no memory, as a
    // failure of that would end the program.
    std::array<char, 200> line{};
    std::snprintf(
        line.data(), line.size(),
        "HEALTHINTF_LOG_LEVEL=%.100s is no level from 0 to 9, using %d\n", text,
        defaultLogLevel);
    writeText(STDERR_FILENO, line.data());
    return defaultLogLevel;
}

} // namespace

std::optional<int> parseLogLevel(std::string_view text)
{
    if (text.size() != 1 || text.front() < '0' || text.front() > '9')
    {
        return std::nullopt;
    }
    return text.front() - '0';
}

int logThreshold()
{
    static const int threshold = thresholdFromEnvironment();
    return threshold;
}

} // namespace healthintf::host
