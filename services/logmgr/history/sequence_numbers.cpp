// SPDX-License-Identifier: Apache-2.0
#include "sequence_numbers.hpp"

#include "config_manager/replace_file.hpp"

#include <algorithm>
#include <exception>
#include <fstream>
#include <string>
#include <utility>

namespace healthintf::history
{
namespace
{

/** More than ever are given; a higher number in the file is no number of ours.
 */
constexpr uint64_t mostNumbers = uint64_t{1} << 62;

/** The number in a file; 0 without one. */
uint64_t readNumber(const std::filesystem::path& file)
{
    std::ifstream text(file);
    uint64_t number = 0;
    text >> number;
    return text && number < mostNumbers ? number : 0;
}

} // namespace

SequenceNumbers::SequenceNumbers(std::filesystem::path file, uint64_t least) :
    file(std::move(file)),
    next(std::max({least, readNumber(this->file), uint64_t{1}})), reserved(next)
{}

uint64_t SequenceNumbers::take()
{
    if (next == reserved)
    {
        host::replaceFile(file, std::to_string(next + step) + '\n');
        reserved = next + step;
    }
    return next++;
}

void SequenceNumbers::end() noexcept
{
    try
    {
        host::replaceFile(file, std::to_string(next) + '\n');
        reserved = next;
    }
    catch (const std::exception&)
    {
        // The number in the file is higher, which only leaves numbers out.
    }
}

} // namespace healthintf::history
