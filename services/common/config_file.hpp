// SPDX-License-Identifier: Apache-2.0
#pragma once

/** @file Reads and parses TOML files. */

#include <toml++/toml.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace healthintf::services
{

/** Parses a configuration's text.
 *
 *  @param[in] name the file's name, for errors
 *  @throws ConfigError at the first line that is not TOML */
toml::table parseToml(std::string_view text, const std::string& name);

/** Reads a configuration file.
 *
 *  @throws ConfigError when it cannot be read, is no regular file, or has more
 *          than 1 MiB */
std::string readConfigFile(const std::filesystem::path& file);

} // namespace healthintf::services
