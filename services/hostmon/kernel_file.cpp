// SPDX-License-Identifier: Apache-2.0
#include "kernel_file.hpp"

#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace healthintf::hostmon
{

std::string readKernelFile(const std::filesystem::path& file)
{
    constexpr std::size_t most = 1 << 20;
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
    {
        throw std::system_error(errno, std::generic_category(),
                                "unable to open " + file.string());
    }
    std::string content;
    std::array<char, 4096> part{};
    while (stream.read(part.data(), part.size()) || stream.gcount() > 0)
    {
        content.append(part.data(), static_cast<std::size_t>(stream.gcount()));
        if (content.size() > most)
        {
            throw std::runtime_error(file.string() + " has more than 1 MiB");
        }
    }
    if (stream.bad())
    {
        throw std::system_error(errno, std::generic_category(),
                                "unable to read " + file.string());
    }
    return content;
}

bool isGone(const std::error_code& error)
{
    const int number = error.value();
    return number == ENOENT || number == ENOTDIR || number == ESRCH ||
           number == ENODEV;
}

double parseNumberAfter(const std::string& text, const std::string& label,
                        const std::filesystem::path& file)
{
    const auto at = text.find(label);
    if (at != std::string::npos)
    {
        const auto start = text.find_first_not_of(" \t:", at + label.size());
        double number = 0;
        if (start != std::string::npos &&
            std::from_chars(text.data() + start, text.data() + text.size(),
                            number)
                    .ec == std::errc{} &&
            std::isfinite(number))
        {
            return number;
        }
    }
    throw std::runtime_error("no number " +
                             (label.empty() ? "" : "after " + label + " ") +
                             "in " + file.string());
}

} // namespace healthintf::hostmon
