#pragma once

/** @file A TOML file as it is read. */

#include <toml++/toml.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace healthintf::services
{

/** Takes a configuration's text apart.
 *
 *  @param[in] name the file's name, for errors
 *  @throws ConfigError at the first line that is no TOML */
toml::table parseToml(std::string_view text, const std::string& name);

/** What a configuration file holds.
 *
 *  @throws ConfigError when it cannot be read, is no regular file, or has more
 *          than 1 MiB */
std::string readConfigFile(const std::filesystem::path& file);

} // namespace healthintf::services
