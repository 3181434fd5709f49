// SPDX-License-Identifier: Apache-2.0
#include "boot_clock.hpp"

#include "../common/service_log.hpp"
#include "config_manager/replace_file.hpp"

#include <systemd/sd-id128.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <ctime>
#include <fstream>
#include <system_error>

namespace healthintf::healthmgr
{

namespace fs = std::filesystem;
namespace log = services::log;

namespace
{

int64_t microseconds(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1'000;
}

/** Reads a boot's name; empty when there is none. */
std::string readName(const fs::path& file)
{
    constexpr std::size_t length = SD_ID128_STRING_MAX - 1;
    std::error_code error;
    if (!fs::is_regular_file(file, error))
    {
        return "";
    }
    std::ifstream stream(file);
    std::string name(length, '\0');
    stream.read(name.data(), static_cast<std::streamsize>(length));
    const bool whole = stream.gcount() == static_cast<std::streamsize>(length);
    const bool valid = std::ranges::all_of(name, [](unsigned char each) {
        return std::isxdigit(each) != 0;
    });
    return whole && valid ? name : "";
}

std::string makeName()
{
    sd_id128_t id{};
    sd_id128_randomize(&id);
    std::array<char, SD_ID128_STRING_MAX> text{};
    return sd_id128_to_string(id, text.data());
}

std::string findName(const fs::path& file)
{
    if (std::string known = readName(file); !known.empty())
    {
        return known;
    }
    std::string name = makeName();
    try
    {
        fs::create_directories(file.parent_path());
        host::replaceFile(file, name + "\n");
    }
    catch (const std::system_error& e)
    {
        SERVICE_LOG(log::error,
                    "%s.%d.%s: unable to write the boot's name: %s; after a "
                    "restart of healthmgr, silences end by the time of day",
                    e.what());
    }
    return name;
}

} // namespace

Clocks systemClocks(const fs::path& nameFile)
{
    return {.boot = findName(nameFile),
            .wall =
                [] {
                    return microseconds(CLOCK_REALTIME);
                },
            .sinceBoot =
                [] {
                    return microseconds(CLOCK_BOOTTIME);
                }};
}

} // namespace healthintf::healthmgr
