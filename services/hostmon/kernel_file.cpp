#include "kernel_file.hpp"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace healthintf::hostmon
{

std::string contentOf(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream)
    {
        throw std::runtime_error("unable to open " + file.string() + ": " +
                                 std::strerror(errno));
    }
    try
    {
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    catch (const std::ios_base::failure&)
    {
        throw std::runtime_error("unable to read " + file.string());
    }
}

double numberAfter(const std::string& text, const std::string& label,
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
                    .ec == std::errc{})
        {
            return number;
        }
    }
    throw std::runtime_error("no number " +
                             (label.empty() ? "" : "after " + label + " ") +
                             "in " + file.string());
}

} // namespace healthintf::hostmon
